#include "sim/interpose/console_looks.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

namespace sim {

void console_looks::before_read(int fd) const
{
    if (in_vain_ == without_wait) {
        pollfd console{.fd = fd, .events = POLLIN, .revents = 0};
        ::poll(&console, 1, wait_ms);
    }
}

void console_looks::after_read(ssize_t result, int error)
{
    const bool found_nothing = result < 0 && error == EAGAIN;
    in_vain_ = found_nothing ? std::min(in_vain_ + 1, without_wait) : 0;
}

} // namespace sim
