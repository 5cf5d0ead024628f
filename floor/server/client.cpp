#include "floor/server/client.h"

#include <chrono>
#include <stdexcept>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include "floor/requests/answers.h"

namespace shopfloor {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using beast::error_code;
using message = http::request<http::string_body>;

constexpr std::chrono::seconds patience{90}; // longer than the floor gives itself for an answer

/** One request on a connection of its own. */
class exchange {
public:
    exchange(const std::string &address, std::uint16_t port)
        : place_(asio::ip::make_address(address), port)
    {
    }

    http::response<http::string_body> run(const message &asked)
    {
        stream_.expires_after(patience);
        http::response<http::string_body> given;
        stream_.async_connect(place_, [this](const error_code &failed) { result_ = failed; });
        finish();
        http::async_write(stream_, asked,
                          [this](const error_code &failed, std::size_t) { result_ = failed; });
        finish();
        http::async_read(stream_, buffer_, given,
                         [this](const error_code &failed, std::size_t) { result_ = failed; });
        finish();
        return given;
    }

private:
    void finish()
    {
        io_.restart();
        io_.run();
        if (result_) {
            throw std::runtime_error("no floor answers at " + place_.address().to_string() +
                                     " port " + std::to_string(place_.port()) + ": " +
                                     result_.message());
        }
    }

    asio::ip::tcp::endpoint place_;
    asio::io_context io_{1};
    beast::tcp_stream stream_{io_};
    beast::flat_buffer buffer_ = {};
    error_code result_ = {};
};

answer answer_of(const http::response<http::string_body> &given)
{
    const auto content = json::parse(given.body(), nullptr, false);
    if (content.is_discarded() || !content.is_object()) {
        throw std::runtime_error("what answers is no floor");
    }
    const auto error = content.find("error");
    if (error == content.end()) {
        return {content, {}};
    }
    return {
        {},
        refusal{error->value("code", ""), error->value("reason", ""), error->value("advice", "")}};
}

message message_to(http::verb method, const std::string &path, std::uint16_t port)
{
    message asked{method, path, 11};
    asked.set(http::field::host, "localhost:" + std::to_string(port));
    asked.keep_alive(false);
    return asked;
}

} // namespace

client::client(std::string address, std::uint16_t port) : address_(std::move(address)), port_(port)
{
}

answer client::state() const
{
    return ask("/api/state");
}

answer client::start(const start_request &wanted) const
{
    json content{{"label", wanted.label}};
    for (const auto &[name, text] : {std::pair{"product", &wanted.product},
                                     {"serial", &wanted.serial},
                                     {"mac", &wanted.mac},
                                     {"operator", &wanted.operator_badge}}) {
        if (!text->empty()) {
            content[name] = *text;
        }
    }
    content["again"] = wanted.again;
    content["take_over"] = wanted.take_over;
    content["replace"] = wanted.replace;
    content["only_check"] = wanted.only_check;
    return change("/api/slots/" + std::to_string(wanted.slot) + "/start", content);
}

answer client::cancel(int slot) const
{
    return change("/api/slots/" + std::to_string(slot) + "/cancel", json::object());
}

answer client::ask(const std::string &path) const
{
    return answer_of(exchange(address_, port_).run(message_to(http::verb::get, path, port_)));
}

answer client::change(const std::string &path, const json &content) const
{
    auto session = ask("/api/session");
    if (session.refused) {
        return session;
    }
    auto asked = message_to(http::verb::post, path, port_);
    asked.set(http::field::content_type, "application/json");
    asked.set("X-Setmac-Token", session.content.value("token", ""));
    asked.body() = text_of(content);
    asked.prepare_payload();
    return answer_of(exchange(address_, port_).run(asked));
}

} // namespace shopfloor
