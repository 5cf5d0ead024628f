#include <thread>

#include "unit/station/provision_runs.h"

namespace {

class provision : public provision_runs {
protected:
    /**
     * Of what the station sends to the first operation of that name, a byte is struck; or the byte
     * so many behind the next that the operation says.
     */
    void strike_operation(const std::string &name, std::size_t number, line_fault::kind what,
                          std::optional<std::size_t> answer = std::nullopt)
    {
        board.at_byte_to_switch = [=, this, taken = std::size_t(0)](std::size_t at) mutable {
            if (board.in_operation() && board.commands.back().starts_with("prov_setmac " + name) &&
                ++taken == number) {
                board.fault = {what, answer.has_value(),
                               answer ? board.bytes_from_switch + *answer : at, 0x80};
            }
        };
    }
};

} // namespace

TEST_F(provision, takes_a_blank_switch_to_verified)
{
    const auto result = run();
    EXPECT_EQ(words(result), "verified: all of it was read back");
    EXPECT_EQ(result.held, "nothing");
    EXPECT_EQ(result.console, "at the prompt");
    EXPECT_TRUE(holds_the_job());
    const std::vector<std::string> told = {"waits for the console", "reads what the switch holds",
                                           "setmac 1/1", "setmac done",
                                           "reads back what the switch holds"};
    EXPECT_EQ(observer.told, told);
    ASSERT_EQ(result.records.size(), 3U);
    EXPECT_EQ(result.records[1].name, "SerialNO");
    EXPECT_EQ(result.records[1].before, std::nullopt);
    EXPECT_EQ(result.records[1].after, "ABCDEFGHJ1234");
}

TEST_F(provision, does_every_operation_as_a_step)
{
    steps += step("setsn", "serial.toml") + step("setfansn", "fan.toml");
    add_backplane();
    const auto result = run();
    EXPECT_EQ(words(result), "verified: all of it was read back") << result.transcript;
    EXPECT_EQ(board.backplane, whole_backplane);
    EXPECT_TRUE(board.files.empty()) << "the log is removed";
}

TEST_F(provision, waits_through_the_start_of_the_switch_and_logs_in)
{
    board.asks_for_login = true;
    board.power_on();
    options.password = "secret";
    const auto result = run();
    EXPECT_EQ(words(result), "verified: all of it was read back");
    EXPECT_EQ(board.typed_secrets, "secret");
}

TEST_F(provision, logs_in_without_a_password)
{
    board.asks_for_login = true;
    board.password = "";
    board.power_on();
    EXPECT_EQ(words(run()), "verified: all of it was read back");
}

TEST_F(provision, does_not_try_on_with_a_wrong_password)
{
    board.asks_for_login = true;
    board.power_on();
    options.password = "wrong";
    const auto result = run();
    EXPECT_EQ(words(result), "not_reached: the switch refuses the user or the password");
    EXPECT_EQ(board.typed_secrets, "wrong");
}

TEST_F(provision, says_that_it_has_no_password)
{
    board.asks_for_login = true;
    board.power_on();
    EXPECT_EQ(words(run()), "not_reached: the switch asks \"Password: \", and the product file has "
                            "no answer to that");
}

TEST_F(provision, records_no_password_even_where_the_console_echoes_it)
{
    board.asks_for_login = true;
    board.echoes_secrets = true;
    board.power_on();
    options.password = "secret";
    const auto result = run();
    EXPECT_EQ(result.end, station::run_end::verified);
    EXPECT_EQ(result.transcript.find("secret"), std::string::npos);
    EXPECT_EQ(observer.text.find("secret"), std::string::npos);
}

TEST_F(provision, records_no_password_that_is_echoed_after_a_cancellation)
{
    options.password = "secret";
    for (const std::size_t byte : {1, 7}) { // the first of the password; the end of its line
        renew();
        board.asks_for_login = true;
        board.echoes_secrets = true;
        board.power_on();
        observer.text.clear();
        stop = std::stop_source();
        board.at_byte_to_switch = [&, typed = std::size_t(0)](std::size_t /*number*/) mutable {
            if (board.asks_for_password() && ++typed == byte) {
                stop.request_stop();
            }
        };
        const auto result = run();
        EXPECT_EQ(words(result), "cancelled: it was stopped") << byte;
        EXPECT_EQ(result.console, "at the prompt") << byte;
        EXPECT_EQ(result.transcript.find("secret"), std::string::npos) << result.transcript;
        EXPECT_EQ(observer.text.find("secret"), std::string::npos) << observer.text;
        EXPECT_NE(result.transcript.find("switch:~# "), std::string::npos) << result.transcript;
    }
}

