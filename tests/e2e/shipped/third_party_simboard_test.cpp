#include "third_party_shell.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string_view>
#include <zlib.h>

// The simboard command, mostly with programs of the system.

namespace {

using namespace std::string_view_literals;
using bytes = std::vector<uint8_t>;

bool contains(const std::string &text, std::string_view what)
{
    return text.find(what) != std::string::npos;
}

constexpr const char *two_partitions = "[[partition]]\n"
                                       "name = \"product_info\"\n"
                                       "erase_size = 0x2000\n"
                                       "blocks = 1\n"
                                       "[[partition]]\n"
                                       "name = \"product_info_other\"\n"
                                       "type = \"nand\"\n"
                                       "erase_size = 0x2000\n"
                                       "blocks = 3\n"
                                       "bad = [0]\n";

} // namespace

TEST(simboard_new, makes_boards_that_can_be_used)
{
    for (const char *like : {"nor", "nor-mirror", "nand", "nand-mirror", "tlv", "tlv-named",
                             "chassis", "chassis-driver"}) {
        const scratch_board board(like);
        const outcome done = board.run("cat /sys/class/mtd/mtd0/name");
        EXPECT_EQ(done.output, "boot\n") << like;
        EXPECT_EQ(done.status, 0);
    }
}

TEST(simboard_new, never_overwrites_a_board)
{
    const scratch_board board("nand");
    const bytes before = board.memory("board.toml");
    const outcome done = shell(SIMBOARD " new " + board.path());
    EXPECT_EQ(done.status, 1);
    EXPECT_TRUE(contains(done.output, "board.toml is there already")) << done.output;
    EXPECT_EQ(board.memory("board.toml"), before);
}

TEST(simboard_new, names_the_layouts_it_knows)
{
    const outcome done = shell(SIMBOARD " new /nonexistent/board --like plum");
    EXPECT_EQ(done.status, 2);
    EXPECT_TRUE(contains(done.output, "nor-mirror")) << done.output;
}

TEST(simboard_run, hands_on_arguments_and_status)
{
    const scratch_board board("nor");
    const outcome done = board.run("sh -c 'echo \"$0|$1|$2\"; exit 7' -- '' 'a b'");
    EXPECT_EQ(done.output, "--||a b\n");
    EXPECT_EQ(done.status, 7);
}

TEST(simboard_run, says_when_there_is_no_such_program)
{
    const scratch_board board("nor");
    const outcome done = board.run("no-such-program");
    EXPECT_EQ(done.status, 127);
    EXPECT_EQ(done.output, "simboard: no-such-program: No such file or directory\n");
}

TEST(simboard_run, keeps_what_is_preloaded_already)
{
    const scratch_board board("nor");
    const outcome done = shell("env LD_PRELOAD=libm.so.6 " SIMBOARD " run " + board.path() +
                               " -- printenv LD_PRELOAD");
    EXPECT_TRUE(contains(done.output, "/lib/libsimboard.so:libm.so.6\n")) << done.output;
}

TEST(simboard_run, shows_the_devices_to_the_programs_of_the_system)
{
    const scratch_board board("nor");
    EXPECT_EQ(board.run("ls /sys/class/mtd").output, "mtd0\nmtd1\nmtd2\n");
    EXPECT_EQ(board.run("stat -c '%F %t:%T' /dev/mtd1").output, "character special file 5a:2\n");
    EXPECT_EQ(board.run("sh -c 'cat < /dev/mtd9'").status, 2);
}

TEST(simboard_run, tells_the_mistake_of_a_board_file_before_the_program_begins)
{
    const scratch_board board("[[partition]]\nname = \"a\"\nblocks = 0\n");
    const outcome done = board.run("echo begun");
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.output,
              "simboard: " + board.path() +
                  "/board.toml:3: blocks must be a whole number from 1 to 4294967295\n");
}

TEST(simboard_run, refuses_a_memory_of_another_size)
{
    const scratch_board board(two_partitions);
    board.write("board/mtd0.bin", bytes(100, 0x00));
    const outcome done = board.run("echo begun");
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.output,
              "simboard: " + board.path() +
                  "/mtd0.bin: holds 100 bytes, but board.toml describes a memory of 8192\n");
    EXPECT_EQ(board.memory("mtd0.bin").size(), 100U);
}

TEST(simboard_run, costs_nothing_where_no_device_is_touched)
{
    const scratch_board board("nor");
    ASSERT_EQ(board.run("true").status, 0);
    EXPECT_EQ(board.log(), "");
}

