#include "ledger/store/sqlite_database.h"

#include <algorithm>
#include <array>

#include <linux/magic.h>
#include <sys/vfs.h>

namespace ledger {

namespace {

// How long a writer waits for its turn: an import or a check of a large ledger takes a while.
constexpr int patience_ms = 60000;

// On these, locks of one machine may not hold on another.
constexpr std::array<std::uint32_t, 7> network_file_systems{
    NFS_SUPER_MAGIC, SMB_SUPER_MAGIC,  0xFF534D42 /* cifs */, 0xFE534D42 /* smb2 */,
    AFS_SUPER_MAGIC, CODA_SUPER_MAGIC, 0x00C36400 /* ceph */,
};

void refuse_network_file_system(const std::string &path)
{
    struct statfs where {};
    const auto slash = path.rfind('/');
    const auto folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    if (statfs(folder.c_str(), &where) != 0) {
        return; // opening the file tells why
    }
    const auto kind = static_cast<std::uint32_t>(where.f_type);
    if (std::find(network_file_systems.begin(), network_file_systems.end(), kind) !=
        network_file_systems.end()) {
        throw database_error(failure::unusable,
                             path + " is on a network file system, where several stations could "
                                    "overwrite each other: use a local disk, or PostgreSQL");
    }
}

int bind(sqlite3_stmt *statement, int at, const value &given)
{
    if (const auto *number = std::get_if<std::int64_t>(&given)) {
        return sqlite3_bind_int64(statement, at, *number);
    }
    if (const auto *text = std::get_if<std::string>(&given)) {
        return sqlite3_bind_text(statement, at, text->data(), static_cast<int>(text->size()),
                                 SQLITE_STATIC);
    }
    return sqlite3_bind_null(statement, at);
}

row row_of(sqlite3_stmt *statement)
{
    std::vector<std::optional<std::string>> fields;
    for (int at = 0; at < sqlite3_column_count(statement); ++at) {
        const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(statement, at));
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, at));
        fields.push_back(text == nullptr ? std::nullopt
                                         : std::optional<std::string>(std::in_place, text, size));
    }
    return row(std::move(fields));
}

/** A statement is free for its next use, and holds no lock, whatever becomes of this one. */
class use_of_statement {
public:
    explicit use_of_statement(sqlite3_stmt *statement) : statement_(statement) {}
    ~use_of_statement()
    {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }
    use_of_statement(const use_of_statement &) = delete;
    use_of_statement &operator=(const use_of_statement &) = delete;

private:
    sqlite3_stmt *statement_;
};

} // namespace

sqlite_database::sqlite_database(std::string path, bool create) : path_(std::move(path))
{
    refuse_network_file_system(path_);
    try {
        open(SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0));
    } catch (...) {
        close();
        throw;
    }
}

sqlite_database::~sqlite_database()
{
    close();
}

sqlite_database::sqlite_database(std::string name, memory_only) : path_(std::move(name))
{
    open_file(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

void sqlite_database::open_file(int flags)
{
    const int code = sqlite3_open_v2(path_.c_str(), &connection_, flags, nullptr);
    if (code != SQLITE_OK) {
        fail(code);
    }
    sqlite3_extended_result_codes(connection_, 1);
}

void sqlite_database::open(int flags)
{
    open_file(flags);
    sqlite3_busy_timeout(connection_, patience_ms);
    set("journal_mode", "DELETE", "delete");
    set("synchronous", "EXTRA", "3");
    set("foreign_keys", "ON", "1");
    set("ignore_check_constraints", "OFF", "0");
    set("cell_size_check", "ON", "1");
}

void sqlite_database::close()
{
    for (const auto &[name, statement] : prepared_) {
        sqlite3_finalize(statement);
    }
    prepared_.clear();
    sqlite3_close_v2(connection_);
    connection_ = nullptr;
}

void sqlite_database::reconnect()
{
    close();
    open(SQLITE_OPEN_READWRITE);
}

void sqlite_database::set(const std::string &name, const std::string &wanted,
                          const std::string &read_back)
{
    column_of("PRAGMA " + name + "=" + wanted);
    const auto is = column_of("PRAGMA " + name);
    if (is.size() != 1 || is[0] != read_back) {
        throw database_error(failure::unusable, path_ + ": SQLite does not take the setting " +
                                                    name + "=" + wanted +
                                                    ", without which nothing is safe");
    }
}

void sqlite_database::fail(int code)
{
    const std::string why = connection_ == nullptr ? "no memory" : sqlite3_errmsg(connection_);
    switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        throw database_error(failure::unusable, path_ + " is in use by another program, which did "
                                                        "not let go of it for a minute");
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
        throw database_error(failure::unusable, path_ + " is damaged, or is no ledger: " + why);
    case SQLITE_FULL:
        throw database_error(failure::unusable, path_ + ": the disk is full");
    case SQLITE_CONSTRAINT:
        throw database_error(failure::constraint, why);
    default:
        throw database_error(failure::unusable, path_ + ": " + why);
    }
}

void sqlite_database::execute(const std::string &sql)
{
    const int code = sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        fail(code);
    }
}

