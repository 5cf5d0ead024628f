#include <csignal>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/bytes.h"
#include "e2e/support/terminal_session.h"

// The operator commands at a terminal, which echoes what is typed and puts a carriage return in
// front of each line feed, also of those that have one.

namespace {

using e2e::nor_board_holding;
using e2e::nor_holds;
using e2e::outcome;
using e2e::product_image;
using e2e::terminal_session;
using e2e::untouched_nor_holds;

const std::string no_records = product_image(0xAAC184F9, {});
const std::string one_serial = product_image(0x2C57E7AB, {"SerialNO=ABCDEFGHJ1234"});

const outcome saved = {.output = "Save product info success.\r\r\n"};
constexpr std::string_view end_of_input = "\x04"; // Ctrl-D

/** What is left of a command that was refused: its message, and the old contents of flash. */
outcome refused(const std::string &message)
{
    return {.output = message + "\r\r\n", .status = 1};
}

TEST(operator_terminal, stores_a_serial_number_typed_at_the_prompt)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"setsn"});
    session.expect("Please input serial number:");
    session.send("ABCDEFGHJ1234\r");
    session.expect("ABCDEFGHJ1234\r\n");
    EXPECT_EQ(session.finish(), saved);
    EXPECT_TRUE(nor_holds(board, one_serial));
    EXPECT_TRUE(e2e::same_settings(session.settings(), session.settings_before()));
}

TEST(operator_terminal, lets_a_typing_error_be_corrected)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"setsn"});
    session.expect("Please input serial number:");
    session.send("ABX\x7F");
    session.expect("ABX\b \b");
    session.send("CDEFGHJ1234\r");
    session.expect("CDEFGHJ1234\r\n");
    EXPECT_EQ(session.finish(), saved);
    EXPECT_TRUE(nor_holds(board, one_serial));
}

TEST(operator_terminal, asks_on_after_an_empty_line_until_a_word_comes)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"setsn"});
    session.expect("Please input serial number:");
    session.send("\r\r  ABCDEFGHJ1234 \r");
    session.expect("\r\n\r\n  ABCDEFGHJ1234 \r\n");
    EXPECT_EQ(session.finish(), saved);
    EXPECT_TRUE(nor_holds(board, one_serial));
}

TEST(operator_terminal, refuses_a_serial_number_of_100_characters)
{
    const auto board = nor_board_holding(one_serial);
    terminal_session session(board, {"setsn"});
    session.expect("Please input serial number:");
    const std::string typed(100, 'A');
    session.send(typed + "\r");
    session.expect(typed + "\r\n");
    EXPECT_EQ(session.finish(), refused("Error: Invalid serial number: " + std::string(63, 'A')));
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

TEST(operator_terminal, takes_the_end_of_input_for_an_empty_field)
{
    const auto board = nor_board_holding(one_serial);
    terminal_session serial(board, {"setsn"});
    serial.expect("Please input serial number:");
    serial.send(end_of_input);
    EXPECT_EQ(serial.finish(), refused("Error: Invalid serial number: "));

    terminal_session mac(board, {"setmac"});
    mac.expect("Please input mac addr:");
    mac.send(end_of_input);
    EXPECT_EQ(mac.finish(), refused("Error: Invalid Mac Address: "));
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

TEST(operator_terminal, stores_arguments_without_a_prompt)
{
    const auto board = nor_board_holding(no_records);
    terminal_session serial(board, {"setsn", "ABCDEFGHJ1234"});
    EXPECT_EQ(serial.finish(), saved);
    EXPECT_TRUE(nor_holds(board, one_serial));

    terminal_session mac(board, {"setmac", "00d0f8a1b2c3"});
    EXPECT_EQ(mac.finish(), saved);
    EXPECT_TRUE(nor_holds(
        board, product_image(0x8547C068, {"SerialNO=ABCDEFGHJ1234", "ethaddr=00:d0:f8:a1:b2:c3"})));

    terminal_session field(board, {"fw_setmac", "ethaddr", "none yet"});
    EXPECT_EQ(field.finish(), saved);
    EXPECT_TRUE(nor_holds(
        board, product_image(0xAF62ECEC, {"SerialNO=ABCDEFGHJ1234", "ethaddr=none yet"})));
}

TEST(operator_terminal, stores_a_mac_address_typed_at_the_prompt)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"setmac"});
    session.expect("Please input mac addr:");
    session.send("00:D0:F8:A1:B2:C3\r");
    session.expect("00:D0:F8:A1:B2:C3\r\n");
    EXPECT_EQ(session.finish(), saved);
    EXPECT_TRUE(nor_holds(board, product_image(0x82243793, {"ethaddr=00:D0:F8:A1:B2:C3"})));
}

