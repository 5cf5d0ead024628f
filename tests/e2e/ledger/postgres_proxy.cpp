#include "e2e/ledger/postgres_proxy.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ledger_tests {

namespace {

constexpr int moment_ms = 50;

sockaddr_un address_in(const std::filesystem::path &folder)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto path = (folder / ".s.PGSQL.5432").string();
    path.copy(static_cast<char *>(address.sun_path), sizeof address.sun_path - 1);
    return address;
}

bool send_all(int to, std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto sent = send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

/** Appends what has come; false at the end of the connection. */
bool receive(int from, std::string &into)
{
    std::array<char, 65536> part{};
    const auto got = recv(from, part.data(), part.size(), 0);
    into.append(part.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    return got > 0;
}

/** The length of the message at the beginning of the bytes, 0 where it is not all there. */
std::size_t message_length(std::string_view bytes, bool started)
{
    const std::size_t type = started ? 1 : 0; // the first message of a connection has none
    std::uint32_t length = 0;
    if (bytes.size() < type + sizeof length) {
        return 0;
    }
    std::memcpy(&length, bytes.data() + type, sizeof length);
    const auto whole = type + ntohl(length);
    return whole <= bytes.size() ? whole : 0;
}

} // namespace

postgres_proxy::postgres_proxy(const std::filesystem::path &server,
                               const std::filesystem::path &own)
    : server_(server), own_(own), listening_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const auto address = address_in(own_);
    if (bind(listening_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listening_, SOMAXCONN) != 0) {
        throw std::runtime_error("the proxy cannot listen");
    }
    thread_ = std::thread([this] { serve(); });
}

postgres_proxy::~postgres_proxy()
{
    ends_ = true;
    thread_.join();
    let_go();
    close(listening_);
}

void postgres_proxy::cut_at(int message, moment when)
{
    messages_ = 0;
    when_ = when;
    cut_at_ = message;
}

std::string postgres_proxy::through(std::string url) const
{
    const auto folder = server_.string();
    return url.replace(url.find(folder), folder.size(), own_.string());
}

void postgres_proxy::serve()
{
    while (!ends_) {
        pollfd waiting{listening_, POLLIN, 0};
        if (poll(&waiting, 1, moment_ms) <= 0) {
            continue;
        }
        const int client = accept(listening_, nullptr, nullptr);
        const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const auto address = address_in(server_);
        if (connect(server, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
            carry(client, server);
        }
        close(client);
        close(server);
    }
}

void postgres_proxy::carry(int client, int server)
{
    std::string from_client;
    bool started = false;
    while (!ends_) {
        std::array<pollfd, 2> waiting{{{client, POLLIN, 0}, {server, POLLIN, 0}}};
        poll(waiting.data(), waiting.size(), moment_ms);
        if (waiting[0].revents != 0 && !receive(client, from_client)) {
            return;
        }
        if (!pass_on(from_client, started, client, server)) {
            return;
        }
        std::string from_server;
        if (waiting[1].revents != 0 &&
            (!receive(server, from_server) || !send_all(client, from_server))) {
            return;
        }
    }
}

/** Takes what the station sends, until it gives the connection up, of which the server learns
 * nothing. */
void postgres_proxy::swallow(int client, int server)
{
    {
        const std::lock_guard lock(held_mutex_);
        held_.push_back(dup(server));
    }
    std::string lost;
    while (!ends_ && receive(client, lost)) {
    }
}

void postgres_proxy::let_go()
{
    const std::lock_guard lock(held_mutex_);
    for (const int server : held_) {
        close(server);
    }
    held_.clear();
}

bool postgres_proxy::pass_on(std::string &from_client, bool &started, int client, int server)
{
    while (const auto length = message_length(from_client, started)) {
        const bool cut = ++messages_ == cut_at_;
        if (cut && when_ == moment::before) {
            return false;
        }
        if (cut && when_ == moment::silent_before) {
            swallow(client, server);
            return false;
        }
        if (!send_all(server, std::string_view(from_client).substr(0, length))) {
            return false;
        }
        if (cut && when_ == moment::silent_after) {
            swallow(client, server);
            return false;
        }
        if (cut) {
            // The station has gone; the server does its work, and answers nobody.
            shutdown(client, SHUT_RDWR);
            pollfd answer{server, POLLIN, 0};
            poll(&answer, 1, moment_ms);
            return false;
        }
        started = true;
        from_client.erase(0, length);
    }
    return true;
}

} // namespace ledger_tests
