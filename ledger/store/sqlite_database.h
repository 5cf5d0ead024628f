#pragma once

#include <map>
#include <string>

#include <sqlite3.h>

#include "ledger/store/database.h"
#include "ledger/store/statements.h"

namespace ledger {

/** A ledger in an SQLite file: rollback journal, every commit synced with its folder. */
class sqlite_database : public database {
public:
    sqlite_database(std::string path, bool create);
    ~sqlite_database() override;
    sqlite_database(const sqlite_database &) = delete;
    sqlite_database &operator=(const sqlite_database &) = delete;

    void begin_write() override;
    void begin_read() override;
    void commit() override;
    void rollback() noexcept override;
    void each(std::string_view statement, const values &given,
              const std::function<void(const row &)> &take) override;
    void reconnect() override;
    void run_script(std::string_view name) override;
    std::vector<std::string> schema_differences() override;
    std::vector<std::string> damages() override;

private:
    struct memory_only {};
    /** A database that nobody else sees, as it is before any setting. */
    sqlite_database(std::string name, memory_only kind);

    void open(int flags);
    void open_file(int flags);
    void close();
    void set(const std::string &name, const std::string &wanted, const std::string &read_back);
    void execute(const std::string &sql);
    std::vector<std::string> column_of(const std::string &sql);
    sqlite3_stmt *prepared(std::string_view name);
    [[noreturn]] void fail(int code);

    std::string path_;
    sqlite3 *connection_ = nullptr;
    std::map<std::string, sqlite3_stmt *, std::less<>> prepared_;
    statements texts_{sqlite_sql};
};

} // namespace ledger
