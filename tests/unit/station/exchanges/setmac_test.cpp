#include "station/exchanges/setmac.h"
#include "unit/station/scripted_line.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

const bytes hand_sign{0x15, 0x18, 0x03, 0x10, 0xBD, 0x3D, 0x0E, 0x81};
const bytes version{0x01};
const bytes length{0x00, 0x00, 0x00, 0x11};
// One property, "A" with the text "B".
const bytes payload{0x02, 0x00, 0x00, 0x00, 0x0D, 'A', 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 'B'};
const bytes payload_crc{0xC3, 0x63, 0xB9, 0x95};

const char banner[] = "Setmac Model setup ...\r\nDisconnect your console terminal first \r\n Using "
                      "your PC SetMac program to perform Setmac Operation ...\r\n";
const char broken_banner[] =
    "Setmac Model setup ...\r\nDisconnect your console terminal first \r\n "
    "Using[ 3.1] usb 1-1: new\r\n your PC SetMac pro";

class setmac_run : public testing::Test {
protected:
    scripted_line far;
    noting_listener observer;
    exchange_options options;

    /** The script's next attempt, up to the value's CRC. */
    scripted_line &expect_attempt()
    {
        return far.expects(hand_sign)
            .answers({0x15})
            .expects(version)
            .answers({0x01})
            .expects(length)
            .expects(payload)
            .expects(payload_crc);
    }

    outcome run()
    {
        conversation talk(far, observer);
        auto result = run_framed(talk, setmac_exchange(payload), options);
        EXPECT_TRUE(far.finished());
        return result;
    }
};

} // namespace

TEST_F(setmac_run, sends_hand_sign_version_length_and_value_each_after_its_answer)
{
    far.shows(banner);
    expect_attempt().answers({0x07}).answers({0x06});
    const auto result = run();
    EXPECT_EQ(result.end, ending::stored);
    EXPECT_EQ(result.reason, "");
    EXPECT_EQ(result.attempts, 1);
    EXPECT_EQ(reply_bytes(result), (bytes{0x15, 0x01, 0x07, 0x06}));
    EXPECT_EQ(observer.steps, (std::vector<std::string>{
                                  "attempt 1/1",
                                  "15 hand sign accepted",
                                  "01 protocol version 1",
                                  "sent 17/17",
                                  "07 value arrived intact, the switch stores it",
                                  "06 stored",
                              }));
    EXPECT_EQ(observer.text, banner);
}

TEST_F(setmac_run, waits_for_the_banner_behind_other_console_text)
{
    far.shows("login: root\r\n[   12.5] eth0: link up\r\nSetmac Mo").shows("del setup ...\r\n");
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_TRUE(run().ok());
}

TEST_F(setmac_run, knows_a_banner_into_which_the_kernel_broke)
{
    far.shows("Setmac Mo[ 3.1] usb 1-1: new\r\ndel setup ...\r\nDisconnect your console terminal "
              "first \r\n Using your PC");
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_TRUE(run().ok());
}

TEST_F(setmac_run, offers_the_hand_sign_to_a_silent_line_until_the_switch_answers)
{
    far.expects(hand_sign)
        .expects(hand_sign)
        .answers({0x15}, 300ms)
        .expects(version)
        .answers({0x01})
        .expects(length)
        .expects(payload)
        .expects(payload_crc)
        .answers({0x07})
        .answers({0x06});
    const auto result = run();
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.attempts, 1);
    EXPECT_EQ(reply_bytes(result), (bytes{0x15, 0x01, 0x07, 0x06}));
    EXPECT_EQ(far.elapsed(), 2300ms);
}

TEST_F(setmac_run, sends_nothing_before_the_programs_terminal_is_raw)
{
    far.shows("Setmac Model setup ...\r\n").becomes_raw(5s);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_TRUE(run().ok());
    EXPECT_GE(far.elapsed(), 5s);
}

