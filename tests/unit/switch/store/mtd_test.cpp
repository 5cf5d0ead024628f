#include "store/mtd.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "sim/board/board.h"
#include "unit/switch/support.h"

namespace {

using support::printed;
using support::trace_log;

constexpr uint32_t image_size = 8192;

std::vector<uint8_t> pattern()
{
    std::vector<uint8_t> image(image_size);
    for (size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    return image;
}

int32_t write_pattern(int32_t index)
{
    const auto image = pattern();
    return mtd_write(index, image.data(), static_cast<int32_t>(image.size()));
}

std::vector<uint8_t> front(std::span<const uint8_t> bytes)
{
    return {bytes.begin(), bytes.begin() + image_size};
}

bool erased(std::span<const uint8_t> bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0xFF; });
}

sim::board_description four_partitions()
{
    return {
        .partitions = {{.name = "boot"}, {.name = "product_info"}, {.name = "a"}, {.name = "b"}}};
}

sim::board_description one(sim::partition partition)
{
    return {.partitions = {std::move(partition)}};
}

TEST(get_mtd_nm, finds_a_partition_by_its_exact_name)
{
    sim::board board(four_partitions());
    EXPECT_EQ(get_mtd_nm("product_info"), 1);
    EXPECT_EQ(get_mtd_nm("boot"), 0);
    EXPECT_EQ(get_mtd_nm("product"), -1);
}

TEST(get_mtd_nm, ends_the_scan_at_the_first_missing_index)
{
    sim::board board(four_partitions());
    EXPECT_EQ(get_mtd_nm("product_info_other"), -1);
    EXPECT_EQ(board.log().back().name, "open");
    EXPECT_EQ(board.log().back().path, "/sys/class/mtd/mtd4/name");
    EXPECT_EQ(board.log().back().error, ENOENT);
}

TEST(get_mtd_nm, does_not_look_past_a_gap)
{
    sim::board board(
        {.partitions = {{.name = "boot", .index = 0}, {.name = "product_info", .index = 2}}});
    EXPECT_EQ(get_mtd_nm("product_info"), -1);
}

TEST(get_mtd_nm, accepts_a_name_that_ends_in_carriage_return_and_line_feed)
{
    sim::board board(one({.name = "product_info\r"}));
    EXPECT_EQ(get_mtd_nm("product_info"), 0);
}

TEST(get_mtd_nm, goes_on_after_a_name_that_cannot_be_read)
{
    sim::board board(four_partitions());
    board.inject({.operation = "read", .path = "/sys/class/mtd/mtd0/name", .error = EIO});
    EXPECT_EQ(get_mtd_nm("product_info"), 1);
}

TEST(get_mtd_nm, looks_at_64_partitions_and_no_more)
{
    sim::board_description description;
    for (int i = 0; i < 66; ++i) {
        description.partitions.push_back({.name = "p" + std::to_string(i)});
    }
    sim::board board(description);
    EXPECT_EQ(get_mtd_nm("p63"), 63);
    EXPECT_EQ(get_mtd_nm("p64"), -1);
}

TEST(mtd_get_size, is_the_whole_partition_on_nor_and_one_block_on_nand)
{
    sim::board board({.partitions = {
                          {.name = "nor", .erase_size = 0x10000, .blocks = 4},
                          {.name = "nand", .type = sim::nand, .erase_size = 0x20000, .blocks = 8},
                      }});
    uint32_t size = 0;
    EXPECT_EQ(mtd_get_size(0, &size), 0);
    EXPECT_EQ(size, 0x40000U);
    EXPECT_EQ(mtd_get_size(1, &size), 0);
    EXPECT_EQ(size, 0x20000U);
}

TEST(mtd_get_size, leaves_the_size_of_other_types_untouched)
{
    sim::board board(
        {.partitions = {{.name = "ram", .type = sim::ram}, {.name = "ubi", .type = sim::ubi}}});
    for (const int32_t index : {0, 1}) {
        uint32_t size = 77;
        EXPECT_EQ(mtd_get_size(index, &size), 0);
        EXPECT_EQ(size, 77U);
    }
}

TEST(mtd_get_size, tells_the_operator_of_a_device_that_cannot_be_opened)
{
    sim::board board(four_partitions());
    uint32_t size = 0;
    const auto text = printed([&] { EXPECT_EQ(mtd_get_size(9, &size), -1); });
    EXPECT_EQ(text, "mtd_get_size: Open mtd9 failed.\r\n");
}