TEST(simboard_show, tells_partitions_records_and_eeproms)
{
    const scratch_board board(std::string(two_partitions) +
                              "[[eeprom]]\naddress = 0x56\ncontent = \"41 42 00 1b\"\n");
    bytes image(8192, 0x00);
    const std::string_view records = "ethaddr=00:D0:F8:A1:B2:C3\0SerialNO=ABCDEFGHJ1234\0"sv;
    std::ranges::copy(records, image.begin() + 4);
    const auto checksum = static_cast<uint32_t>(crc32(0, image.data() + 4, 8188));
    for (std::size_t i = 0; i < 4; ++i) {
        image[i] = static_cast<uint8_t>(checksum >> (8 * i));
    }
    board.write("board/mtd0.bin", image);
    const outcome done = shell(SIMBOARD " show " + board.path());
    EXPECT_EQ(done.status, 0);
    EXPECT_TRUE(contains(done.output, "  mtd0   product_info         nor  1 x 8 KiB\n"))
        << done.output;
    EXPECT_TRUE(contains(done.output, "  mtd1   product_info_other   nand 3 x 8 KiB, bad: 0\n"));
    EXPECT_TRUE(
        contains(done.output, ", valid\n  ethaddr=00:D0:F8:A1:B2:C3\n  SerialNO=ABCDEFGHJ1234\n"));
    EXPECT_TRUE(contains(done.output, "product_info_other (mtd1, block 1): erased\n"));
    EXPECT_TRUE(
        contains(done.output,
                 "  00  41 42 00 1b ff ff ff ff ff ff ff ff ff ff ff ff  |AB..............|\n"));
}

TEST(simboard_show, says_that_a_checksum_is_wrong)
{
    const scratch_board board(two_partitions);
    board.write("board/mtd0.bin", bytes(8192, 0x00));
    const outcome done = shell(SIMBOARD " show " + board.path());
    EXPECT_TRUE(contains(done.output, "product_info (mtd0): checksum 0x00000000, invalid (0x"))
        << done.output;
}

TEST(simboard_show, decodes_what_the_eeproms_hold)
{
    const scratch_board board("tlv-named");
    const outcome done = shell(SIMBOARD " show " + board.path());
    EXPECT_EQ(done.status, 0);
    EXPECT_TRUE(contains(done.output, "\nEEPROM 0x56 on /dev/i2c-0, write-protected\n"
                                      "  TlvInfo image, valid\n"
                                      "  0x21   6 Product Name      ES24-2\n"))
        << done.output;
    EXPECT_TRUE(contains(done.output, "  Card type 14 (format 1, in the TLV area)\n"))
        << done.output;
}

TEST(simboard_run, has_the_registers_of_the_cpld_in_a_file_and_in_the_log)
{
    const scratch_board board("tlv");
    const std::string value = board.write("value", {0xFB});
    ASSERT_EQ(board.run("tee /dev/cpld0 <" + value).status, 0);
    const bytes registers = board.memory("cpld0.bin");
    ASSERT_EQ(registers.size(), 256U);
    EXPECT_EQ(registers[0], 0xFB);
    EXPECT_TRUE(contains(board.log(), " write /dev/cpld0 offset=0x0 length=1 data=fb = 1\n"))
        << board.log();
}

TEST(simboard_log, prints_nothing_before_anything_was_done)
{
    const scratch_board board("nor");
    EXPECT_EQ(board.log(), "");
}

TEST(simboard_log, needs_a_board)
{
    const outcome done = shell(SIMBOARD " log /nonexistent");
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.output, "simboard: /nonexistent/board.toml: cannot be read; \"simboard new "
                           "/nonexistent\" makes a board\n");
}

TEST(simboard, tells_version_and_commands)
{
    EXPECT_EQ(shell(SIMBOARD " --version").output, "simboard " SIMBOARD_VERSION "\n");
    const outcome help = shell(SIMBOARD " --help");
    EXPECT_EQ(help.status, 0);
    for (const char *command : {"new", "run", "show", "log"}) {
        EXPECT_TRUE(contains(help.output, command)) << command;
    }
}

TEST(simboard, ends_with_2_when_it_is_used_wrongly)
{
    for (const char *arguments : {"", " plum", " new", " show", " run", " log a b", " --plum"}) {
        const outcome done = shell(std::string(SIMBOARD) + arguments);
        EXPECT_EQ(done.status, 2) << arguments;
        EXPECT_FALSE(done.output.empty()) << arguments;
    }
}
