#pragma once

#include <filesystem>
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

    /** Ends it at once, as a power cut would, and starts it again. */
    void restart();

    ~postgres_server();
    postgres_server(const postgres_server &) = delete;
    postgres_server &operator=(const postgres_server &) = delete;

private:
    postgres_server();
    void start();
    void stop();
    std::string url(const std::string &database) const;

    std::filesystem::path folder_;
    pid_t server_ = -1;
    int databases_ = 0;
};

/** Carries out SQL behind the ledger's back; why it was refused, or nothing. */
std::string sql_error(const std::string &url, const std::string &sql);

} // namespace ledger_tests
