#include "station/unit_jobs/backplane_job.h"
#include "unit/station/exchanges/unit_runs.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

const std::string short_job = "[backplane]\nmac = \"00 1A 2B 3C 4D 5E\"\nserial = \"AB1\"\n"
                              "type = 0x21\nversion = \"1.0\"\n";

const bytes short_list{
    1, 12, '0', '0', '1', 'A', '2', 'B', '3', 'C', '4', 'D', '5', 'E', 0, // adds up to 0x2BB
    2, 3,  'A', 'B', '1', 0,                                              // 0xB9
    3, 2,  '2', '1', 0,                                                   // 0x68
    4, 3,  '1', '.', '0', 0,                                              // 0x96
};
constexpr std::uint8_t short_sum = 0x72; // of 0x472

class backplane : public unit_runs {
protected:
    static unit_job job(const std::string &text = short_job)
    {
        return read_as(read_backplane_job, text);
    }
    static std::string told(const std::string &text) { return told_by(read_backplane_job, text); }
    static bytes text(const std::string &shown) { return {shown.begin(), shown.end()}; }

    static std::string changed(const std::string &from, const std::string &to)
    {
        auto text = short_job;
        return text.replace(text.find(from), from.size(), to);
    }

    scripted_line &begin()
    {
        return begins("Disconnect your console terminal first ...\r\n", 0x15);
    }

    scripted_line &expect_list(std::uint8_t sum)
    {
        return far.expects(joint({{0x01, 0x20, 0x04}, short_list, {sum}}));
    }

    std::vector<std::string> results_of(const bytes &answer)
    {
        begin();
        expect_list(short_sum).answers(answer);
        result = run(job());
        return results(job(), result);
    }

    /** An end that seems to be one: the station asks, and the switch does not wait for a list. */
    std::vector<std::string> results_at_end(const bytes &answer)
    {
        begin();
        expect_list(short_sum).answers(answer).expects({0x15});
        result = run(job());
        return results(job(), result);
    }

    outcome result;
};

using backplane_exchange = backplane;
using backplane_job_reading = backplane;

using words = std::vector<std::string>;

} // namespace

TEST_F(backplane_exchange, is_over_with_a_single_06)
{
    EXPECT_EQ(results_at_end({0x06}), (words{"written", "written"}));
    EXPECT_EQ(result.end, ending::stored);
    EXPECT_EQ(reply_bytes(result), (bytes{0x06, 0x06}));
}

TEST_F(backplane_exchange, tells_both_statuses)
{
    EXPECT_EQ(results_of({0x01, 0xFF, 0x06}),
              (words{"not written, status 0x01", "not written, status 0xFF"}));
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(result.reason, "2 of 2 units are not confirmed");
    EXPECT_EQ(reply_bytes(result), (bytes{0x06, 0x01, 0xFF, 0x06}));
}

TEST_F(backplane_exchange, does_not_take_a_repeated_acknowledgement_for_its_end)
{
    begin().answers({0x06}, 5ms);
    expect_list(short_sum).answers({0x01, 0xFF, 0x06});
    result = run(job());
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(reply_bytes(result), (bytes{0x06, 0x01, 0xFF, 0x06}));
}

TEST_F(backplane_exchange, does_not_take_the_acknowledgement_of_a_start_inside_the_list_for_its_end)
{
    options.attempts = 2;
    begin();
    // The switch has lost its place, and met a 15; its header does not come, so it waits again.
    expect_list(0x72).answers({0x06}).expects({0x15}).answers({0x06});
    far.expects({0x15}).answers({0x06}, 500ms);
    expect_list(0x72).answers({0x06}).expects({0x15});
    result = run(job());
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.attempts, 2);
}

TEST_F(backplane_exchange, tells_a_switch_that_waits_for_a_list_after_its_end)
{
    begin();
    expect_list(short_sum).answers({0x06}).expects({0x15}).answers({0x06});
    options.attempts = 1;
    const std::string waits = "the switch seemed to have taken the list, but waits for one again";
    EXPECT_EQ(run(job()).reason, waits);
    begin();
    expect_list(short_sum).answers({0x06}).expects({0x15}).answers({0x15});
    EXPECT_EQ(run(job()).reason, waits);
}

TEST_F(backplane_exchange, cannot_tell_whose_a_single_status_is)
{
    const std::string either = "not known: one of the two is not written, status 0x02";
    EXPECT_EQ(results_of({0x02, 0x06}), (words{either, either}));
    EXPECT_EQ(result.end, ending::failed);
}