TEST_F(setmac_run, ends_when_no_switch_shows_up_in_time)
{
    options.wait = 2500ms;
    far.expects(hand_sign).expects(hand_sign);
    const auto result = run();
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason,
              "no switch within 2.5 s: neither its banner nor an answer to the hand sign");
    EXPECT_EQ(result.attempts, 0);
    EXPECT_EQ(far.elapsed(), 2500ms);
    EXPECT_GE(observer.waited, 20);
}

TEST_F(setmac_run, is_not_held_up_by_a_console_that_never_stops_talking)
{
    far.chatters(10ms).shows(banner).expects(hand_sign).expects(hand_sign).expects(hand_sign);
    EXPECT_EQ(run().reason, "the switch does not answer the hand sign");
    EXPECT_EQ(far.elapsed(), 5s); // three offers of a second, with another one to get quiet between
}

TEST_F(setmac_run, skips_console_text_between_replies)
{
    far.shows(banner)
        .expects(hand_sign)
        .shows("[ 4.0] hub")
        .answers({0x15})
        .expects(version)
        .answers({'!', '\r', '\n', 0x01, 'a'})
        .expects(length)
        .expects(payload)
        .expects(payload_crc)
        .answers({0x07, 'b', 0x06, '\n'});
    EXPECT_TRUE(run().ok());
    EXPECT_EQ(observer.text, banner + std::string("[ 4.0] hub!\r\nab"));
}

TEST_F(setmac_run, waits_for_nothing_with_a_switch_that_has_said_its_banner)
{
    far.shows(banner);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_TRUE(run().ok());
    EXPECT_EQ(far.elapsed(), 0ms);
}

TEST_F(setmac_run, waits_for_the_end_of_a_banner_that_comes_slowly)
{
    const std::string whole = banner;
    far.shows(whole.substr(0, 60)).answers(bytes(whole.begin() + 60, whole.end()), 50ms);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_TRUE(run().ok());
    EXPECT_EQ(far.elapsed(), 50ms);
}

TEST_F(setmac_run, drains_stale_bytes_behind_a_banner_whose_end_does_not_come)
{
    far.shows(broken_banner).answers({0x14, 0x06, 0x01}, 20ms);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_EQ(reply_bytes(run()), (bytes{0x15, 0x01, 0x07, 0x06}));
    EXPECT_EQ(far.elapsed(), 80ms);
}

TEST_F(setmac_run, waits_no_longer_than_a_second_for_the_end_of_a_banner)
{
    far.chatters(10ms).shows(broken_banner);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_TRUE(run().ok());
    EXPECT_EQ(far.elapsed(), 1s);
}

TEST_F(setmac_run, drains_answers_to_what_it_sent_before_the_banner)
{
    far.expects(hand_sign).shows(banner).answers({0x15}, 50ms);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_EQ(reply_bytes(run()), (bytes{0x15, 0x01, 0x07, 0x06}));
    EXPECT_EQ(far.elapsed(), 1110ms);
}

TEST_F(setmac_run, leaves_the_words_of_an_earlier_program_out)
{
    far.shows(std::string("Save product info success.\r\n") + banner);
    expect_attempt().answers({0x07}).answers({0x06});
    conversation talk(far, observer);
    EXPECT_TRUE(run_framed(talk, setmac_exchange(payload), options).ok());
    EXPECT_EQ(talk.shown(), "");
}

TEST_F(setmac_run, drains_stale_bytes_before_another_attempt)
{
    options.attempts = 2;
    far.shows(banner);
    expect_attempt().answers({0x07}).answers({0x12}).answers({0x15}, 50ms);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_EQ(reply_bytes(run()), (bytes{0x15, 0x01, 0x07, 0x06}));
}

TEST_F(setmac_run, drains_stale_bytes_before_another_hand_sign)
{
    far.shows(banner).expects(hand_sign).answers({0x14}, 990ms).answers({0x15}, 50ms);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_EQ(reply_bytes(run()), (bytes{0x14, 0x15, 0x01, 0x07, 0x06}));
}

