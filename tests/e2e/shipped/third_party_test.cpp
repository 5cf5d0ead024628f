#include "third_party_shell.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <string_view>
#include <thread>

// Programs that nobody here wrote, unmodified, on simulated boards: what they store is what a chip
// would hold, and they read it back.

namespace {

using namespace std::string_view_literals;
using bytes = std::vector<uint8_t>;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

/** Bytes in which no stretch repeats itself, so that nothing can be in a wrong place unseen. */
bytes varied(std::size_t count)
{
    bytes content;
    content.reserve(count);
    uint32_t state = 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1664525 + 1013904223;
        content.push_back(static_cast<uint8_t>(state >> 24));
    }
    return content;
}

bytes part(const bytes &of, std::size_t from, std::size_t count)
{
    const auto start = of.begin() + static_cast<std::ptrdiff_t>(from);
    return {start, start + static_cast<std::ptrdiff_t>(count)};
}

bool contains(const std::string &text, std::string_view what)
{
    return text.find(what) != std::string::npos;
}

AssertionResult ended_well(const outcome &done)
{
    if (done.status == 0) {
        return AssertionSuccess();
    }
    return AssertionFailure() << "status " << done.status << ", signal " << done.signal << ": "
                              << done.output;
}

constexpr const char *small_nor = "[[partition]]\n"
                                  "name = \"image\"\n"
                                  "erase_size = 0x1000\n"
                                  "blocks = 4\n";

} // namespace

TEST(flashcp, writes_and_verifies_an_image)
{
    const scratch_board board("nor");
    const bytes image = varied(100000);
    const outcome done = board.run(FLASHCP " -v " + board.write("image", image) + " /dev/mtd2");
    ASSERT_TRUE(ended_well(done));
    EXPECT_TRUE(contains(done.output, "Verifying data: 97k/97k (100%)"));
    const bytes flash = board.memory("mtd2.bin");
    ASSERT_EQ(flash.size(), 262144U);
    EXPECT_EQ(part(flash, 0, 100000), image);
    EXPECT_EQ(part(flash, 100000, 162144), bytes(162144, 0xFF));
}

TEST(flashcp, replaces_the_image_before)
{
    const scratch_board board(small_nor);
    ASSERT_TRUE(
        ended_well(board.run(FLASHCP " " + board.write("a", bytes(5000, 0x00)) + " /dev/mtd0")));
    const bytes second = varied(5000);
    ASSERT_TRUE(ended_well(board.run(FLASHCP " -v " + board.write("b", second) + " /dev/mtd0")));
    EXPECT_EQ(part(board.memory("mtd0.bin"), 0, 5000), second);
}

TEST(flashcp, says_that_an_image_is_too_long_for_the_partition)
{
    const scratch_board board(small_nor);
    const outcome done =
        board.run(FLASHCP " " + board.write("a", bytes(16385, 0x00)) + " /dev/mtd0");
    EXPECT_EQ(done.status, 1);
    EXPECT_TRUE(contains(done.output, "won't fit"));
    EXPECT_EQ(board.memory("mtd0.bin"), bytes(16384, 0xFF));
}

TEST(flashcp, meets_the_fault_of_the_board_file)
{
    const scratch_board board(std::string(small_nor) + "[[fault]]\n"
                                                       "operation = \"write\"\n"
                                                       "path = \"/dev/mtd0\"\n"
                                                       "error = \"EIO\"\n");
    const outcome done = board.run(FLASHCP " " + board.write("a", bytes(100, 0x00)) + " /dev/mtd0");
    EXPECT_EQ(done.status, 1);
    EXPECT_TRUE(contains(done.output, "Input/output error"));
}

