#include "station/exchanges/setmac.h"
#include "unit/station/scripted_line.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

const bytes hand_sign{0x15, 0x18, 0x03, 0x10, 0xBD, 0x3D, 0x0E, 0x81};
const bytes payload{0x02, 0x00, 0x00, 0x00, 0x0D, 'A', 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 'B'};
const bytes payload_crc{0xC3, 0x63, 0xB9, 0x95};

const std::string row = "Serial Number        0x23  13 ABCDEFGHJ1234\n";
const std::string bytes_row = "Vendor Extension     0xFD   6  0x00 0x00 0x06 0x12 0x44 0x00\n";

class setmac_tlv_run : public testing::Test {
protected:
    scripted_line far;
    noting_listener observer;
    exchange_options options;

    /** The script's next attempt, up to the value's CRC. */
    scripted_line &expect_attempt()
    {
        return far.expects(hand_sign)
            .answers({0x15})
            .expects({0x01})
            .answers({0x01})
            .expects({0x00, 0x00, 0x00, 0x11})
            .expects(payload)
            .expects(payload_crc);
    }

    outcome run()
    {
        conversation talk(far, observer);
        auto result = run_framed(talk, setmac_eeprom_exchange(payload), options);
        EXPECT_TRUE(far.finished());
        return result;
    }

    /** Runs an exchange up to the 0x07, behind which the switch sends these pieces. */
    outcome run_with(const std::vector<std::string> &pieces)
    {
        far.shows("Setmac Model setup ...\r\n");
        expect_attempt().answers({0x07});
        for (const auto &piece : pieces) {
            far.shows(piece);
        }
        return run();
    }
};

} // namespace

TEST_F(setmac_tlv_run, hears_the_answer_behind_the_rows_of_the_table)
{
    const auto result = run_with({row + bytes_row, "\x06"});
    EXPECT_EQ(result.end, ending::stored);
    EXPECT_EQ(reply_bytes(result), (bytes{0x15, 0x01, 0x07, 0x06}));
    EXPECT_EQ(observer.text, "Setmac Model setup ...\r\n" + row + bytes_row);
    EXPECT_EQ(observer.steps.back(), "06 stored");
}

TEST_F(setmac_tlv_run, hears_the_answer_however_the_rows_are_cut_into_pieces)
{
    far.shows("Setmac Model setup ...\r\n");
    expect_attempt();
    const auto all = "\x07" + row + bytes_row + "\x06";
    for (const char each : all) {
        far.answers({static_cast<std::uint8_t>(each)}, 1ms);
    }
    EXPECT_EQ(run().end, ending::stored);
    EXPECT_EQ(observer.text, "Setmac Model setup ...\r\n" + row + bytes_row);
}

TEST_F(setmac_tlv_run, hears_an_answer_without_rows)
{
    EXPECT_EQ(run_with({"\x06"}).end, ending::stored);
}

TEST_F(setmac_tlv_run, hears_an_answer_that_the_shells_prompt_follows_at_once)
{
    EXPECT_EQ(run_with({row + "\x06# "}).end, ending::stored);
}

TEST_F(setmac_tlv_run, takes_reply_bytes_inside_a_row_for_text)
{
    const std::string strange = "Service Tag          0x2F   5 \x06\x12\x19\x07\xC3\xBC\x06\n";
    const auto result = run_with({strange + row + "\x12"});
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(reply_bytes(result), (bytes{0x15, 0x01, 0x07, 0x12}));
    EXPECT_EQ(observer.text, "Setmac Model setup ...\r\n" + strange + row);
}

TEST_F(setmac_tlv_run, takes_a_reply_byte_for_text_though_the_row_goes_on_a_little_later)
{
    far.shows("Setmac Model setup ...\r\n");
    expect_attempt().answers({0x07}).shows("Service Tag \x06");
    far.answers({'x', '\n'}, 400ms).answers({0x12});
    EXPECT_EQ(run().end, ending::failed);
}

TEST_F(setmac_tlv_run, hears_an_answer_behind_a_text_that_lacks_its_end_when_nothing_follows)
{
    const auto result = run_with({row, "eth0: link", "\x06"});
    EXPECT_EQ(result.end, ending::stored);
    EXPECT_EQ(observer.text, "Setmac Model setup ...\r\n" + row + "eth0: link");
}

TEST_F(setmac_tlv_run, hears_such_an_answer_from_a_program_that_ends)
{
    far.shows("Setmac Model setup ...\r\n");
    expect_attempt().answers({0x07}).shows("eth0: link\x06").closes();
    EXPECT_EQ(run().end, ending::stored);
}

TEST_F(setmac_tlv_run, does_not_take_bytes_that_no_switch_answers_now_for_answers)
{
    const auto result = run_with({std::string("\x01\x15\x80\x00", 4) + "\n\x06"});
    EXPECT_EQ(result.end, ending::stored);
    EXPECT_EQ(reply_bytes(result), (bytes{0x15, 0x01, 0x07, 0x06}));
}

TEST_F(setmac_tlv_run, tells_what_a_failure_may_be)
{
    const auto result = run_with({"ERROR: Bad MAC address format: 01:02:03:04:05:06\n", "\x12"});
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(result.reason,
              "the switch could not take over the payload, could not program its EEPROM, or is of "
              "another type than \"e2type\" says: it does not tell which");
}

TEST_F(setmac_tlv_run, expects_no_refusal_of_its_own_for_another_board)
{
    const auto result = run_with({"\x19"});
    EXPECT_EQ(result.end, ending::unexpected);
    EXPECT_EQ(result.reason,
              "the answer 0x19 (refused: not for this type of board) does not belong here");
}

TEST_F(setmac_tlv_run, tells_that_no_answer_follows_the_rows)
{
    const auto result = run_with({row});
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(result.reason, "the switch took the value, but does not say whether it stored it");
    EXPECT_GE(far.elapsed(), 120s);
}

TEST_F(setmac_tlv_run, does_not_wait_longer_for_a_console_that_never_stops)
{
    options.store = 1s;
    far.shows("Setmac Model setup ...\r\n");
    expect_attempt().answers({0x07});
    for (int line = 0; line < 100; ++line) {
        far.answers({'.', '\n'}, 50ms);
    }
    conversation talk(far, observer);
    const auto result = run_framed(talk, setmac_eeprom_exchange(payload), options);
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_LE(far.elapsed(), 1300ms);
}

TEST_F(setmac_tlv_run, starts_again_from_the_hand_sign_after_a_failure)
{
    options.attempts = 2;
    far.shows("Setmac Model setup ...\r\n");
    expect_attempt().answers({0x07}).shows(row).answers({0x12});
    expect_attempt().answers({0x07}).shows(row).answers({0x06});
    const auto result = run();
    EXPECT_EQ(result.end, ending::stored);
    EXPECT_EQ(result.attempts, 2);
}
