#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "floor/model/control.h"

namespace shopfloor {

/** What is too much, and too long. */
struct server_limits {
    std::size_t header_bytes = 16384; // of a request's first line and headers together
    std::size_t body_bytes = 65536;
    std::size_t connections = 512;
    std::size_t connections_of_one = 128;      // of one address; a proxy is one
    std::chrono::milliseconds idle{60'000};    // between two requests
    std::chrono::milliseconds head{10'000};    // from a request's first byte to its last header
    std::chrono::milliseconds body{20'000};    // for all of it
    std::chrono::milliseconds answer{60'000};  // that the floor takes
    std::chrono::milliseconds write{30'000};   // that the other side takes nothing
    std::chrono::milliseconds comment{15'000}; // between two comments in a stream of events
    std::size_t page_rows = 500;               // that an export holds in memory at once
};

struct server_settings {
    std::string address = "127.0.0.1"; // of this machine, where it listens
    std::uint16_t port = 8080;         // 0: the system chooses
    /** What Host may say, beside the names of the machine itself with the port:
     * "floor.example.com". */
    std::vector<std::string> hosts = {};
    /** What Origin may say, beside http:// and each host: "https://floor.example.com". */
    std::vector<std::string> origins = {};
    server_limits limits = {};
};

/** A port on which this machine listens. Who connects waits until a server takes it. */
class listening_port {
public:
    /** Throws std::runtime_error where it cannot listen: another may have the port. */
    explicit listening_port(const server_settings &settings);
    ~listening_port();
    listening_port(const listening_port &) = delete;
    listening_port &operator=(const listening_port &) = delete;

    /** Its descriptor, which is the caller's from now on. */
    int release();

private:
    int descriptor_;
};

/** Answers what docs/floor-api.md lists, on a thread of its own. */
class server {
public:
    /** The floor must outlive the server. */
    server(control &floor, server_settings settings);
    ~server();
    server(const server &) = delete;
    server &operator=(const server &) = delete;

    /** Throws std::runtime_error where it cannot listen. */
    void start();
    /** On a port of the same settings. */
    void start(listening_port &on);

    /** Where it listens, after start(). */
    std::uint16_t port() const;

    /** Ends all connections; answers that come later go nowhere. */
    void stop();

private:
    class engine;
    control &floor_;
    server_settings settings_;
    std::unique_ptr<engine> engine_;
};

} // namespace shopfloor
