#pragma once

#include <cstdint>

#include <boost/asio/steady_timer.hpp>

#include "floor/model/event_log.h"
#include "floor/requests/routes.h"
#include "floor/server/long_response.h"

namespace shopfloor {

/** Server-sent events for one reader: from the event after a number, or from the whole state on. */
class event_stream final : public long_response {
public:
    event_stream(service &of, boost::beast::tcp_stream stream, guest who);
    ~event_stream() override;

    void begin(const events_wanted &wanted);

    /** Sends what is new, unless something is on its way still. */
    void look();

private:
    void send_state();
    void send_events();
    void send(std::string text);
    void comment_later();
    std::shared_ptr<event_stream> self();

    boost::asio::steady_timer quiet_;
    std::uint64_t sent_ = 0; // the last event that is with the reader, or on its way
    bool writing_ = true;
};

void send_events(service &of, boost::beast::tcp_stream stream, guest who,
                 const events_wanted &wanted);

} // namespace shopfloor