TEST_F(provision, copes_with_a_console_that_does_not_echo)
{
    board.echo = false;
    EXPECT_EQ(words(run()), "verified: all of it was read back");
}

TEST_F(provision, copes_with_kernel_lines_in_everything)
{
    board.kernel_line = "[   12.345678] eth0: link is up\r\n";
    board.kernel_every = 37;
    add_backplane();
    EXPECT_EQ(words(run()), "verified: all of it was read back");
}

TEST_F(provision, copes_with_lines_that_are_wrapped)
{
    board.columns = 40;
    console += "columns = 40\n";
    add_backplane();
    const auto result = run();
    EXPECT_EQ(words(result), "verified: all of it was read back") << result.transcript;
}

TEST_F(provision, copes_with_a_switch_that_starts_again_at_any_command)
{
    add_backplane();
    for (std::size_t command = 1; command <= 8; ++command) {
        renew();
        board.asks_for_login = true;
        board.power_on();
        board.reboot_after_lines = command;
        options.password = "secret";
        const auto result = run();
        EXPECT_EQ(words(result), "verified: all of it was read back") << command << "\n"
                                                                      << result.transcript;
        EXPECT_TRUE(holds_the_job());
        EXPECT_EQ(board.backplane, whole_backplane);
    }
}

TEST_F(provision, does_not_wait_for_an_operation_that_a_prompt_shows_to_be_over)
{
    options.password = "secret";
    for (const std::size_t byte : {5, 9, 12, 60}) { // of hand sign, version, length and value
        renew();
        board.asks_for_login = true;
        strike_operation("setmac", byte, line_fault::reboot);
        const auto result = run();
        EXPECT_EQ(words(result), "verified: all of it was read back") << byte;
        EXPECT_EQ(result.steps.at(0).starts, 2) << byte;
        EXPECT_LT(result.seconds, 15) << byte << result.transcript; // 4 of them it boots
    }
}

TEST_F(provision, does_not_wait_for_the_end_of_a_store_that_a_login_shows_to_be_over)
{
    board.asks_for_login = true;
    options.password = "secret";
    strike_operation("setmac", 12, line_fault::reboot, 1); // the byte behind 07
    const auto result = run();
    EXPECT_EQ(words(result), "verified: all of it was read back");
    EXPECT_EQ(result.steps.at(0).starts, 2);
    EXPECT_LT(result.seconds, 15) << result.transcript; // of the 120 that a store may take
}

TEST_F(provision, says_what_it_saw_in_place_of_the_prompt)
{
    board.prompt = "loader> ";
    EXPECT_EQ(
        words(run()),
        "not_reached: the console shows \"loader> \", which is none of the product's prompts");
}

TEST_F(provision, says_that_the_console_is_silent)
{
    board.boot_text = "";
    board.boot_takes = std::chrono::hours(1);
    board.power_on();
    options.wait = std::chrono::seconds(20);
    EXPECT_EQ(words(run()), "not_reached: no prompt within 20 s: the console shows nothing");
}

TEST_F(provision, ends_an_operation_that_somebody_started_before)
{
    for (const auto *operation : {"setmac", "setsn", "setfansn"}) {
        renew();
        board.start_operation(std::string("prov_setmac ") + operation);
        EXPECT_EQ(words(run()), "verified: all of it was read back") << operation;
    }
}

TEST_F(provision, satisfies_a_backplane_operation_that_somebody_started_before)
{
    add_backplane();
    board.start_operation("prov_setmac setbackplane");
    // A list that was broken off leaves its bytes in the sum of the switch.
    const std::uint8_t part[] = {0x15, 0x01, 0x20, 0x04, 0x77, 0x12};
    board.write(part, {});
    EXPECT_EQ(words(run()), "verified: all of it was read back");
    EXPECT_EQ(board.backplane, whole_backplane);
}

TEST_F(provision, soon_satisfies_a_backplane_operation_that_has_added_up_a_harmed_byte)
{
    add_backplane();
    for (const auto what : {line_fault::change, line_fault::twice, line_fault::drop}) {
        renew();
        strike_operation("setbackplane", 20, what);
        const auto result = run();
        EXPECT_EQ(words(result), "verified: all of it was read back") << what;
        EXPECT_EQ(board.backplane, whole_backplane) << what;
        EXPECT_EQ(result.steps.at(1).starts, 2) << what;
        // A list of which a byte was lost is not answered.
        EXPECT_LT(result.seconds, what == line_fault::drop ? 80 : 50) << what << result.transcript;
    }
}

