#include "unit/ledger/support/ledger_test.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

class attempts : public ledger_test {
protected:
    static attempt_start from(const std::string &station, const std::string &slot = "1")
    {
        return {.station = station,
                .slot = slot,
                .operator_name = "Ada",
                .product_file = "switch.toml",
                .product_sha256 = std::string(64, 'a'),
                .program_version = "0.1.0"};
    }

    static std::string state(book &in) { return std::string(state_text(in.find("A")->state)); }
};
ON_BOTH_DATABASES(attempts);

TEST_P(attempts, lead_from_reserved_to_verified)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto id = in.begin_attempt("A", from("line-1"));
    EXPECT_EQ(state(in), "writing");
    in.record_stored(id, "{\"MacAddress\": \"00:1A:2B:00:00:00\"}");
    EXPECT_EQ(state(in), "stored");
    in.end_attempt(id, attempt_outcome::verified, "",
                   {.read_back = "{\"ethaddr\": 1}", .transcript = "hello"});
    EXPECT_EQ(state(in), "verified");

    const auto all = in.attempts_of(*in.find("A"));
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].number, 1);
    EXPECT_EQ(all[0].start.operator_name, "Ada");
    EXPECT_EQ(all[0].evidence.sent, "{\"MacAddress\": \"00:1A:2B:00:00:00\"}");
    EXPECT_EQ(all[0].evidence.read_back, "{\"ethaddr\": 1}");
    EXPECT_EQ(all[0].evidence.transcript, "hello");
    EXPECT_EQ(all[0].stored_at, "2026-11-21T12:00:00.000Z");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(attempts, that_fail_or_are_in_doubt_lead_back_with_the_same_identity)
{
    auto in = open();
    add_office(in);
    const auto numbers = text_of(reserved(in, "A"));
    for (const auto outcome : {attempt_outcome::failed, attempt_outcome::in_doubt}) {
        in.end_attempt(in.begin_attempt("A", from("line-1")), outcome, "no answer", {});
        EXPECT_EQ(in.find("A")->state, state_after(outcome));
    }
    in.begin_attempt("A", from("line-2"));
    auto again = *in.find("A");
    again.state = unit_state::reserved;
    EXPECT_EQ(text_of(again), numbers);
    EXPECT_EQ(in.attempts_of(again).size(), 3U);
}

TEST_P(attempts, whose_end_nobody_told_are_in_doubt_at_the_next)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto lost = in.begin_attempt("A", from("line-1"));
    in.begin_attempt("A", from("line-1"));
    const auto all = in.attempts_of(*in.find("A"));
    EXPECT_EQ(all.at(0).outcome, attempt_outcome::in_doubt);
    EXPECT_EQ(all.at(0).reason, "its end was not told before the next attempt");
    EXPECT_FALSE(all.at(1).outcome);
    EXPECT_EQ(error_of([&] { in.end_attempt(lost, attempt_outcome::verified, "", {}); }),
              "refused: attempt 1 of label A has ended: in doubt (its end was not told before the "
              "next attempt)");
    EXPECT_NE(error_of([&] { in.record_stored(lost, ""); }), "");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(attempts, of_another_station_are_not_taken_over_unasked)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    in.begin_attempt("A", from("line-1", "3"));
    EXPECT_EQ(error_of([&] { in.begin_attempt("A", from("line-2")); }),
              "refused: label A is being written by station line-1, slot 3, since "
              "2026-11-21T12:00:00.000Z");
    auto asked = from("line-2");
    asked.take_over = true;
    in.begin_attempt("A", asked);
    EXPECT_EQ(in.attempts_of(*in.find("A")).at(0).outcome, attempt_outcome::in_doubt);
}

TEST_P(attempts, of_another_program_are_not_taken_over_unasked)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    in.begin_attempt("A", from("line-1", "3"));
    auto of_floor = from("line-1", "3");
    of_floor.program_version = "setmac-floor 0.1.0";
    EXPECT_EQ(error_of([&] { in.begin_attempt("A", of_floor); }),
              "refused: label A is being written by station line-1, slot 3, since "
              "2026-11-21T12:00:00.000Z");
    of_floor.take_over = true;
    in.begin_attempt("A", of_floor);
    auto later_version = from("line-1", "3");
    later_version.program_version = "setmac-floor 0.2.0";
    in.begin_attempt("A", later_version);
    EXPECT_EQ(in.attempts_of(*in.find("A")).at(1).outcome, attempt_outcome::in_doubt);
}

