#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/bytes.h"
#include "e2e/support/program.h"

// What the commands find in flash and leave there: damaged contents, other kinds of flash, a
// mirror, failures.

namespace {

using e2e::board_folder;
using e2e::memory_is;
using e2e::nor_board;
using e2e::nor_board_holding;
using e2e::nor_content;
using e2e::nor_holds;
using e2e::outcome;
using e2e::product_image;
using e2e::product_info_file;
using e2e::repeated;
using e2e::run_on_board;
using e2e::untouched_nor_holds;

using operation_list = std::vector<std::string>;

const std::string no_records = product_image(0xAAC184F9, {});
const std::string one_serial = product_image(0x2C57E7AB, {"SerialNO=ABCDEFGHJ1234"});

const std::string saved = "Save product info success.\r\n";
const std::string not_saved = "Save product info failed.\r\n";
const std::string crc_failed = "!!!Warning: CRC check failed.\r\n";

const e2e::command_line set_serial = {"setsn", "ABCDEFGHJ1234"};

/** A board that nothing can be loaded from, whatever is asked of it. */
void expect_no_start(std::string_view description, const std::string &messages)
{
    const e2e::command_line commands[] = {
        {"prodinfo"}, set_serial,     {"fw_setmac", "a", "b"},  {"setcountry"},
        {"setmac"},   {"setproduct"}, {"prov_setmac", "setmac"}};
    for (const auto &command : commands) {
        const board_folder board(description);
        EXPECT_EQ(run_on_board(board, command, "q\n"),
                  (outcome{.output = messages + "Setmac init failed.\r\n", .status = 1}))
            << command[0];
        EXPECT_EQ(board.changes(), operation_list{});
    }
}

TEST(start, needs_the_partition)
{
    const std::string message = "init_product_info: can't find productinfo.\r\n";
    expect_no_start("[[partition]]\nname = \"boot\"\n", message);
    expect_no_start("[[partition]]\nname = \"product_info_other\"\n", message);
    expect_no_start("[[partition]]\nname = \"product_info2\"\n", message);
}

TEST(start, looks_for_the_partition_up_to_the_first_gap)
{
    expect_no_start("[[partition]]\nname = \"boot\"\n"
                    "[[partition]]\nname = \"product_info\"\nindex = 2\n",
                    "init_product_info: can't find productinfo.\r\n");
}

TEST(start, needs_a_partition_with_room_for_the_image)
{
    const std::string message = "init_product_info: can't get mtd size.\r\n";
    expect_no_start("[[partition]]\nname = \"product_info\"\nerase_size = 0x1000\nblocks = 1\n",
                    message);
    expect_no_start("[[partition]]\nname = \"product_info\"\nerase_size = 8191\nblocks = 1\n",
                    message);
    expect_no_start("[[partition]]\nname = \"product_info\"\ntype = \"nand\"\n"
                    "erase_size = 0x1000\nblocks = 8\n",
                    message);
    expect_no_start("[[partition]]\nname = \"product_info\"\ntype = \"ram\"\n", message);
    expect_no_start("[[partition]]\nname = \"product_info\"\ntype = \"ubi\"\n", message);
}

TEST(start, tells_a_device_that_cannot_be_used)
{
    const std::string nor(nor_board);
    expect_no_start(nor + "[[fault]]\noperation = \"open\"\npath = \"/dev/mtd1\"\n"
                          "error = \"EBUSY\"\n",
                    "mtd_get_size: Open mtd1 failed.\r\n"
                    "init_product_info: can't get mtd size.\r\n");
    expect_no_start(nor + "[[fault]]\noperation = \"getinfo\"\nerror = \"ENOTTY\"\n",
                    "mtd_get_size: get mtd info failed.\r\n"
                    "init_product_info: can't get mtd size.\r\n");
    expect_no_start(nor + "[[fault]]\noperation = \"read\"\npath = \"/dev/mtd1\"\n"
                          "error = \"EIO\"\n",
                    "init_product_info: mtd read failed.\r\n");
}

TEST(start, uses_a_partition_of_exactly_the_image)
{
    const board_folder board(
        "[[partition]]\nname = \"product_info\"\nerase_size = 8192\nblocks = 1\n");
    EXPECT_EQ(run_on_board(board, set_serial), (outcome{.output = crc_failed + saved}));
    EXPECT_TRUE(memory_is(board, "mtd0.bin", one_serial));
}

TEST(damaged_contents, start_an_empty_store_that_the_next_save_writes)
{
    const std::string told = crc_failed +
                             "Please input the name and value of setmac field.\r\n"
                             "Format: name=value, Press 'q' to save and quit.\r\n\r\n" +
                             saved;
    std::string damaged = one_serial;
    damaged[8191] = 1;
    for (const std::string &content :
         {damaged, repeated(8192, 0xFF), repeated(8192, 0x00), repeated(8192, 0x5A)}) {
        const auto board = nor_board_holding(content);
        EXPECT_EQ(run_on_board(board, {"setproduct"}, "q"), (outcome{.output = told}));
        EXPECT_TRUE(nor_holds(board, no_records));
        EXPECT_EQ(run_on_board(board, {"prodinfo"}), outcome{});
    }
}

TEST(damaged_contents, are_written_even_when_the_checksum_word_is_that_of_the_new_contents)
{
    // The word of the very image that the save will make, over other contents.
    std::string damaged = one_serial;
    damaged[4] = 'X';
    const auto board = nor_board_holding(damaged);
    EXPECT_EQ(run_on_board(board, set_serial), (outcome{.output = crc_failed + saved}));
    EXPECT_TRUE(nor_holds(board, one_serial));
}

TEST(damaged_contents, stay_when_the_command_is_refused)
{
    std::string damaged = one_serial;
    damaged[20] = 'X';
    const auto board = nor_board_holding(damaged);
    EXPECT_EQ(run_on_board(board, {"setsn", "1"}),
              (outcome{.output = crc_failed + "Error: Invalid serial number: 1\r\n", .status = 1}));
    EXPECT_TRUE(untouched_nor_holds(board, damaged));
}

TEST(full_store, refuses_a_save_of_what_does_not_fit_and_keeps_flash)
{
    std::string lines;
    for (const char letter : std::string("abcdefghijklmnop")) {
        lines += std::string(1, letter) + "=" + std::string(511, 'v') + "\n";
    }
    const auto board = nor_board_holding(one_serial);
    const auto result = run_on_board(board, {"setproduct"}, lines + "q\n");
    EXPECT_TRUE(result.output.ends_with("\r\n\r\n" + not_saved)) << result;
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(untouched_nor_holds(board, one_serial));
}

constexpr std::string_view mirrored_board = R"toml(
[[partition]]
name = "product_info_other"
erase_size = 0x1000
blocks = 2

[[partition]]
name = "product_info"
erase_size = 0x1000
blocks = 3
)toml";

