#include "unit/ledger/support/postgres_server.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <libpq-fe.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ledger_tests {

namespace {

constexpr std::chrono::seconds patience{60};

/** Becomes a program of the server: without root's rights, silent, ended with its parent. */
[[noreturn]] void become(const std::vector<std::string> &command)
{
    const auto *nobody = geteuid() == 0 ? getpwnam("nobody") : nullptr;
    if (nobody != nullptr && (setgid(nobody->pw_gid) != 0 ||
                              setresuid(nobody->pw_uid, nobody->pw_uid, nobody->pw_uid) != 0)) {
        _exit(EXIT_FAILURE);
    }
    prctl(PR_SET_PDEATHSIG, SIGQUIT);
    const int null = open("/dev/null", O_RDWR);
    for (const int each : {0, 1, 2}) {
        dup2(null, each);
    }
    std::vector<char *> arguments;
    for (const auto &word : command) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(EXIT_FAILURE);
}

pid_t started(const std::vector<std::string> &command)
{
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("no process can be started");
    }
    if (child == 0) {
        become(command);
    }
    return child;
}

struct connection {
    explicit connection(const std::string &url) : held(PQconnectdb(url.c_str())) {}
    ~connection() { PQfinish(held); }
    connection(const connection &) = delete;
    connection &operator=(const connection &) = delete;
    PGconn *held;
};

std::string postgres_error(const std::string &url, const std::string &sql)
{
    const connection to(url);
    PQsetNoticeProcessor(
        to.held, [](void *, const char *) {}, nullptr);
    auto *result = PQexec(to.held, sql.c_str());
    const auto status = PQresultStatus(result);
    const bool well = status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
    std::string why = well ? "" : PQerrorMessage(to.held);
    PQclear(result);
    return why;
}

std::string sqlite_error(const std::string &path, const std::string &sql)
{
    sqlite3 *to = nullptr;
    sqlite3_open_v2(path.c_str(), &to, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_exec(to, "PRAGMA foreign_keys=ON", nullptr, nullptr, nullptr);
    const int code = sqlite3_exec(to, sql.c_str(), nullptr, nullptr, nullptr);
    std::string why = code == SQLITE_OK ? "" : sqlite3_errmsg(to);
    sqlite3_close(to);
    return why;
}

} // namespace

postgres_server &postgres_server::only()
{
    static postgres_server server;
    return server;
}

postgres_server::postgres_server()
{
    std::string name = "/tmp/ledger-postgres-XXXXXX";
    folder_ = mkdtemp(name.data());
    if (const auto *nobody = getpwnam("nobody");
        geteuid() == 0 && nobody != nullptr &&
        chown(folder_.c_str(), nobody->pw_uid, nobody->pw_gid) != 0) {
        throw std::runtime_error("cannot give the server its folder");
    }
    const pid_t making =
        started({POSTGRES_PROGRAMS "/initdb", "-D", (folder_ / "data").string(), "-U", "ledger",
                 "--auth=trust", "--no-sync", "--no-locale", "-E", "UTF8"});
    int status = 0;
    waitpid(making, &status, 0);
    if (status != 0) {
        throw std::runtime_error("initdb failed");
    }
    start();
}

postgres_server::~postgres_server()
{
    end_by(SIGQUIT);
    std::filesystem::remove_all(folder_);
}

std::string postgres_server::url(const std::string &database) const
{
    return "postgresql:///" + database + "?host=" + folder_.string() + "&user=ledger";
}

void postgres_server::start()
{
    if (server_) {
        return;
    }
    server_ = started({POSTGRES_PROGRAMS "/postgres", "-D", (folder_ / "data").string(), "-k",
                       folder_.string(), "-c", "listen_addresses=", "-c", "max_connections=200"});
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (PQping(url("postgres").c_str()) != PQPING_OK) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the server does not start");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

void postgres_server::end_by(int signal)
{
    if (server_) {
        kill(*server_, signal);
        waitpid(*server_, nullptr, 0);
        server_.reset();
    }
}

void postgres_server::stop()
{
    end_by(SIGINT);
}

void postgres_server::restart()
{
    end_by(SIGQUIT);
    start();
}

std::string postgres_server::new_database()
{
    const auto name = "ledger_" + std::to_string(++databases_);
    const auto why = postgres_error(url("postgres"), "CREATE DATABASE " + name);
    if (!why.empty()) {
        throw std::runtime_error(why);
    }
    return url(name);
}

std::string sql_error(const std::string &url, const std::string &sql)
{
    const std::string sqlite = "sqlite:";
    return url.starts_with(sqlite) ? sqlite_error(url.substr(sqlite.size()), sql)
                                   : postgres_error(url, "SET search_path = ledger; " + sql);
}

} // namespace ledger_tests
