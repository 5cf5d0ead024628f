#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace floor_tests {

/** Bytes to and from a port of this machine. All that waits ends after a minute, and then throws.
 */
class raw_connection {
public:
    explicit raw_connection(std::uint16_t port, int receive_buffer = 0);
    raw_connection(const raw_connection &) = delete;
    raw_connection &operator=(const raw_connection &) = delete;
    ~raw_connection();

    /** Whether all of it was taken; the other side may have closed. */
    bool send(std::string_view text);
    /** Everything up to this mark, with it. */
    std::string read_to(std::string_view mark);
    /** A response with the content that its length tells. */
    std::string read_response();
    /** Everything until the other side closes or breaks the connection off. */
    std::string read_all();
    /** Whether the other side closes within this time; what comes until then is dropped. */
    bool is_closed_within(std::chrono::milliseconds time);

private:
    /** False at the end. */
    bool receive(std::chrono::milliseconds time);

    int socket_;
    std::string received_ = {}; // and not taken yet
};

/** A request without content, by the name of the floor. */
std::string get(std::uint16_t port, std::string_view target, std::string_view more_headers = "");

/** A change with its token. */
std::string post(std::uint16_t port, std::string_view target, std::string_view token,
                 std::string_view body);

/** The token that a floor tells. */
std::string token_of(std::uint16_t port);

/** "HTTP/1.1 200 OK" is 200. */
int status_of(std::string_view response);
std::string body_of(const std::string &response);

/** The content of a response in chunks; whether its end has come. */
struct chunked_body {
    std::string content = {};
    bool whole = false;
};
chunked_body unchunked(std::string_view response);

} // namespace floor_tests
