#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/bytes.h"
#include "e2e/support/program.h"

// The operator commands for single fields, started by a script: input and output are pipes.

namespace {

using e2e::board_folder;
using e2e::nor_board_holding;
using e2e::nor_holds;
using e2e::outcome;
using e2e::product_image;
using e2e::run_on_board;
using e2e::untouched_nor_holds;

const std::string no_records = product_image(0xAAC184F9, {});
const std::string one_serial = product_image(0x2C57E7AB, {"SerialNO=ABCDEFGHJ1234"});
const std::string one_mac = product_image(0xFD69D528, {"ethaddr=00:d0:f8:a1:b2:c3"});

const std::string saved = "Save product info success.\r\n";

/** Runs a command that must be refused, on a board whose serial number must survive it. */
void expect_refusal(const e2e::command_line &command, std::string_view input,
                    const std::string &output)
{
    const auto board = nor_board_holding(one_serial);
    EXPECT_EQ(run_on_board(board, command, input), (outcome{.output = output, .status = 1}));
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

TEST(setsn_on_pipes, stores_its_argument)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"setsn", "ABCDEFGHJ1234"}), (outcome{.output = saved}));
    EXPECT_TRUE(nor_holds(board, one_serial));
    EXPECT_EQ(board.changes(),
              (std::vector<std::string>{"erase /dev/mtd1 start=0x0 length=0x3000 = 0",
                                        "write /dev/mtd1 offset=0x0 length=8192 = 8192"}));
}

TEST(setsn_on_pipes, stores_the_word_at_its_prompt)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"setsn"}, "ABCDEFGHJ1234\n"),
              (outcome{.output = "Please input serial number:" + saved}));
    EXPECT_TRUE(nor_holds(board, one_serial));
}

TEST(setsn_on_pipes, takes_the_first_word_between_white_space)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"setsn"}, " \t\r\n\v\f ABCDEFGHJ1234 ZZZZZZZZZ9999\n"),
              (outcome{.output = "Please input serial number:" + saved}));
    EXPECT_TRUE(nor_holds(board, one_serial));
}

TEST(setsn_on_pipes, takes_a_word_that_the_end_of_input_ends)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"setsn"}, "ABCDEFGHJ1234"),
              (outcome{.output = "Please input serial number:" + saved}));
    EXPECT_TRUE(nor_holds(board, one_serial));
}

TEST(setsn_on_pipes, replaces_a_stored_number_in_its_place)
{
    const auto board = nor_board_holding(
        product_image(0x8547C068, {"SerialNO=ABCDEFGHJ1234", "ethaddr=00:d0:f8:a1:b2:c3"}));
    EXPECT_EQ(run_on_board(board, {"setsn", "0123456789abc"}), (outcome{.output = saved}));
    EXPECT_TRUE(nor_holds(
        board, product_image(0x94763C69, {"SerialNO=0123456789abc", "ethaddr=00:d0:f8:a1:b2:c3"})));
}

TEST(setsn_on_pipes, writes_nothing_when_the_number_is_stored_already)
{
    const auto board = nor_board_holding(one_serial);
    EXPECT_EQ(run_on_board(board, {"setsn", "ABCDEFGHJ1234"}), (outcome{.output = saved}));
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

TEST(setsn_on_pipes, refuses_any_other_length_and_character)
{
    for (const std::string serial :
         {"", "ABCDEFGHJ123", "ABCDEFGHJ12345", "ABCDEFGHJ-123", "ABCDEF GHJ123"}) {
        expect_refusal({"setsn", serial}, "", "Error: Invalid serial number: " + serial + "\r\n");
    }
    expect_refusal({"setsn"}, "ABCDEF GHJ123\n",
                   "Please input serial number:Error: Invalid serial number: ABCDEF\r\n");
}

TEST(setsn_on_pipes, cuts_what_it_reads_to_63_characters_and_refuses_it)
{
    const std::string kept(63, 'A');
    for (const std::size_t length : {100U, 1500U}) {
        expect_refusal({"setsn"}, std::string(length, 'A') + "\n",
                       "Please input serial number:Error: Invalid serial number: " + kept + "\r\n");
    }
    const std::string argument(100, 'A');
    expect_refusal({"setsn", argument}, "", "Error: Invalid serial number: " + argument + "\r\n");
}

TEST(setsn_on_pipes, refuses_the_end_of_input_as_an_empty_number)
{
    expect_refusal({"setsn"}, "", "Please input serial number:Error: Invalid serial number: \r\n");
    expect_refusal({"setsn"}, " \n\n",
                   "Please input serial number:Error: Invalid serial number: \r\n");
}

TEST(setsn_on_pipes, refuses_two_arguments)
{
    expect_refusal({"setsn", "ABCDEFGHJ1234", "ABCDEFGHJ1234"}, "", "Invalid parameters.\r\n");
}

TEST(setmac_on_pipes, stores_twelve_digits_with_colons)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"setmac", "00d0f8a1b2c3"}), (outcome{.output = saved}));
    EXPECT_TRUE(nor_holds(board, one_mac));
}

