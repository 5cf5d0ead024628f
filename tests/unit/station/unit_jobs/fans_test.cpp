#include "station/unit_jobs/fan_job.h"
#include "unit/station/exchanges/unit_runs.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

const std::string banner = "Disconnect your console terminal first\r\n"
                           " Using your PC SetFanSn program to perform SetFanSn Operation ......";

const std::string one_fan = "[[fan]]\nindex = 1\ntype = 5\nchannel = 2\nserial = \"AB1\"\n"
                            "hardware = \"1.23\"\n";

// One fan, whose bytes add up to 0xB8.
const bytes one_list{0x01, 0x03, 0x19,       // count, 3, 25
                     0x04, 0x17,             // element
                     0x01, 0x00, 0x05, 0x02, // index, flag, type, channel
                     'A',  'B',  '1',  0,    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // serial
                     '1',  '.',  '2',  '3',  0};                           // hardware
constexpr std::size_t flag_at = 6;

class fans : public unit_runs {
protected:
    static unit_job job(const std::string &text = one_fan) { return read_as(read_fan_job, text); }
    static std::string told(const std::string &text) { return told_by(read_fan_job, text); }

    static std::string fan(const std::string &channel, const std::string &serial = "A",
                           const std::string &hardware = "1.23")
    {
        return "[[fan]]\nindex = 1\ntype = 5\nchannel = " + channel + "\nserial = \"" + serial +
               "\"\nhardware = \"" + hardware + "\"\n";
    }

    scripted_line &begin() { return begins(banner, 0x20); }

    /** The station now sends the list, with that checksum. */
    scripted_line &expect_list(std::uint8_t sum)
    {
        return far.expects(joint({{0x01, 0x1C}, one_list, {sum}}));
    }

    /** The switch takes the list and is asked to send it back. */
    scripted_line &expect_taken()
    {
        begin();
        return expect_list(0xB8).answers({0x06, 0x20}).expects({0x06});
    }

    std::vector<std::string> results(const outcome &result) const
    {
        return unit_runs::results(job(), result);
    }
};

using fan_exchange = fans;
using fan_outcome = fans;
using fan_job_reading = fans;

} // namespace

TEST_F(fan_exchange, sends_the_list_and_takes_it_back_with_the_outcomes)
{
    expect_taken().answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::stored);
    EXPECT_EQ(result.attempts, 1);
    EXPECT_EQ(results(result), (std::vector<std::string>{"written"}));
    EXPECT_EQ(observer.text, banner);
    EXPECT_EQ(observer.steps, (std::vector<std::string>{
                                  "attempt 1/1",
                                  "06 ready for a list",
                                  "sent 31/31",
                                  "06 list taken, units written",
                                  "20 offers the list with the outcomes",
                                  "01 sends the list",
                              }));
}

TEST_F(fan_exchange, sends_nothing_before_the_terminal_is_raw)
{
    far.shows("# prov_setmac setfansn\r\n").becomes_raw(900ms);
    expect_taken().answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    EXPECT_TRUE(run(job()).ok());
    EXPECT_GT(far.elapsed(), 900ms);
}

TEST_F(fan_exchange, offers_the_start_byte_to_a_line_that_stays_silent)
{
    far.expects({0x20}).answers({0x06});
    // The switch waits for a header now: it takes the next start byte for a wrong one.
    far.expects({0x20}).expects({0x20}).answers({0x06});
    expect_list(0xB8).answers({0x06, 0x20}).expects({0x06});
    far.answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    EXPECT_TRUE(run(job()).ok());
}

TEST_F(fan_exchange, ends_when_the_switch_does_not_show_up_in_time)
{
    options.wait = 500ms;
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason,
              "no switch within 0.5 s: neither its banner nor an answer to the start byte");
    EXPECT_EQ(results(result), (std::vector<std::string>{"not written"}));
}

TEST_F(fan_exchange, sends_nothing_to_another_operation)
{
    far.shows(" Using your PC SetPOESn program to perform SetPOESn Operation ......");
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::unexpected);
    EXPECT_EQ(result.reason, "another operation than this command's runs on the switch");
    EXPECT_EQ(result.attempts, 0);
    EXPECT_EQ(results(result), (std::vector<std::string>{"not written"}));
}

TEST_F(fan_exchange, goes_on_with_the_sum_when_the_switch_asks_for_the_list_again)
{
    options.attempts = 3;
    begin();
    expect_list(0xB8).answers({0x20}).expects({0x20}).answers({0x06});
    expect_list(0x70).answers({0x20}).expects({0x20}).answers({0x06});
    expect_list(0x28).answers({0x06, 0x20}).expects({0x06});
    far.answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    const auto result = run(job());
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.attempts, 3);
}

