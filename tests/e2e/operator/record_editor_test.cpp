#include <filesystem>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/bytes.h"
#include "e2e/support/program.h"

// "setproduct", which edits records line by line, and the names under which the program lists them.

namespace {

using e2e::board_folder;
using e2e::nor_board_holding;
using e2e::nor_holds;
using e2e::outcome;
using e2e::product_image;
using e2e::run_on_board;
using e2e::untouched_nor_holds;

const std::string no_records = product_image(0xAAC184F9, {});
const std::string three_records = product_image(0xB01307C6, {"first=1", "second=2", "third=3"});

const std::string greeting = "Please input the name and value of setmac field.\r\n"
                             "Format: name=value, Press 'q' to save and quit.\r\n"
                             "\r\n";
const std::string saved = "Save product info success.\r\n";

/** Feeds lines to "setproduct" on a board of three records. */
void expect_edit(std::string_view lines, const std::string &messages, std::string_view image)
{
    const auto board = nor_board_holding(three_records);
    EXPECT_EQ(run_on_board(board, {"setproduct"}, lines),
              (outcome{.output = greeting + messages + saved}));
    EXPECT_TRUE(nor_holds(board, image));
}

TEST(setproduct_on_pipes, updates_in_place_and_appends_at_the_end)
{
    expect_edit("second=two\nfourth=4\nq\n", "",
                product_image(0x631E7D53, {"first=1", "second=two", "third=3", "fourth=4"}));
}

TEST(setproduct_on_pipes, stops_at_q_and_leaves_the_rest_of_its_input)
{
    expect_edit("fourth=4 q fifth=5\n", "",
                product_image(0x679F5E77, {"first=1", "second=2", "third=3", "fourth=4"}));
}

TEST(setproduct_on_pipes, ends_as_at_q_with_its_input)
{
    expect_edit("fourth=4\n", "",
                product_image(0x679F5E77, {"first=1", "second=2", "third=3", "fourth=4"}));
    expect_edit("fourth=4", "",
                product_image(0x679F5E77, {"first=1", "second=2", "third=3", "fourth=4"}));
    expect_edit("", "", three_records);
}

TEST(setproduct_on_pipes, hands_quit_on_like_any_line)
{
    expect_edit("quit\nfirst=one\nq\n", "Warning: invliad product info: quit.\r\n",
                product_image(0x21A4A062, {"first=one", "second=2", "third=3"}));
}

TEST(setproduct_on_pipes, removes_a_record_wherever_it_stands)
{
    expect_edit("first= q", "", product_image(0xC62A3AE1, {"second=2", "third=3"}));
    expect_edit("second= q", "", product_image(0xF299C053, {"first=1", "third=3"}));
    expect_edit("third= fourth=4 q", "",
                product_image(0x035D6182, {"first=1", "second=2", "fourth=4"}));
    expect_edit("first= second= third= q", "", no_records);
    expect_edit("third= second= first= first=1 q", "", product_image(0x3434EEED, {"first=1"}));
}

TEST(setproduct_on_pipes, removes_an_absent_name_without_a_word)
{
    expect_edit("fourth= FIRST= q", "", three_records);
}

TEST(setproduct_on_pipes, splits_at_the_first_equals_sign)
{
    expect_edit(
        "fourth=a=b= =empty q", "",
        product_image(0xA178658B, {"first=1", "second=2", "third=3", "fourth=a=b=", "=empty"}));
}

TEST(setproduct_on_pipes, splits_a_line_at_white_space_into_lines)
{
    expect_edit(
        "fourth=two words\tfifth=5\nq\n", "Warning: invliad product info: words.\r\n",
        product_image(0xEDFC79B0, {"first=1", "second=2", "third=3", "fourth=two", "fifth=5"}));
}

TEST(setproduct_on_pipes, refuses_names_of_more_than_63_characters)
{
    const std::string name(63, 'n');
    expect_edit(name + "n=1 " + name + "=2 q", "Warning: product info name is too long.\r\n",
                product_image(0x40FB6C8C, {"first=1", "second=2", "third=3", name + "=2"}));
}

TEST(setproduct_on_pipes, keeps_511_characters_of_a_value)
{
    expect_edit(
        "first=" + std::string(600, 'v') + " q", "",
        product_image(0xE1472C0E, {"first=" + std::string(511, 'v'), "second=2", "third=3"}));
}

TEST(setproduct_on_pipes, reads_a_word_of_1500_characters_as_one_of_999_and_the_rest)
{
    expect_edit(
        "first=" + std::string(1494, 'v') + "\nq\n",
        "Warning: invliad product info: " + std::string(501, 'v') + ".\r\n",
        product_image(0xE1472C0E, {"first=" + std::string(511, 'v'), "second=2", "third=3"}));
}

TEST(setproduct_on_pipes, ignores_its_arguments)
{
    const auto board = nor_board_holding(three_records);
    EXPECT_EQ(run_on_board(board, {"setproduct", "first=one", "x"}, "first=uno\nq\n"),
              (outcome{.output = greeting + saved}));
    EXPECT_TRUE(nor_holds(board, product_image(0xE8AAC130, {"first=uno", "second=2", "third=3"})));
}

TEST(setproduct_on_pipes, writes_nothing_when_the_records_are_the_same_in_the_end)
{
    for (const std::string_view lines : {"", "q\n", "bad\nq\n", "first=1\nsecond=2\nq\n",
                                         "fourth=4\nfourth=\nq\n", "first=x first=1 q"}) {
        const auto board = nor_board_holding(three_records);
        const auto result = run_on_board(board, {"setproduct"}, lines);
        EXPECT_EQ(result.status, 0);
        EXPECT_TRUE(result.output.ends_with(saved)) << result;
        EXPECT_TRUE(untouched_nor_holds(board, three_records)) << lines;
    }
}

TEST(listing, is_what_any_other_name_does)
{
    const std::string records = "first=1\r\nsecond=2\r\nthird=3\r\n";
    for (const std::string name : {"prodinfo", "setsn2", "Setsn", "anything"}) {
        const auto board = nor_board_holding(three_records);
        const auto link = board.path() / name;
        std::filesystem::create_symlink(e2e::program_file("setmac"), link);
        EXPECT_EQ(run_on_board(board, {link.string(), "first=one"}, "first=uno\nq\n"),
                  (outcome{.output = records}));
        EXPECT_TRUE(untouched_nor_holds(board, three_records));
    }
}

TEST(listing, goes_by_the_last_part_of_the_path)
{
    const auto board = nor_board_holding(three_records);
    const auto folder = board.path() / "setsn";
    std::filesystem::create_directory(folder);
    const auto link = folder / "list";
    std::filesystem::create_symlink(e2e::program_file("setmac"), link);
    EXPECT_EQ(run_on_board(board, {link.string(), "ABCDEFGHJ1234"}),
              (outcome{.output = "first=1\r\nsecond=2\r\nthird=3\r\n"}));
}

TEST(listing, prints_nothing_of_an_empty_store)
{
    EXPECT_EQ(run_on_board(nor_board_holding(no_records), {"prodinfo"}), outcome{});
}

TEST(listing, shows_any_byte_of_a_record_as_it_is)
{
    const auto board =
        nor_board_holding(product_image(0xE109BD36, {"=", "a=b=c\xFF\x01", "d=x y"}));
    EXPECT_EQ(run_on_board(board, {"prodinfo"}),
              (outcome{.output = "=\r\na=b=c\xFF\x01\r\nd=x y\r\n"}));
}

TEST(listing, tells_malformed_records_and_goes_on)
{
    const std::string name(64, 'n');
    const auto board = nor_board_holding(
        product_image(0xA3AB983A, {"first=1", "noise", name + "=x", "last=9", "first=2"}));
    EXPECT_EQ(run_on_board(board, {"prodinfo"}),
              (outcome{.output = "Warning: invliad product info: noise.\r\n"
                                 "Warning: product info name is too long\r\n"
                                 "first=2\r\nlast=9\r\n"}));
}

TEST(listing, writes_nothing_to_a_blank_partition)
{
    const board_folder board(e2e::nor_board);
    EXPECT_EQ(run_on_board(board, {"prodinfo"}),
              (outcome{.output = "!!!Warning: CRC check failed.\r\n"}));
    EXPECT_EQ(board.changes(), std::vector<std::string>{});
    EXPECT_TRUE(e2e::memory_is(board, e2e::product_info_file, e2e::repeated(12288, 0xFF)));
}

} // namespace