TEST(setmac_on_pipes, stores_an_address_with_colons_as_it_is)
{
    const auto board = nor_board_holding(one_mac);
    EXPECT_EQ(run_on_board(board, {"setmac"}, "00:D0:F8:A1:B2:C3\n"),
              (outcome{.output = "Please input mac addr:" + saved}));
    EXPECT_TRUE(nor_holds(board, product_image(0x82243793, {"ethaddr=00:D0:F8:A1:B2:C3"})));
}

TEST(setmac_on_pipes, writes_nothing_when_the_address_is_stored_already)
{
    const auto board = nor_board_holding(one_mac);
    EXPECT_EQ(run_on_board(board, {"setmac", "00d0f8a1b2c3"}), (outcome{.output = saved}));
    EXPECT_TRUE(untouched_nor_holds(board, one_mac));
}

TEST(setmac_on_pipes, refuses_any_other_form)
{
    for (const std::string mac :
         {"", "00d0f8a1b2c", "00d0f8a1b2c3d", "00d0f8a1b2cg", "00-d0-f8-a1-b2-c3",
          "00:d0:f8:a1:b2-c3", "00:d0:f8:a1:b2:cg", "00:d0:f8:a1:b2:c", "00:d0:f8:a1:b2:c3:"}) {
        expect_refusal({"setmac", mac}, "", "Error: Invalid Mac Address: " + mac + "\r\n");
    }
}

TEST(setmac_on_pipes, cuts_what_it_reads_to_63_characters_and_refuses_it)
{
    const std::string kept(63, '0');
    for (const std::size_t length : {100U, 1500U}) {
        expect_refusal({"setmac"}, std::string(length, '0'),
                       "Please input mac addr:Error: Invalid Mac Address: " + kept + "\r\n");
    }
}

TEST(setmac_on_pipes, refuses_the_end_of_input_as_an_empty_address)
{
    expect_refusal({"setmac"}, "", "Please input mac addr:Error: Invalid Mac Address: \r\n");
}

TEST(setmac_on_pipes, refuses_two_arguments)
{
    expect_refusal({"setmac", "00d0f8a1b2c3", "1"}, "", "Invalid parameters.\r\n");
}

const std::string country_prompts = "Please input country def:Please input country map:"
                                    "Please input country map1:Please input country change:";

TEST(setcountry_on_pipes, stores_four_words_in_order)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"setcountry"}, "CN\nmap-A map-B\n\n yes\n"),
              (outcome{.output = country_prompts + saved}));
    EXPECT_TRUE(
        nor_holds(board, product_image(0xADD8D5E1, {"country_def=CN", "country_map=map-A",
                                                    "country_map1=map-B", "country_change=yes"})));
}

TEST(setcountry_on_pipes, stores_empty_texts_from_the_end_of_input_on)
{
    const std::pair<std::string, std::string> cases[] = {
        {"", product_image(0x63902A27,
                           {"country_def=", "country_map=", "country_map1=", "country_change="})},
        {"CN", product_image(0x2917B897, {"country_def=CN",
                                          "country_map=", "country_map1=", "country_change="})},
        {"CN A\n", product_image(0x35A88B15, {"country_def=CN", "country_map=A",
                                              "country_map1=", "country_change="})},
        {"CN A B\n", product_image(0x7A636752, {"country_def=CN", "country_map=A", "country_map1=B",
                                                "country_change="})},
    };
    for (const auto &[input, image] : cases) {
        const auto board = nor_board_holding(no_records);
        EXPECT_EQ(run_on_board(board, {"setcountry"}, input),
                  (outcome{.output = country_prompts + saved}));
        EXPECT_TRUE(nor_holds(board, image)) << input;
    }
}