TEST_F(fan_exchange, waits_for_nothing_but_a_repeated_acknowledgement)
{
    expect_taken().answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    EXPECT_TRUE(run(job()).ok());
    EXPECT_EQ(far.elapsed(), 20ms);
}

TEST_F(fan_exchange, does_not_take_a_late_06_for_the_answer_to_another_start_byte)
{
    far.shows(banner).expects({0x20}).answers({0x06}, 650ms);
    // The switch waits for a header now: it takes the next start byte for a wrong one.
    far.expects({0x20}).expects({0x20}).answers({0x06});
    expect_list(0xB8).answers({0x06, 0x20}).expects({0x06});
    far.answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    EXPECT_TRUE(run(job()).ok());
}

TEST_F(fan_exchange, does_not_take_a_06_left_of_one_attempt_for_an_answer_in_the_next)
{
    options.attempts = 2;
    begin();
    expect_list(0xB8).answers({0x20}).answers({0x06}, 50ms).expects({0x20}).answers({0x06});
    expect_list(0x70).answers({0x06, 0x20}).expects({0x06});
    far.answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    EXPECT_TRUE(run(job()).ok());
}

TEST_F(fan_exchange, takes_a_start_byte_that_is_answered_late_but_in_time)
{
    far.shows(banner).expects({0x20}).answers({0x06}, 590ms);
    expect_list(0xB8).answers({0x06, 0x20}).expects({0x06});
    far.answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    EXPECT_TRUE(run(job()).ok());
}

TEST_F(fan_exchange, sends_the_list_in_time_though_the_console_never_stops_talking)
{
    far.chatters(10ms);
    expect_taken().answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    EXPECT_TRUE(run(job()).ok());
    EXPECT_EQ(far.elapsed(), 200ms);
}

TEST_F(fan_exchange, gives_the_switch_time_to_offer_and_to_send_the_list)
{
    begin();
    expect_list(0xB8).answers({0x06}).answers({0x20}, 900ms).expects({0x06});
    far.answers({0x01}, 900ms).answers({0x1C}, 900ms).answers(one_list, 900ms);
    far.answers({0xB8}, 900ms).expects({0x06});
    EXPECT_TRUE(run(job()).ok());
}

TEST_F(fan_exchange, leaves_a_list_without_answer_out_of_the_sum)
{
    options.attempts = 2;
    options.store = 2s;
    begin();
    expect_list(0xB8).expects({0x20}).answers({0x06});
    expect_list(0xB8).answers({0x06, 0x20}).expects({0x06});
    far.answers(joint({{0x01, 0x1C}, one_list, {0xB8}})).expects({0x06});
    EXPECT_TRUE(run(job()).ok());
}

TEST_F(fan_exchange, says_what_to_do_when_no_list_is_taken)
{
    options.attempts = 2;
    begin();
    expect_list(0xB8).answers({0x20}).expects({0x20}).answers({0x06});
    expect_list(0x70).answers({0x20});
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::damaged);
    EXPECT_EQ(result.attempts, 2);
    EXPECT_EQ(result.reason,
              "the list did not reach the switch intact. The switch adds up all that it receives: "
              "after a "
              "byte was lost or changed on the way, it takes no list until its operation is "
              "started again");
    EXPECT_EQ(results(result), (std::vector<std::string>{"not written"}));
}

TEST_F(fan_exchange, says_no_more_than_it_knows_after_a_single_attempt)
{
    begin();
    expect_list(0xB8).answers({0x20});
    EXPECT_EQ(run(job()).reason, "the list did not reach the switch intact");
}

TEST_F(fan_exchange, offers_the_start_byte_three_times)
{
    far.shows(banner).expects({0x20}).expects({0x20}).expects({0x20});
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the switch does not answer the start byte");
    EXPECT_EQ(results(result), (std::vector<std::string>{"not written"}));
}

TEST_F(fan_exchange, tells_a_switch_that_does_not_answer_the_list)
{
    options.store = 2s;
    begin();
    expect_list(0xB8);
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the switch does not answer the list");
    EXPECT_EQ(results(result), (std::vector<std::string>{"not known"}));
}

TEST_F(fan_exchange, tells_each_refusal_and_does_not_try_again)
{
    const std::string other = "it runs an operation on units of another kind";
    const std::vector<std::pair<std::uint8_t, std::string>> refusals{
        {0x28,
         "its length was damaged on the way, or the switch runs an operation of another kind"},
        {0x29, "it has no room for so many units, or runs an operation of another kind"},
        {0x2A, other},
        {0x2B, other},
    };
    options.attempts = 3;
    for (const auto &[byte, reason] : refusals) {
        begin();
        expect_list(0xB8).answers({byte}).shows("Save product info success.\r\n");
        conversation talk(far, observer);
        const auto result = run_unit_job(talk, job(), options);
        EXPECT_EQ(result.end, ending::refused);
        EXPECT_EQ(result.reason, "the switch refuses the list: " + reason);
        EXPECT_EQ(result.attempts, 1);
        EXPECT_EQ(reply_bytes(result), (bytes{0x06, byte}));
        EXPECT_EQ(results(result), (std::vector<std::string>{"not written"}));
        talk.drain(1s, 1s);
        EXPECT_TRUE(far.finished());
    }
}

