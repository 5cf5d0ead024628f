// ledger_bench FOLDER UNITS [POSTGRES_URL]: what a ledger costs, beside a bare durable transaction
// of the same database in the same run. Prints rows of a table.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <libpq-fe.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include "ledger/book/book.h"

namespace {

using ledger::book;
using steady = std::chrono::steady_clock;

constexpr int reservations = 500;
constexpr int turn = 25;
constexpr int searches = 2000;
constexpr int import_batch = 20000;

double seconds_of(const std::function<void()> &what)
{
    const auto start = steady::now();
    what();
    return std::chrono::duration<double>(steady::now() - start).count();
}

rusage used()
{
    rusage all{};
    getrusage(RUSAGE_SELF, &all);
    return all;
}

long peak_kib()
{
    return used().ru_maxrss;
}

double cpu_seconds()
{
    const auto all = used();
    const auto seconds = [](const timeval &of) {
        return static_cast<double>(of.tv_sec) + static_cast<double>(of.tv_usec) / 1e6;
    };
    return seconds(all.ru_utime) + seconds(all.ru_stime);
}

void require(bool well, const char *what)
{
    if (!well) {
        throw std::runtime_error(what);
    }
}

/** One row after the other, each durable, in a database as the ledger has it set. */
class bare_transactions {
public:
    virtual ~bare_transactions() = default;
    virtual void run(const char *sql) = 0;

    void insert(int rows)
    {
        for (int number = 0; number < rows; ++number) {
            run("BEGIN");
            run("INSERT INTO bare VALUES (1)");
            run("COMMIT");
        }
    }
};

class bare_sqlite : public bare_transactions {
public:
    explicit bare_sqlite(const std::string &file)
    {
        require(sqlite3_open(file.c_str(), &to_) == SQLITE_OK, "open");
        run("PRAGMA journal_mode=DELETE; PRAGMA synchronous=EXTRA; CREATE TABLE bare (n INTEGER)");
    }
    ~bare_sqlite() override { sqlite3_close(to_); }
    bare_sqlite(const bare_sqlite &) = delete;
    bare_sqlite &operator=(const bare_sqlite &) = delete;

    void run(const char *sql) override
    {
        require(sqlite3_exec(to_, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
    }

private:
    sqlite3 *to_ = nullptr;
};

class bare_postgres : public bare_transactions {
public:
    explicit bare_postgres(const std::string &url) : to_(PQconnectdb(url.c_str()))
    {
        run("CREATE TABLE bare (n bigint)");
    }
    ~bare_postgres() override { PQfinish(to_); }
    bare_postgres(const bare_postgres &) = delete;
    bare_postgres &operator=(const bare_postgres &) = delete;

    void run(const char *sql) override
    {
        auto *result = PQexec(to_, sql);
        const bool well = PQresultStatus(result) == PGRES_COMMAND_OK;
        PQclear(result);
        require(well, sql);
    }

private:
    PGconn *to_;
};

void add_office(book &to)
{
    to.add_pool({.name = "office",
                 .of_macs = true,
                 .first = 0x001A30000000,
                 .last = 0x001A3FFFFFFF,
                 .count = 16,
                 .align = 16});
    to.add_pool({.name = "sn", .first = 1, .pattern = "ABCD{yy}{ww}{n:9}"});
    to.add_product({.name = "SW", .mac = {false, "office"}, .serial = {false, "sn"}});
}

/** Reservations and bare transactions in turns, so that what else the machine does meets both. */
void compare(const std::string &what, book &in, bare_transactions &bare, const std::string &prefix)
{
    double bare_seconds = 0;
    double seconds = 0;
    double cpu = 0;
    for (int done = 0; done < reservations; done += turn) {
        bare_seconds += seconds_of([&] { bare.insert(turn); });
        const auto cpu_before = cpu_seconds();
        seconds += seconds_of([&] {
            for (int number = done; number < done + turn; ++number) {
                in.reserve({.label = prefix + std::to_string(number), .product = "SW"});
            }
        });
        cpu += cpu_seconds() - cpu_before;
    }
    std::printf("| %s: reservations a second | %.0f | bare transactions | %.0f | %.2f |\n",
                what.c_str(), reservations / seconds, reservations / bare_seconds,
                bare_seconds / seconds);
    std::printf("| %s: CPU time of a reservation, ms | %.3f | | | |\n", what.c_str(),
                1000 * cpu / reservations);
}

void fill(book &in, int units)
{
    for (int done = 0; done < units; done += import_batch) {
        std::vector<ledger::imported_line> lines;
        for (int number = done; number < std::min(units, done + import_batch); ++number) {
            const auto text = std::to_string(number);
            lines.push_back({.line = number,
                             .label = "U" + text,
                             .product = "SW",
                             .serial = "S" + text,
                             .mac = ledger::mac_text(0x001B00000000 + number * 16),
                             .mac_count = "16"});
        }
        require(in.import_units(lines).empty(), "import");
    }
}

double find_ms(book &in, int units)
{
    return 1000 / double{searches} * seconds_of([&] {
               for (int number = 0; number < searches; ++number) {
                   const auto unit = static_cast<std::int64_t>(number) * 7919 % units;
                   require(in.find(ledger::mac_text(0x001B00000000 + unit * 16 + 5)).has_value(),
                           "find");
               }
           });
}

void measure(const std::string &name, const std::string &url, bare_transactions &bare, int units)
{
    const ledger::ledger_place place{.url = url};
    book::init(place);
    book in(place);
    add_office(in);
    compare(name + ", empty", in, bare, "A");
    const auto filled = seconds_of([&] { fill(in, units); });
    std::printf("| %s: units imported a second | %.0f | | | |\n", name.c_str(), units / filled);
    compare(name + ", " + std::to_string(units) + " units", in, bare, "B");
    std::printf("| %s: find by address, %d units, ms | %.3f | | | |\n", name.c_str(), units,
                find_ms(in, units));
    auto before = peak_kib();
    int seen = 0;
    const auto exported = seconds_of([&] { in.export_units({}, [&](const auto &) { ++seen; }); });
    std::printf("| %s: export of %d units, s | %.1f | | | |\n", name.c_str(), seen, exported);
    const auto checked = seconds_of([&] { require(in.check().findings.empty(), "check"); });
    std::printf("| %s: check of %d units, s | %.1f | | | |\n", name.c_str(), seen, checked);
    std::printf("| %s: memory that these two added to the peak, KiB | %ld | | | |\n", name.c_str(),
                peak_kib() - before);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: ledger_bench FOLDER UNITS [POSTGRES_URL]\n");
        return 2;
    }
    setlinebuf(stdout); // a million units take minutes
    const std::string folder = argv[1];
    const int units = std::atoi(argv[2]); // NOLINT(cert-err34-c)
    bare_sqlite in_a_file(folder + "/bare.db");
    measure("SQLite", "sqlite:" + folder + "/bench.db", in_a_file, units);
    if (argc > 3) {
        bare_postgres on_a_server(argv[3]);
        measure("PostgreSQL", argv[3], on_a_server, units);
    }
    return 0;
}
