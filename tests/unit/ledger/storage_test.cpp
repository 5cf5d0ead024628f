#include <filesystem>
#include <fstream>
#include <optional>

#include "unit/ledger/support/ledger_test.h"
#include "unit/ledger/support/postgres_server.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

class keeping : public ledger_test {};
ON_BOTH_DATABASES(keeping);

TEST_P(keeping, a_ledger_that_is_there_is_left_by_init)
{
    auto in = open();
    add_office(in);
    const auto a = text_of(reserved(in, "A"));
    EXPECT_EQ(book::init(place), init_result::left_as_it_is);
    EXPECT_EQ(text_of(reserved(in, "A")), a);
}

TEST_P(keeping, a_schema_from_the_future_is_refused)
{
    EXPECT_EQ(sql_error(place.url, "UPDATE ledger SET schema_number = 3"), "");
    const std::string why =
        "unusable: the ledger has schema 3, and this program knows only up to 2: "
        "use a newer setmac-ledger";
    EXPECT_EQ(error_of([&] { open(); }), why);
    EXPECT_EQ(error_of([&] { book::init(place); }), why);
}

TEST_P(keeping, the_first_schema_is_brought_up_to_date_by_init_and_loses_nothing)
{
    {
        auto in = open();
        add_office(in);
        reserved(in, "A");
    }
    for (const auto *added : {"TABLE print", "INDEX attempt_slot", "INDEX attempt_open"}) {
        EXPECT_EQ(sql_error(place.url, std::string("DROP ") + added), "");
    }
    EXPECT_EQ(sql_error(place.url, "UPDATE ledger SET schema_number = 1"), "");
    EXPECT_EQ(error_of([&] { open(); }),
              "unusable: the ledger has schema 1, and this program works with 2: "
              "\"setmac-ledger init\" brings it up to date");
    EXPECT_EQ(book::init(place), init_result::brought_up_to_date);
    auto in = open();
    EXPECT_EQ(text_of(reserved(in, "A")), "A ABCD264700001 00:1A:2B:00:00:00/64 reserved");
    in.ask_print({.label = "A", .station = "line-1", .content = "^XA^XZ"});
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(keeping, a_copy_is_the_same_ledger_on_either_database)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto id = in.begin_attempt("A", {.station = "line-1"});
    in.end_attempt(id, attempt_outcome::verified, "", {.sent = "s", .read_back = "r"});
    in.ask_print({.label = "A", .station = "line-1", .content = "^XA^XZ"});
    in.void_unit("A", "why", "Ada");
    reserved(in, "B");
    for (const auto &url : {"sqlite:" + path("copy.db"), postgres_server::only().new_database()}) {
        in.copy_to(url);
        auto there = place;
        there.url = url;
        book copy(there);
        EXPECT_EQ(findings_of(copy), "") << url;
        EXPECT_EQ(copy.check().entries, in.check().entries);
        EXPECT_EQ(text_of(*copy.find("B")), text_of(*in.find("B")));
        EXPECT_EQ(copy.attempts_of(*copy.find("A")).at(0).evidence.read_back, "r");
        EXPECT_EQ(copy.prints({}, 0, 10).at(0).asked.content, "^XA^XZ");
        EXPECT_EQ(text_of(reserved(copy, "C")), "C ABCD264700003 00:1A:2B:00:00:80/64 reserved");
        EXPECT_EQ(error_of([&] { in.copy_to(url); }),
                  "refused: " + url + " holds a ledger already");
    }
    EXPECT_FALSE(in.find("C"));
}

TEST_P(keeping, what_a_rule_forbids_is_told_before_the_commit_and_harms_nothing)
{
    auto in = open();
    add_office(in);
    const auto other = open_database(place.url, false);
    const auto go_back = [&] {
        other->begin_write();
        other->run("pool_advance", {"office", 0, 1, 1});
        other->run("ledger_set_witness", {"/elsewhere"});
        other->settle();
    };
    std::optional<failure> how;
    try {
        go_back();
    } catch (const database_error &failed) {
        how = failed.how();
    }
    EXPECT_EQ(how, failure::constraint);
    other->rollback();
    EXPECT_EQ(other->first("ledger_row")->text(4), "");
    EXPECT_EQ(text_of(reserved(in, "A")), "A ABCD264700001 00:1A:2B:00:00:00/64 reserved");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(keeping, a_read_sees_all_that_was_written_before_it_however_much)
{
    const auto to = open_database(place.url, false);
    const auto last = to->first("ledger_row")->number(2);
    to->begin_write();
    for (std::int64_t number = last + 1; number <= last + 500; ++number) {
        to->run("journal_add", {number, "t", "unit", "s", "k", "{}", "p", "h"});
        if (number == last + 300) {
            EXPECT_TRUE(to->first("journal_entry", {number}));
        }
    }
    std::int64_t seen = 0;
    to->each("journal_after", {last}, [&](const row &) { ++seen; });
    EXPECT_EQ(seen, 500);
    to->rollback();
    EXPECT_FALSE(to->first("journal_entry", {last + 1}));
}

TEST(sqlite, that_holds_no_ledger_is_refused)
{
    const auto folder = std::filesystem::temp_directory_path() / "ledger-no-ledger";
    std::filesystem::create_directories(folder);
    const auto file = (folder / "file").string();
    EXPECT_TRUE(error_of([&] { book({.url = "sqlite:" + file}); }).starts_with("unusable: "));
    EXPECT_FALSE(std::filesystem::exists(file));
    std::ofstream(file) << "";
    EXPECT_EQ(error_of([&] { book({.url = "sqlite:" + file}); }),
              "unusable: sqlite:" + file + " holds no ledger: setmac-ledger init makes one");
    std::ofstream(file) << std::string(5000, 'x');
    EXPECT_EQ(error_of([&] { book({.url = "sqlite:" + file}); }),
              "unusable: " + file + " is damaged, or is no ledger: file is not a database");
    EXPECT_EQ(error_of([&] { book({.url = "sqlite:" + file}); }),
              error_of([&] { book::init({.url = "sqlite:" + file}); }));
    EXPECT_TRUE(error_of([&] { book({.url = file}); }).starts_with("refused: "));
    std::filesystem::remove_all(folder);
}

TEST(postgres_server_gone, is_told)
{
    EXPECT_TRUE(error_of([&] {
                    book({.url = "postgresql:///x?host=/nonexistent"});
                }).starts_with("unusable: connection to server on socket"));
}

} // namespace