const operation_list both_written = {
    "erase /dev/mtd1 start=0x0 length=0x3000 = 0", "write /dev/mtd1 offset=0x0 length=8192 = 8192",
    "erase /dev/mtd0 start=0x0 length=0x2000 = 0", "write /dev/mtd0 offset=0x0 length=8192 = 8192"};

TEST(mirror, gets_the_same_image_after_the_primary)
{
    const board_folder board(mirrored_board, {{product_info_file, nor_content(no_records)}});
    EXPECT_EQ(run_on_board(board, set_serial), (outcome{.output = saved}));
    EXPECT_TRUE(nor_holds(board, one_serial));
    EXPECT_TRUE(memory_is(board, "mtd0.bin", one_serial));
    EXPECT_EQ(board.changes(), both_written);
}

TEST(mirror, is_left_alone_when_nothing_changed)
{
    const board_folder board(mirrored_board, {{product_info_file, nor_content(one_serial)}});
    EXPECT_EQ(run_on_board(board, set_serial), (outcome{.output = saved}));
    EXPECT_EQ(board.changes(), operation_list{});
    EXPECT_TRUE(memory_is(board, "mtd0.bin", repeated(8192, 0xFF)));
}

TEST(mirror, decides_the_result_of_a_save)
{
    const std::string mirrored(mirrored_board);
    const board_folder primary_fails(
        mirrored + "[[fault]]\noperation = \"erase\"\npath = \"/dev/mtd1\"\nerror = \"EIO\"\n",
        {{product_info_file, nor_content(no_records)}});
    EXPECT_EQ(run_on_board(primary_fails, set_serial), (outcome{.output = saved}));
    EXPECT_TRUE(nor_holds(primary_fails, no_records));
    EXPECT_TRUE(memory_is(primary_fails, "mtd0.bin", one_serial));

    const board_folder mirror_fails(
        mirrored + "[[fault]]\noperation = \"write\"\npath = \"/dev/mtd0\"\nerror = \"EIO\"\n",
        {{product_info_file, nor_content(no_records)}});
    EXPECT_EQ(run_on_board(mirror_fails, set_serial), (outcome{.output = not_saved, .status = 1}));
    EXPECT_TRUE(nor_holds(mirror_fails, one_serial));
    EXPECT_TRUE(memory_is(mirror_fails, "mtd0.bin", repeated(8192, 0xFF)));
}

