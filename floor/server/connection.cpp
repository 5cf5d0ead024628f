#include "floor/server/connection.h"

#include <exception>
#include <optional>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include "floor/requests/answers.h"
#include "floor/server/event_stream.h"
#include "floor/server/export_stream.h"
#include "floor/server/http_head.h"

namespace shopfloor {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using beast::error_code;

// What the other side still sends is dropped while it reads a last response.
constexpr std::size_t most_drained = std::size_t(1024) * 1024;

request head_of(const http::request<http::string_body> &message)
{
    request head;
    head.method = message.method_string();
    head.target = message.target();
    for (const auto &field : message) {
        head.headers.push_back({std::string(field.name_string()), std::string(field.value())});
    }
    return head;
}

/** Why what was read is no request. */
request_error mistake(const error_code &why)
{
    if (why == http::error::header_limit) {
        return {"bad_request", "the headers are too long", "", 431};
    }
    if (why == http::error::body_limit) {
        return {"bad_request", "the content is too long", "", 413};
    }
    return {"bad_request", "this is no request of HTTP/1.1"};
}

bool is_mistake(const error_code &why)
{
    return why.category() == http::make_error_code(http::error::bad_method).category() &&
           why != http::error::end_of_stream && why != http::error::partial_message;
}

class connection : public std::enable_shared_from_this<connection> {
public:
    connection(service &of, asio::ip::tcp::socket socket, guest who)
        : service_(of), who_(std::move(who)), stream_(std::move(socket)),
          buffer_(of.limits.header_bytes + of.limits.body_bytes), patience_(stream_.get_executor())
    {
    }

    /** Waits for the next request, if it is not there already. */
    void await_request()
    {
        if (buffer_.size() > 0) {
            read_head();
            return;
        }
        stream_.expires_after(parser_ ? service_.limits.idle : service_.limits.head);
        stream_.async_read_some(
            buffer_.prepare(4096),
            [self = shared_from_this()](const error_code &failed, std::size_t size) {
                if (!failed) {
                    self->buffer_.commit(size);
                    self->read_head();
                }
            });
    }

private:
    using parser = http::request_parser<http::string_body>;

    void read_head()
    {
        parser_.emplace();
        parser_->header_limit(static_cast<std::uint32_t>(service_.limits.header_bytes));
        parser_->body_limit(service_.limits.body_bytes);
        stream_.expires_after(service_.limits.head);
        http::async_read_header(stream_, buffer_, *parser_,
                                [self = shared_from_this()](const error_code &failed, std::size_t) {
                                    if (!failed) {
                                        self->on_head();
                                    } else if (is_mistake(failed)) {
                                        self->refuse(mistake(failed).answered());
                                    }
                                });
    }

    void on_head()
    {
        whole_ = head_of(parser_->get());
        if (parser_->get().version() != 11) {
            refuse(
                request_error("bad_request", "only HTTP/1.1 is spoken here", "", 505).answered());
        } else if (auto why = service_.routing.turned_away(whole_)) {
            // Content that was not read would be taken for the next request.
            has_content(whole_) ? refuse(std::move(*why)) : respond(std::move(*why));
        } else if (parser_->is_done()) {
            take();
        } else if (!whole_.values_of("expect").empty()) {
            ask_for_body();
        } else {
            read_body();
        }
    }

    /** For who sends content only once it is known to be wanted. */
    void ask_for_body()
    {
        constexpr std::string_view go_on = "HTTP/1.1 100 Continue\r\n\r\n";
        stream_.expires_after(service_.limits.write);
        asio::async_write(stream_, asio::buffer(go_on),
                          [self = shared_from_this()](const error_code &failed, std::size_t) {
                              if (!failed) {
                                  self->read_body();
                              }
                          });
    }

    void read_body()
    {
        stream_.expires_after(service_.limits.body);
        http::async_read(stream_, buffer_, *parser_,
                         [self = shared_from_this()](const error_code &failed, std::size_t) {
                             if (!failed) {
                                 self->take();
                             } else if (is_mistake(failed)) {
                                 self->refuse(mistake(failed).answered());
                             }
                         });
    }

    void take()
    {
        whole_.body = std::move(parser_->get().body());
        std::visit([this](auto &&what) { begin(std::forward<decltype(what)>(what)); },
                   service_.routing.task_for(whole_));
    }

    void begin(response ready) { respond(std::move(ready)); }

    void begin(export_wanted wanted)
    {
        send_export(service_, std::move(stream_), std::move(who_), std::move(wanted));
    }

    void begin(events_wanted wanted)
    {
        send_events(service_, std::move(stream_), std::move(who_), wanted);
    }

    void begin(floor_call call)
    {
        const auto number = ++asked_;
        tell_ = std::move(call.tell);
        patience_.expires_after(service_.limits.answer);
        patience_.async_wait([self = shared_from_this(), number](const error_code &failed) {
            if (!failed) {
                self->on_answer(number, {{},
                                         refusal{"no_answer", "the floor takes too long",
                                                 "See in the state what became of it"}});
            }
        });
        try {
            call.ask(service_.floor,
                     [mail = service_.mail, to = weak_from_this(), number](answer given) {
                         mail->post([to, number, given = std::move(given)] {
                             if (const auto self = to.lock()) {
                                 self->on_answer(number, given);
                             }
                         });
                     });
        } catch (const std::exception &why) {
            on_answer(number, {{}, refusal{"failed", why.what(), ""}});
        }
    }

    void on_answer(std::uint64_t number, const answer &given)
    {
        if (number != asked_ || !tell_) {
            return; // it came too late
        }
        patience_.cancel();
        const auto tell = std::exchange(tell_, nullptr);
        respond(tell(given));
    }

    /** The connection ends with this response. */
    void refuse(response why)
    {
        last_ = true;
        respond(std::move(why));
    }

    void respond(response given)
    {
        last_ = last_ || !parser_->get().keep_alive();
        response_.emplace(head_of_response<http::string_body>(given));
        response_->keep_alive(!last_);
        if (parser_->get().method() != http::verb::head) { // has no content in any case
            response_->body() = std::move(given.body);
        }
        if (given.status != 304) {
            response_->prepare_payload();
        }
        stream_.expires_after(service_.limits.write);
        http::async_write(stream_, *response_,
                          [self = shared_from_this()](const error_code &failed, std::size_t) {
                              if (!failed) {
                                  self->last_ ? self->say_farewell() : self->await_request();
                              }
                          });
    }

    /** Closing while bytes of the other side are unread would take the response away from it. */
    void say_farewell()
    {
        error_code ignored;
        stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        stream_.expires_after(farewell);
        drain();
    }

    void drain()
    {
        buffer_.clear();
        stream_.async_read_some(
            buffer_.prepare(4096),
            [self = shared_from_this()](const error_code &failed, std::size_t size) {
                self->drained_ += size;
                if (!failed && self->drained_ < most_drained) {
                    self->drain();
                }
            });
    }

    service &service_;
    guest who_;
    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    std::optional<parser> parser_ = {};
    request whole_ = {};
    std::optional<http::response<http::string_body>> response_ = {};
    bool last_ = false;
    std::size_t drained_ = 0;

    asio::steady_timer patience_;
    std::uint64_t asked_ = 0;
    std::function<response(const answer &)> tell_ = {}; // of the question that is open
};

} // namespace

void serve_connection(service &of, asio::ip::tcp::socket socket, guest who)
{
    std::make_shared<connection>(of, std::move(socket), std::move(who))->await_request();
}

} // namespace shopfloor
