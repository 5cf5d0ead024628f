// The station with a ledger, as both ship: the identity comes from there, and what became of it is
// there afterwards.

#include <filesystem>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "e2e/provision/provision_session.h"
#include "unit/ledger/support/ledger_test.h"
#include "unit/ledger/support/postgres_server.h"

namespace {

using json = nlohmann::json;

constexpr int refused = 7;
constexpr int wrong_input = 2;

class registered : public ledger_tests::ledger_test {
protected:
    void SetUp() override
    {
        ledger_test::SetUp();
        auto book = open();
        book.add_pool({.name = "office",
                       .of_macs = true,
                       .first = 0x001A2B000000,
                       .last = 0x001A2B00FFFF,
                       .count = 64,
                       .align = 64});
        book.add_pool({.name = "office-sn", .first = 1, .pattern = "ABCD{n:9}"});
        book.add_product(
            {.name = "SW-48X6Q", .mac = {false, "office"}, .serial = {false, "office-sn"}});
    }

    /** Provisions the switch of that session under a label. */
    e2e::outcome provision(e2e::provision_session &at, const std::string &label,
                           const std::vector<std::string> &more = {}) const
    {
        at.station = {"--ledger", place.url, "--label", label};
        return at.provision(more);
    }

    /** What the ledger says of a label: state, and the attempts with outcome and reason. */
    std::string told_of(const std::string &label) const
    {
        auto book = open();
        const auto unit = book.find(label);
        if (!unit) {
            return "nothing";
        }
        std::string text(ledger::state_text(unit->state));
        for (const auto &each : book.attempts_of(*unit)) {
            text += "; ";
            text += each.outcome ? ledger::state_text(ledger::state_after(*each.outcome)) : "open";
            text += ": " + each.reason;
        }
        return text;
    }

    /** Another product on the same pools. */
    void add_product(const std::string &name) const
    {
        open().add_product(
            {.name = name, .mac = {false, "office"}, .serial = {false, "office-sn"}});
    }
};

const std::string verified_once = "verified; verified: verified: all of it was read back";

TEST_P(registered, stores_the_ledgers_identity_and_enters_what_was_read_back)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    const auto ended =
        provision(at, "L1", {"--operator", "Ada", "--station", "line 2", "--slot", "7"});
    EXPECT_EQ(ended.status, 0) << ended;
    EXPECT_EQ(json::parse(ended.output)["ledger"],
              json({{"label", "L1"}, {"attempt", 1}, {"state", "verified"}, {"trouble", ""}}));
    const auto listed = at.printed({"prodinfo"});
    EXPECT_NE(listed.find("\nethaddr=00:1A:2B:00:00:00\n"), std::string::npos) << listed;
    EXPECT_NE(listed.find("\nSerialNO=ABCD000000001\n"), std::string::npos) << listed;

    auto book = open();
    const auto unit = *book.find("L1");
    EXPECT_EQ(ledger_tests::text_of(unit), "L1 ABCD000000001 00:1A:2B:00:00:00/64 verified");
    const auto attempt = book.attempts_of(unit).at(0);
    EXPECT_EQ(attempt.start.station, "line 2");
    EXPECT_EQ(attempt.start.slot, "7");
    EXPECT_EQ(attempt.start.operator_name, "Ada");
    EXPECT_TRUE(attempt.start.product_file.ends_with("sw-48x6q/product.toml"));
    EXPECT_EQ(attempt.start.product_sha256.size(), 64U);
    EXPECT_EQ(attempt.start.program_version, STATION_VERSION);
    const auto sent = json::parse(attempt.evidence.sent);
    EXPECT_EQ(sent["values"], json({{"mac", "00:1A:2B:00:00:00"}, {"serial", "ABCD000000001"}}));
    EXPECT_EQ(sent["records"]["MgmtAddress"], "00:1A:2B:00:00:01");
    EXPECT_EQ(sent["steps"][0]["operation"], "setmac");
    const auto read_back = json::parse(attempt.evidence.read_back);
    EXPECT_EQ(read_back["held"], "nothing");
    EXPECT_EQ(read_back["records"][0], json({{"record", "ethaddr"},
                                             {"before", nullptr},
                                             {"after", "00:1A:2B:00:00:00"},
                                             {"as_wanted", true}}));
    EXPECT_NE(attempt.evidence.transcript.find("switch# prodinfo"), std::string::npos);
    EXPECT_EQ(ledger_tests::findings_of(book), "");
}

