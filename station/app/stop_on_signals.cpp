#include "station/app/stop_on_signals.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace station {

namespace {

constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};

// Requesting a stop is nothing for a signal handler: that only tells a thread, which does it.
int told = -1;

void tell(int /*signal*/)
{
    const int error = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(told, &one, sizeof(one));
    errno = error;
}

void handle_signals_by(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int signal : signals) {
        sigaction(signal, &action, nullptr);
    }
}

} // namespace

stop_on_signals::stop_on_signals()
{
    told = eventfd(0, EFD_CLOEXEC);
    if (told < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    waiting_ = std::jthread([this] {
        std::uint64_t count = 0;
        while (read(told, &count, sizeof(count)) < 0 && errno == EINTR) {
        }
        stop_.request_stop();
    });
    handle_signals_by(tell);
}

stop_on_signals::~stop_on_signals()
{
    handle_signals_by(SIG_DFL);
    tell(0);
    waiting_.join();
    close(told);
    told = -1;
}

} // namespace station