TEST(operator_terminal, refuses_a_mac_address_of_another_form)
{
    const auto board = nor_board_holding(one_serial);
    terminal_session session(board, {"setmac"});
    session.expect("Please input mac addr:");
    session.send("00-d0-f8-a1-b2-c3\r");
    session.expect("00-d0-f8-a1-b2-c3\r\n");
    EXPECT_EQ(session.finish(), refused("Error: Invalid Mac Address: 00-d0-f8-a1-b2-c3"));
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

TEST(operator_terminal, asks_for_the_country_settings_one_by_one)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"setcountry"});
    session.expect("Please input country def:");
    session.send("CN\r");
    session.expect("CN\r\nPlease input country map:");
    session.send("map-A\r");
    session.expect("map-A\r\nPlease input country map1:");
    session.send("map-B\r");
    session.expect("map-B\r\nPlease input country change:");
    session.send("yes\r");
    session.expect("yes\r\n");
    EXPECT_EQ(session.finish(), saved);
    EXPECT_TRUE(
        nor_holds(board, product_image(0xADD8D5E1, {"country_def=CN", "country_map=map-A",
                                                    "country_map1=map-B", "country_change=yes"})));
}

TEST(operator_terminal, stores_empty_country_settings_from_the_end_of_input_on)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"setcountry"});
    session.expect("Please input country def:");
    session.send("CN\r");
    session.expect("CN\r\nPlease input country map:");
    session.send(end_of_input);
    session.expect("Please input country map1:Please input country change:");
    EXPECT_EQ(session.finish(), saved);
    EXPECT_TRUE(nor_holds(board, product_image(0x2917B897, {"country_def=CN", "country_map=",
                                                            "country_map1=", "country_change="})));
}

TEST(operator_terminal, stores_no_country_settings_where_the_input_cannot_be_read)
{
    const auto board = nor_board_holding(one_serial);
    terminal_session session(board, {"setcountry"}, {.flags = O_NONBLOCK});
    session.expect("Please input country def:\r\r\nError: The input cannot be read.");
    EXPECT_EQ(session.finish(), (outcome{.output = "\r\r\n", .status = 1}));
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

/** A terminal that gives a program each byte at once, also those of a word that is being typed. */
void give_bytes(termios &settings)
{
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON);
}

/**
 * Runs a command whose descriptor does not wait, on a board whose serial number must survive it.
 * After `typed` nothing more has come yet; the command says `said` before it gives up.
 */
void expect_unread(const e2e::command_line &command, std::string_view typed,
                   const std::string &said)
{
    const auto board = nor_board_holding(one_serial);
    terminal_session session(board, command,
                             {.typed_ahead = typed, .adjust = give_bytes, .flags = O_NONBLOCK});
    EXPECT_EQ(session.finish(), refused(said + "\r\r\nError: The input cannot be read.")) << typed;
    EXPECT_TRUE(untouched_nor_holds(board, one_serial)) << typed;
}

TEST(operator_terminal, stores_no_country_settings_where_a_later_one_cannot_be_read)
{
    const std::string first = "Please input country def:";
    const std::string second = first + "Please input country map:";
    const std::string third = second + "Please input country map1:";
    expect_unread({"setcountry"}, "C", first);
    expect_unread({"setcountry"}, "CN ", second);
    expect_unread({"setcountry"}, "CN map-", second);
    expect_unread({"setcountry"}, "CN map-A map", third);
    expect_unread({"setcountry"}, "CN map-A map-B y", third + "Please input country change:");
}

TEST(operator_terminal, stores_no_serial_number_or_address_that_may_be_cut_off)
{
    expect_unread({"setsn"}, "", "Please input serial number:");
    expect_unread({"setsn"}, "ZZZZZZZZZ9999", "Please input serial number:");
    expect_unread({"setmac"}, "", "Please input mac addr:");
    expect_unread({"setmac"}, "00:D0:F8:A1:B2:C3", "Please input mac addr:");
}

