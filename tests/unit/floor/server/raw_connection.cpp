#include "unit/floor/server/raw_connection.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

namespace floor_tests {

namespace {

constexpr std::chrono::minutes patience{1};

std::string host_line(std::uint16_t port)
{
    return "Host: localhost:" + std::to_string(port) + "\r\n";
}

} // namespace

raw_connection::raw_connection(std::uint16_t port, int receive_buffer)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    if (receive_buffer > 0) {
        setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof(receive_buffer));
    }
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<const sockaddr *>(&place), sizeof(place)) != 0) {
        close(socket_);
        throw std::runtime_error("no connection");
    }
}

raw_connection::~raw_connection()
{
    close(socket_);
}

bool raw_connection::send(std::string_view text)
{
    while (!text.empty()) {
        pollfd writable = {.fd = socket_, .events = POLLOUT, .revents = 0};
        if (poll(&writable, 1, 60'000) <= 0) {
            throw std::runtime_error("nothing is taken");
        }
        const auto sent = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno != EAGAIN) {
            return false;
        }
        text.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
    return true;
}

bool raw_connection::receive(std::chrono::milliseconds time)
{
    pollfd readable = {.fd = socket_, .events = POLLIN, .revents = 0};
    if (poll(&readable, 1, static_cast<int>(time.count())) <= 0) {
        throw std::runtime_error("nothing comes");
    }
    std::array<char, 65536> bytes{};
    const auto size = recv(socket_, bytes.data(), bytes.size(), 0);
    received_.append(bytes.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
    return size > 0;
}

std::string raw_connection::read_to(std::string_view mark)
{
    std::size_t place = 0;
    while ((place = received_.find(mark)) == std::string::npos) {
        if (!receive(patience)) {
            throw std::runtime_error("closed before " + std::string(mark) + ": " + received_);
        }
    }
    auto text = received_.substr(0, place + mark.size());
    received_.erase(0, text.size());
    return text;
}

std::string raw_connection::read_response()
{
    auto text = read_to("\r\n\r\n");
    const std::string_view name = "Content-Length: ";
    const auto place = text.find(name);
    const auto length = place == std::string::npos
                            ? 0
                            : std::strtoul(text.c_str() + place + name.size(), nullptr, 10);
    while (received_.size() < length && receive(patience)) {
    }
    text += received_.substr(0, length);
    received_.erase(0, length);
    return text;
}

std::string raw_connection::read_all()
{
    while (receive(patience)) {
    }
    return std::exchange(received_, {});
}

bool raw_connection::is_closed_within(std::chrono::milliseconds time)
{
    try {
        while (receive(time)) {
        }
        return true;
    } catch (const std::runtime_error &) {
        return false;
    }
}

std::string get(std::uint16_t port, std::string_view target, std::string_view more_headers)
{
    return "GET " + std::string(target) + " HTTP/1.1\r\n" + host_line(port) +
           std::string(more_headers) + "\r\n";
}

std::string post(std::uint16_t port, std::string_view target, std::string_view token,
                 std::string_view body)
{
    return "POST " + std::string(target) + " HTTP/1.1\r\n" + host_line(port) +
           "Content-Type: application/json\r\nX-Setmac-Token: " + std::string(token) +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

std::string token_of(std::uint16_t port)
{
    raw_connection to(port);
    to.send(get(port, "/api/session"));
    return nlohmann::json::parse(body_of(to.read_response()))["token"];
}

int status_of(std::string_view response)
{
    return response.starts_with("HTTP/1.1 ") ? std::atoi(std::string(response.substr(9, 3)).c_str())
                                             : 0;
}

std::string body_of(const std::string &response)
{
    return response.substr(response.find("\r\n\r\n") + 4);
}

chunked_body unchunked(std::string_view response)
{
    chunked_body body;
    auto rest = response.substr(response.find("\r\n\r\n") + 4);
    while (!rest.empty()) {
        const auto size = std::strtoul(std::string(rest.substr(0, 20)).c_str(), nullptr, 16);
        const auto begin = rest.find("\r\n") + 2;
        if (size == 0) {
            body.whole = rest == "0\r\n\r\n";
            return body;
        }
        body.content += rest.substr(begin, size);
        rest.remove_prefix(std::min(rest.size(), begin + size + 2));
    }
    return body;
}

} // namespace floor_tests
