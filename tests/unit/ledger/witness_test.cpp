#include <filesystem>
#include <fstream>

#include "unit/ledger/support/ledger_test.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

class witnessing : public ledger_test {
protected:
    std::string witness_file() const { return path("second/line.witness"); }

    void add_witness(book &to) const
    {
        std::filesystem::create_directory(path("second"));
        to.set_witness(witness_file(), false, "", "");
        add_office(to);
    }

    /** Another ledger that is this one as it is now. */
    ledger_place copied(book &from)
    {
        const auto to = another_place();
        from.copy_to(to.url);
        return to;
    }

    std::string lines_of_witness() const
    {
        std::ifstream in(witness_file());
        return {std::istreambuf_iterator<char>(in), {}};
    }

    /** The place, with a witness of its own that knows the entries below that number. */
    ledger_place watched_below(ledger_place where, std::int64_t entry) const
    {
        const auto lines = lines_of_witness();
        where.witness = path("below-" + std::to_string(entry));
        std::ofstream(where.witness)
            << lines.substr(0, lines.find("{\"number\":" + std::to_string(entry) + ","));
        return where;
    }
};
ON_BOTH_DATABASES(witnessing);

TEST_P(witnessing, keeps_every_entry_in_a_second_place)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A");
    EXPECT_EQ(in.look_at_witness().witnessed, in.check().entries);
    EXPECT_NE(lines_of_witness().find("ABCD264700001"), std::string::npos);
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(witnessing, lets_no_older_copy_issue)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A"); // entry 6
    const auto old = copied(in);
    reserved(in, "B");
    reserved(in, "C");
    book restored(old);
    const std::string why =
        "behind: the ledger is older than its witness: it ends with entry 6, and "
        "entries 7 to 8 are missing; nothing is issued before \"setmac-ledger "
        "reconcile\"";
    EXPECT_EQ(error_of([&] { reserved(restored, "D"); }), why);
    EXPECT_EQ(error_of([&] { reserved(restored, "A"); }), why);
    EXPECT_EQ(error_of([&] { restored.void_unit("A", "x", "y"); }), why);
    EXPECT_EQ(restored.check().units, 1);

    const auto state = restored.look_at_witness();
    ASSERT_EQ(state.missing.size(), 2U);
    EXPECT_EQ(state.missing[0].subject, "B");
    EXPECT_EQ(state.missing[1].subject, "C");
    EXPECT_NE(findings_of(restored), "");
}

TEST_P(witnessing, burns_what_the_older_copy_may_have_given_out)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A");
    const auto old = copied(in);
    reserved(in, "B");
    in.void_unit("A", "torn", "Ada");
    book restored(old);
    const auto told = restored.reconcile("disk died", "Bob");
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0], "label B: serial number ABCD264700002, MAC address 00:1A:2B:00:00:40");
    EXPECT_EQ(told[1],
              "the witness of the missing entries is kept as " + witness_file() + ".until-8");
    EXPECT_EQ(error_of([&] { reserved(restored, "B"); }),
              "refused: label B is void: disk died (Bob)");
    EXPECT_EQ(error_of([&] { reserved(restored, "A"); }), "refused: label A is void: torn (Ada)");
    EXPECT_EQ(text_of(reserved(restored, "D")), "D ABCD264700003 00:1A:2B:00:00:80/64 reserved");
    EXPECT_EQ(findings_of(restored), "");
    EXPECT_TRUE(std::filesystem::exists(witness_file() + ".until-8"));
    EXPECT_TRUE(restored.reconcile("again", "Bob").empty());
}

TEST_P(witnessing, holds_an_older_copy_with_pools_added_since_to_them)
{
    std::filesystem::create_directory(path("second"));
    auto in = open();
    in.set_witness(witness_file(), false, "", "");
    const auto old = copied(in);
    add_office(in);
    reserved(in, "A");
    in.begin_attempt("A", {.station = "line-1"});
    book restored(old);
    const auto told = restored.reconcile("disk died", "Bob");
    EXPECT_EQ(told.at(2), "product SW: added again");
    EXPECT_EQ(restored.pools().at(0).of.name, "office");
    EXPECT_FALSE(restored.pools().at(0).of.open);
    EXPECT_EQ(restored.find("00:1A:2B:00:00:00")->state, unit_state::voided);
    const auto again = restored.products().at(0);
    EXPECT_EQ(source_text(again.mac) + " " + source_text(again.serial), "office office-sn");
    EXPECT_EQ(again.mac_count, 64);
    EXPECT_EQ(error_of([&] { reserved(restored, "NEW"); }), "refused: the pool office is closed");
    EXPECT_EQ(findings_of(restored), "");
}