TEST_F(fan_exchange, tells_a_switch_that_does_not_offer_the_list)
{
    begin();
    expect_list(0xB8).answers({0x06});
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the switch took the list, but does not offer to send it back");
    EXPECT_EQ(results(result), (std::vector<std::string>{"not known"}));
}

TEST_F(fan_exchange, asks_three_times_for_the_list)
{
    expect_taken().expects({0x06}).expects({0x06});
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the switch took the list, but does not send it back");
    EXPECT_EQ(results(result), (std::vector<std::string>{"not known"}));
}

TEST_F(fan_exchange, believes_no_list_with_a_wrong_sum)
{
    expect_taken().answers(joint({{0x01, 0x1C}, one_list, {0xB9}}));
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::unexpected);
    EXPECT_EQ(result.reason, "the list that the switch sent back was damaged on the way");
    EXPECT_EQ(results(result), (std::vector<std::string>{"not known"}));
}

TEST_F(fan_exchange, believes_no_list_of_another_length)
{
    expect_taken().answers({0x01, 0x03, 0x00, 0x03, 0x00, 0x03});
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::unexpected);
    EXPECT_EQ(result.reason,
              "the switch announces a list of another length than was sent: 03 for 1C");
    EXPECT_EQ(results(result), (std::vector<std::string>{"not known"}));
}

TEST_F(fan_exchange, tells_a_list_that_is_cut_off)
{
    expect_taken().answers(joint({{0x01, 0x1C}, one_list}));
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the list that the switch sends back is cut off");
    EXPECT_EQ(results(result), (std::vector<std::string>{"not known"}));
}

TEST_F(fan_exchange, tells_a_line_that_closes)
{
    begin();
    expect_list(0xB8).closes();
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::broken);
    EXPECT_EQ(results(result), (std::vector<std::string>{"not known"}));
}

TEST_F(fan_exchange, passes_the_kernels_lines_on)
{
    begin();
    expect_list(0xB8)
        .shows("[ 1.5] usb (1): *new*\r\n")
        .answers({0x06})
        .shows("[ 1.6] + 2 ports\r\n")
        .answers({0x20})
        .expects({0x06})
        .shows("[ 1.7] done\r\n")
        .answers(joint({{0x01, 0x1C}, one_list, {0xB8}}))
        .expects({0x06});
    EXPECT_TRUE(run(job()).ok());
    EXPECT_EQ(observer.text, banner + "[ 1.5] usb (1): *new*\r\n"
                                      "[ 1.6] + 2 ports\r\n"
                                      "[ 1.7] done\r\n");
}

TEST_F(fan_outcome, tells_a_failed_transfer)
{
    expect_taken()
        .answers(joint({{0x01, 0x1C}, with(one_list, flag_at, 0x01), {0xB9}}))
        .expects({0x06});
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(result.reason, "the unit is not confirmed");
    EXPECT_EQ(results(result),
              (std::vector<std::string>{"not written: the transfer to it failed"}));
}

TEST_F(fan_outcome, tells_a_transfer_without_end)
{
    expect_taken()
        .answers(joint({{0x01, 0x1C}, with(one_list, flag_at, 0x82), {0x3A}}))
        .expects({0x06});
    EXPECT_EQ(
        results(run(job())),
        (std::vector<std::string>{"not written: the transfer to it did not end, status 0x82"}));
}

TEST_F(fan_outcome, believes_no_fan_that_comes_back_as_another_one)
{
    expect_taken()
        .answers(joint({{0x01, 0x1C}, with(one_list, 8, 0x03), {0xB9}})) // channel 3
        .expects({0x06});
    const auto result = run(job());
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(results(result), (std::vector<std::string>{"not known: comes back as another unit"}));
}

TEST_F(fan_outcome, is_told_of_each_fan)
{
    const auto two = job(fan("0") + fan("1"));
    const auto &list = two.operation.lists.front();
    ASSERT_EQ(list.payload.size(), 53U);
    outcome result;
    result.end = ending::stored;
    result.echo = with(list.payload, flag_at + 25, 0x01);
    EXPECT_EQ(unit_runs::results(two, result),
              (std::vector<std::string>{"written", "not written: the transfer to it failed"}));
}