TEST(mtd_get_size, tells_the_operator_of_a_device_that_tells_nothing)
{
    sim::board board(four_partitions());
    board.inject({.operation = "getinfo", .path = "/dev/mtd1", .error = EIO});
    uint32_t size = 0;
    const auto text = printed([&] { EXPECT_EQ(mtd_get_size(1, &size), -1); });
    EXPECT_EQ(text, "mtd_get_size: get mtd info failed.\r\n");
    EXPECT_EQ(board.count("close", "/dev/mtd1"), 1U);
}

TEST(mtd_write, erases_the_whole_nor_partition_and_writes_once)
{
    sim::board board(one({.name = "nor", .erase_size = 0x10000, .blocks = 4}));
    std::ranges::fill(board.flash(0).bytes(), uint8_t{0});
    EXPECT_EQ(write_pattern(0), 0);
    EXPECT_EQ(board.count("erase", "/dev/mtd0"), 1U);
    EXPECT_EQ(board.count("write", "/dev/mtd0"), 1U);
    EXPECT_EQ(front(board.flash(0).bytes()), pattern());
    EXPECT_TRUE(erased(board.flash(0).bytes().subspan(image_size)));
}

TEST(mtd_write, keeps_a_copy_in_every_good_block_of_nand)
{
    sim::board board(one({.name = "nand", .type = sim::nand, .blocks = 8, .bad = {0}}));
    const trace_log log;
    EXPECT_EQ(write_pattern(0), 0);
    for (uint32_t block = 1; block < 8; ++block) {
        EXPECT_EQ(front(board.flash(0).block(block)), pattern()) << "block " << block;
    }
    EXPECT_TRUE(erased(board.flash(0).block(0)));
    EXPECT_EQ(log.unnumbered(), "[SETMAC <mtd_write>:<N>] \r\nBlock 0 is bad, skip"
                                "[SETMAC <mtd_write>:<N>] \r\nBlock 0 is bad, skip");
}

TEST(mtd_write, erases_every_good_block_of_nand_before_it_writes_one)
{
    sim::board board(one({.name = "nand", .type = sim::nand, .blocks = 3}));
    ASSERT_EQ(write_pattern(0), 0);
    std::vector<std::string> steps;
    for (const auto &operation : board.log()) {
        if (operation.name == "erase" || operation.name == "write") {
            steps.push_back(operation.name);
        }
    }
    EXPECT_EQ(steps,
              (std::vector<std::string>{"erase", "erase", "erase", "write", "write", "write"}));
}

TEST(mtd_write, succeeds_when_the_last_block_of_nand_is_bad)
{
    sim::board board(one({.name = "nand", .type = sim::nand, .blocks = 4, .bad = {3}}));
    EXPECT_EQ(write_pattern(0), 0);
}

TEST(mtd_write, counts_a_nand_of_bad_blocks_as_written_by_its_last_offset)
{
    sim::board several(one({.name = "nand", .type = sim::nand, .blocks = 2, .bad = {0, 1}}));
    EXPECT_EQ(write_pattern(0), 0);
}

TEST(mtd_write, fails_on_a_nand_whose_only_block_is_bad)
{
    sim::board board(one({.name = "nand", .type = sim::nand, .blocks = 1, .bad = {0}}));
    EXPECT_EQ(write_pattern(0), -1);
}

TEST(mtd_write, takes_a_block_of_unknown_state_for_a_good_one)
{
    sim::board board(one({.name = "nand", .type = sim::nand, .blocks = 2}));
    board.inject({.operation = "getbadblock", .path = "/dev/mtd0", .times = 0, .error = EIO});
    EXPECT_EQ(write_pattern(0), 0);
    EXPECT_EQ(front(board.flash(0).block(0)), pattern());
}

/** What goes wrong on which call, and what the log says of it. */
struct failure {
    const char *title;
    sim::flash_type type;
    sim::fault fault;
    const char *trace;
};

void PrintTo(const failure &what, std::ostream *out)
{
    *out << what.title;
}

class mtd_write_failure : public testing::TestWithParam<failure> {};