TEST_F(provision, tells_whether_the_switch_may_have_stored_something)
{
    EXPECT_TRUE(run().may_have_stored);
    options.only_check = true;
    EXPECT_FALSE(run().may_have_stored);
    options.only_check = false;
    board.start_operation("prov_setmac setbackplane");
    EXPECT_FALSE(run().may_have_stored) << "the product has no list that would end it";
}

TEST_F(provision, may_have_stored_the_lists_before_one_that_the_switch_refuses)
{
    const std::string card = "[[record]]\n[[record.device]]\nkind = \"card\"\ntype = 7\n"
                             "serial = \"{serial}\"\nindex = ";
    write("devices.toml", card + "1\n" + card + "2\n");
    steps = step("setdevice", "devices.toml") + steps;
    EXPECT_EQ(words(run()), "verified: all of it was read back");
    for (const std::size_t lists : {0, 1}) {
        renew();
        board.lists_of_devices_taken = lists;
        const auto result = run();
        EXPECT_EQ(words(result), "failed: setdevice: the switch refuses the list: it has no room "
                                 "for so many units, or runs an operation of another kind");
        EXPECT_EQ(result.may_have_stored, lists == 1);
        EXPECT_TRUE(board.stored.empty());
    }
}

TEST_F(provision, says_that_a_backplane_operation_cannot_be_called_off)
{
    board.start_operation("prov_setmac setbackplane");
    EXPECT_EQ(words(run()), "not_reached: the switch waits for the list of a backplane, which "
                            "cannot be called off");
}

TEST_F(provision, ends_an_operation_that_waits_for_a_very_long_value)
{
    board.start_operation("prov_setmac setmac");
    const std::uint8_t begun[] = {0x15, 0x18, 0x03, 0x10, 0xBD, 0x3D, 0x0E,
                                  0x81, 0x01, 0x00, 0x01, 0x00, 0x00};
    board.write(begun, {});
    EXPECT_EQ(words(run()), "verified: all of it was read back");
}

TEST_F(provision, does_not_overwrite_another_units_identity)
{
    board.stored = {{"SerialNO", "ZZZZZZZZZ9999"}, {"ethaddr", "00:1A:2B:00:00:00"}};
    const auto result = run();
    EXPECT_EQ(words(result),
              "other_identity: the switch holds SerialNO \"ZZZZZZZZZ9999\" and not "
              "\"ABCDEFGHJ1234\", ethaddr \"00:1A:2B:00:00:00\" and not \"00:1A:2B:3C:4D:40\"");
    EXPECT_EQ(board.record("SerialNO"), "ZZZZZZZZZ9999");
    EXPECT_EQ(result.steps[0].end, station::step_end::not_run);
}

TEST_F(provision, overwrites_it_where_that_is_wanted)
{
    board.stored = {{"SerialNO", "ZZZZZZZZZ9999"}};
    options.replace = true;
    const auto result = run();
    EXPECT_EQ(words(result), "verified: all of it was read back");
    EXPECT_EQ(result.held, "another identity");
    EXPECT_TRUE(holds_the_job());
}

TEST_F(provision, takes_a_default_identity_for_none)
{
    board.stored = {{"SerialNO", "0000000000000"}, {"ethaddr", "00:11:22:33:44:55"}};
    EXPECT_EQ(words(run()), "verified: all of it was read back");
}

TEST_F(provision, checks_without_writing)
{
    options.only_check = true;
    EXPECT_EQ(words(run()), "failed: the switch is not provisioned: ethaddr is missing and not "
                            "\"00:1A:2B:3C:4D:40\", SerialNO is missing and not "
                            "\"ABCDEFGHJ1234\", ProductModel is missing and not \"SW-48X6Q\"");
    EXPECT_TRUE(board.stored.empty());

    board.stored = {{"SerialNO", "ABCDEFGHJ1234"},
                    {"ethaddr", "00:1A:2B:3C:4D:40"},
                    {"ProductModel", "SW-48X6Q"}};
    const auto result = run();
    EXPECT_EQ(words(result), "verified: the switch holds all of it already");
    EXPECT_EQ(result.held, "this identity");

    board.stored[0].second = "ZZZZZZZZZ9999";
    options.replace = true;
    EXPECT_EQ(run().end, station::run_end::other_identity);
}