std::vector<std::string> sqlite_database::column_of(const std::string &sql)
{
    std::vector<std::string> column;
    const auto take = [](void *into, int, char **fields, char **) {
        static_cast<std::vector<std::string> *>(into)->emplace_back(fields[0] ? fields[0] : "");
        return 0;
    };
    const int code = sqlite3_exec(connection_, sql.c_str(), take, &column, nullptr);
    if (code != SQLITE_OK) {
        fail(code);
    }
    return column;
}

void sqlite_database::begin_write()
{
    execute("BEGIN IMMEDIATE");
}

void sqlite_database::begin_read()
{
    execute("BEGIN");
}

void sqlite_database::commit()
{
    execute("COMMIT");
}

void sqlite_database::rollback() noexcept
{
    sqlite3_exec(connection_, "ROLLBACK", nullptr, nullptr, nullptr);
}

sqlite3_stmt *sqlite_database::prepared(std::string_view name)
{
    const auto found = prepared_.find(name);
    if (found != prepared_.end()) {
        return found->second;
    }
    sqlite3_stmt *statement = nullptr;
    const auto sql = texts_.text(name);
    const int code = sqlite3_prepare_v3(connection_, sql.c_str(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (code != SQLITE_OK) {
        fail(code);
    }
    return prepared_.emplace(name, statement).first->second;
}

void sqlite_database::each(std::string_view name, const values &given,
                           const std::function<void(const row &)> &take)
{
    auto *statement = prepared(name);
    const use_of_statement use(statement);
    for (std::size_t at = 0; at < given.size(); ++at) {
        const auto parameter = "$" + std::to_string(at + 1);
        const int place = sqlite3_bind_parameter_index(statement, parameter.c_str());
        const int code = bind(statement, place, given[at]);
        if (code != SQLITE_OK) {
            fail(code);
        }
    }
    int code = sqlite3_step(statement);
    for (; code == SQLITE_ROW; code = sqlite3_step(statement)) {
        take(row_of(statement));
    }
    if (code != SQLITE_DONE) {
        fail(code);
    }
}

void sqlite_database::run_script(std::string_view name)
{
    execute(texts_.text(name));
}

std::vector<std::string> sqlite_database::schema_differences()
{
    using object = std::pair<std::string, std::string>;
    const auto objects = [](database &in) {
        std::vector<object> all;
        in.each("schema_objects", {}, [&](const row &one) {
            all.emplace_back(one.text(0) + " " + one.text(1), one.text(2));
        });
        return all;
    };
    sqlite_database model(":memory:", memory_only{});
    bring_schema_up(model, 0);
    const auto wanted = objects(model);
    const auto is = objects(*this);
    std::vector<std::string> told;
    for (const auto &each : wanted) {
        if (std::find(is.begin(), is.end(), each) == is.end()) {
            told.push_back("the " + each.first + " is missing, or is another one");
        }
    }
    for (const auto &each : is) {
        const auto same = [&](const object &one) { return one.first == each.first; };
        if (std::none_of(wanted.begin(), wanted.end(), same)) {
            told.push_back("the " + each.first + " is none of the schema");
        }
    }
    return told;
}

std::vector<std::string> sqlite_database::damages()
{
    auto found = column_of("PRAGMA integrity_check(10)");
    if (found.size() == 1 && found[0] == "ok") {
        found = column_of("PRAGMA foreign_key_check");
        for (auto &table : found) {
            table.insert(0, "a row of the table ").append(" refers to one that is not there");
        }
    }
    return found;
}

} // namespace ledger