TEST_P(registered, writes_a_verified_unit_again_only_where_that_is_asked_for)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    EXPECT_EQ(provision(at, "L1").status, 0);
    const auto again = provision(at, "L1");
    EXPECT_EQ(again.status, refused);
    EXPECT_EQ(again.output, "");
    EXPECT_EQ(again.errors,
              "setmac-station: label L1 is verified already: --again writes it once more\n");
    EXPECT_EQ(told_of("L1"), verified_once);
    EXPECT_EQ(provision(at, "L1", {"--again"}).status, 0);
    EXPECT_EQ(told_of("L1"), verified_once + "; verified: verified: all of it was read back");
}

TEST_P(registered, refuses_void_labels_and_those_of_another_product)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    add_product("OTHER");
    open().reserve({.label = "L1", .product = "OTHER"});
    const auto other = provision(at, "L1");
    EXPECT_EQ(other.status, refused);
    EXPECT_EQ(other.errors, "setmac-station: label L1 is a OTHER, not a SW-48X6Q\n");
    open().void_unit("L1", "torn", "Ada");
    const auto torn = provision(at, "L1");
    EXPECT_EQ(torn.status, refused);
    EXPECT_EQ(torn.errors, "setmac-station: label L1 is void: torn (Ada)\n");
    EXPECT_EQ(at.printed({"prodinfo"}).find("ethaddr"), std::string::npos);
    EXPECT_EQ(told_of("L1"), "void");
}

TEST_P(registered, leaves_a_label_to_the_station_that_writes_it)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    auto book = open();
    book.reserve({.label = "L1", .product = "SW-48X6Q"});
    book.begin_attempt("L1", {.station = "line 1", .slot = "3"});
    const auto busy = provision(at, "L1");
    EXPECT_EQ(busy.status, refused);
    EXPECT_EQ(busy.errors.substr(0, busy.errors.find(", since")),
              "setmac-station: label L1 is being written by station line 1, slot 3");
    EXPECT_EQ(at.printed({"prodinfo"}).find("ethaddr"), std::string::npos);
    EXPECT_EQ(provision(at, "L1", {"--take-over"}).status, 0);
    EXPECT_EQ(told_of("L1"), "verified; in doubt: its end was not told before the next attempt; "
                             "verified: verified: all of it was read back");
}

TEST_P(registered, goes_on_where_the_same_station_has_crashed)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    auto book = open();
    book.reserve({.label = "L1", .product = "SW-48X6Q"});
    book.begin_attempt("L1", {.station = "line 1", .slot = "3"});
    EXPECT_EQ(provision(at, "L1", {"--station", "line 1", "--slot", "3"}).status, 0);
    EXPECT_EQ(ledger_tests::text_of(*book.find("L1")),
              "L1 ABCD000000001 00:1A:2B:00:00:00/64 verified");
}

TEST_P(registered, takes_what_the_label_brings_itself)
{
    open().add_product(
        {.name = "SCANNED", .mac = {true, ""}, .serial = {true, ""}, .mac_count = 64});
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    at.product_as("SCANNED");
    const auto brought =
        provision(at, "L1", {"--serial", "WXYZ000000009", "--mac", "00:1A:2C:00:00:40"});
    EXPECT_EQ(brought.status, 0) << brought;
    const auto listed = at.printed({"prodinfo"});
    EXPECT_NE(listed.find("\nethaddr=00:1A:2C:00:00:40\n"), std::string::npos) << listed;
    EXPECT_NE(listed.find("\nSerialNO=WXYZ000000009\n"), std::string::npos) << listed;
    const auto other =
        provision(at, "L2", {"--serial", "WXYZ000000009", "--mac", "00:1A:2C:00:00:80"});
    EXPECT_EQ(other.status, refused);
    EXPECT_EQ(other.errors,
              "setmac-station: the serial number WXYZ000000009 belongs to label L1\n");
}