TEST_F(backplane_exchange, takes_06_for_a_status_when_another_one_follows)
{
    const std::string either = "not known: one of the two is not written, status 0x06";
    EXPECT_EQ(results_of({0x06, 0x06}), (words{either, either}));
    EXPECT_EQ(results_of({0x06, 0x01, 0x06}),
              (words{"not written, status 0x06", "not written, status 0x01"}));
    EXPECT_EQ(results_of({0x01, 0x06, 0x06}),
              (words{"not written, status 0x01", "not written, status 0x06"}));
    EXPECT_EQ(results_of({0x06, 0x06, 0x06}),
              (words{"not written, status 0x06", "not written, status 0x06"}));
}

TEST_F(backplane_exchange, waits_for_what_may_follow_a_06)
{
    begin();
    expect_list(short_sum).answers({0x06}).answers({0x06}, 900ms);
    EXPECT_EQ(run(job()).end, ending::failed);
}

TEST_F(backplane_exchange, takes_15_for_a_status_when_something_follows)
{
    const std::string either = "not known: one of the two is not written, status 0x15";
    EXPECT_EQ(results_of({0x15, 0x06}), (words{either, either}));
}

TEST_F(backplane_exchange, goes_on_with_the_sum_when_the_switch_asks_for_the_list_again)
{
    options.attempts = 3;
    begin();
    expect_list(0x72).answers({0x15}).expects({0x15}).answers({0x06});
    expect_list(0xE4).answers({0x15}).expects({0x15}).answers({0x06});
    expect_list(0x56).answers({0x06}).expects({0x15});
    result = run(job());
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.attempts, 3);
}

TEST_F(backplane_exchange, takes_text_for_a_status_unless_it_is_a_line)
{
    const std::string either = "not known: one of the two is not written, status 0x20";
    EXPECT_EQ(results_of({' ', 0x06}), (words{either, either}));
    EXPECT_EQ(results_of({'\n', 0x06}).front(),
              "not known: one of the two is not written, status 0x0A");
    observer.text.clear();
    EXPECT_EQ(results_at_end({'[', '1', ']', ' ', 'x', '\r', '\n', 0x06}),
              (words{"written", "written"}));
    EXPECT_EQ(observer.text, "Disconnect your console terminal first ...\r\n[1] x\r\n");
}

TEST_F(backplane_exchange, passes_on_what_the_console_shows_afterwards)
{
    begin();
    expect_list(short_sum).answers({0x06}).shows("login: \r\n# ").expects({0x15}).answers({0x07});
    EXPECT_TRUE(run(job()).ok());
    EXPECT_EQ(observer.text, "Disconnect your console terminal first ...\r\nlogin: \r\n# ");
}

TEST_F(backplane_exchange, is_over_at_once_when_the_program_of_the_switch_says_so)
{
    begin();
    expect_list(short_sum).answers({0x06}).shows("Save product info ").shows("success.\r");
    EXPECT_TRUE(run(job()).ok());
    EXPECT_EQ(observer.text,
              "Disconnect your console terminal first ...\r\nSave product info success.\r");
    EXPECT_EQ(far.elapsed(), 20ms);
}

TEST_F(backplane_exchange, tells_its_statuses_also_when_the_program_of_the_switch_has_ended)
{
    EXPECT_EQ(results_of(joint({{0x01, 0x06}, text("Save product info failed.\r")})),
              (words{"not known: one of the two is not written, status 0x01",
                     "not known: one of the two is not written, status 0x01"}));
}

TEST_F(backplane_exchange, leaves_the_words_of_an_earlier_program_out)
{
    far.shows("Save product info success.\r\n");
    begin();
    expect_list(short_sum).answers({0x06}).expects({0x15});
    conversation talk(far, observer);
    EXPECT_TRUE(run_unit_job(talk, job(), options).ok());
    EXPECT_EQ(talk.shown(), "");
}

TEST_F(backplane_exchange, is_not_over_by_words_before_the_06)
{
    EXPECT_EQ(results_at_end(joint({text("Save product info success.\r\n"), {0x06}})),
              (words{"written", "written"}));
}

TEST_F(backplane_exchange, is_over_when_the_line_closes_behind_the_06)
{
    begin();
    expect_list(short_sum).answers({0x06}).closes();
    EXPECT_TRUE(run(job()).ok());
}

TEST_F(backplane_exchange, is_not_over_when_the_line_closes_before)
{
    begin();
    expect_list(short_sum).answers({0x01}).closes();
    result = run(job());
    EXPECT_EQ(result.end, ending::broken);
    EXPECT_EQ(results(job(), result), (words{"not known", "not known"}));
}

TEST_F(backplane_exchange, tells_an_answer_that_does_not_belong_here)
{
    EXPECT_EQ(results_of({0x01, 0x02, 0x03, 0x06}), (words{"not known", "not known"}));
    EXPECT_EQ(result.end, ending::unexpected);
    EXPECT_EQ(result.reason, "the answer 01 02 03 06 does not belong here");
    options.store = 1s;
    EXPECT_EQ(results_of({0x01}), (words{"not known", "not known"}));
    EXPECT_EQ(result.reason, "the answer 01 does not belong here");
}