TEST_P(mtd_write_failure, is_logged_and_closes_the_device)
{
    sim::board board(one({.name = "flash", .type = GetParam().type, .blocks = 3}));
    board.inject(GetParam().fault);
    const trace_log log;
    const auto text = printed([] { EXPECT_EQ(write_pattern(0), -1); });
    EXPECT_EQ(text, "");
    EXPECT_EQ(log.unnumbered(), GetParam().trace);
    const bool opened = board.log().front().result >= 0;
    EXPECT_EQ(board.count("close", "/dev/mtd0"), opened ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(
    , mtd_write_failure,
    testing::Values(failure{"open",
                            sim::nor,
                            {.operation = "open", .path = "/dev/mtd0", .error = EACCES},
                            "[SETMAC <mtd_write>:<N>] mtd_write: Open mtd0 failed.\r\n"},
                    failure{"info",
                            sim::nor,
                            {.operation = "getinfo", .path = "/dev/mtd0", .error = EIO},
                            "[SETMAC <mtd_write>:<N>] mtd_write: get mtd info failed.\r\n"},
                    failure{"nor_erase",
                            sim::nor,
                            {.operation = "erase", .path = "/dev/mtd0", .error = EIO},
                            "[SETMAC <mtd_write>:<N>] mtd_write: erase mtd failed.\r\n"},
                    failure{"nor_write",
                            sim::nor,
                            {.operation = "write", .path = "/dev/mtd0", .error = EIO},
                            ""},
                    failure{"nor_write_of_nothing",
                            sim::nor,
                            {.operation = "write", .path = "/dev/mtd0", .short_to = 0},
                            ""},
                    failure{"nand_erase",
                            sim::nand,
                            {.operation = "erase", .path = "/dev/mtd0", .call = 2, .error = EIO},
                            "[SETMAC <mtd_write>:<N>] mtd_write: erase mtd failed.\r\n"},
                    failure{"nand_seek",
                            sim::nand,
                            {.operation = "lseek", .path = "/dev/mtd0", .call = 2, .error = EIO},
                            "[SETMAC <mtd_write>:<N>] mtd_write: write nand failed.\r\n"},
                    failure{"nand_write",
                            sim::nand,
                            {.operation = "write", .path = "/dev/mtd0", .call = 2, .error = EIO},
                            "[SETMAC <mtd_write>:<N>] mtd_write: write mtd failed.\r\n"}),
    [](const auto &test) { return std::string(test.param.title); });

/** The types of flash whose images are read and written. */
class mtd_short_transfer : public testing::TestWithParam<sim::flash_type> {
protected:
    sim::board board{one({.name = "flash", .type = GetParam()})};
    std::vector<uint8_t> image = std::vector<uint8_t>(image_size);
};

TEST_P(mtd_short_transfer, of_a_write_is_gone_on_with)
{
    board.inject({.operation = "write", .short_to = 2048});
    EXPECT_EQ(write_pattern(0), 0);
    ASSERT_EQ(mtd_read(0, image.data(), image_size), static_cast<int32_t>(image_size));
    EXPECT_EQ(image, pattern());
}

TEST_P(mtd_short_transfer, of_a_write_that_cannot_be_gone_on_with_is_a_failure)
{
    board.inject({.operation = "write", .short_to = 2048});
    board.inject({.operation = "write", .call = 2, .error = EIO});
    EXPECT_EQ(write_pattern(0), -1);
}

TEST_P(mtd_short_transfer, of_a_read_is_gone_on_with)
{
    ASSERT_EQ(write_pattern(0), 0);
    board.inject({.operation = "read", .short_to = 2048});
    EXPECT_EQ(mtd_read(0, image.data(), image_size), static_cast<int32_t>(image_size));
    EXPECT_EQ(image, pattern());
}

INSTANTIATE_TEST_SUITE_P(, mtd_short_transfer, testing::Values(sim::nor, sim::nand),
                         [](const auto &test) { return test.param == sim::nor ? "nor" : "nand"; });

TEST(mtd_read, ends_with_the_partition)
{
    sim::board board(one({.name = "nor", .erase_size = 0x1000, .blocks = 1}));
    std::vector<uint8_t> image(image_size);
    EXPECT_EQ(mtd_read(0, image.data(), image_size), 0x1000);
}

TEST(mtd_write, fails_on_other_types)
{
    sim::board board(
        {.partitions = {{.name = "ram", .type = sim::ram}, {.name = "ubi", .type = sim::ubi}}});
    EXPECT_EQ(write_pattern(0), -1);
    EXPECT_EQ(write_pattern(1), -1);
    EXPECT_EQ(board.count("write"), 0U);
    EXPECT_EQ(board.count("erase"), 0U);
}

TEST(mtd_read, returns_what_nor_holds_from_its_start)
{
    sim::board board(one({.name = "nor"}));
    ASSERT_EQ(write_pattern(0), 0);
    std::vector<uint8_t> image(image_size);
    EXPECT_EQ(mtd_read(0, image.data(), image_size), static_cast<int32_t>(image_size));
    EXPECT_EQ(image, pattern());
}

TEST(mtd_read, returns_the_first_good_block_of_nand)
{
    sim::board board(one({.name = "nand", .type = sim::nand, .blocks = 8, .bad = {0}}));
    ASSERT_EQ(write_pattern(0), 0);
    std::ranges::fill(board.flash(0).block(2), uint8_t{0});
    const trace_log log;
    std::vector<uint8_t> image(image_size);
    EXPECT_EQ(mtd_read(0, image.data(), image_size), static_cast<int32_t>(image_size));
    EXPECT_EQ(image, pattern());
    EXPECT_EQ(log.unnumbered(), "[SETMAC <mtd_read>:<N>] \r\nBlock 0 is bad, skip");
}

TEST(mtd_read, goes_on_to_the_next_block_after_one_that_cannot_be_read)
{
    sim::board board(one({.name = "nand", .type = sim::nand, .blocks = 3}));
    ASSERT_EQ(write_pattern(0), 0);
    board.inject({.operation = "read", .path = "/dev/mtd0", .error = EIO});
    const trace_log log;
    std::vector<uint8_t> image(image_size);
    EXPECT_EQ(mtd_read(0, image.data(), image_size), static_cast<int32_t>(image_size));
    EXPECT_EQ(image, pattern());
    EXPECT_EQ(log.unnumbered(), "[SETMAC <mtd_read>:<N>] mtd_read: read mtd failed.\r\n");
}

TEST(mtd_read, fails_when_no_block_can_be_read)
{
    sim::board board(one({.name = "nand", .type = sim::nand, .blocks = 3}));
    board.inject({.operation = "read", .path = "/dev/mtd0", .times = 0, .error = EIO});
    std::array<uint8_t, 16> image{};
    EXPECT_EQ(mtd_read(0, image.data(), 16), -1);
    EXPECT_EQ(board.count("read", "/dev/mtd0"), 3U);
}

TEST(mtd_read, returns_the_last_offset_of_a_nand_of_bad_blocks)
{
    sim::board board(one(
        {.name = "nand", .type = sim::nand, .erase_size = 0x4000, .blocks = 3, .bad = {0, 1, 2}}));
    std::array<uint8_t, 16> image{};
    EXPECT_EQ(mtd_read(0, image.data(), 16), 0x8000);
    EXPECT_EQ(board.count("read", "/dev/mtd0"), 0U);
}

TEST(mtd_read, reads_nothing_from_other_types)
{
    sim::board board(
        {.partitions = {{.name = "ram", .type = sim::ram}, {.name = "ubi", .type = sim::ubi}}});
    std::array<uint8_t, 16> image{};
    EXPECT_EQ(mtd_read(0, image.data(), 16), 0);
    EXPECT_EQ(mtd_read(1, image.data(), 16), 0);
}

class mtd_read_failure : public testing::TestWithParam<failure> {};

TEST_P(mtd_read_failure, is_logged_and_closes_the_device)
{
    sim::board board(one({.name = "flash", .type = GetParam().type, .blocks = 3}));
    board.inject(GetParam().fault);
    const trace_log log;
    std::array<uint8_t, 16> image{};
    const auto text = printed([&] { EXPECT_EQ(mtd_read(0, image.data(), 16), -1); });
    EXPECT_EQ(text, "");
    EXPECT_EQ(log.unnumbered(), GetParam().trace);
    const bool opened = board.log().front().result >= 0;
    EXPECT_EQ(board.count("close", "/dev/mtd0"), opened ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(
    , mtd_read_failure,
    testing::Values(
        failure{"open",
                sim::nor,
                {.operation = "open", .path = "/dev/mtd0", .error = EACCES},
                "[SETMAC <mtd_read>:<N>] mtd_read: Open mtd0 failed.\r\n"},
        failure{"info",
                sim::nor,
                {.operation = "getinfo", .path = "/dev/mtd0", .error = EIO},
                "[SETMAC <mtd_read>:<N>] mtd_read: get mtd info failed.\r\n"},
        failure{"nor_read", sim::nor, {.operation = "read", .path = "/dev/mtd0", .error = EIO}, ""},
        failure{"nand_seek",
                sim::nand,
                {.operation = "lseek", .path = "/dev/mtd0", .call = 1, .error = EIO},
                "[SETMAC <mtd_read>:<N>] mtd_read: read nand failed.\r\n"}),
    [](const auto &test) { return std::string(test.param.title); });

TEST(mtd, keeps_no_device_open)
{
    sim::board board(one({.name = "nand", .type = sim::nand, .blocks = 3}));
    std::array<uint8_t, 16> image{};
    uint32_t size = 0;
    write_pattern(0);
    mtd_read(0, image.data(), 16);
    mtd_get_size(0, &size);
    EXPECT_EQ(board.count("open", "/dev/mtd0"), 3U);
    EXPECT_EQ(board.count("close", "/dev/mtd0"), 3U);
}

} // namespace
