#include "station/exchanges/setsn.h"
#include "unit/station/scripted_line.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

const bytes hand_sign{0x10, 0x03, 0x18, 0x15, 0xF3, 0xB4, 0x6D, 0x0B};
const bytes serial{'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H', 'J', '1', '2', '3', '4'};
const bytes serial_crc{0xBC, 0x52, 0x7E, 0xA8};

class setsn_run : public testing::Test {
protected:
    scripted_line far;
    noting_listener observer;
    exchange_options options;

    /** The script's next exchange after the "}", up to the switch's 0x07. */
    scripted_line &expect_attempt()
    {
        return far.expects(hand_sign)
            .answers({0x10})
            .expects({0x01})
            .answers({0x01})
            .expects({0x00, 0x00, 0x00, 0x11})
            .expects(serial)
            .expects(serial_crc)
            .answers({0x07});
    }

    scripted_line &call_and_answer() { return far.expects({'{'}).answers({'}'}); }

    outcome run(const framed_kind &kind = setsn_exchange(serial))
    {
        conversation talk(far, observer);
        auto result = run_framed(talk, kind, options);
        EXPECT_TRUE(far.finished());
        return result;
    }
};

} // namespace

TEST_F(setsn_run, calls_sends_the_serial_and_hears_it_sent_back)
{
    call_and_answer();
    expect_attempt().answers({0x06, 13}).answers(serial).answers({0x06});
    const auto result = run();
    EXPECT_EQ(result.end, ending::stored);
    EXPECT_EQ(result.echo, serial);
    EXPECT_EQ(reply_bytes(result), (bytes{0x10, 0x01, 0x07, 0x06, 0x06}));
    EXPECT_EQ(observer.steps, (std::vector<std::string>{
                                  "attempt 1/1",
                                  "10 hand sign accepted, for a serial number",
                                  "01 protocol version 1",
                                  "sent 17/17",
                                  "07 value arrived intact, the switch stores it",
                                  "06 stored, and sent back:",
                                  "06 stored",
                              }));
}

TEST_F(setsn_run, calls_every_20_ms_until_it_is_answered)
{
    far.expects({'{'}).expects({'{'}).expects({'{'}).answers({'}'}, 5ms);
    expect_attempt().answers({0x06, 13}).answers(serial).answers({0x06});
    EXPECT_TRUE(run().ok());
    EXPECT_EQ(far.elapsed(), 45ms);
    EXPECT_EQ(observer.waited, 3);
}

TEST_F(setsn_run, offers_the_hand_sign_at_once_after_the_answer)
{
    call_and_answer();
    far.expects(hand_sign);
    EXPECT_EQ(run().reason, "the switch does not answer the hand sign");
    EXPECT_EQ(far.elapsed(), 1s);
}

TEST_F(setsn_run, is_not_confused_by_a_console_that_sends_the_calls_back)
{
    far.expects({'{'}).answers({'{'}).expects({'{'}).answers({'{', '}'});
    expect_attempt().answers({0x06, 13}).answers(serial).answers({0x06});
    EXPECT_TRUE(run().ok());
    EXPECT_EQ(observer.text, "");
}

TEST_F(setsn_run, takes_no_answer_from_a_terminal_that_is_not_raw)
{
    far.expects({'{'}).shows("json: {}\r\n").becomes_raw(3ms);
    far.expects({'{'}).answers({'}'});
    expect_attempt().answers({0x06, 13}).answers(serial).answers({0x06});
    EXPECT_TRUE(run().ok());
    EXPECT_EQ(observer.text, "json: }\r\n");
}

TEST_F(setsn_run, ends_when_nobody_answers_the_call_in_time)
{
    options.wait = 100ms;
    for (int call = 0; call < 5; ++call) {
        far.expects({'{'});
    }
    const auto result = run();
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "no switch within 0.1 s: no \"}\" in answer to \"{\"");
    EXPECT_EQ(result.attempts, 0);
}

TEST_F(setsn_run, tells_a_handler_that_failed_instead_of_sending_back)
{
    call_and_answer();
    expect_attempt().answers({0x12});
    const auto result = run();
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(result.reason, "the switch could not apply or store the payload");
}

TEST_F(setsn_run, tells_a_value_that_did_not_arrive)
{
    call_and_answer();
    far.expects(hand_sign)
        .answers({0x10})
        .expects({0x01})
        .answers({0x01})
        .expects({0x00, 0x00, 0x00, 0x11})
        .expects(serial)
        .expects(serial_crc)
        .answers({0x14});
    const auto result = run();
    EXPECT_EQ(result.end, ending::damaged);
    EXPECT_EQ(result.reason,
              "the value did not reach the switch intact, or not in time: it does not tell which");
}