TEST(setcountry_on_pipes, cuts_each_word_to_255_characters)
{
    const auto board = nor_board_holding(no_records);
    const std::string word(300, 'a');
    EXPECT_EQ(run_on_board(board, {"setcountry"}, word + " " + word + " " + word + " " + word),
              (outcome{.output = country_prompts + saved}));
    const std::string kept(255, 'a');
    EXPECT_TRUE(nor_holds(
        board, product_image(0x069739DF, {"country_def=" + kept, "country_map=" + kept,
                                          "country_map1=" + kept, "country_change=" + kept})));
}

TEST(setcountry_on_pipes, writes_nothing_when_all_four_are_stored_already)
{
    const std::string stored = product_image(
        0xDA5C7673, {"country_def=CN", "country_map=A", "country_map1=B", "country_change=C"});
    const auto board = nor_board_holding(stored);
    EXPECT_EQ(run_on_board(board, {"setcountry"}, "CN A B C"),
              (outcome{.output = country_prompts + saved}));
    EXPECT_TRUE(untouched_nor_holds(board, stored));
}

TEST(setcountry_on_pipes, refuses_any_argument)
{
    expect_refusal({"setcountry", "CN"}, "", "Invalid parameters.\r\n");
    expect_refusal({"setcountry", "CN", "A", "B", "C"}, "", "Invalid parameters.\r\n");
}

TEST(fw_setmac_on_pipes, stores_a_named_field)
{
    const auto board = nor_board_holding(one_serial);
    EXPECT_EQ(run_on_board(board, {"fw_setmac", "ProductModel", "two words"}),
              (outcome{.output = saved}));
    EXPECT_TRUE(nor_holds(
        board, product_image(0x10A6A6C1, {"SerialNO=ABCDEFGHJ1234", "ProductModel=two words"})));
}

TEST(fw_setmac_on_pipes, stores_an_empty_value)
{
    const auto board = nor_board_holding(one_serial);
    EXPECT_EQ(run_on_board(board, {"fw_setmac", "SerialNO", ""}), (outcome{.output = saved}));
    EXPECT_TRUE(nor_holds(board, product_image(0xA84C8812, {"SerialNO="})));
}

TEST(fw_setmac_on_pipes, cuts_names_to_63_and_values_to_511_characters)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"fw_setmac", std::string(64, 'n'), std::string(1500, 'v')}),
              (outcome{.output = saved}));
    const std::string record = std::string(63, 'n') + "=" + std::string(511, 'v');
    const std::string stored = product_image(0xA456B84E, {record});
    EXPECT_TRUE(nor_holds(board, stored));
    EXPECT_EQ(run_on_board(board, {"fw_setmac", std::string(63, 'n') + "zz", "w"}),
              (outcome{.output = saved}));
    EXPECT_TRUE(nor_holds(board, product_image(0x2F21FE8E, {std::string(63, 'n') + "=w"})));
}

TEST(fw_setmac_on_pipes, writes_nothing_when_the_value_is_stored_already)
{
    const auto board = nor_board_holding(one_serial);
    EXPECT_EQ(run_on_board(board, {"fw_setmac", "SerialNO", "ABCDEFGHJ1234"}),
              (outcome{.output = saved}));
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

TEST(fw_setmac_on_pipes, ends_well_with_a_wrong_count_of_arguments_and_saves_nothing)
{
    const e2e::command_line commands[] = {
        {"fw_setmac"}, {"fw_setmac", "SerialNO"}, {"fw_setmac", "SerialNO", "1", "2"}};
    // Without a right checksum in flash any save would write.
    const std::string damaged(12288, '\x5A');
    for (const auto &command : commands) {
        const board_folder board(e2e::nor_board, {{e2e::product_info_file, damaged}});
        EXPECT_EQ(run_on_board(board, command),
                  (outcome{.output = "!!!Warning: CRC check failed.\r\nInvalid parameters.\r\n"}));
        EXPECT_TRUE(e2e::memory_is(board, e2e::product_info_file, damaged));
        EXPECT_EQ(board.changes(), std::vector<std::string>{});

        const auto good = nor_board_holding(one_serial);
        EXPECT_EQ(run_on_board(good, command), (outcome{.output = "Invalid parameters.\r\n"}));
        EXPECT_TRUE(untouched_nor_holds(good, one_serial));
    }
}

} // namespace
