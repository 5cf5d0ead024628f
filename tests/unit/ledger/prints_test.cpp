#include <csignal>
#include <fstream>

#include <sys/resource.h>

#include "unit/ledger/support/ledger_test.h"
#include "unit/ledger/support/postgres_server.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

/** While it lives, this process makes no file larger than so many bytes. */
class full_disk {
public:
    explicit full_disk(rlim_t largest) : told_(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit now{largest, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~full_disk()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, told_);
    }
    full_disk(const full_disk &) = delete;
    full_disk &operator=(const full_disk &) = delete;

private:
    rlimit before_ = {};
    void (*told_)(int);
};

class prints : public ledger_test {
protected:
    /** Makes a file larger by blanks at the end of its first line; returns its size. */
    static std::uintmax_t grown(const std::string &file, std::size_t by)
    {
        std::ifstream in(file);
        std::string text{std::istreambuf_iterator<char>(in), {}};
        text.insert(text.find('\n'), by, ' ');
        std::ofstream(file) << text;
        return text.size();
    }

    static label_print asked(book &in, const std::string &label,
                             const std::string &station = "line-1")
    {
        return in.ask_print({.label = label,
                             .station = station,
                             .operator_name = "Ada",
                             .content = "^XA^FD" + label + "^FS^XZ"});
    }

    /** "LABEL number STATE reason", a line each. */
    static std::string all(book &in, const print_filter &filter = {})
    {
        std::string text;
        for (const auto &each : in.prints(filter, 0, 100)) {
            text += each.asked.label + " " + std::to_string(each.number) + " " +
                    std::string(state_text(each.state)) +
                    (each.reason.empty() ? "" : " " + each.reason) + "\n";
        }
        return text;
    }
};
ON_BOTH_DATABASES(prints);

TEST_P(prints, wait_in_the_order_in_which_they_were_asked_for)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    reserved(in, "B");
    const auto first = asked(in, "B");
    const auto second = asked(in, "A");
    EXPECT_EQ(in.waiting_prints("line-1"), 2);
    auto next = in.next_print("line-1");
    ASSERT_TRUE(next);
    EXPECT_EQ(next->id, first.id);
    EXPECT_EQ(next->asked.content, "^XA^FDB^FS^XZ");
    EXPECT_EQ(next->asked.operator_name, "Ada");
    EXPECT_EQ(next->asked_at, "2026-11-21T12:00:00.000Z");

    in.end_print(first.id, true, "");
    EXPECT_EQ(in.next_print("line-1")->id, second.id);
    in.end_print(second.id, false, "the printer has no paper");
    EXPECT_FALSE(in.next_print("line-1"));
    EXPECT_EQ(in.waiting_prints("line-1"), 0);
    EXPECT_EQ(all(in), "A 1 failed the printer has no paper\nB 1 printed\n");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(prints, are_for_the_printer_of_their_station)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    asked(in, "A", "line-2");
    EXPECT_FALSE(in.next_print("line-1"));
    EXPECT_EQ(in.waiting_prints("line-1"), 0);
    EXPECT_EQ(in.waiting_prints("line-2"), 1);
}

TEST_P(prints, are_counted_for_each_unit_and_listed_the_last_first)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    reserved(in, "B");
    asked(in, "A");
    asked(in, "B");
    now += std::chrono::hours(24);
    in.end_print(asked(in, "A").id, true, "");
    EXPECT_EQ(all(in), "A 2 printed\nB 1 waiting\nA 1 waiting\n");
    EXPECT_EQ(all(in, {.label = "A"}), "A 2 printed\nA 1 waiting\n");
    EXPECT_EQ(all(in, {.state = "waiting"}), "B 1 waiting\nA 1 waiting\n");
    EXPECT_EQ(all(in, {.since = "2026-11-22"}), "A 2 printed\n");
    EXPECT_EQ(all(in, {.until = "2026-11-22"}), "B 1 waiting\nA 1 waiting\n");

    const auto page = in.prints({}, 0, 1);
    ASSERT_EQ(page.size(), 1U);
    const auto rest = in.prints({}, page[0].id, 100);
    ASSERT_EQ(rest.size(), 2U);
    EXPECT_EQ(rest[0].asked.label, "B");
}