TEST(flashcp, is_killed_when_the_power_is_cut)
{
    const scratch_board board(std::string(small_nor) + "[power]\n"
                                                       "cut_after = 102\n");
    const bytes image = varied(8192);
    const outcome done = board.run(FLASHCP " -v " + board.write("a", image) + " /dev/mtd0");
    EXPECT_EQ(done.signal, SIGKILL);
    const bytes flash = board.memory("mtd0.bin");
    EXPECT_EQ(part(flash, 0, 100), part(image, 0, 100)) << "after two blocks erased";
    EXPECT_EQ(part(flash, 100, 16284), bytes(16284, 0xFF));
    EXPECT_TRUE(contains(board.log(), " power_cut board = 0\n"));
}

TEST(flashcp, leaves_its_operations_in_the_log)
{
    const scratch_board board(small_nor);
    ASSERT_TRUE(
        ended_well(board.run(FLASHCP " -v " + board.write("a", bytes(4097, 0x00)) + " /dev/mtd0")));
    const std::string log = board.log();
    const std::string_view expected[] = {
        " open /dev/mtd0 = ",
        " getinfo /dev/mtd0 = 0\n",
        " erase /dev/mtd0 start=0x0 length=0x1000 = 0\n",
        " erase /dev/mtd0 start=0x1000 length=0x1000 = 0\n",
        " write /dev/mtd0 offset=0x0 length=4097 = 4097\n",
        " lseek /dev/mtd0 offset=0 whence=set = 0\n",
        " read /dev/mtd0 offset=0x0 length=4097 = 4097\n",
        " close /dev/mtd0 = 0\n",
    };
    std::size_t position = 0;
    for (const std::string_view line : expected) {
        position = log.find(line, position);
        ASSERT_NE(position, std::string::npos) << line << "\nin\n" << log;
    }
}

TEST(nandwrite, skips_the_bad_block_and_reads_back)
{
    const scratch_board board("nand");
    const bytes image = varied(8192);
    ASSERT_TRUE(ended_well(board.run(FLASH_ERASE " -q /dev/mtd1 0x20000 7")));
    const outcome written = board.run(NANDWRITE " -q -m -p /dev/mtd1 " + board.write("a", image));
    ASSERT_TRUE(ended_well(written));
    const bytes flash = board.memory("mtd1.bin");
    EXPECT_EQ(part(flash, 0, 0x20000), bytes(0x20000, 0xFF)) << "block 0 is bad";
    EXPECT_EQ(part(flash, 0x20000, 8192), image);
    const std::string copy = board.beside("copy");
    ASSERT_TRUE(
        ended_well(board.run(NANDDUMP " -q --bb=skipbad -l 8192 -f " + copy + " /dev/mtd1")));
    EXPECT_EQ(contents(copy), image);
}

class uboot_environment : public testing::Test {
protected:
    uboot_environment()
    {
        board.write("defaults", {'b', 'a', 's', 'e', '=', '1', '\n'});
        const std::string text = "/dev/mtd1 0x0     0x4000 0x10000 1\n"
                                 "/dev/mtd1 0x10000 0x4000 0x10000 1\n";
        board.write("config", bytes(text.begin(), text.end()));
    }

    outcome set(const std::string &what) const
    {
        return board.run(FW_SETENV " -c " + board.beside("config") + " -f " +
                         board.beside("defaults") + " " + what);
    }
    outcome print(const std::string &what) const
    {
        return board.run(FW_PRINTENV " -c " + board.beside("config") + " " + what);
    }

    const scratch_board board{"nor"};
};

TEST_F(uboot_environment, keeps_a_value_from_one_run_to_the_next)
{
    ASSERT_TRUE(ended_well(set("serial ABCDEFGHJ1234")));
    const outcome printed = print("serial");
    EXPECT_TRUE(ended_well(printed));
    EXPECT_EQ(printed.output, "serial=ABCDEFGHJ1234\n");
    EXPECT_EQ(print("").output, "base=1\nserial=ABCDEFGHJ1234\n");
}

