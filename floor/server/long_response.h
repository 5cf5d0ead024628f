#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/tcp_stream.hpp>

#include "floor/requests/message.h"
#include "floor/server/service.h"

namespace shopfloor {

/**
 * A response of unknown length, in chunks, that ends its connection. Is there for as long as the
 * other side is, or until it has ended.
 */
class long_response : public std::enable_shared_from_this<long_response> {
public:
    long_response(service &of, boost::beast::tcp_stream stream, guest who);
    virtual ~long_response() = default;
    long_response(const long_response &) = delete;
    long_response &operator=(const long_response &) = delete;

protected:
    /** Notices when the other side goes away. The first thing to do. */
    void watch();

    /** Each of these calls the function once all of it is with the system; one at a time. */
    void write_head(const response &head, std::function<void()> then);
    void write_chunk(std::string text, std::function<void()> then);
    void write_end();

    /** Breaks the connection off: what was sent is not all. */
    void cut();

    bool is_cut() const { return cut_; }
    boost::beast::tcp_stream &stream() { return stream_; }
    service &shared() { return service_; }

private:
    void write(std::string text, std::function<void()> then);

    service &service_;
    guest who_;
    boost::beast::tcp_stream stream_;
    std::array<char, 512> unwanted_ = {};
    std::string text_ = {};
    boost::asio::steady_timer farewell_;
    bool cut_ = false;
};

} // namespace shopfloor
