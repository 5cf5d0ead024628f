#include <limits>

#include <sqlite3.h>

#include "unit/ledger/support/ledger_test.h"
#include "unit/ledger/support/postgres_server.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

/** Counts the statements of each SQLite connection that is opened while it lives. */
class statement_count {
public:
    statement_count()
    {
        count = 0;
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(watch));
    }
    ~statement_count() { sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(watch)); }
    statement_count(const statement_count &) = delete;
    statement_count &operator=(const statement_count &) = delete;

    static int so_far() { return count; }

private:
    static int watch(sqlite3 *opened, char **, const void *)
    {
        const auto one_more = [](unsigned, void *, void *, void *) {
            ++count;
            return 0;
        };
        return sqlite3_trace_v2(opened, SQLITE_TRACE_STMT, one_more, nullptr);
    }
    static inline int count = 0;
};

class reserving : public ledger_test {};
ON_BOTH_DATABASES(reserving);

TEST_P(reserving, gives_each_label_the_next_numbers)
{
    auto in = open();
    add_office(in);
    EXPECT_EQ(text_of(reserved(in, "A")), "A ABCD264700001 00:1A:2B:00:00:00/64 reserved");
    EXPECT_EQ(text_of(reserved(in, "B")), "B ABCD264700002 00:1A:2B:00:00:40/64 reserved");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(reserving, gives_the_same_label_the_same_identity)
{
    auto in = open();
    add_office(in);
    const auto first = text_of(reserved(in, "A"));
    reserved(in, "B");
    auto another = open();
    const auto again = another.reserve({.label = "A", .product = "SW"});
    EXPECT_EQ(text_of(again.identity), first);
    EXPECT_FALSE(again.is_new);
    EXPECT_EQ(another.check().units, 2);
}

TEST_P(reserving, refuses_a_label_that_is_something_else)
{
    auto in = open();
    add_office(in);
    in.add_product({.name = "OTHER", .serial = {false, "office-sn"}});
    reserved(in, "A");
    EXPECT_EQ(error_of([&] { in.reserve({.label = "A", .product = "OTHER"}); }),
              "refused: label A is a SW, not a OTHER");
    EXPECT_EQ(error_of([&] { in.reserve({.label = "A", .product = "SW", .serial = "X"}); }),
              "refused: label A has the serial number ABCD264700001, not X");
    EXPECT_EQ(error_of([&] { in.reserve({.label = "B", .product = "NONE"}); }),
              "refused: there is no product NONE");
}

TEST_P(reserving, begins_where_the_alignment_allows)
{
    auto in = open();
    in.add_pool({.name = "odd",
                 .of_macs = true,
                 .first = 0x001A2B000003,
                 .last = 0x001A2B00001F,
                 .count = 3,
                 .align = 8});
    in.add_product({.name = "SW", .mac = {false, "odd"}});
    EXPECT_EQ(text_of(reserved(in, "A")), "A - 00:1A:2B:00:00:08/3 reserved");
    EXPECT_EQ(text_of(reserved(in, "B")), "B - 00:1A:2B:00:00:10/3 reserved");
    EXPECT_EQ(in.pools().at(0).units, 3);
    EXPECT_EQ(in.pools().at(0).units_left, 1);
    EXPECT_EQ(text_of(reserved(in, "C")), "C - 00:1A:2B:00:00:18/3 reserved");
    EXPECT_EQ(error_of([&] { reserved(in, "D"); }),
              "refused: the pool odd is used up: no 3 addresses are left up to 00:1A:2B:00:00:1F");
    EXPECT_EQ(in.pools().at(0).units_left, 0);
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(reserving, ends_with_the_last_number_of_a_counter)
{
    auto in = open();
    in.add_pool({.name = "sn", .first = 8, .pattern = "X{n:1}"});
    in.add_product({.name = "SW", .serial = {false, "sn"}});
    EXPECT_EQ(text_of(reserved(in, "A")), "A X8 -/0 reserved");
    EXPECT_EQ(text_of(reserved(in, "B")), "B X9 -/0 reserved");
    EXPECT_EQ(error_of([&] { reserved(in, "C"); }),
              "refused: the pool sn is used up: its counter ends with 9");
}

TEST_P(reserving, passes_over_numbers_that_labels_have_brought)
{
    auto in = open();
    add_office(in);
    EXPECT_TRUE(in.import_units({{.line = 2,
                                  .label = "OLD",
                                  .product = "SW",
                                  .serial = "ABCD264700001",
                                  .mac = "00:1A:2B:00:00:20",
                                  .mac_count = "64"}})
                    .empty());
    EXPECT_EQ(text_of(reserved(in, "A")), "A ABCD264700002 00:1A:2B:00:00:80/64 reserved");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(reserving, looks_at_no_unit_behind_a_pool_that_is_used_up)
{
    const statement_count statements;
    auto in = open();
    in.add_pool(
        {.name = "three", .of_macs = true, .first = 0x001A2B000000, .last = 0x001A2B000002});
    in.add_product({.name = "SW", .mac = {false, "three"}});
    std::vector<imported_line> behind; // and the pool's last address
    for (std::int64_t number = 2; number < 500; ++number) {
        behind.push_back({.line = number,
                          .label = "OLD" + std::to_string(number),
                          .product = "SW",
                          .mac = mac_text(0x001A2B000000 + number)});
    }
    EXPECT_TRUE(in.import_units(behind).empty());
    reserved(in, "A");
    reserved(in, "B");
    const int before = statement_count::so_far();
    EXPECT_EQ(
        error_of([&] { reserved(in, "C"); }),
        "refused: the pool three is used up: no 1 addresses are left up to 00:1A:2B:00:00:02");
    if (on_sqlite()) {
        EXPECT_GT(statement_count::so_far(), before);
        EXPECT_LT(statement_count::so_far(), before + 50);
    }
}

TEST_P(reserving, never_uses_the_numbers_of_a_void_label_again)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    in.void_unit("A", "label torn", "Ada");
    EXPECT_EQ(error_of([&] { reserved(in, "A"); }), "refused: label A is void: label torn (Ada)");
    EXPECT_EQ(text_of(reserved(in, "B")), "B ABCD264700002 00:1A:2B:00:00:40/64 reserved");
    EXPECT_EQ(in.pools().at(0).voided, 1);
    EXPECT_EQ(error_of([&] { in.void_unit("A", "again", "Bob"); }),
              "refused: label A is void already: label torn (Ada)");
    EXPECT_NE(error_of([&] { in.void_unit("B", "", "Bob"); }), "");
    EXPECT_NE(error_of([&] { in.void_unit("B", "why", ""); }), "");
}

TEST_P(reserving, takes_a_serial_number_and_an_address_from_the_label)
{
    auto in = open();
    in.add_product({.name = "SW", .mac = {true, ""}, .serial = {true, ""}, .mac_count = 2});
    const auto given =
        in.reserve({.label = "A", .product = "SW", .serial = "S1", .mac = "00:1A:2B:3C:4D:5E"});
    EXPECT_EQ(text_of(given.identity), "A S1 00:1A:2B:3C:4D:5E/2 reserved");
    EXPECT_EQ(error_of([&] {
                  in.reserve(
                      {.label = "B", .product = "SW", .serial = "S1", .mac = "001A2B3C4D60"});
              }),
              "refused: the serial number S1 belongs to label A");
    EXPECT_EQ(
        error_of([&] { in.reserve({.label = "B", .product = "SW", .mac = "001A2B3C4D5F"}); }),
        "refused: the MAC addresses from 00:1A:2B:3C:4D:5F to 00:1A:2B:3C:4D:60 overlap those "
        "of label A, from 00:1A:2B:3C:4D:5E to 00:1A:2B:3C:4D:5F");
    EXPECT_NE(error_of([&] { in.reserve({.label = "B", .product = "SW", .mac = "00037FBADBAD"}); }),
              "");
    EXPECT_NE(error_of([&] { in.reserve({.label = "B", .product = "SW"}); }), "");
}

TEST_P(reserving, holds_scanned_numbers_to_their_pool)
{
    auto in = open();
    add_office(in);
    in.add_product({.name = "BAG", .mac = {true, "office"}, .serial = {true, "office-sn"}});
    const auto reserve = [&](const std::string &serial, const std::string &mac) {
        return error_of(
            [&] { in.reserve({.label = serial, .product = "BAG", .serial = serial, .mac = mac}); });
    };
    EXPECT_EQ(reserve("ABCD260100777", "00:1A:2B:00:01:00"), "");
    EXPECT_EQ(reserve("ABCD26010077", "00:1A:2B:00:02:00"),
              "refused: the serial number ABCD26010077 is none of the pool office-sn, "
              "ABCD{yy}{ww}{n:5}");
    EXPECT_EQ(reserve("ABCD260100778", "00:1A:2B:00:02:01"),
              "refused: 00:1A:2B:00:02:01 is no multiple of 64, as the pool office demands");
    EXPECT_EQ(reserve("ABCD260100778", "00:1A:2B:01:00:00"),
              "refused: 00:1A:2B:01:00:00 is outside of the pool office");
    in.add_product({.name = "FREE", .mac = {true, ""}});
    EXPECT_EQ(error_of([&] {
                  in.reserve({.label = "F", .product = "FREE", .mac = "00:1A:2B:00:05:00"});
              }),
              "refused: 00:1A:2B:00:05:00 is of the pool office: only a product with --mac "
              "scanned:office may bring it");
    EXPECT_EQ(error_of([&] { in.reserve({.label = "G", .product = "SW", .serial = "X"}); }),
              "refused: the product's serial number is not scanned: it comes from office-sn");
}

TEST_P(reserving, goes_on_whatever_the_clock_says)
{
    auto in = open();
    add_office(in);
    EXPECT_EQ(text_of(reserved(in, "A")), "A ABCD264700001 00:1A:2B:00:00:00/64 reserved");
    now -= std::chrono::hours(24 * 365);
    EXPECT_EQ(text_of(reserved(in, "B")), "B ABCD254700002 00:1A:2B:00:00:40/64 reserved");
    EXPECT_EQ(text_of(reserved(in, "A")), "A ABCD264700001 00:1A:2B:00:00:00/64 reserved");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(reserving, warns_when_a_pool_comes_to_its_end)
{
    auto in = open();
    in.add_pool({.name = "sn", .first = 0, .pattern = "X{n:2}"});
    in.add_product({.name = "SW", .serial = {false, "sn"}});
    std::string warned;
    for (int number = 1; number <= 96; ++number) {
        const auto given = in.reserve({.label = "L" + std::to_string(number), .product = "SW"});
        for (const int wanted : {79, 80, 90, 95}) {
            if (number == wanted) {
                warned += given.warnings.empty() ? "none\n" : given.warnings[0] + "\n";
            }
        }
    }
    EXPECT_EQ(warned, "none\n"
                      "the pool sn is used to 80 per cent or more: 80 per cent\n"
                      "the pool sn is used to 90 per cent or more: 90 per cent\n"
                      "the pool sn is used to 95 per cent or more: 95 per cent\n");
}

TEST_P(reserving, counts_as_used_the_addresses_ahead_that_labels_have_brought)
{
    auto in = open();
    in.add_pool({.name = "five",
                 .of_macs = true,
                 .first = 0x001A2B000000,
                 .last = 0x001A2B000013,
                 .count = 4,
                 .align = 4});
    in.add_product({.name = "SW", .mac = {false, "five"}});
    reserved(in, "A");
    EXPECT_EQ(in.pools().at(0).units_left, 4);
    EXPECT_EQ(in.pools().at(0).used_percent, 20);
    EXPECT_TRUE(in.import_units({{2, "OLD1", "SW", "", "00:1A:2B:00:00:08", "4"},
                                 {3, "OLD2", "SW", "", "00:1A:2B:00:00:0D", "1"},
                                 {4, "OLD3", "SW", "", "00:1A:2B:00:00:10", "1"},
                                 {5, "OLD4", "SW", "", "00:1A:2B:00:00:12", "8"}})
                    .empty());
    EXPECT_EQ(in.pools().at(0).units_left, 1);
    EXPECT_EQ(in.pools().at(0).used_percent, 80);
    EXPECT_EQ(in.pools().at(0).warning,
              "the pool five is used to 80 per cent or more: 80 per cent");
    const auto last = in.reserve({.label = "B", .product = "SW"});
    EXPECT_EQ(last.warnings, std::vector<std::string>{
                                 "the pool five is used to 95 per cent or more: 100 per cent"});
    EXPECT_EQ(in.pools().at(0).units_left, 0);
    EXPECT_EQ(in.pools().at(0).used_percent, 100);
    EXPECT_NE(error_of([&] { reserved(in, "C"); }), "");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(reserving, counts_no_unit_where_an_address_from_before_reaches_in)
{
    auto in = open();
    in.add_pool({.name = "three",
                 .of_macs = true,
                 .first = 0x001A2B000004,
                 .last = 0x001A2B00000F,
                 .count = 4,
                 .align = 4});
    in.add_product({.name = "SW", .mac = {false, "three"}});
    EXPECT_TRUE(in.import_units({{2, "OLD", "SW", "", "00:1A:2B:00:00:02", "4"}}).empty());
    EXPECT_EQ(in.pools().at(0).units_left, 2);
    EXPECT_EQ(text_of(reserved(in, "A")), "A - 00:1A:2B:00:00:08/4 reserved");
    EXPECT_EQ(in.pools().at(0).units_left, 1);
}

TEST_P(reserving, tells_how_long_a_pool_lasts)
{
    auto in = open();
    in.add_pool({.name = "sn", .first = 0, .pattern = "X{n:2}"});
    in.add_product({.name = "SW", .serial = {false, "sn"}});
    EXPECT_EQ(in.pools().at(0).units_a_day, 0);
    reserved(in, "old");
    now += std::chrono::hours(48);
    EXPECT_DOUBLE_EQ(in.pools().at(0).units_a_day, 0.5); // the pool is younger than a week
    now += std::chrono::hours(24 * 10);
    for (const auto *label : {"A", "B", "C", "D"}) {
        reserved(in, label);
    }
    now += std::chrono::hours(48);
    EXPECT_DOUBLE_EQ(in.pools().at(0).units_a_day, 4.0 / 7);
    EXPECT_EQ(in.pools().at(0).units_left, 95);
}

TEST_P(reserving, issues_nothing_from_a_closed_pool)
{
    auto in = open();
    add_office(in);
    const auto first = text_of(reserved(in, "A"));
    in.close_pool("office");
    EXPECT_EQ(error_of([&] { reserved(in, "B"); }), "refused: the pool office is closed");
    EXPECT_EQ(text_of(reserved(in, "A")), first);
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(reserving, refuses_pools_that_cannot_be)
{
    auto in = open();
    add_office(in);
    const auto add_mac = [&](mac_address first, mac_address last, std::int64_t count) {
        return error_of([&] {
            in.add_pool(
                {.name = "P", .of_macs = true, .first = first, .last = last, .count = count});
        });
    };
    EXPECT_EQ(add_mac(0x001A2B00FFFF, 0x001A2B01FFFF, 1),
              "refused: the range overlaps that of the pool office");
    EXPECT_NE(add_mac(0x001A2B010000, 0x001A2B010003, 5), "");
    EXPECT_NE(add_mac(0x001A2B010000, 0x001A2B010003, 0), "");
    const std::string out_of_reason = "refused: a unit takes 1 to 16777216 addresses, and begins "
                                      "with a multiple of 1 to 16777216";
    for (const std::int64_t each : {std::int64_t{-1}, std::int64_t{0}, std::int64_t{16777217},
                                    std::numeric_limits<std::int64_t>::max()}) {
        EXPECT_EQ(add_mac(0x001A2B010000, 0x001A2BFFFFFF, each), out_of_reason);
        EXPECT_EQ(error_of([&] {
                      in.add_pool({.name = "P",
                                   .of_macs = true,
                                   .first = 0x001A2B010000,
                                   .last = 0x001A2BFFFFFF,
                                   .align = each});
                  }),
                  out_of_reason);
    }
    EXPECT_NE(add_mac(0x011A2B010000, 0x011A2B010003, 1), "");
    EXPECT_EQ(add_mac(0x001A2B010000, 0x001A2B010003, 4), "");
    EXPECT_EQ(error_of([&] { in.add_pool({.name = "P", .pattern = "X{n:1}"}); }),
              "refused: there is a pool P already");
    EXPECT_NE(error_of([&] { in.add_pool({.name = "scanned", .pattern = "X{n:1}"}); }), "");
    EXPECT_NE(error_of([&] { in.add_pool({.name = "a b", .pattern = "X{n:1}"}); }), "");
    EXPECT_NE(error_of([&] { in.add_product({.name = "N"}); }), "");
    EXPECT_NE(error_of([&] { in.add_product({.name = "N", .mac = {false, "office-sn"}}); }), "");
    EXPECT_NE(error_of([&] { in.add_product({.name = "N", .serial = {false, "gone"}}); }), "");
}

TEST_P(reserving, finds_a_unit_by_label_serial_number_and_any_of_its_addresses)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto b = text_of(reserved(in, "B"));
    for (const auto *text :
         {"B", "ABCD264700002", "00:1A:2B:00:00:40", "00-1a-2b-00-00-55", "001A2B00007F"}) {
        const auto found = in.find(text);
        ASSERT_TRUE(found) << text;
        EXPECT_EQ(text_of(*found), b);
    }
    EXPECT_FALSE(in.find("00:1A:2B:00:00:80"));
    EXPECT_FALSE(in.find("C"));
    EXPECT_FALSE(in.find("\xFF"));
    EXPECT_FALSE(in.find("B", search::serial));
}

TEST_P(reserving, asks_which_is_meant_where_a_text_is_two_units)
{
    auto in = open();
    in.add_product({.name = "SW", .serial = {true, ""}});
    in.reserve({.label = "A", .product = "SW", .serial = "B"});
    in.reserve({.label = "B", .product = "SW", .serial = "C"});
    EXPECT_EQ(error_of([&] { in.find("B"); }), "refused: B is of label B and of label A: say --by "
                                               "label, --by serial or --by mac");
    EXPECT_EQ(in.find("B", search::serial)->label, "A");
    EXPECT_EQ(in.find("C")->label, "B");
}

} // namespace