TEST_F(setmac_run, starts_again_from_the_hand_sign_after_a_failure_of_the_handler)
{
    options.attempts = 2;
    far.shows(banner);
    expect_attempt().answers({0x07}).answers({0x12});
    expect_attempt().answers({0x07}).answers({0x06});
    const auto result = run();
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.attempts, 2);
    EXPECT_EQ(observer.steps[6], "retry: the switch could not apply or store the payload");
    EXPECT_EQ(observer.steps[7], "attempt 2/2");
}

TEST_F(setmac_run, tells_that_the_switch_could_not_store)
{
    far.shows(banner);
    expect_attempt().answers({0x07}).answers({0x12});
    const auto result = run();
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(result.reason, "the switch could not apply or store the payload");
    EXPECT_EQ(result.replies.back().meaning, "failed: not applied or not stored");
}

TEST_F(setmac_run, tells_that_the_switch_refused)
{
    far.shows(banner);
    expect_attempt().answers({0x07}).answers({0x19});
    const auto result = run();
    EXPECT_EQ(result.end, ending::refused);
    EXPECT_EQ(result.reason,
              "the switch refused the payload: \"e2type\" names another type of board");
    EXPECT_EQ(result.replies.back().meaning, "refused: not for this type of board");
    EXPECT_FALSE(result.taken);
}

TEST_F(setmac_run, tells_both_meanings_of_a_value_that_did_not_arrive)
{
    far.shows(banner);
    expect_attempt().answers({0x14});
    const auto result = run();
    EXPECT_EQ(result.end, ending::damaged);
    EXPECT_EQ(result.reason,
              "the value did not reach the switch intact, or not in time: it does not tell which. "
              "Late, it waits for the next attempt; damaged, it has ended its operation");
    EXPECT_EQ(reply_bytes(result), (bytes{0x15, 0x01, 0x14}));
}

TEST_F(setmac_run, waits_as_long_for_the_answer_to_a_value_as_the_switch_waits_for_the_value)
{
    options.attempts = 2;
    far.shows(banner);
    expect_attempt().answers({0x14}, 17 * 50ms + 1s);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_TRUE(run().ok());
}

TEST_F(setmac_run, tells_a_switch_that_ended_after_a_damaged_value)
{
    options.attempts = 3;
    far.shows(banner);
    expect_attempt().answers({0x14}).shows("Save product info success.\r\n").closes();
    const auto result = run();
    EXPECT_EQ(result.end, ending::damaged);
    EXPECT_EQ(result.attempts, 2);
    EXPECT_EQ(result.reason,
              "the value did not reach the switch intact, or not in time: it does not tell which. "
              "Late, it waits for the next attempt; damaged, it has ended its operation; after "
              "that: the program ended with exit status 5");
    EXPECT_EQ(observer.text, banner + std::string("Save product info success.\r\n"));
}

TEST_F(setmac_run, gives_up_on_a_switch_that_no_longer_answers_the_hand_sign)
{
    far.shows(banner).expects(hand_sign).expects(hand_sign).expects(hand_sign);
    const auto result = run();
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the switch does not answer the hand sign");
    EXPECT_EQ(result.attempts, 1);
    EXPECT_EQ(far.elapsed(), 3120ms);
}

TEST_F(setmac_run, goes_on_after_other_answers_to_the_hand_sign)
{
    far.shows(banner).expects(hand_sign).answers({0x14}, 200ms);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_EQ(reply_bytes(run()), (bytes{0x14, 0x15, 0x01, 0x07, 0x06}));
}

TEST_F(setmac_run, waits_11_s_for_the_version)
{
    far.shows(banner).expects(hand_sign).answers({0x15}).expects(version);
    const auto result = run();
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the switch does not answer the version");
    EXPECT_GE(far.elapsed(), 11s);
}