TEST(mirror, is_never_read)
{
    const board_folder board(mirrored_board, {{"mtd0.bin", one_serial}});
    EXPECT_EQ(run_on_board(board, {"prodinfo"}), (outcome{.output = crc_failed}));
}

constexpr std::string_view nand_board = R"toml(
[[partition]]
name = "boot"

[[partition]]
name = "product_info"
type = "nand"
erase_size = 0x4000
blocks = 4
bad = [0, 2]
)toml";

std::string nand_block(std::string_view image)
{
    std::string block(image);
    block.resize(0x4000, '\xFF');
    return block;
}

const std::string untouched_block = repeated(0x4000, 0xA5);

TEST(nand, gets_a_copy_in_every_good_block)
{
    const board_folder board(nand_board, {{product_info_file, repeated(0x10000, 0xA5)}});
    EXPECT_EQ(run_on_board(board, set_serial), (outcome{.output = crc_failed + saved}));
    EXPECT_TRUE(memory_is(board, product_info_file,
                          untouched_block + nand_block(one_serial) + untouched_block +
                              nand_block(one_serial)));
    EXPECT_EQ(board.changes(),
              (operation_list{"erase /dev/mtd1 start=0x4000 length=0x4000 = 0",
                              "erase /dev/mtd1 start=0xc000 length=0x4000 = 0",
                              "write /dev/mtd1 offset=0x4000 length=8192 = 8192",
                              "write /dev/mtd1 offset=0xc000 length=8192 = 8192"}));
}

TEST(nand, is_read_from_its_first_good_block)
{
    const std::string content = nand_block(product_image(0xAB57CF8D, {"block=0"})) +
                                nand_block(product_image(0xC8542687, {"block=1"})) +
                                nand_block(product_image(0x6D501D99, {"block=2"})) +
                                nand_block(product_image(0x0E53F493, {"block=3"}));
    const board_folder board(nand_board, {{product_info_file, content}});
    EXPECT_EQ(run_on_board(board, {"prodinfo"}), (outcome{.output = "block=1\r\n"}));
    EXPECT_EQ(run_on_board(board, {"fw_setmac", "block", "1"}), (outcome{.output = saved}));
    EXPECT_TRUE(memory_is(board, product_info_file, content));
    EXPECT_EQ(board.changes(), operation_list{});
}