TEST_P(witnessing, prints_no_label_of_a_unit_that_is_void_again)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A");
    reserved(in, "B");
    in.ask_print({.label = "A", .station = "line-1", .content = "^XA^XZ"});
    const auto old = copied(in);
    in.void_unit("A", "torn", "Ada");
    book restored(old);
    restored.reconcile("disk died", "Bob");
    EXPECT_FALSE(restored.next_print("line-1"));
    EXPECT_EQ(restored.prints({.label = "A"}, 0, 10).at(0).reason, "its identity was made void");
    const auto second =
        restored.ask_print({.label = "B", .station = "line-1", .content = "^XA^XZ"}).id;
    EXPECT_EQ(restored.next_print("line-1")->id, second);
    restored.end_print(second, true, "");
    EXPECT_EQ(restored.waiting_prints("line-1"), 0);
    EXPECT_EQ(findings_of(restored), "");
}

TEST_P(witnessing, doubts_units_whose_later_attempts_are_lost)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A");
    const auto old = copied(in);
    in.end_attempt(in.begin_attempt("A", {.station = "line-1"}), attempt_outcome::verified, "", {});
    book restored(old);
    restored.reconcile("disk died", "Bob");
    EXPECT_EQ(restored.find("A")->state, unit_state::in_doubt);
    EXPECT_EQ(text_of(reserved(restored, "A")), "A ABCD264700001 00:1A:2B:00:00:00/64 in doubt");
    EXPECT_EQ(findings_of(restored), "");
}

TEST_P(witnessing, finds_a_ledger_that_went_on_from_an_old_copy)
{
    auto in = open();
    add_witness(in);
    const auto old = copied(in);
    reserved(in, "A");
    // With a witness that has seen nothing, as if the other one had been away.
    auto apart = old;
    const auto lines = lines_of_witness();
    std::ofstream(path("none")) << lines.substr(0, lines.find('\n') + 1);
    apart.witness = path("none");
    book(apart).reserve({.label = "B", .product = "SW"});
    book restored(old);
    const auto why = error_of([&] { reserved(restored, "C"); });
    EXPECT_TRUE(why.starts_with("behind: entry 6 is another one than its witness has seen")) << why;
    const auto told = restored.reconcile("went on", "Bob");
    EXPECT_TRUE(told.at(0).starts_with("entry 6, label A: GIVEN OUT TWICE: ")) << told.at(0);
    EXPECT_EQ(text_of(reserved(restored, "C")), "C ABCD264700002 00:1A:2B:00:00:40/64 reserved");
    EXPECT_EQ(findings_of(restored), "");
}

TEST_P(witnessing, tells_no_label_as_given_out_twice_that_has_the_same_numbers_in_both_copies)
{
    auto in = open();
    add_witness(in);
    const auto old = copied(in);
    reserved(in, "A");
    now += std::chrono::seconds(1);
    const auto a = text_of(book(watched_below(old, 1)).reserve({"A", "SW"}).identity);
    book restored(old);
    EXPECT_EQ(restored.reconcile("went on", "Bob"),
              std::vector{"the witness of the missing entries is kept as " + witness_file() +
                          ".until-6"});
    EXPECT_EQ(text_of(*restored.find("A")), a);
    EXPECT_NE(lines_of_witness().find("\\\"twice\\\":[]"), std::string::npos);
    EXPECT_EQ(text_of(reserved(restored, "C")), "C ABCD264700002 00:1A:2B:00:00:40/64 reserved");
    EXPECT_EQ(findings_of(restored), "");
}

TEST_P(witnessing, passes_over_what_was_reconciled_from_the_witness_of_another_station)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A"); // entry 6
    const auto old = copied(in);
    in.begin_attempt("A", {.station = "line-1"});
    reserved(in, "B");
    reserved(in, "C"); // entry 9
    const auto first = watched_below(old, 9);
    const auto second = watched_below(old, 8);
    EXPECT_EQ(book(first).reconcile("disk died", "Bob").at(0),
              "label B: serial number ABCD264700002, MAC address 00:1A:2B:00:00:40");
    book(first).begin_attempt("A", {.station = "line-1"});

    EXPECT_EQ(book(second).reconcile("disk died", "Bob"),
              std::vector{"the witness of the missing entries is kept as " + second.witness +
                          ".until-7"});
    book third(old);
    const auto told = third.reconcile("disk died", "Bob");
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0], "label C: serial number ABCD264700003, MAC address 00:1A:2B:00:00:80");
    EXPECT_EQ(third.find("A")->state, unit_state::writing);
    EXPECT_EQ(findings_of(third), "");
}