constexpr std::string_view greeting = "Please input the name and value of setmac field.\r\r\n"
                                      "Format: name=value, Press 'q' to save and quit.\r\r\n"
                                      "\r\r\n";

TEST(operator_terminal, edits_records_until_q)
{
    const auto board = nor_board_holding(one_serial);
    terminal_session session(board, {"setproduct"});
    session.expect(greeting);
    session.send("ProductModel=S1\r");
    session.expect("ProductModel=S1\r\n");
    session.send("quit\r");
    session.expect("quit\r\nWarning: invliad product info: quit.\r\r\n");
    session.send("SerialNO=\r");
    session.expect("SerialNO=\r\n");
    session.send("q\r");
    session.expect("q\r\n");
    EXPECT_EQ(session.finish(), saved);
    EXPECT_TRUE(nor_holds(board, product_image(0x8512D852, {"ProductModel=S1"})));
}

TEST(operator_terminal, edits_records_until_the_end_of_input)
{
    const auto board = nor_board_holding(one_serial);
    terminal_session session(board, {"setproduct"});
    session.expect(greeting);
    session.send(end_of_input);
    EXPECT_EQ(session.finish(), saved);
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

TEST(operator_terminal, saves_no_record_where_a_later_one_cannot_be_read)
{
    const std::string said(greeting);
    expect_unread({"setproduct"}, "", said);
    expect_unread({"setproduct"}, "ethaddr=00:D0:F8", said);
    expect_unread({"setproduct"}, "ProductModel=S1 ", said);
    expect_unread({"setproduct"}, "ProductModel=S1 ethaddr=00:D0:F8", said);
    expect_unread({"setproduct"}, "SerialNO= q", said);
}

TEST(operator_terminal, tells_a_wrong_count_of_arguments)
{
    const auto board = nor_board_holding(one_serial);
    const e2e::command_line refusing[] = {
        {"setsn", "1", "2"}, {"setmac", "1", "2"}, {"setcountry", "1"}};
    for (const auto &command : refusing) {
        terminal_session session(board, command);
        EXPECT_EQ(session.finish(), refused("Invalid parameters.")) << command[0];
    }
    terminal_session session(board, {"fw_setmac", "SerialNO"});
    EXPECT_EQ(session.finish(), (outcome{.output = "Invalid parameters.\r\r\n"}));
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

TEST(operator_terminal, lists_the_records)
{
    const auto board = nor_board_holding(
        product_image(0x2D6A65A9, {"SerialNO=ABCDEFGHJ1234", "country_map=", "a=b"}));
    terminal_session session(board, {"prodinfo"});
    EXPECT_EQ(session.finish(),
              (outcome{.output = "SerialNO=ABCDEFGHJ1234\r\r\ncountry_map=\r\r\na=b\r\r\n"}));
}

TEST(operator_terminal, tells_what_stops_the_program)
{
    const e2e::board_folder board("[[partition]]\nname = \"boot\"\n");
    terminal_session session(board, {"setsn"});
    EXPECT_EQ(session.finish(), refused("init_product_info: can't find productinfo.\r\r\n"
                                        "Setmac init failed."));
}

TEST(operator_terminal, tells_a_save_that_failed)
{
    const e2e::board_folder board(std::string(e2e::nor_board) +
                                      "[[fault]]\noperation = \"write\"\nerror = \"EIO\"\n",
                                  {{e2e::product_info_file, e2e::nor_content(no_records)}});
    terminal_session session(board, {"setsn", "ABCDEFGHJ1234"});
    EXPECT_EQ(session.finish(), refused("Save product info failed."));
}

TEST(operator_terminal, ends_a_prompt_at_the_interrupt_key_with_flash_as_it_was)
{
    const auto board = nor_board_holding(one_serial);
    terminal_session session(board, {"setsn"});
    session.expect("Please input serial number:");
    session.send("ZZZ");
    session.expect("ZZZ");
    session.send("\x03");
    session.expect("^C");
    EXPECT_EQ(session.finish(), (outcome{.status = -SIGINT}));
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

} // namespace