TEST_F(uboot_environment, alternates_between_its_two_copies)
{
    ASSERT_TRUE(ended_well(set("step one")));
    ASSERT_TRUE(ended_well(set("step two")));
    EXPECT_EQ(print("step").output, "step=two\n");
    const bytes flash = board.memory("mtd1.bin");
    const std::string_view older = "base=1\0step=one\0\0"sv;
    const std::string_view newer = "base=1\0step=two\0\0"sv;
    const auto holds = [&](std::size_t offset, std::string_view text) {
        // A checksum of four bytes and a flag stand before the variables.
        return std::equal(text.begin(), text.end(),
                          flash.begin() + static_cast<std::ptrdiff_t>(offset + 5));
    };
    EXPECT_TRUE((holds(0x0, older) && holds(0x10000, newer)) ||
                (holds(0x0, newer) && holds(0x10000, older)));
}

TEST_F(uboot_environment, survives_a_damaged_copy)
{
    ASSERT_TRUE(ended_well(set("step one")));
    ASSERT_TRUE(ended_well(set("step two")));
    bytes flash = board.memory("mtd1.bin");
    flash[0x10] ^= 0x01;
    board.write("board/mtd1.bin", flash);
    const outcome printed = print("step");
    EXPECT_TRUE(ended_well(printed));
    EXPECT_TRUE(printed.output == "step=one\n" || printed.output == "step=two\n") << printed.output;
}

TEST(i2ctransfer, writes_and_reads_back)
{
    const scratch_board board("[[eeprom]]\naddress = 0x56\nwrite_cycle_ms = 0\n");
    ASSERT_TRUE(ended_well(board.run(I2CTRANSFER " -y 0 w4@0x56 0x10 0xaa 0xbb 0xcc")));
    const outcome taken = board.run(I2CTRANSFER " -y 0 w1@0x56 0x0f r5");
    EXPECT_TRUE(ended_well(taken));
    EXPECT_EQ(taken.output, "0xff 0xaa 0xbb 0xcc 0xff\n");
    EXPECT_EQ(part(board.memory("i2c-56.bin"), 0x10, 3), (bytes{0xAA, 0xBB, 0xCC}));
}

TEST(i2ctransfer, sees_the_page_wrap)
{
    const scratch_board board("[[eeprom]]\naddress = 0x56\nwrite_cycle_ms = 0\n");
    ASSERT_TRUE(ended_well(board.run(I2CTRANSFER " -y 0 w4@0x56 0x06 0x01 0x02 0x03")));
    EXPECT_EQ(board.run(I2CTRANSFER " -y 0 w1@0x56 0x00 r9").output,
              "0x03 0xff 0xff 0xff 0xff 0xff 0x01 0x02 0xff\n");
}

TEST(i2ctransfer, gets_no_answer_during_the_write_cycle)
{
    const scratch_board board("[[eeprom]]\naddress = 0x56\nwrite_cycle_ms = 3000\n");
    ASSERT_TRUE(ended_well(board.run(I2CTRANSFER " -y 0 w2@0x56 0x00 0x5a")));
    const outcome refused = board.run(I2CTRANSFER " -y 0 w1@0x56 0x00 r1");
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(contains(refused.output, "No such device or address")) << refused.output;
    std::this_thread::sleep_for(std::chrono::milliseconds(3100));
    EXPECT_EQ(board.run(I2CTRANSFER " -y 0 w1@0x56 0x00 r1").output, "0x5a\n");
}

TEST(i2ctransfer, gets_no_answer_where_no_chip_is)
{
    const scratch_board board("nor");
    const outcome refused = board.run(I2CTRANSFER " -y 0 w1@0x50 0x00 r1");
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(contains(refused.output, "No such device or address")) << refused.output;
}

TEST(i2ctransfer, reads_the_card_record_of_a_new_board)
{
    const scratch_board board("nor");
    EXPECT_EQ(board.run(I2CTRANSFER " -y 0 w1@0x57 0x00 r14").output,
              "0x01 0x7e 0x00 0xf1 0x00 0x06 0x06 0x04 0x00 0x00 0x00 0x0e 0x01 0x8e\n");
}