TEST_P(witnessing, catches_up_after_a_crash_behind_the_commit)
{
    auto in = open();
    add_witness(in);
    const auto before = lines_of_witness();
    const auto a = text_of(reserved(in, "A"));
    std::ofstream(witness_file()) << before; // as if the last line had never been written
    auto again = open();
    EXPECT_EQ(text_of(reserved(again, "A")), a);
    EXPECT_EQ(again.look_at_witness().witnessed, 6);
}

TEST_P(witnessing, forgets_a_line_that_was_not_written_to_its_end)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A");
    const auto whole = lines_of_witness();
    std::ofstream(witness_file(), std::ios::app) << "{\"number\":7,\"at\":\"20";
    reserved(in, "B");
    EXPECT_EQ(lines_of_witness().substr(0, whole.size()), whole);
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(witnessing, issues_nothing_while_the_witness_cannot_be_asked)
{
    auto in = open();
    add_witness(in);
    std::filesystem::rename(witness_file(), path("away"));
    EXPECT_EQ(error_of([&] { reserved(in, "A"); }),
              "unusable: the witness " + witness_file() +
                  " cannot be opened: No such file or directory");
    EXPECT_FALSE(in.find("A"));
    std::ofstream(witness_file()) << "nonsense\n";
    EXPECT_NE(error_of([&] { reserved(in, "A"); }), "");
    EXPECT_NE(error_of([&] { in.set_witness(path("next"), false, "", ""); }), "");
    EXPECT_NE(error_of([&] { in.set_witness(path("next"), true, "", "Bob"); }), "");
    in.set_witness(path("next"), true, "the disk is gone", "Bob");
    EXPECT_EQ(text_of(reserved(in, "A")), "A ABCD264700001 00:1A:2B:00:00:00/64 reserved");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(witnessing, is_made_where_the_making_of_it_was_cut_short)
{
    auto in = open();
    add_witness(in);
    const auto lines = lines_of_witness();
    const auto first_line = lines.find('\n') + 1;
    for (const auto cut : {std::size_t{0}, std::size_t{1}, first_line - 1, first_line}) {
        const auto file = path("cut-" + std::to_string(cut));
        std::ofstream(file) << lines.substr(0, cut);
        in.set_witness(file, false, "", "");
        std::ifstream made(file);
        std::string line;
        std::getline(made, line);
        EXPECT_EQ(line + "\n", lines.substr(0, first_line));
        EXPECT_EQ(findings_of(in), "");
    }
    std::ofstream(path("notes")) << "{ no witness";
    EXPECT_EQ(error_of([&] { in.set_witness(path("notes"), false, "", ""); }),
              "unusable: the witness " + path("notes") +
                  " is damaged: its first line is none of a witness");
    std::string kept;
    std::getline(std::ifstream(path("notes")), kept);
    EXPECT_EQ(kept, "{ no witness");
}

TEST_P(witnessing, is_of_one_ledger_only)
{
    auto watched = open();
    add_witness(watched);
    const auto other = another_place();
    book::init(other);
    book in(other);
    EXPECT_EQ(error_of([&] { in.set_witness(witness_file(), false, "", ""); }),
              "behind: the witness is one of another ledger");
}

TEST_P(witnessing, finds_damage_in_the_middle_of_the_witness)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A");
    const auto old = copied(in);
    reserved(in, "B");
    reserved(in, "C");
    auto lines = lines_of_witness();
    lines.replace(lines.find("ABCD264700002"), 13, "ABCD264700009");
    std::ofstream(witness_file()) << lines;
    book restored(old);
    EXPECT_EQ(error_of([&] { restored.reconcile("disk died", "Bob"); }),
              "refused: the witness " + witness_file() + " is damaged at entry 7");
}

TEST_P(witnessing, is_checked_as_a_whole)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A");
    reserved(in, "B");
    auto lines = lines_of_witness();
    lines.replace(lines.find("ABCD264700001"), 13, "ABCD264700009");
    std::ofstream(witness_file()) << lines;
    EXPECT_EQ(findings_of(in), "0: the witness " + witness_file() + " is damaged at entry 6\n");
}