TEST_F(provision, ends_with_a_step_that_fails)
{
    steps = step("setpwrsn", "supply.toml") + steps;
    write("supply.toml", "[[supply]]\nindex = 1\nchannel = 0\naddress = 0x58\nserial = "
                         "\"{serial}\"\nhardware = \"A01\"\n");
    const auto result = run();
    EXPECT_EQ(result.end, station::run_end::failed);
    EXPECT_EQ(result.steps[0].end, station::step_end::failed);
    EXPECT_EQ(result.steps[1].end, station::step_end::not_run);
    EXPECT_TRUE(board.stored.empty());
}

TEST_F(provision, goes_on_after_an_optional_step_that_fails)
{
    write("supply.toml", "[[supply]]\nindex = 1\nchannel = 0\naddress = 0x58\nserial = "
                         "\"{serial}\"\nhardware = \"A01\"\n");
    steps = step("setpwrsn", "supply.toml") + "optional = true\n" + steps;
    const auto result = run();
    EXPECT_EQ(words(result), "verified: all of it was read back");
    EXPECT_EQ(result.steps[0].end, station::step_end::skipped);
}

TEST_F(provision, calls_stored_what_no_log_shows)
{
    add_backplane();
    write("backplane.toml", "[backplane]\nmac = \"{mac+1}\"\nserial = \"{serial}\"\ntype = 31\n"
                            "version = \"1.02\"\ntype9_value = 9\n");
    const auto result = run();
    EXPECT_EQ(words(result),
              "stored: setbackplane: nothing shows what the switch holds as type9_value");
}

TEST_F(provision, does_not_verify_what_the_switch_did_not_keep)
{
    board.forgets = "SerialNO";
    EXPECT_EQ(words(run()), "failed: read back it differs: SerialNO is missing and not "
                            "\"ABCDEFGHJ1234\"");
}

TEST_F(provision, tells_a_line_that_ends)
{
    board.fault = {line_fault::cut, true, 0};
    EXPECT_EQ(words(run()), "not_reached: the line is gone");
    renew();
    board.fault = {line_fault::cut, false, 120};
    EXPECT_EQ(run().end, station::run_end::failed);
}

TEST_F(provision, can_be_cancelled_at_any_phase_and_leaves_the_console_at_its_prompt)
{
    add_backplane();
    for (const std::string phase :
         {"waits for the console", "reads what the switch holds", "setmac 1/2", "setbackplane 2/2",
          "reads back what the switch holds"}) {
        renew();
        observer.told.clear();
        stop = std::stop_source();
        observer.at_phase = [&](const std::string &now) {
            if (now == phase) {
                stop.request_stop();
            }
        };
        const auto result = run();
        EXPECT_EQ(words(result), "cancelled: it was stopped") << phase;
        EXPECT_EQ(result.console,
                  phase == "waits for the console" ? "as it was found" : "at the prompt");
        EXPECT_FALSE(board.in_operation());
    }
}

TEST_F(provision, leaves_a_switch_that_waits_in_an_operation_when_it_is_cancelled)
{
    ASSERT_EQ(run().end, station::run_end::verified);
    const auto bytes_of_a_run = board.bytes_to_switch;
    for (std::size_t byte = 10; byte < bytes_of_a_run; byte += 7) {
        renew();
        stop = std::stop_source();
        board.at_byte_to_switch = [&](std::size_t number) {
            if (number == byte) {
                stop.request_stop();
            }
        };
        const auto result = run();
        board.at_byte_to_switch = nullptr;
        EXPECT_EQ(words(result), "cancelled: it was stopped") << byte;
        EXPECT_EQ(result.console, "at the prompt") << byte;
        EXPECT_FALSE(board.in_operation()) << byte;
        stop = std::stop_source();
        EXPECT_EQ(run().end, station::run_end::verified) << byte;
    }
}

TEST_F(provision, runs_side_by_side)
{
    const auto plan = planned();
    std::vector<station::run_end> ends(4, station::run_end::failed);
    {
        std::vector<std::jthread> runs;
        for (auto &end : ends) {
            runs.emplace_back([&end, &plan] {
                switch_model own;
                noting_observer notes;
                end = station::provision(own, plan, {}, notes, {}).end;
            });
        }
    }
    EXPECT_EQ(ends, std::vector<station::run_end>(4, station::run_end::verified));
}
