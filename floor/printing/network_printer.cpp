#include <utility> // Asio's own headers need it with this compiler

#include <boost/asio/ip/tcp.hpp>

#include "floor/printing/printer.h"

namespace shopfloor {

namespace {

using namespace std::chrono_literals;

constexpr auto connection_limit = 5s;
constexpr auto text_limit = 20s;

class tcp_printer : public printer {
public:
    tcp_printer(std::string host, std::string port) : host_(std::move(host)), port_(std::move(port))
    {
    }

    void print(const std::string &text) override
    {
        boost::asio::ip::tcp::iostream to;
        to.expires_after(connection_limit);
        to.connect(host_, port_);
        check(to, "the printer at " + host_ + ":" + port_ + " cannot be reached");
        to.expires_after(text_limit);
        to << text << std::flush;
        check(to, "the printer at " + host_ + ":" + port_ + " does not take the label");
        wait_until_taken(to);
    }

private:
    static void check(const boost::asio::ip::tcp::iostream &to, const std::string &what)
    {
        if (!to) {
            throw print_error(what + ": " + to.error().message());
        }
    }

    /** A printer closes once it has read all. One that stays open has taken what is on its way. */
    void wait_until_taken(boost::asio::ip::tcp::iostream &to) const
    {
        boost::system::error_code failed;
        to.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, failed);
        to.expires_after(connection_limit);
        while (to.get() != std::char_traits<char>::eof()) {
        }
        const auto end = to.error();
        if (end && end != boost::asio::error::eof && end != boost::asio::error::operation_aborted &&
            end != boost::asio::error::timed_out) {
            throw print_error("the printer at " + host_ + ":" + port_ +
                              " has hung up: " + end.message());
        }
    }

    const std::string host_;
    const std::string port_;
};

} // namespace

std::unique_ptr<printer> network_printer(std::string host, std::string port)
{
    return std::make_unique<tcp_printer>(std::move(host), std::move(port));
}

} // namespace shopfloor
