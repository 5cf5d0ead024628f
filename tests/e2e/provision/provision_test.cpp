#include <gtest/gtest.h>

#include "e2e/provision/provision_session.h"

// The station takes simulated switches from power-on to verified, over their consoles.

namespace {

using e2e::provision_session;

const std::vector<std::string> chassis_values = {
    "--value", "fan0=FANA000000001",   "--value", "fan1=FANA000000002",
    "--value", "psu0=PSUA000000001",   "--value", "psu1=PSUA000000002",
    "--value", "card=CARD000000000003"};

/** The value of a key of the outcome, as it stands there. */
std::string value_of(const e2e::outcome &result, const std::string &key)
{
    const auto begin = "\n  \"" + key + "\": ";
    const auto at = result.output.find(begin);
    if (at == std::string::npos) {
        return "no " + key + " in " + result.output + result.errors;
    }
    const auto end = result.output.find_first_of('\n', at + begin.size());
    return result.output.substr(at + begin.size(), end - at - begin.size() - 1);
}

void expect_end(const e2e::outcome &result, int status, const std::string &outcome)
{
    EXPECT_EQ(result.status, status) << result.output << result.errors;
    EXPECT_EQ(value_of(result, "outcome"), "\"" + outcome + "\"") << result.output;
}

} // namespace

TEST(provision, verifies_an_identity_in_flash)
{
    provision_session session("sw-48x6q", {"--like", "nor"});
    EXPECT_FALSE(session.holds_the_job());
    expect_end(session.provision(), 0, "verified");
    EXPECT_TRUE(session.holds_the_job());
    EXPECT_EQ(session.printed({"prodinfo"}).substr(0, 47),
              "ProductInfo=0B0EFACE\nethaddr=00:1A:2B:3C:4E:00\n");
    const auto again = session.provision({"--only-check"});
    expect_end(again, 0, "verified");
    EXPECT_EQ(value_of(again, "held"), "\"this identity\"");
}

TEST(provision, verifies_an_identity_in_the_system_eeprom)
{
    provision_session session("sw-48x6q-tlv", {"--like", "tlv"});
    expect_end(session.provision(), 0, "verified");
    EXPECT_TRUE(session.holds_the_job());
}

TEST(provision, verifies_a_chassis_with_all_of_its_units)
{
    provision_session session("chassis-8", {"--like", "chassis"});
    session.station.insert(session.station.end(), chassis_values.begin(), chassis_values.end());
    expect_end(session.provision(), 0, "verified");
    EXPECT_TRUE(session.holds_the_job());
    const auto shown = e2e::run({"simboard", "show", session.board()}, {}).output;
    for (const auto *serial : {"BPABCDEFGHJ1234", "FANA000000001", "FANA000000002", "ABCDEFGHJ1234",
                               "PSUA000000001", "PSUA000000002", "CARD000000000003"}) {
        EXPECT_NE(shown.find(serial), std::string::npos) << serial << "\n" << shown;
    }
}

TEST(provision, logs_in_through_kernel_lines_wrapped_lines_and_without_an_echo)
{
    provision_session session("sw-48x6q", {"--like", "nor"});
    const std::vector<std::string> kinds[] = {
        {"--set", "kernel_every_bytes=60"},
        {"--set", "wrap=24"},
        {"--set", "echo=false"},
        {"--set", "activate=Please press Enter to activate this console."},
        {"--set", "start=login"},
        {"--set", "start=shell"}};
    const auto plain = session.console;
    for (const auto &kind : kinds) {
        session.console = plain;
        session.console.insert(session.console.end(), kind.begin(), kind.end());
        expect_end(session.provision(), 0, "verified");
    }
}

TEST(provision, tells_a_refused_password_and_does_not_try_on)
{
    provision_session session("sw-48x6q", {"--like", "nor"});
    session.console = {"--set", "boot_ms=100", "--set", "user=admin", "--set", "password=p"};
    const auto result = session.provision();
    expect_end(result, 5, "not_reached");
    EXPECT_EQ(value_of(result, "reason"),
              R"("the switch asks \"Password: \", and the product file has no answer to that")");
}

TEST(provision, tells_another_prompt)
{
    provision_session session("sw-48x6q", {"--like", "nor"});
    session.console = {"--set", "start=shell", "--set", "prompt=loader> "};
    const auto result = session.provision();
    expect_end(result, 5, "not_reached");
    EXPECT_EQ(value_of(result, "reason"),
              R"("the console shows \"loader> \", which is none of the product's prompts")");
}

TEST(provision, leaves_another_units_identity_in_an_eeprom_alone)
{
    const provision_session session("sw-48x6q-tlv", {"--like", "tlv", "--serial", "ZZZZZZZZZ9999",
                                                     "--mac", "00:AA:BB:00:00:40"});
    expect_end(session.provision(), 4, "other_identity");
    EXPECT_NE(session.printed({"setmac-tlv"}).find("SerialNO=ZZZZZZZZZ9999"), std::string::npos);
}

TEST(provision, leaves_another_units_identity_alone)
{
    provision_session session("sw-48x6q", {"--like", "nor"});
    session.printed({"setsn", "ZZZZZZZZZ9999"});
    expect_end(session.provision(), 4, "other_identity");
    EXPECT_NE(session.printed({"prodinfo"}).find("SerialNO=ZZZZZZZZZ9999"), std::string::npos);
    expect_end(session.provision({"--replace"}), 0, "verified");
    EXPECT_TRUE(session.holds_the_job());
}

TEST(provision, ends_an_operation_that_waits_on_the_switch)
{
    provision_session session("sw-48x6q", {"--like", "nor"});
    session.console = {"--set", "start=shell", "--set", "running=prov_setmac setmac"};
    expect_end(session.provision(), 0, "verified");
    EXPECT_TRUE(session.holds_the_job());
}

TEST(provision, copes_with_a_restart_at_each_command)
{
    for (int command = 1; command <= 5; ++command) {
        provision_session session("sw-48x6q", {"--like", "nor"});
        session.console.insert(session.console.end(),
                               {"--fault", "reboot,command=" + std::to_string(command)});
        expect_end(session.provision(), 0, "verified");
        EXPECT_TRUE(session.holds_the_job());
    }
}

TEST(provision, fails_where_the_console_ends)
{
    provision_session session("sw-48x6q", {"--like", "nor"});
    session.console.insert(session.console.end(), {"--fault", "hang_up,command=3,received=20"});
    expect_end(session.provision(), 1, "failed");
    EXPECT_FALSE(session.holds_the_job());
}

TEST(provision, calls_stored_what_it_can_not_read_back)
{
    provision_session session("sw-48x6q", {"--like", "nor"});
    session.console.insert(session.console.end(), {"--fault", "hang_up,command=4,sent=5"});
    expect_end(session.provision(), 3, "stored");
    EXPECT_TRUE(session.holds_the_job());
}

TEST(provision, is_cancelled_by_a_signal)
{
    provision_session session("sw-48x6q", {"--like", "nor"});
    // The console's program is a child of the station, whose number its shell knows.
    const auto result = session.in_shell(
        e2e::program_file("setmac-station") + " provision " E2E_PRODUCTS "/sw-48x6q/product.toml" +
        " --value serial=ABCDEFGHJ1234 --value mac=00:1A:2B:3C:4E:00 --quiet --json --exec "
        "'kill -TERM $PPID; sleep 9'");
    expect_end(result, 6, "cancelled");
}
