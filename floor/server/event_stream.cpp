#include "floor/server/event_stream.h"

#include "floor/requests/answers.h"
#include "floor/requests/event_text.h"

namespace shopfloor {

namespace {

constexpr std::size_t events_at_once = 64;

} // namespace

event_stream::event_stream(service &of, boost::beast::tcp_stream stream, guest who)
    : long_response(of, std::move(stream), std::move(who)), quiet_(this->stream().get_executor())
{
}

event_stream::~event_stream()
{
    shared().streams.erase(this);
}

void event_stream::begin(const events_wanted &wanted)
{
    shared().streams.emplace(this, self());
    watch();
    const bool goes_on =
        wanted.after && shared().floor.events().after(*wanted.after, 0).has_value();
    sent_ = wanted.after.value_or(0);
    write_head({.type = "text/event-stream", .headers = {{"X-Accel-Buffering", "no"}}},
               [this, goes_on] {
                   comment_later();
                   if (goes_on) {
                       send("retry: 1000\n\n");
                   } else {
                       send_state();
                   }
               });
}

void event_stream::look()
{
    if (!writing_ && !is_cut()) {
        send_events();
    }
}

void event_stream::send_state()
{
    const auto state = shared().floor.state();
    sent_ = state.at("event").get<std::uint64_t>();
    send("retry: 1000\n" + event_text(shared().routing.start(), {sent_, "state", text_of(state)}));
}

void event_stream::send_events()
{
    const auto news = shared().floor.events().after(sent_, events_at_once);
    if (!news) { // the reader is so slow that what follows is not kept any more
        cut();
        return;
    }
    std::string text;
    for (const auto &each : *news) {
        text += event_text(shared().routing.start(), each);
        sent_ = each.number;
    }
    if (!text.empty()) {
        send(std::move(text));
    }
}

void event_stream::send(std::string text)
{
    writing_ = true;
    write_chunk(std::move(text), [this] {
        writing_ = false;
        look();
    });
}

void event_stream::comment_later()
{
    quiet_.expires_after(shared().limits.comment);
    quiet_.async_wait([reader = std::weak_ptr(self())](const boost::system::error_code &failed) {
        const auto living = reader.lock();
        if (failed || !living || living->is_cut()) {
            return;
        }
        if (!living->writing_) {
            living->send(":\n\n");
        }
        living->comment_later();
    });
}

std::shared_ptr<event_stream> event_stream::self()
{
    return std::static_pointer_cast<event_stream>(shared_from_this());
}

void send_events(service &of, boost::beast::tcp_stream stream, guest who,
                 const events_wanted &wanted)
{
    std::make_shared<event_stream>(of, std::move(stream), std::move(who))->begin(wanted);
}

} // namespace shopfloor
