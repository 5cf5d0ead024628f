#include "ledger/store/postgres_database.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <poll.h>

namespace ledger {

namespace {

// The URL may say otherwise. A machine that is silent for half a minute is gone.
constexpr std::array default_keywords{
    "connect_timeout",     "tcp_user_timeout", "keepalives_idle",
    "keepalives_interval", "client_encoding",  "application_name",
};
constexpr std::array default_values{"10", "30000", "10", "5", "UTF8", "setmac-ledger"};

// So many statements wait to be sent together; more would only take memory.
constexpr std::size_t longest_queue = 64;

std::string message_of(const char *text)
{
    std::string message = text == nullptr ? "" : text;
    while (!message.empty() && message.back() == '\n') {
        message.pop_back();
    }
    std::replace(message.begin(), message.end(), '\n', ' ');
    return message;
}

failure kind_of(std::string_view state)
{
    constexpr std::string_view serialization = "40001";
    constexpr std::string_view deadlock = "40P01";
    if (state == serialization || state == deadlock) {
        return failure::again;
    }
    if (state.starts_with("08") || state.starts_with("57P")) {
        return failure::lost;
    }
    return state.starts_with("23") ? failure::constraint : failure::unusable;
}

std::string replaced(std::string text, std::string_view what, std::string_view with)
{
    return text.replace(text.find(what), what.size(), with);
}

std::optional<std::string> text_of(const value &given)
{
    if (const auto *number = std::get_if<std::int64_t>(&given)) {
        return std::to_string(*number);
    }
    const auto *text = std::get_if<std::string>(&given);
    return text == nullptr ? std::nullopt : std::optional(*text);
}

row row_of(const PGresult *result, int number)
{
    std::vector<std::optional<std::string>> fields;
    for (int at = 0; at < PQnfields(result); ++at) {
        if (PQgetisnull(result, number, at) != 0) {
            fields.emplace_back(std::nullopt);
            continue;
        }
        const auto size = static_cast<std::size_t>(PQgetlength(result, number, at));
        fields.emplace_back(std::in_place, PQgetvalue(result, number, at), size);
    }
    return row(std::move(fields));
}

} // namespace

void postgres_database::result_deleter::operator()(PGresult *result) const
{
    PQclear(result);
}

postgres_database::postgres_database(std::string url, std::chrono::milliseconds silence)
    : url_(std::move(url)), silence_(silence)
{
    try {
        connect();
    } catch (...) {
        PQfinish(connection_);
        throw;
    }
}

postgres_database::~postgres_database()
{
    PQfinish(connection_);
}

void postgres_database::connect()
{
    std::vector<const char *> keywords(default_keywords.begin(), default_keywords.end());
    std::vector<const char *> given(default_values.begin(), default_values.end());
    keywords.insert(keywords.end(), {"dbname", nullptr});
    given.insert(given.end(), {url_.c_str(), nullptr});
    connection_ = PQconnectdbParams(keywords.data(), given.data(), 1);
    is_silent_ = false;
    if (PQstatus(connection_) != CONNECTION_OK || PQsetnonblocking(connection_, 1) != 0) {
        throw database_error(failure::lost, message_of(PQerrorMessage(connection_)));
    }
    PQsetNoticeProcessor(
        connection_, [](void *, const char *) {}, nullptr);
    check_settings();
}

void postgres_database::check_settings()
{
    execute("SET search_path = ledger");
    // A station that loses its network in a transaction lets go of the lock before others give up.
    execute("SET idle_in_transaction_session_timeout = '30s'");
    execute("SET lock_timeout = '60s'");
    if (setting("fsync") != "on") {
        throw database_error(failure::unusable, "the server runs with fsync off: what it has "
                                                "committed does not survive a power cut");
    }
    if (setting("synchronous_commit") == "off") {
        execute("SET synchronous_commit = on");
    }
    if (setting("synchronous_commit") == "off") {
        throw database_error(failure::unusable, "the server keeps synchronous_commit off");
    }
    if (setting("session_replication_role") != "origin") {
        throw database_error(failure::unusable, "session_replication_role is not \"origin\" here, "
                                                "without which triggers hold no rule");
    }
}

std::string postgres_database::setting(const std::string &name)
{
    const auto result = asked("SHOW " + name);
    if (PQresultStatus(result.get()) != PGRES_TUPLES_OK) {
        fail(result.get());
    }
    return PQgetvalue(result.get(), 0, 0);
}

/**
 * Waits until the connection can be read, or written where that is wanted. A server that works
 * answers long before the limit; one that says nothing may be behind a network that swallows all,
 * of which the system tells nothing where something in between still confirms what it is sent.
 */
void postgres_database::wait_for(bool writing)
{
    pollfd waiting{PQsocket(connection_), static_cast<short>(writing ? POLLIN | POLLOUT : POLLIN),
                   0};
    int ready = -1;
    do {
        ready = poll(&waiting, 1, static_cast<int>(silence_.count()));
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) {
        is_silent_ = true;
        throw database_error(failure::lost, "the database has said nothing for " +
                                                std::to_string(silence_.count() / 1000) + " s");
    }
    PQconsumeInput(connection_); // what it fails with shows in the result
}

/** Sees all off that a function of libpq has put together. */
void postgres_database::send(int put_together)
{
    if (put_together != 1) {
        fail(nullptr);
    }
    int left = PQflush(connection_);
    for (; left == 1; left = PQflush(connection_)) {
        wait_for(true);
    }
}

/** The next result of what was sent; null behind the last one. */
postgres_database::result_pointer postgres_database::next_result()
{
    while (PQstatus(connection_) != CONNECTION_BAD && PQisBusy(connection_) != 0) {
        wait_for(false);
    }
    return result_pointer(PQgetResult(connection_));
}

/** The last result that is not null: there is one of each statement. */
postgres_database::result_pointer postgres_database::only_result()
{
    result_pointer last;
    while (auto result = next_result()) {
        last = std::move(result);
        if (PQstatus(connection_) == CONNECTION_BAD) {
            break;
        }
    }
    return last;
}

postgres_database::result_pointer postgres_database::asked(const std::string &sql)
{
    settle();
    check_heard();
    send(PQsendQuery(connection_, sql.c_str()));
    return only_result();
}

/** A connection that was silent is of no use any more, whatever still comes over it. */
void postgres_database::check_heard() const
{
    if (is_silent_) {
        throw database_error(failure::lost, "the connection to the database was given up");
    }
}

void postgres_database::reconnect()
{
    PQfinish(connection_);
    connection_ = nullptr;
    prepared_.clear();
    queue_.clear();
    connect();
}

void postgres_database::fail(const PGresult *result)
{
    const auto *field = result == nullptr ? nullptr : PQresultErrorField(result, PG_DIAG_SQLSTATE);
    const std::string state = field == nullptr ? "" : field;
    const auto *primary =
        result == nullptr ? nullptr : PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
    const auto why = message_of(primary == nullptr ? PQerrorMessage(connection_) : primary);
    // What has no state was not said by the server: it is the connection's own trouble.
    if (PQstatus(connection_) == CONNECTION_BAD || state.empty()) {
        throw database_error(failure::lost, "the connection to the database broke: " + why);
    }
    throw database_error(kind_of(state), "the database: " + why);
}

void postgres_database::execute(const std::string &sql)
{
    const auto result = asked(sql);
    const auto status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        fail(result.get());
    }
}