TEST_P(prints, of_a_run_are_one_however_often_it_is_told)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    asked(in, "A"); // before the run
    const auto run = in.begin_attempt("A", {.station = "line-1"});
    asked(in, "A", "line-2"); // for another printer
    const print_request wanted{.label = "A", .station = "line-1", .content = "^XA^XZ"};
    const auto first = in.ask_print(wanted, run);
    const auto entries = in.check().entries;
    EXPECT_EQ(in.ask_print(wanted, run).id, first.id);
    in.end_print(first.id, true, "");
    EXPECT_EQ(in.ask_print(wanted, run).id, first.id);
    EXPECT_EQ(in.check().entries, entries + 1);
    EXPECT_EQ(all(in), "A 3 printed\nA 2 waiting\nA 1 waiting\n");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(prints, of_a_run_are_one_although_the_disk_of_the_witness_is_full)
{
    auto in = open();
    const auto witness = path("line.witness");
    in.set_witness(witness, false, "", "");
    add_office(in);
    reserved(in, "A");
    const auto run = in.begin_attempt("A", {.station = "line-1"});
    const auto entries = in.check().entries;
    const print_request wanted{.label = "A", .station = "line-1", .content = "^XA^XZ"};
    {
        const full_disk of(grown(witness, 4000000)); // the database is far smaller
        const auto why = "unusable: the witness " + witness + " cannot be written: File too large";
        for (int times = 0; times < 3; ++times) {
            EXPECT_EQ(error_of([&] { in.record_stored(run, ""); }), why);
        }
        for (int times = 0; times < 3; ++times) {
            EXPECT_EQ(error_of([&] { in.ask_print(wanted, run); }), why);
        }
    }
    in.record_stored(run, "");
    in.ask_print(wanted, run);
    EXPECT_EQ(in.look_at_witness().witnessed, entries + 2);
    EXPECT_EQ(all(in), "A 1 waiting\n");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(prints, change_nothing_of_the_unit)
{
    auto in = open();
    add_office(in);
    const auto before = text_of(reserved(in, "A"));
    in.end_print(asked(in, "A").id, true, "");
    EXPECT_EQ(text_of(*in.find("A")), before);
}

TEST_P(prints, that_have_ended_stay_as_they_are)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto id = asked(in, "A").id;
    in.end_print(id, true, "");
    in.end_print(id, true, ""); // told twice
    EXPECT_EQ(error_of([&] { in.end_print(id, false, "no paper"); }),
              "refused: print " + std::to_string(id) + " has ended: printed");
    EXPECT_EQ(error_of([&] { in.end_print(7000, true, ""); }), "refused: there is no print 7000");
    EXPECT_NE(sql_error(place.url, "UPDATE print SET reason = 'other'"), "");
    EXPECT_NE(sql_error(place.url, "DELETE FROM print"), "");
}

TEST_P(prints, of_void_units_are_refused_and_those_that_wait_end)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    asked(in, "A");
    in.void_unit("A", "scratched", "Ada");
    EXPECT_EQ(all(in), "A 1 failed its identity was made void\n");
    EXPECT_EQ(error_of([&] { asked(in, "A"); }), "refused: label A is void: scratched");
    EXPECT_EQ(error_of([&] { asked(in, "X"); }), "refused: there is no label X");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(prints, keep_what_is_no_text)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    in.ask_print({.label = "A", .station = "line-1", .content = std::string("\xFF\0x", 3)});
    EXPECT_EQ(in.next_print("line-1")->asked.content, "\\xFF\\x00x");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(prints, that_somebody_changed_are_found)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    asked(in, "A");
    EXPECT_EQ(sql_error(place.url, "UPDATE print SET content = 'other'"), "");
    EXPECT_EQ(findings_of(in), "6: print 1 of unit 5 is not as it was left\n");
}

} // namespace