TEST_P(registered, gives_nothing_out_to_a_product_file_that_cannot_use_it)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    const auto given = provision(at, "L1", {"--value", "serial=ABCDEFGHJ1234"});
    EXPECT_EQ(given.status, wrong_input);
    EXPECT_EQ(given.errors,
              "--value serial=...: comes from the ledger; where a label brings its own, "
              "expected --serial\n");
    at.product_as("UNKNOWN");
    const auto unknown = provision(at, "L1");
    EXPECT_EQ(unknown.status, wrong_input);
    EXPECT_NE(unknown.errors.find(":1: the ledger has no product \"UNKNOWN\""), std::string::npos)
        << unknown.errors;
    open().add_product({.name = "SMALL", .mac = {true, ""}, .serial = {true, ""}, .mac_count = 8});
    at.product_as("SMALL");
    const auto small = provision(at, "L1");
    EXPECT_EQ(small.status, wrong_input);
    EXPECT_NE(small.errors.find("a unit has 64 MAC addresses here, and the ledger gives it 8"),
              std::string::npos)
        << small.errors;
    open().add_product({.name = "NO-SERIAL", .mac = {false, "office"}});
    at.product_as("NO-SERIAL");
    EXPECT_EQ(provision(at, "L1").status, wrong_input);
    EXPECT_EQ(told_of("L1"), "nothing");
}

TEST_P(registered, tells_what_could_not_be_written_and_why)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    at.before_console = "sleep 60;"; // nothing is shown until then
    const auto silent = provision(at, "L1", {"--wait", "1"});
    EXPECT_EQ(silent.status, 5) << silent;
    EXPECT_EQ(told_of("L1"),
              "failed; failed: not_reached: no prompt within 1 s: the console shows nothing");
    EXPECT_EQ(open().attempts_of(*open().find("L1")).at(0).evidence.sent, "");
}

TEST_P(registered, compares_without_entering_anything)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    const auto unknown = provision(at, "L1", {"--only-check"});
    EXPECT_EQ(unknown.status, refused);
    EXPECT_EQ(unknown.errors, "setmac-station: there is no label L1\n");
    EXPECT_EQ(told_of("L1"), "nothing");
    EXPECT_EQ(provision(at, "L1").status, 0);
    EXPECT_EQ(provision(at, "L1", {"--only-check"}).status, 0);
    EXPECT_EQ(told_of("L1"), verified_once);
}

TEST_P(registered, compares_also_where_the_ledger_goes_away_meanwhile)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    EXPECT_EQ(provision(at, "L1").status, 0);
    const auto looked_up = path("looked-up");
    const auto gone = path("gone");
    at.before_console = ": > " + looked_up + "; until [ -e " + gone + " ]; do sleep 0.05; done;";
    std::jthread taken_away([&](const std::stop_token &over) {
        while (!over.stop_requested() && !std::filesystem::exists(looked_up)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_EQ(ledger_tests::sql_error(place.url, "ALTER TABLE unit RENAME TO gone"), "");
        e2e::write_file(gone, "");
    });
    const auto compared = provision(at, "L1", {"--only-check"});
    EXPECT_EQ(compared.status, 0) << compared;
    EXPECT_EQ(
        json::parse(compared.output)["ledger"],
        json({{"label", "L1"}, {"attempt", nullptr}, {"state", "verified"}, {"trouble", ""}}));
}

TEST_P(registered, says_when_the_end_did_not_get_into_the_ledger)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    const auto ledger = e2e::program_file("setmac-ledger") + " --db '" + place.url + "' ";
    at.before_console = "until " + ledger + "find L1 | grep -q writing; do :; done; " + ledger +
                        "void L1 --reason torn --by Ada >/dev/null;";
    const auto ended = provision(at, "L1");
    EXPECT_EQ(ended.status, 8) << ended;
    const auto shown = json::parse(ended.output);
    EXPECT_EQ(shown["outcome"], "verified");
    EXPECT_EQ(shown["ledger"]["trouble"],
              "attempt 1 of label L1 has ended: in doubt (its identity was made void)");
}

ON_BOTH_DATABASES(registered);

} // namespace