void postgres_database::begin_write()
{
    run("begin_write", {});
}

void postgres_database::begin_read()
{
    execute("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
}

void postgres_database::commit()
{
    const auto result = asked("COMMIT");
    if (PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
        fail(result.get());
    }
    if (std::string_view(PQcmdStatus(result.get())) != "COMMIT") {
        throw database_error(failure::again, "the database has undone the transaction");
    }
}

void postgres_database::rollback() noexcept
{
    queue_.clear();
    if (PQtransactionStatus(connection_) == PQTRANS_IDLE) {
        return;
    }
    try {
        asked("ROLLBACK");
    } catch (const database_error &) {
        is_silent_ = true; // and so the server undoes it by itself
    }
}

void postgres_database::prepare(std::string_view name)
{
    if (prepared_.contains(name)) {
        return;
    }
    const std::string key(name);
    check_heard();
    send(PQsendPrepare(connection_, key.c_str(), texts_.text(name).c_str(), 0, nullptr));
    const auto result = only_result();
    if (PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
        fail(result.get());
    }
    prepared_.insert(key);
}

void postgres_database::queue(std::string_view name, const values &given)
{
    prepare(name);
    auto &last = queue_.emplace_back(statement{std::string(name), {}});
    std::transform(given.begin(), given.end(), std::back_inserter(last.given), text_of);
}

void postgres_database::run(std::string_view name, const values &given)
{
    queue(name, given);
    if (queue_.size() == longest_queue) {
        settle();
    }
}

void postgres_database::settle()
{
    if (!queue_.empty()) {
        carry_out({});
    }
}

void postgres_database::each(std::string_view name, const values &given, const row_taker &take)
{
    queue(name, given);
    carry_out(take);
}

void postgres_database::send_queue()
{
    bool put_together = PQenterPipelineMode(connection_) == 1;
    for (const auto &each : std::exchange(queue_, {})) {
        std::vector<const char *> texts;
        texts.reserve(each.given.size());
        for (const auto &text : each.given) {
            texts.push_back(text ? text->c_str() : nullptr);
        }
        put_together = put_together && PQsendQueryPrepared(connection_, each.name.c_str(),
                                                           static_cast<int>(texts.size()),
                                                           texts.data(), nullptr, nullptr, 0) == 1;
    }
    send(put_together ? PQpipelineSync(connection_) : 0);
}

/**
 * Sends all that is queued and waits for the answers once: what a station far from the server waits
 * for most is the way there and back. Hands over the rows of the last statement. The server skips
 * all that stands behind one that fails.
 */
void postgres_database::carry_out(const row_taker &take)
{
    check_heard();
    auto left = queue_.size();
    send_queue();
    std::exception_ptr thrown;
    result_pointer failed;
    // All results are fetched whatever happens: the connection is of no use before that.
    for (; left > 0; --left) {
        auto result = take_result(left == 1 ? take : row_taker(), thrown);
        const auto status = PQresultStatus(result.get());
        if (PQstatus(connection_) == CONNECTION_BAD) {
            fail(failed ? failed.get() : result.get());
        }
        if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK && !failed) {
            failed = std::move(result);
        }
    }
    next_result(); // the end of what was sent
    if (PQexitPipelineMode(connection_) != 1 || failed) {
        fail(failed.get());
    }
    if (thrown) {
        std::rethrow_exception(thrown);
    }
}