TEST_P(attempts, on_a_verified_unit_are_asked_for)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    in.end_attempt(in.begin_attempt("A", from("line-1")), attempt_outcome::verified, "", {});
    EXPECT_EQ(error_of([&] { in.begin_attempt("A", from("line-1")); }),
              "refused: label A is verified already");
    auto again = from("line-1");
    again.again = true;
    in.begin_attempt("A", again);
    EXPECT_EQ(state(in), "writing");
}

TEST_P(attempts, told_twice_end_once)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto id = in.begin_attempt("A", from("line-1"));
    in.end_attempt(id, attempt_outcome::failed, "cable", {});
    const auto entries = in.check().entries;
    in.end_attempt(id, attempt_outcome::failed, "cable", {});
    EXPECT_EQ(in.check().entries, entries);
    EXPECT_NE(error_of([&] { in.end_attempt(id, attempt_outcome::verified, "", {}); }), "");
}

TEST_P(attempts, told_twice_to_be_stored_are_stored_once)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto id = in.begin_attempt("A", from("line-1"));
    in.record_stored(id, "what was sent");
    const auto entries = in.check().entries;
    now += std::chrono::minutes(1);
    in.record_stored(id, "");
    EXPECT_EQ(in.check().entries, entries);
    EXPECT_EQ(in.attempts_of(*in.find("A")).at(0).stored_at, "2026-11-21T12:00:00.000Z");
}

TEST_P(attempts, end_when_their_unit_is_made_void)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto id = in.begin_attempt("A", from("line-1"));
    in.void_unit("A", "scrapped", "Ada");
    EXPECT_EQ(error_of([&] { in.end_attempt(id, attempt_outcome::verified, "", {}); }),
              "refused: attempt 1 of label A has ended: in doubt (its identity was made void)");
    EXPECT_EQ(error_of([&] { in.begin_attempt("A", from("line-1")); }),
              "refused: label A is void: scrapped");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(attempts, keep_whatever_a_console_has_shown)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto id = in.begin_attempt("A", from("line-1"));
    const std::string console("\x1b[2J'\";--\r\n\0\xFF\xC3\xA9", 15);
    in.end_attempt(id, attempt_outcome::failed, "odd \xFF", {.transcript = console});
    const auto one = in.attempts_of(*in.find("A")).at(0);
    EXPECT_EQ(one.evidence.transcript, "\x1b[2J'\";--\r\n\\x00\\xFF\xC3\xA9");
    EXPECT_EQ(one.reason, "odd \\xFF");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(attempts, are_for_labels_that_are_there)
{
    auto in = open();
    EXPECT_EQ(error_of([&] { in.begin_attempt("A", from("line-1")); }),
              "refused: there is no label A");
    EXPECT_EQ(error_of([&] { in.begin_attempt("A", {}); }), "refused: the station is empty");
    EXPECT_EQ(error_of([&] { in.record_stored(5, ""); }), "refused: there is no attempt 5");
}

TEST_P(attempts, stand_in_the_history_of_their_label)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    reserved(in, "B");
    in.record_stored(in.begin_attempt("A", from("line-1")), "");
    in.begin_attempt("A", from("line-1"));
    std::string kinds;
    for (const auto &each : in.history("A")) {
        kinds += each.kind + ", ";
    }
    EXPECT_EQ(kinds, "reserve, begin attempt, stored, end attempt, begin attempt, ");
}

TEST_P(attempts, want_a_label_that_is_a_text)
{
    auto in = open();
    add_office(in);
    const std::string no_text("A\xFF", 2);
    for (const auto &label : {no_text, std::string("A\0B", 3)}) {
        EXPECT_TRUE(error_of([&] {
                        in.begin_attempt(label, from("line-1"));
                    }).starts_with("refused: there is no label "));
        EXPECT_TRUE(error_of([&] {
                        in.void_unit(label, "torn", "Ada");
                    }).starts_with("refused: there is no label "));
        EXPECT_TRUE(
            error_of([&] { in.history(label); }).starts_with("refused: there is no label "));
    }
}

} // namespace