TEST(nand, is_read_from_the_next_good_block_when_one_cannot_be_read)
{
    const std::string content =
        untouched_block + nand_block(product_image(0xC8542687, {"block=1"})) + untouched_block +
        nand_block(product_image(0x0E53F493, {"block=3"}));
    const board_folder board(std::string(nand_board) +
                                 "[[fault]]\noperation = \"read\"\npath = \"/dev/mtd1\"\n"
                                 "error = \"EIO\"\n",
                             {{product_info_file, content}});
    EXPECT_EQ(run_on_board(board, {"prodinfo"}), (outcome{.output = "block=3\r\n"}));
}

TEST(nand, of_bad_blocks_only_starts_empty_and_cannot_be_saved_to)
{
    const board_folder board(
        "[[partition]]\nname = \"product_info\"\ntype = \"nand\"\nerase_size = 0x4000\n"
        "blocks = 2\nbad = [0, 1]\n");
    EXPECT_EQ(run_on_board(board, {"prodinfo"}), (outcome{.output = crc_failed}));
    const auto result = run_on_board(board, set_serial);
    EXPECT_EQ(board.changes(), operation_list{});
    EXPECT_TRUE(memory_is(board, "mtd0.bin", repeated(0x8000, 0xFF)));
    // The scan ends with the position of the last block, which counts as a success.
    EXPECT_EQ(result, (outcome{.output = crc_failed + saved}));
}

/** A save on a NOR board where one operation fails: told, and nothing else is tried. */
void expect_failed_save(const std::string &fault, const operation_list &changes,
                        std::string_view content)
{
    const board_folder board(std::string(nor_board) + "[[fault]]\n" + fault,
                             {{product_info_file, nor_content(no_records)}});
    EXPECT_EQ(run_on_board(board, set_serial), (outcome{.output = not_saved, .status = 1}));
    EXPECT_EQ(board.changes(), changes);
    EXPECT_TRUE(memory_is(board, product_info_file, content));
}

TEST(failing_flash, is_told_with_status_1)
{
    const std::string erased = repeated(12288, 0xFF);
    expect_failed_save("operation = \"erase\"\nerror = \"EIO\"\n",
                       {"erase /dev/mtd1 start=0x0 length=0x3000 = -1 EIO"},
                       nor_content(no_records));
    expect_failed_save("operation = \"write\"\nerror = \"EIO\"\n",
                       {"erase /dev/mtd1 start=0x0 length=0x3000 = 0",
                        "write /dev/mtd1 offset=0x0 length=8192 = -1 EIO"},
                       erased);
    expect_failed_save("operation = \"write\"\nshort = 0\n",
                       {"erase /dev/mtd1 start=0x0 length=0x3000 = 0",
                        "write /dev/mtd1 offset=0x0 length=8192 = 0"},
                       erased);
    // The device opens for its size and its contents, but no more for the save.
    expect_failed_save("operation = \"open\"\npath = \"/dev/mtd1\"\ncall = 3\nerror = \"EIO\"\n",
                       {}, nor_content(no_records));
    expect_failed_save("operation = \"getinfo\"\ncall = 3\nerror = \"EIO\"\n", {},
                       nor_content(no_records));
}

TEST(failing_flash, leaves_damage_that_the_next_start_recognises)
{
    // The power fails in the middle of programming the image; the next run has power again.
    const board_folder board(std::string(nor_board) + "[power]\ncut_after = 20\n",
                             {{product_info_file, nor_content(no_records)}});
    EXPECT_EQ(run_on_board(board, set_serial), (outcome{.status = -9}));
    e2e::write_file(board.path() / "board.toml", nor_board);
    EXPECT_EQ(run_on_board(board, {"prodinfo"}), (outcome{.output = crc_failed}));
    EXPECT_EQ(run_on_board(board, set_serial), (outcome{.output = crc_failed + saved}));
    EXPECT_TRUE(nor_holds(board, one_serial));
}

} // namespace