/** The last result of one statement, with its rows handed over until that throws. */
postgres_database::result_pointer postgres_database::take_result(const row_taker &take,
                                                                 std::exception_ptr &thrown)
{
    if (take) {
        // A row at a time: an answer may be larger than memory.
        PQsetSingleRowMode(connection_);
    }
    result_pointer last;
    while (auto result = next_result()) {
        last = std::move(result);
        if (PQresultStatus(last.get()) == PGRES_SINGLE_TUPLE && !thrown) {
            try {
                take(row_of(last.get(), 0));
            } catch (...) {
                thrown = std::current_exception();
            }
        }
        if (PQstatus(connection_) == CONNECTION_BAD) {
            break;
        }
    }
    return last;
}

void postgres_database::run_script(std::string_view name)
{
    execute(texts_.text(name));
}

std::vector<std::string> postgres_database::schema_objects(const std::string &schema)
{
    std::vector<std::string> all;
    each("schema_objects", {schema}, [&](const row &one) { all.push_back(one.text(0)); });
    return all;
}

std::vector<std::string> postgres_database::schema_differences()
{
    // A second schema, made for the comparison by a transaction that is undone.
    const auto is = schema_objects("ledger");
    execute("BEGIN");
    std::string script;
    for (std::int64_t number = 1; number <= schema_number; ++number) {
        script += texts_.text("schema_" + std::to_string(number));
    }
    script = replaced(script, "CREATE SCHEMA ledger", "CREATE SCHEMA ledger_model");
    script = replaced(script, "search_path = ledger", "search_path = ledger_model");
    std::vector<std::string> wanted;
    try {
        execute(script);
        wanted = schema_objects("ledger_model");
    } catch (...) {
        rollback();
        throw;
    }
    rollback();
    std::vector<std::string> told;
    for (const auto &each : wanted) {
        if (std::find(is.begin(), is.end(), each) == is.end()) {
            told.push_back("the rule " + each.substr(0, each.find(' ')) +
                           " is missing, switched off, or another one");
        }
    }
    return told;
}

std::vector<std::string> postgres_database::damages()
{
    return {}; // the server's own tools look for it, pg_amcheck for one
}

} // namespace ledger