TEST_F(setmac_run, sends_no_length_to_a_switch_that_missed_the_version)
{
    options.attempts = 2;
    far.shows(banner).expects(hand_sign).answers({0x15}).expects(version).answers({0x01}, 10s);
    expect_attempt().answers({0x07}).answers({0x06});
    EXPECT_TRUE(run().ok());
    EXPECT_EQ(observer.steps[3], "retry: the version got lost on the way to the switch");
}

TEST_F(setmac_run, knows_a_line_that_sends_back_what_is_sent)
{
    far.shows(banner).expects(hand_sign).answers(hand_sign).expects(version);
    const auto result = run();
    EXPECT_EQ(result.end, ending::unexpected);
    EXPECT_EQ(result.reason, "the line sends back what is sent: no switch, but a terminal that "
                             "echoes or a bridged plug");
}

TEST_F(setmac_run, tells_an_answer_that_does_not_belong)
{
    far.shows(banner);
    expect_attempt().answers({0x06});
    auto result = run();
    EXPECT_EQ(result.end, ending::unexpected);
    EXPECT_EQ(result.reason, "the answer 0x06 (stored) does not belong here");
}

TEST_F(setmac_run, tells_an_answer_that_no_switch_gives)
{
    far.shows(banner);
    expect_attempt().answers({0x07}).answers({0xF3});
    const auto result = run();
    EXPECT_EQ(result.end, ending::unexpected);
    EXPECT_EQ(result.reason, "the answer 0xF3 (no answer of this protocol) does not belong here");
}

TEST_F(setmac_run, tells_silence_after_the_value)
{
    far.shows(banner);
    expect_attempt();
    const auto result = run();
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_FALSE(result.taken);
    EXPECT_EQ(result.reason, "the switch does not answer the value");
}

TEST_F(setmac_run, gives_the_switch_its_time_to_store)
{
    options.store = 30s;
    far.shows(banner);
    expect_attempt().answers({0x07}).answers({0x06}, 29s);
    EXPECT_TRUE(run().ok());
}

TEST_F(setmac_run, tells_silence_while_the_switch_stores)
{
    options.store = 30s;
    far.shows(banner);
    expect_attempt().answers({0x07});
    const auto result = run();
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the switch took the value, but does not say whether it stored it");
    EXPECT_TRUE(result.taken);
}

TEST_F(setmac_run, keeps_the_replies_when_the_line_closes)
{
    options.attempts = 3;
    far.shows(banner);
    expect_attempt().answers({0x07}).closes();
    const auto result = run();
    EXPECT_EQ(result.end, ending::broken);
    EXPECT_EQ(result.reason, "the program ended with exit status 5");
    EXPECT_EQ(result.attempts, 1);
    EXPECT_EQ(reply_bytes(result), (bytes{0x15, 0x01, 0x07}));
}

TEST_F(setmac_run, shows_the_last_words_of_a_program_that_ends_before_the_exchange)
{
    far.shows("Setmac init failed.\r\n").closes();
    const auto result = run();
    EXPECT_EQ(result.end, ending::broken);
    EXPECT_EQ(result.attempts, 0);
    EXPECT_EQ(observer.text, "Setmac init failed.\r\n");
}

TEST_F(setmac_run, tells_the_progress_of_a_long_value)
{
    const bytes long_payload(600, 0x20);
    far.shows(banner)
        .expects(hand_sign)
        .answers({0x15})
        .expects(version)
        .answers({0x01})
        .expects({0x00, 0x00, 0x02, 0x5C})
        .expects(with_crc(long_payload))
        .answers({0x07})
        .answers({0x06});
    conversation talk(far, observer);
    EXPECT_TRUE(run_framed(talk, setmac_exchange(long_payload), options).ok());
    EXPECT_EQ(observer.steps[3], "sent 256/604");
    EXPECT_EQ(observer.steps[4], "sent 512/604");
    EXPECT_EQ(observer.steps[5], "sent 604/604");
}
