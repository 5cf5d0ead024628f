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
constexpr int searches = 2000;
constexpr int import_batch = 20000;

double seconds_of(const std::function<void()> &what)
{
    const auto start = steady::now();
    what();
    return std::chrono::duration<double>(steady::now() - start).count();
}

long peak_kib()
{
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss;
}

void require(bool well, const char *what)
{
    if (!well) {
        throw std::runtime_error(what);
    }
}

/** One row after the other, each durable, on SQLite as the ledger has it set. */
double bare_sqlite(const std::string &file)
{
    sqlite3 *to = nullptr;
    require(sqlite3_open(file.c_str(), &to) == SQLITE_OK, "open");
    const auto run = [&](const char *sql) {
        require(sqlite3_exec(to, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
    };
    run("PRAGMA journal_mode=DELETE; PRAGMA synchronous=EXTRA; CREATE TABLE t (n INTEGER)");
    const auto took = seconds_of([&] {
        for (int number = 0; number < reservations; ++number) {
            run("BEGIN IMMEDIATE");
            run("INSERT INTO t VALUES (1)");
            run("COMMIT");
        }
    });
    sqlite3_close(to);
    return reservations / took;
}

double bare_postgres(const std::string &url)
{
    auto *to = PQconnectdb(url.c_str());
    const auto run = [&](const char *sql) {
        auto *result = PQexec(to, sql);
        const bool well = PQresultStatus(result) == PGRES_COMMAND_OK;
        PQclear(result);
        require(well, sql);
    };
    run("CREATE TABLE t (n bigint)");
    const auto took = seconds_of([&] {
        for (int number = 0; number < reservations; ++number) {
            run("BEGIN");
            run("INSERT INTO t VALUES (1)");
            run("COMMIT");
        }
    });
    PQfinish(to);
    return reservations / took;
}

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

double reserve_rate(book &in, const std::string &prefix)
{
    return reservations / seconds_of([&] {
               for (int number = 0; number < reservations; ++number) {
                   in.reserve({.label = prefix + std::to_string(number), .product = "SW"});
               }
           });
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

void measure(const std::string &name, const std::string &url, double bare, int units)
{
    const ledger::ledger_place place{.url = url};
    book::init(place);
    book in(place);
    add_office(in);
    const auto empty = reserve_rate(in, "A");
    std::printf("| %s: reservations a second, empty | %.0f | bare transactions | %.0f | %.2f |\n",
                name.c_str(), empty, bare, empty / bare);
    const auto filled = seconds_of([&] { fill(in, units); });
    std::printf("| %s: units imported a second | %.0f | | | |\n", name.c_str(), units / filled);
    const auto full = reserve_rate(in, "B");
    std::printf("| %s: reservations a second, %d units | %.0f | empty | %.0f | %.2f |\n",
                name.c_str(), units, full, empty, full / empty);
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
    const std::string folder = argv[1];
    const int units = std::atoi(argv[2]); // NOLINT(cert-err34-c)
    measure("SQLite", "sqlite:" + folder + "/bench.db", bare_sqlite(folder + "/bare.db"), units);
    if (argc > 3) {
        measure("PostgreSQL", argv[3], bare_postgres(argv[3]), units);
    }
    return 0;
}
