#include "floor/server/long_response.h"

#include <cstdio>

#include <boost/asio/write.hpp>
#include <boost/beast/http/empty_body.hpp>

#include "floor/server/http_head.h"

namespace shopfloor {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::beast::error_code;

long_response::long_response(service &of, boost::beast::tcp_stream stream, guest who)
    : service_(of), who_(std::move(who)), stream_(std::move(stream)),
      farewell_(stream_.get_executor())
{
}

void long_response::watch()
{
    stream_.expires_never();
    stream_.async_read_some(asio::buffer(unwanted_),
                            [self = shared_from_this()](const error_code &, std::size_t) {
                                self->cut(); // it has gone, or has more to say than was asked
                            });
}

void long_response::write_head(const response &head, std::function<void()> then)
{
    auto message = head_of_response<http::empty_body>(head);
    message.chunked(true);
    message.keep_alive(false);
    std::string text =
        "HTTP/1.1 " + std::to_string(head.status) + " " + std::string(message.reason()) + "\r\n";
    for (const auto &each : message) {
        text += std::string(each.name_string()) + ": " + std::string(each.value()) + "\r\n";
    }
    write(text + "\r\n", std::move(then));
}

void long_response::write_chunk(std::string text, std::function<void()> then)
{
    if (text.empty()) { // would be the end
        then();
        return;
    }
    std::array<char, 20> size{};
    const int digits = std::snprintf(size.data(), size.size(), "%zx\r\n", text.size());
    text.insert(0, size.data(), static_cast<std::size_t>(digits));
    text += "\r\n";
    write(std::move(text), std::move(then));
}

void long_response::write_end()
{
    write("0\r\n\r\n", [this] {
        error_code ignored;
        stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        farewell_.expires_after(farewell);
        farewell_.async_wait([self = shared_from_this()](const error_code &) { self->cut(); });
    });
}

void long_response::write(std::string text, std::function<void()> then)
{
    if (cut_) {
        return;
    }
    text_ = std::move(text);
    stream_.expires_after(service_.limits.write);
    asio::async_write(
        stream_, asio::buffer(text_),
        [self = shared_from_this(), then = std::move(then)](const error_code &failed, std::size_t) {
            if (failed) {
                self->cut();
            } else if (!self->cut_) {
                then();
            }
        });
}

void long_response::cut()
{
    cut_ = true;
    farewell_.cancel();
    stream_.close();
}

} // namespace shopfloor
