#pragma once

#include <chrono>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

/** Is open for as long as one of the programs is that were started since. */
class life_line {
public:
    life_line()
    {
        if (pipe(ends_) != 0) {
            throw std::runtime_error("no pipe");
        }
        fcntl(ends_[0], F_SETFD, FD_CLOEXEC);
    }
    life_line(const life_line &) = delete;
    life_line &operator=(const life_line &) = delete;
    ~life_line() { close(ends_[0]); }

    /** Waits for the end of all of them, once; throws where it does not come in time. */
    void await_end(std::chrono::milliseconds patience) const
    {
        close(ends_[1]);
        pollfd end = {.fd = ends_[0], .events = POLLIN, .revents = 0};
        if (poll(&end, 1, static_cast<int>(patience.count())) <= 0) {
            throw std::runtime_error("a program has not ended");
        }
    }

private:
    int ends_[2] = {-1, -1};
};