TEST_F(setsn_run, tells_a_serial_that_comes_back_changed)
{
    call_and_answer();
    auto other = serial;
    other[12] = '5';
    expect_attempt().answers({0x06, 13}).answers(other).answers({0x06});
    const auto result = run();
    EXPECT_EQ(result.end, ending::mismatch);
    EXPECT_EQ(result.reason, "the switch holds \"ABCDEFGHJ1235\", but \"ABCDEFGHJ1234\" was sent");
}

TEST_F(setsn_run, waits_for_nothing_with_a_switch_that_answers)
{
    call_and_answer();
    expect_attempt().answers({0x06, 13}).answers(serial).answers({0x06});
    EXPECT_TRUE(run().ok());
    EXPECT_EQ(far.elapsed(), 0ms);
}

TEST_F(setsn_run, gives_the_switch_2_s_for_each_byte_that_it_sends_back)
{
    call_and_answer();
    expect_attempt().answers({0x06}).answers({13}, 1990ms).answers({serial.front()}, 1990ms);
    far.answers(bytes(serial.begin() + 1, serial.end()), 1990ms).answers({0x06});
    EXPECT_TRUE(run().ok());
}

TEST_F(setsn_run, takes_any_bytes_as_the_serial_sent_back)
{
    call_and_answer();
    const bytes other{0x00, 0x06, 0x12, 0x14, 0x19, 0xFF, '{', '}', 0x0A, 0x0D, 0x11, 0x13, 0x06};
    expect_attempt().answers({0x06, 13}).answers(other).answers({0x06});
    const auto result = run();
    EXPECT_EQ(result.end, ending::mismatch);
    EXPECT_EQ(result.echo, other);
    EXPECT_EQ(result.reason, "the switch holds \"\\x00\\x06\\x12\\x14\\x19\\xFF{}\\x0A\\x0D\\x11"
                             "\\x13\\x06\", but \"ABCDEFGHJ1234\" was sent");
}

TEST_F(setsn_run, tells_a_serial_that_comes_back_with_another_length)
{
    call_and_answer();
    expect_attempt().answers({0x06, 12});
    const auto result = run();
    EXPECT_EQ(result.end, ending::mismatch);
    EXPECT_EQ(result.reason, "the switch sends 12 bytes back, 13 were sent");
}

TEST_F(setsn_run, tells_a_serial_that_does_not_come_back_whole)
{
    call_and_answer();
    expect_attempt().answers({0x06, 13, 'A', 'B', 'C'});
    const auto result = run();
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the serial number that the switch sends back ends after 3 bytes");
}

TEST_F(setsn_run, tells_a_failure_after_the_serial_came_back)
{
    call_and_answer();
    expect_attempt().answers({0x06, 13}).answers(serial).answers({0x12});
    EXPECT_EQ(run().end, ending::failed);
}

TEST_F(setsn_run, calls_again_before_a_second_attempt)
{
    options.attempts = 2;
    call_and_answer();
    expect_attempt().answers({0x12});
    far.expects({'{'});
    call_and_answer();
    expect_attempt().answers({0x06, 13}).answers(serial).answers({0x06});
    const auto result = run();
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.attempts, 2);
}

TEST_F(setsn_run, tells_a_program_that_ended_after_a_failed_attempt)
{
    options.attempts = 2;
    call_and_answer();
    expect_attempt().answers({0x12});
    far.expects({'{'}).closes();
    const auto result = run();
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(result.attempts, 1);
    EXPECT_EQ(result.reason, "the switch could not apply or store the payload; after that: the "
                             "program ended with exit status 5");
}

TEST_F(setsn_run, with_an_eeprom_hears_the_serial_sent_back)
{
    call_and_answer();
    expect_attempt()
        .shows("dev_drv: ready\r\n")
        .answers({0x06, 13})
        .answers(serial)
        .answers({0x06});
    const auto result = run(setsn_eeprom_exchange(serial));
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.echo, serial);
    EXPECT_EQ(observer.text, "dev_drv: ready\r\n");
}

TEST_F(setsn_run, with_an_eeprom_tells_what_a_failure_may_be)
{
    call_and_answer();
    expect_attempt().answers({0x12});
    const auto result = run(setsn_eeprom_exchange(serial));
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(result.reason, "the switch holds no serial number to replace, or could not program "
                             "its EEPROM: it does not tell which");
}

TEST_F(setsn_run, with_an_eeprom_tells_a_serial_that_found_no_room)
{
    call_and_answer();
    expect_attempt().answers({0x06, 13}).answers(bytes(13, 0)).answers({0x06});
    const auto result = run(setsn_eeprom_exchange(serial));
    EXPECT_EQ(result.end, ending::mismatch);
    EXPECT_EQ(result.reason, "the switch has no serial number any more: its EEPROM has no room for "
                             "the new one");
}