TEST_F(fan_job_reading, makes_the_list)
{
    const auto found = job();
    ASSERT_EQ(found.operation.lists.size(), 1U);
    EXPECT_EQ(found.operation.lists[0].length, (bytes{0x1C}));
    EXPECT_EQ(found.operation.lists[0].payload, one_list);
    EXPECT_EQ(found.units.columns,
              (std::vector<std::string>{"fan", "channel", "type", "serial", "hardware"}));
    EXPECT_EQ(found.units.rows[0], (std::vector<std::string>{"1", "2", "0x05", "AB1", "1.23"}));
}

TEST_F(fan_job_reading, makes_the_same_of_a_poe_unit)
{
    auto text = one_fan;
    text.replace(0, 7, "[[poe]]");
    const auto found = read_as(read_poe_job, text);
    EXPECT_EQ(found.operation.lists[0].payload, one_list);
    EXPECT_EQ(found.operation.banner, "perform SetPOESn Operation");
    EXPECT_EQ(found.units.columns[0], "poe");
}

TEST_F(fan_job_reading, takes_nine_fans_and_no_more)
{
    std::string text;
    for (int channel = 0; channel < 9; ++channel) {
        text += fan(std::to_string(channel));
    }
    const auto found = job(text);
    EXPECT_EQ(found.operation.lists[0].length, (bytes{0xE4}));
    EXPECT_EQ(found.operation.lists[0].payload[0], 9);
    EXPECT_EQ(found.operation.lists[0].payload[2], 0xE1);
    EXPECT_EQ(told(text + fan("9")),
              "job:55: one too many: expected at most 9, which is what the switch takes");
}

TEST_F(fan_job_reading, takes_13_characters_of_serial_number)
{
    EXPECT_EQ(told(fan("0", "ABCDEFGHJ1234")), "nothing");
    EXPECT_EQ(told(fan("0", "ABCDEFGHJ12345")),
              "job:5: \"serial\" is \"ABCDEFGHJ12345\", 14 bytes: expected a text of 1 to 13 "
              "printable ASCII characters");
    EXPECT_EQ(told(fan("0", "")), "job:5: \"serial\" is \"\", 0 bytes: expected a text of 1 to 13 "
                                  "printable ASCII characters");
    EXPECT_EQ(told(fan("0", "A\\u0000B")),
              "job:5: \"serial\" is \"A\\x00B\", 3 bytes: expected a text of 1 to 13 printable "
              "ASCII characters");
}

TEST_F(fan_job_reading, takes_a_hexadecimal_version_only)
{
    EXPECT_EQ(told(fan("0", "A", "2.0A")), "nothing");
    EXPECT_EQ(told(fan("0", "A", "f.ff")), "nothing");
    for (const std::string version : {"1.2", "12.3", "1.2G", "x.00", "1-00"}) {
        EXPECT_EQ(told(fan("0", "A", version)),
                  "job:6: \"hardware\" is \"" + version +
                      "\": expected a hexadecimal digit, a point and two more digits, as in "
                      "hardware = \"1.23\"");
    }
    EXPECT_EQ(told(fan("0", "A", "1.234")), "job:6: \"hardware\" is \"1.234\", 5 bytes: expected a "
                                            "text of 1 to 4 printable ASCII characters");
}

TEST_F(fan_job_reading, takes_numbers_of_a_byte)
{
    EXPECT_EQ(told(fan("255")), "nothing");
    EXPECT_EQ(told(fan("256")), "job:4: \"channel\" is 256: expected a whole number from 0 to 255");
    EXPECT_EQ(told(fan("-1")), "job:4: \"channel\" is -1: expected a whole number from 0 to 255");
    EXPECT_EQ(told(fan("\"1\"")),
              "job:4: \"channel\" is a text: expected a whole number from 0 to 255");
}

TEST_F(fan_job_reading, takes_a_channel_once)
{
    EXPECT_EQ(told(fan("3") + fan("3")),
              "job:7: channel 3 is that of line 1: expected each unit once");
}

TEST_F(fan_job_reading, tells_what_is_missing_and_what_is_too_much)
{
    EXPECT_EQ(told(""), "job:1: no fan: expected at least one [[fan]]");
    EXPECT_EQ(told("[[fan]]\ncolour = 1\n"),
              "job:1: missing \"index\": expected a whole number from 0 to 255\n"
              "job:1: missing \"type\": expected a whole number from 0 to 255\n"
              "job:1: missing \"channel\": expected a whole number from 0 to 255\n"
              "job:1: missing \"serial\": expected a text of 1 to 13 printable ASCII characters\n"
              "job:1: missing \"hardware\": expected a text of 1 to 4 printable ASCII characters\n"
              "job:2: unknown key \"colour\": expected index, type, channel, serial, hardware");
    EXPECT_EQ(told("[fan]\n"), "job:1: \"fan\" is a table: expected at least one [[fan]]");
    EXPECT_EQ(told(fan("0") + "[[poe]]\n"), "job:7: unknown key \"poe\": expected fan");
}
