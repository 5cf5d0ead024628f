#include "floor/server/server.h"

#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <thread>
#include <utility>

#include <unistd.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "floor/requests/answers.h"
#include "floor/server/connection.h"
#include "floor/server/event_stream.h"
#include "floor/server/service.h"

namespace shopfloor {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

constexpr std::chrono::milliseconds accept_pause{100}; // when the process has no descriptors left
constexpr std::uint16_t http_port = 80;
// What the system keeps for a reader that is slow: left to itself it takes megabytes for each.
constexpr int unread_bytes = 256 * 1024;

asio::ip::address address_of(const std::string &text)
{
    error_code failed;
    auto address = asio::ip::make_address(text, failed);
    if (failed) {
        throw std::runtime_error("\"" + text +
                                 "\" is no address of this machine: write it in "
                                 "numbers, as 127.0.0.1 or ::1");
    }
    return address;
}

/** A machine as Host names it. */
std::string host_name(const asio::ip::address &address)
{
    return address.is_v6() ? "[" + address.to_string() + "]" : address.to_string();
}

door_rules rules_of(const server_settings &settings, std::uint16_t port)
{
    door_rules rules;
    const auto add_host = [&](const std::string &host) {
        rules.hosts.push_back(lower_case(host));
        rules.origins.push_back("http://" + lower_case(host));
    };
    std::vector<std::string> own{"localhost", "127.0.0.1", "[::1]"};
    if (const auto address = address_of(settings.address); !address.is_unspecified()) {
        own.push_back(host_name(address));
    }
    for (const auto &name : own) {
        add_host(name + ":" + std::to_string(port));
        if (port == http_port) {
            add_host(name);
        }
    }
    for (const auto &host : settings.hosts) {
        add_host(host);
    }
    for (const auto &origin : settings.origins) {
        rules.origins.push_back(lower_case(origin));
    }
    rules.token = new_token();
    return rules;
}

tcp::acceptor listen(asio::io_context &on, const server_settings &settings)
{
    const tcp::endpoint place(address_of(settings.address), settings.port);
    try {
        tcp::acceptor acceptor(on, place.protocol());
        acceptor.set_option(asio::socket_base::reuse_address(true)); // never the port of another
        acceptor.set_option(asio::socket_base::send_buffer_size(unread_bytes));
        acceptor.bind(place);
        acceptor.listen();
        return acceptor;
    } catch (const boost::system::system_error &why) {
        throw std::runtime_error("cannot listen on " + host_name(place.address()) + ":" +
                                 std::to_string(place.port()) + ": " + why.code().message());
    }
}

} // namespace

class server::engine {
public:
    engine(control &floor, const server_settings &settings, listening_port &on)
        : acceptor_(io_), pause_(io_)
    {
        const bool is_v6 = address_of(settings.address).is_v6();
        acceptor_.assign(is_v6 ? tcp::v6() : tcp::v4(), on.release());
        service_.reset(new service{floor, settings.limits,
                                   routes(rules_of(settings, port()), new_token().substr(0, 16)),
                                   std::make_shared<mailbox>(io_)});
        accept();
        thread_ = std::thread([this] { run(); });
        floor.events().call_on_news([this, mail = service_->mail, news = news_] {
            if (!news->exchange(true)) {
                mail->post([this] { on_news(); });
            }
        });
    }

    engine(const engine &) = delete;
    engine &operator=(const engine &) = delete;

    ~engine()
    {
        service_->floor.events().call_on_news({});
        service_->mail->close();
        io_.stop();
        thread_.join();
    }

    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

private:
    void run()
    {
        while (!io_.stopped()) {
            try {
                io_.run();
            } catch (const std::exception &why) { // ends one connection, not all
                std::fprintf(stderr, "A connection was given up: %s\n", why.what());
            }
        }
    }

    void accept()
    {
        acceptor_.async_accept([this](const error_code &failed, tcp::socket socket) {
            if (failed) {
                pause_.expires_after(accept_pause);
                pause_.async_wait([this](const error_code &) { accept(); });
                return;
            }
            accept(); // first: whatever becomes of this one
            welcome(std::move(socket));
        });
    }

    void welcome(tcp::socket socket)
    {
        error_code failed;
        const auto from = socket.remote_endpoint(failed);
        if (failed) { // it has gone already
            return;
        }
        const auto address = from.address().to_string();
        if (!service_->guests.has_room_for(address)) {
            turn_away(socket);
            return;
        }
        socket.set_option(tcp::no_delay(true), failed);
        serve_connection(*service_, std::move(socket), guest(service_->guests, address));
    }

    static void turn_away(tcp::socket &socket)
    {
        constexpr std::string_view busy = "HTTP/1.1 503 Service Unavailable\r\n"
                                          "Content-Length: 0\r\nConnection: close\r\n\r\n";
        error_code ignored;
        socket.non_blocking(true, ignored);
        socket.write_some(asio::buffer(busy), ignored);
    }

    void on_news()
    {
        news_->store(false);
        const auto readers = service_->streams; // one that ends leaves the list
        for (const auto &[key, reader] : readers) {
            if (const auto living = reader.lock()) {
                living->look();
            }
        }
    }

    // Connections end with their context and know the service until then: it goes after that.
    std::unique_ptr<service> service_ = {};
    asio::io_context io_{1};
    tcp::acceptor acceptor_;
    asio::steady_timer pause_;
    std::shared_ptr<std::atomic<bool>> news_ = std::make_shared<std::atomic<bool>>(false);
    std::thread thread_ = {};
};

listening_port::listening_port(const server_settings &settings)
{
    asio::io_context io;
    descriptor_ = listen(io, settings).release();
}

listening_port::~listening_port()
{
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

int listening_port::release()
{
    return std::exchange(descriptor_, -1);
}

server::server(control &floor, server_settings settings)
    : floor_(floor), settings_(std::move(settings))
{
}

server::~server() = default;

void server::start()
{
    listening_port own(settings_);
    start(own);
}

void server::start(listening_port &on)
{
    engine_ = std::make_unique<engine>(floor_, settings_, on);
}

std::uint16_t server::port() const
{
    return engine_->port();
}

void server::stop()
{
    engine_.reset();
}

} // namespace shopfloor
