#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <libpq-fe.h>

#include "ledger/store/database.h"
#include "ledger/store/statements.h"

namespace ledger {

/** A ledger in the schema "ledger" of a PostgreSQL database that several stations share. */
class postgres_database : public database {
public:
    /** A connection on which nothing was heard for that long is lost. */
    postgres_database(std::string url, std::chrono::milliseconds silence);
    ~postgres_database() override;
    postgres_database(const postgres_database &) = delete;
    postgres_database &operator=(const postgres_database &) = delete;

    void begin_write() override;
    void begin_read() override;
    void commit() override;
    void rollback() noexcept override;
    void each(std::string_view statement, const values &given,
              const std::function<void(const row &)> &take) override;
    /** Waits in a queue for the next call that needs an answer. */
    void run(std::string_view name, const values &given) override;
    void settle() override;
    void reconnect() override;
    void run_script(std::string_view name) override;
    std::vector<std::string> schema_differences() override;
    std::vector<std::string> damages() override;

private:
    struct result_deleter {
        void operator()(PGresult *result) const;
    };
    using result_pointer = std::unique_ptr<PGresult, result_deleter>;
    using row_taker = std::function<void(const row &)>;
    struct statement {
        std::string name;
        std::vector<std::optional<std::string>> given;
    };

    void wait_for(bool writing);
    void send(int put_together);
    result_pointer next_result();
    result_pointer only_result();
    result_pointer asked(const std::string &sql);
    void check_heard() const;
    void connect();
    void check_settings();
    void execute(const std::string &sql);
    std::string setting(const std::string &name);
    std::vector<std::string> schema_objects(const std::string &schema);
    void prepare(std::string_view name);
    void queue(std::string_view name, const values &given);
    void carry_out(const row_taker &take);
    void send_queue();
    result_pointer take_result(const row_taker &take, std::exception_ptr &thrown);
    [[noreturn]] void fail(const PGresult *result);

    std::string url_;
    std::chrono::milliseconds silence_;
    bool is_silent_ = false;
    PGconn *connection_ = nullptr;
    std::set<std::string, std::less<>> prepared_;
    std::vector<statement> queue_; // not yet sent
    statements texts_{postgres_sql};
};

} // namespace ledger
