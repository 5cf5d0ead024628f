#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <sys/types.h>

namespace ledger_tests {

/**
 * A real server in a folder of its own, which listens on a socket in that folder and nowhere else.
 * It runs as a user that is not root, and ends with the tests.
 */
class postgres_server {
public:
    /** The server of this process, which its first use starts. */
    static postgres_server &only();

    /** The URL of a new, empty database. */
    std::string new_database();

    const std::filesystem::path &folder() const { return folder_; }

    /** Breaks all connections off and ends it in order; its folder and databases stay. */
    void stop();
    /** Starts it where it does not run; on the tests' main thread, with which it ends. */
    void start();
    /** Ends it at once, as a power cut would, and starts it again. */
    void restart();

    ~postgres_server();
    postgres_server(const postgres_server &) = delete;
    postgres_server &operator=(const postgres_server &) = delete;

private:
    postgres_server();
    void end_by(int signal);
    std::string url(const std::string &database) const;

    std::filesystem::path folder_;
    std::optional<pid_t> server_; // none: it does not run
    int databases_ = 0;
};

/** Carries out SQL behind the ledger's back; why it was refused, or nothing. */
std::string sql_error(const std::string &url, const std::string &sql);

} // namespace ledger_tests