TEST_F(backplane_exchange, tells_a_switch_that_does_not_answer)
{
    options.store = 1s;
    EXPECT_EQ(results_of({'x', '\n'}), (words{"not known", "not known"}));
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the switch does not answer the list");
}

TEST_F(backplane_exchange, sends_nothing_to_another_operation)
{
    far.shows("Disconnect your console terminal first\r\n"
              " Using your PC SetFanSn program to perform SetFanSn Operation ......");
    EXPECT_EQ(run(job()).reason, "another operation than this command's runs on the switch");
}

TEST_F(backplane_job_reading, makes_the_list)
{
    const auto found = job();
    ASSERT_EQ(found.operation.lists.size(), 1U);
    EXPECT_EQ(found.operation.lists[0].payload, short_list);
    EXPECT_EQ(found.operation.lists[0].length, (bytes{32, 4}));
    EXPECT_EQ(found.units.rows, (std::vector<words>{{"1", "001A2B3C4D5E", "AB1", "0x21", "1.0"},
                                                    {"2", "001A2B3C4D5E", "AB1", "0x21", "1.0"}}));
}

TEST_F(backplane_job_reading, sends_numbers_as_hexadecimal_texts)
{
    const auto found = job(short_job + "serial_0 = 0\nserial_1 = 10\nserial_2 = 0x7F\n"
                                       "serial_3 = 255\ntype9_value = 0x89ABCDEF\n");
    const bytes more{5, 2,   '0', '0', 0, 6, 2,   '0', 'A', 0,   7,   2,   '7', 'F', 0, 8,
                     2, 'F', 'F', 0,   9, 8, '8', '9', 'A', 'B', 'C', 'D', 'E', 'F', 0};
    EXPECT_EQ(found.operation.lists[0].payload, joint({short_list, more}));
    EXPECT_EQ(found.operation.lists[0].length, (bytes{63, 9}));
}

TEST_F(backplane_job_reading, takes_what_the_switch_keeps_whole)
{
    EXPECT_EQ(told(changed("AB1", "ABCDEFGHJKLMNPQRST")), "nothing");
    EXPECT_EQ(told(changed("AB1", "ABCDEFGHJKLMNPQRSTU")),
              "job:3: \"serial\" is \"ABCDEFGHJKLMNPQRSTU\", 19 bytes: expected a text of 1 to 18 "
              "printable ASCII characters");
    EXPECT_EQ(told(changed("1.0", "12345678")), "nothing");
    EXPECT_EQ(told(changed("1.0", "123456789")),
              "job:5: \"version\" is \"123456789\", 9 bytes: expected a text of 1 to 8 printable "
              "ASCII characters");
    EXPECT_EQ(told(changed("0x21", "256")),
              "job:4: \"type\" is 256: expected a whole number from 0 to 255");
    EXPECT_EQ(told(short_job + "serial_2 = 256\n"),
              "job:6: \"serial_2\" is 256: expected a whole number from 0 to 255");
    EXPECT_EQ(told(short_job + "type9_value = 4294967296\n"),
              "job:6: \"type9_value\" is 4294967296: expected a whole number from 0 to 4294967295");
}

TEST_F(backplane_job_reading, takes_a_mac_of_six_bytes)
{
    EXPECT_EQ(told(changed("00 1A 2B 3C 4D 5E", "001a2b3c4d5e")), "nothing");
    EXPECT_EQ(told(changed("00 1A 2B 3C 4D 5E", "00:1a:2b:3c:4d:5e")), "nothing");
    for (const std::string mac : {"00 1A 2B 3C 4D", "00 1A 2B 3C 4D 5G", "001A2B3C4D5E6F"}) {
        EXPECT_EQ(told(changed("00 1A 2B 3C 4D 5E", mac)),
                  "job:2: \"mac\" is \"" + mac +
                      "\": expected six bytes in hexadecimal, as in mac = \"00 1A 2B 3C 4D 5E\"");
    }
}

TEST_F(backplane_job_reading, tells_what_is_missing_and_what_is_too_much)
{
    EXPECT_EQ(told(""), "job:1: no backplane: expected [backplane]");
    EXPECT_EQ(told("[[backplane]]\n"),
              "job:1: \"backplane\" is a list of tables: expected [backplane]");
    EXPECT_EQ(told(short_job + "serial_4 = 1\n"),
              "job:6: unknown key \"serial_4\": expected mac, serial, type, version, serial_0, "
              "serial_1, serial_2, serial_3, type9_value");
    EXPECT_EQ(told("[backplane]\ntype = 1\n"),
              "job:1: missing \"mac\": expected a text of 1 to 18 printable ASCII characters\n"
              "job:1: missing \"serial\": expected a text of 1 to 18 printable ASCII characters\n"
              "job:1: missing \"version\": expected a text of 1 to 8 printable ASCII characters");
}
