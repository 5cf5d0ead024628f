#pragma once

#include <stop_token>
#include <thread>

namespace station {

/**
 * While it exists, SIGINT, SIGTERM and SIGHUP request a stop in place of ending the program. One at
 * a time. Throws std::system_error where the system has no means for that.
 */
class stop_on_signals {
public:
    stop_on_signals();
    stop_on_signals(const stop_on_signals &) = delete;
    stop_on_signals &operator=(const stop_on_signals &) = delete;
    ~stop_on_signals();

    std::stop_token token() const { return stop_.get_token(); }

private:
    std::stop_source stop_;
    std::jthread waiting_;
};

} // namespace station
