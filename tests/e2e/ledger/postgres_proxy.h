#pragma once

#include <atomic>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ledger_tests {

/**
 * Stands between a station and the server, one connection after the other, and cuts one at a
 * message of the station, or has it fall silent as a broken network does.
 */
class postgres_proxy {
public:
    enum class moment {
        before,        // the message does not reach the server
        after,         // it does, and its answer does not come back
        silent_before, // the same, and nothing is closed: all is swallowed from then on
        silent_after
    };

    /** In front of the server whose socket is in that folder; its own is in the other one. */
    postgres_proxy(const std::filesystem::path &server, const std::filesystem::path &own);
    ~postgres_proxy();
    postgres_proxy(const postgres_proxy &) = delete;
    postgres_proxy &operator=(const postgres_proxy &) = delete;

    /** Cuts once, at the message of that number from now on; 0 counts only. */
    void cut_at(int message, moment when);
    /** The server learns that the stations are gone whose connections have fallen silent. */
    void let_go();
    int messages() const { return messages_; }

    /** The server's URL with the proxy in its place. */
    std::string through(std::string url) const;

private:
    void serve();
    void carry(int client, int server);
    void swallow(int client, int server);
    /** False: the connection is cut. */
    bool pass_on(std::string &from_client, bool &started, int client, int server);

    std::filesystem::path server_;
    std::filesystem::path own_;
    int listening_ = -1;
    std::atomic<bool> ends_{false};
    std::vector<int> held_; // connections to the server that stay open
    std::mutex held_mutex_;
    std::atomic<int> messages_{0};
    std::atomic<int> cut_at_{0};
    std::atomic<moment> when_{moment::before};
    std::thread thread_;
};

} // namespace ledger_tests