TEST_P(witnessing, that_lacks_an_entry_is_found)
{
    auto in = open();
    add_witness(in);
    reserved(in, "A"); // entry 6
    reserved(in, "B");
    const auto lines = lines_of_witness();
    const auto sixth = lines.find("{\"number\":6");
    const auto seventh = lines.find("{\"number\":7");
    std::ofstream(witness_file()) << lines.substr(0, sixth) + lines.substr(seventh);
    EXPECT_EQ(findings_of(in), "0: the witness is damaged at entry 6: it is missing\n");
}

TEST_P(witnessing, burns_the_address_of_a_label_whose_serial_number_was_given_out_twice)
{
    auto in = open();
    add_witness(in);
    in.add_product({.name = "OWN", .mac = {true, "office"}, .serial = {false, "office-sn"}});
    const auto old = copied(in);
    in.reserve({.label = "A", .product = "OWN", .mac = "00:1A:2B:00:01:00"});
    auto apart = old;
    const auto lines = lines_of_witness();
    std::ofstream(path("none")) << lines.substr(0, lines.find('\n') + 1);
    apart.witness = path("none");
    book(apart).reserve({.label = "B", .product = "OWN", .mac = "00:1A:2B:00:02:00"});
    book restored(old);
    const auto told = restored.reconcile("went on", "Bob");
    EXPECT_EQ(told.at(0), "entry 7, label A: GIVEN OUT TWICE: the serial number ABCD264700001 "
                          "belongs to label B");
    EXPECT_EQ(told.at(1), "label A: serial number (none), MAC address 00:1A:2B:00:01:00");
    EXPECT_EQ(text_of(*restored.find("00:1A:2B:00:01:3F")), "A - 00:1A:2B:00:01:00/64 void");
    EXPECT_NE(restored.history("A").size(), 0U);
    EXPECT_EQ(findings_of(restored), "");
}

TEST_P(witnessing, keeps_numbers_burned_that_were_burned_by_a_lost_reconciliation)
{
    auto in = open();
    add_witness(in);
    const auto old = copied(in);
    auto older = another_place();
    older.url = on_sqlite() ? "sqlite:" + path("older.db") : older.url;
    in.copy_to(older.url);
    reserved(in, "A");
    auto apart = old; // where A's numbers go to B as well
    const auto lines = lines_of_witness();
    std::ofstream(path("none")) << lines.substr(0, lines.find('\n') + 1);
    apart.witness = path("none");
    book(apart).reserve({.label = "B", .product = "SW"});
    book(old).reconcile("went on", "Bob");
    book restored(older);
    const auto told = restored.reconcile("once more", "Bob");
    EXPECT_EQ(told.at(0), "label B: serial number ABCD264700001, MAC address 00:1A:2B:00:00:00");
    EXPECT_EQ(restored.pools().at(0).of.next, 0x001A2B000040);
    EXPECT_EQ(text_of(reserved(restored, "C")), "C ABCD264700002 00:1A:2B:00:00:40/64 reserved");
    EXPECT_EQ(findings_of(restored), "");
}

TEST_P(witnessing, is_reconciled_although_another_pool_has_taken_the_place_of_a_lost_one)
{
    std::filesystem::create_directory(path("second"));
    auto in = open();
    in.set_witness(witness_file(), false, "", "");
    const auto old = copied(in);
    add_office(in);
    reserved(in, "A");
    auto apart = old;
    const auto lines = lines_of_witness();
    std::ofstream(path("none")) << lines.substr(0, lines.find('\n') + 1);
    apart.witness = path("none");
    book(apart).add_pool({.name = "lab",
                          .of_macs = true,
                          .first = 0x001A2B000000,
                          .last = 0x001A2B0000FF,
                          .count = 64,
                          .align = 64});
    book restored(old);
    const auto told = restored.reconcile("went on", "Bob");
    EXPECT_EQ(told.at(0), "pool office: its addresses are those of the pool lab now");
    EXPECT_EQ(error_of([&] { reserved(restored, "B"); }), "refused: there is no pool office");
    EXPECT_EQ(text_of(*restored.find("A")), "A ABCD264700001 00:1A:2B:00:00:00/64 void");
    EXPECT_EQ(findings_of(restored), "");
}

} // namespace
