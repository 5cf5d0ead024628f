#include <gtest/gtest.h>

#include "station/registered/registered_run.h"

// What a run means for the ledger.

namespace {

using ledger::attempt_outcome;
using station::run_end;

/** A run that sent something which the switch may have stored, and read nothing back. */
station::run_result ended(run_end how)
{
    station::run_result result;
    result.end = how;
    result.may_have_stored = true;
    result.records = {{"SerialNO", "ABCDEFGHJ1234", std::nullopt, std::nullopt, false}};
    return result;
}

} // namespace

TEST(registered_run, takes_over_what_the_run_has_seen_for_certain)
{
    EXPECT_EQ(outcome_of(ended(run_end::verified)), attempt_outcome::verified);
    EXPECT_EQ(outcome_of(ended(run_end::stored)), attempt_outcome::stored);
}

TEST(registered_run, is_in_doubt_where_nobody_saw_what_the_switch_stored)
{
    for (const auto how : {run_end::failed, run_end::not_reached, run_end::cancelled}) {
        EXPECT_EQ(outcome_of(ended(how)), attempt_outcome::in_doubt);
    }
}

TEST(registered_run, has_failed_where_nothing_was_sent)
{
    for (const auto how :
         {run_end::failed, run_end::other_identity, run_end::not_reached, run_end::cancelled}) {
        auto result = ended(how);
        result.may_have_stored = false;
        EXPECT_EQ(outcome_of(result), attempt_outcome::failed);
        EXPECT_EQ(evidence_of({}, result).sent, "");
    }
}

TEST(registered_run, has_failed_where_something_else_was_read_back)
{
    auto result = ended(run_end::failed);
    result.records[0].after = "XXXXXXXXX1234";
    EXPECT_EQ(outcome_of(result), attempt_outcome::failed);
}

TEST(registered_run, keeps_what_was_sent_and_seen_as_json_of_printable_text)
{
    auto result = ended(run_end::failed);
    result.held = "another identity";
    result.records[0].before = "old\xFF";
    result.transcript = "switch# prodinfo\r\n";
    station::registered_unit of;
    of.what.values = {{"serial", "ABCDEFGHJ1234"}};
    of.what.what.steps = {{"setsn", "serial.toml", false, 1}};
    of.job_sha256 = {"12ab"};
    const auto kept = evidence_of(of, result);
    EXPECT_EQ(kept.sent,
              R"({"values":{"serial":"ABCDEFGHJ1234"},"records":{"SerialNO":"ABCDEFGHJ1234"},)"
              R"("steps":[{"operation":"setsn","job":"serial.toml","job_sha256":"12ab"}]})");
    EXPECT_EQ(kept.read_back,
              R"({"held":"another identity","records":[{"record":"SerialNO","before":"old\\xFF",)"
              R"("after":null,"as_wanted":false}],"steps":[]})");
    EXPECT_EQ(kept.transcript, "switch# prodinfo\r\n");
}
