#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "floor/app/log.h"
#include "floor/model/control.h"

namespace shopfloor {

/**
 * Tells the log when runs begin and end, when an adapter is missing, and when the ledger goes and
 * comes back, from the first event on. Looks at the events a few times a second: the one listener
 * that they have is the server.
 */
class log_of_events {
public:
    /** Both must outlive this. */
    log_of_events(event_log &events, const log &to);
    ~log_of_events();
    log_of_events(const log_of_events &) = delete;
    log_of_events &operator=(const log_of_events &) = delete;

private:
    void follow();
    void catch_up();
    void tell(const event &news);
    void tell_slot(const json &slot);

    event_log &events_;
    const log &to_;
    std::uint64_t told_ = 0;            // the number of the last event
    std::map<int, std::string> states_; // of slots, as told last
    std::mutex guard_;
    std::condition_variable news_;
    bool ending_ = false;
    std::thread thread_; // uses all of the above
};

} // namespace shopfloor
