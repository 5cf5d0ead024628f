#include <algorithm>
#include <cerrno>
#include <cstring>

#include "productinfo_fixture.h"

// The image of the records: what a load makes of flash, and what a save leaves there.

namespace {

using support::bytes;
using support::nor_partition;
using support::operator+;
using support::printed;
using support::productinfo;
using support::trace_log;

constexpr uint32_t image_size = 8192;

// CRC-32 (as zlib has it) over the 8188 bytes of the record area, low byte first: of an empty list,
// of the serial number ABCDEFGHJ1234, and of that and the address 00:d0:f8:a1:b2:c3.
const std::vector<uint8_t> empty_checksum = {0xF9, 0x84, 0xC1, 0xAA};
const std::vector<uint8_t> serial_checksum = {0xAB, 0xE7, 0x57, 0x2C};
const std::vector<uint8_t> serial_mac_checksum = {0x68, 0xC0, 0x47, 0x85};
const std::vector<uint8_t> serial_record = bytes("SerialNO=ABCDEFGHJ1234");

sim::partition mirror_partition()
{
    return {.name = "product_info_other", .erase_size = 0x4000, .blocks = 2};
}

/** An image by hand: a checksum, records with their NULs, zeros. */
void put_image(std::span<uint8_t> flash, std::span<const uint8_t> checksum,
               const std::vector<uint8_t> &records)
{
    std::ranges::fill(flash.first(image_size), uint8_t{0});
    std::ranges::copy(checksum, flash.begin());
    std::ranges::copy(records, flash.begin() + 4);
}

std::vector<uint8_t> front(std::span<const uint8_t> flash, size_t count)
{
    return {flash.begin(), flash.begin() + static_cast<ptrdiff_t>(count)};
}

TEST_F(productinfo, of_a_blank_partition_is_empty_and_the_next_save_writes)
{
    load_blank();
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(save_product_info(), 0);
    EXPECT_EQ(front(flash(), 5), empty_checksum + std::vector<uint8_t>{0});
    EXPECT_EQ(reload(), "");
}

TEST_F(productinfo, image_is_a_little_endian_checksum_and_nul_separated_records)
{
    load_blank();
    set_product_info("SerialNO", "ABCDEFGHJ1234");
    set_product_info("ethaddr", "00:d0:f8:a1:b2:c3");
    ASSERT_EQ(save_product_info(), 0);
    std::vector<uint8_t> expected = serial_mac_checksum;
    for (const char *record : {"SerialNO=ABCDEFGHJ1234", "ethaddr=00:d0:f8:a1:b2:c3"}) {
        expected.insert(expected.end(), record, record + strlen(record) + 1);
    }
    expected.resize(image_size, 0);
    EXPECT_EQ(front(flash(), image_size), expected);
    EXPECT_TRUE(std::ranges::all_of(flash().subspan(image_size),
                                    [](uint8_t byte) { return byte == 0xFF; }));
}

TEST_F(productinfo, loads_the_records_of_a_checked_image_in_order)
{
    fit({nor_partition()});
    put_image(flash(), serial_mac_checksum,
              bytes({"SerialNO=ABCDEFGHJ1234\0ethaddr=00:d0:f8:a1:b2:c3\0", 49}));
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), 0); }), "");
    EXPECT_EQ(shown(), "SerialNO=ABCDEFGHJ1234\r\nethaddr=00:d0:f8:a1:b2:c3\r\n");
}

TEST_F(productinfo, starts_empty_when_one_bit_of_the_image_has_changed)
{
    fit({nor_partition()});
    put_image(flash(), serial_checksum, serial_record);
    flash()[20] ^= 1;
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), 0); }),
              "!!!Warning: CRC check failed.\r\n");
    EXPECT_EQ(shown(), "");
}

TEST_F(productinfo, reads_on_where_a_read_of_the_image_comes_short)
{
    for (const std::size_t bytes_read : {1U, 8191U}) {
        fit({nor_partition()});
        put_image(flash(), serial_checksum, serial_record);
        board().inject({.operation = "read", .path = "/dev/mtd0", .short_to = bytes_read});
        EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), 0); }), "");
        EXPECT_EQ(shown(), "SerialNO=ABCDEFGHJ1234\r\n");
        clr_prod_info();
    }
}

TEST_F(productinfo, does_not_start_where_nothing_was_read)
{
    fit({nor_partition()});
    put_image(flash(), serial_checksum, serial_record);
    board().inject({.operation = "read", .path = "/dev/mtd0", .short_to = 0});
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), -1); }),
              "init_product_info: mtd read failed.\r\n");
    EXPECT_EQ(save_product_info(), -1);
    EXPECT_EQ(board().count("write"), 0U);
}

TEST_F(productinfo, is_not_saved_any_more_once_memory_ran_out_until_it_is_loaded_again)
{
    load_blank();
    mark_product_info_incomplete();
    EXPECT_EQ(save_product_info(), -1);
    EXPECT_EQ(board().count("write"), 0U);
    EXPECT_EQ(reload(), "!!!Warning: CRC check failed.\r\n");
    EXPECT_EQ(save_product_info(), 0);
}

TEST_F(productinfo, save_writes_nothing_when_nothing_has_changed)
{
    load_blank();
    set_product_info("SerialNO", "ABCDEFGHJ1234");
    ASSERT_EQ(save_product_info(), 0);
    ASSERT_EQ(reload(), "");
    board().clear_log();
    set_product_info("SerialNO", "ABCDEFGHJ1234");
    EXPECT_EQ(save_product_info(), 0);
    EXPECT_EQ(board().count("write"), 0U);
    EXPECT_EQ(board().count("erase"), 0U);
}

TEST_F(productinfo, save_after_a_save_writes_nothing)
{
    load_blank();
    set_product_info("a", "1");
    ASSERT_EQ(save_product_info(), 0);
    board().clear_log();
    EXPECT_EQ(save_product_info(), 0);
    EXPECT_EQ(board().count("erase"), 0U);
}

TEST_F(productinfo, of_zeroed_flash_is_written_though_its_word_matches_nothing)
{
    // The checksum word of a damaged image may be that of the list: it still is not what flash
    // holds.
    fit({nor_partition()});
    put_image(flash(), empty_checksum, bytes("damaged"));
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), 0); }),
              "!!!Warning: CRC check failed.\r\n");
    EXPECT_EQ(save_product_info(), 0);
    EXPECT_EQ(front(flash(), 5), empty_checksum + std::vector<uint8_t>{0});
}

TEST_F(productinfo, save_after_a_failed_write_writes_again)
{
    load_blank();
    set_product_info("SerialNO", "ABCDEFGHJ1234");
    board().inject({.operation = "write", .path = "/dev/mtd0", .error = EIO});
    EXPECT_EQ(save_product_info(), -1);
    EXPECT_EQ(save_product_info(), 0);
    EXPECT_EQ(front(flash(), 4), serial_checksum);
}

TEST_F(productinfo, save_after_a_failed_primary_writes_both_again)
{
    load_blank({nor_partition(), mirror_partition()});
    set_product_info("SerialNO", "ABCDEFGHJ1234");
    board().inject({.operation = "erase", .path = "/dev/mtd0", .error = EIO});
    EXPECT_EQ(save_product_info(), 0) << "the result is the mirror's";
    EXPECT_EQ(save_product_info(), 0);
    EXPECT_EQ(front(flash(0), 4), serial_checksum);
    EXPECT_EQ(board().count("erase", "/dev/mtd1"), 2U);
}

TEST_F(productinfo, save_after_a_failed_mirror_writes_both_again)
{
    load_blank({nor_partition(), mirror_partition()});
    set_product_info("SerialNO", "ABCDEFGHJ1234");
    board().inject({.operation = "write", .path = "/dev/mtd1", .error = EIO});
    const trace_log log;
    EXPECT_EQ(save_product_info(), -1);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <save_product_info>:<N>] \r\nSync Failed");
    EXPECT_EQ(save_product_info(), 0);
    EXPECT_EQ(front(flash(1), 4), serial_checksum);
}

TEST_F(productinfo, save_keeps_the_mirror_equal)
{
    load_blank({nor_partition(), {.name = "boot"}, mirror_partition()});
    set_product_info("SerialNO", "ABCDEFGHJ1234");
    EXPECT_EQ(save_product_info(), 0);
    EXPECT_EQ(front(flash(2), image_size), front(flash(0), image_size));
    EXPECT_EQ(front(flash(2), 4), serial_checksum);
}

TEST_F(productinfo, save_of_an_emptied_list_writes_an_empty_image)
{
    load_blank();
    set_product_info("a", "1");
    ASSERT_EQ(save_product_info(), 0);
    ASSERT_EQ(reload(), "");
    setproduct_info("a=");
    EXPECT_EQ(save_product_info(), 0);
    EXPECT_EQ(front(flash(), 5), empty_checksum + std::vector<uint8_t>{0});
}

TEST_F(productinfo, save_of_an_unloaded_store_fails)
{
    fit({nor_partition()});
    EXPECT_EQ(save_product_info(), -1);
    EXPECT_EQ(board().count("open", "/dev/mtd0"), 0U);
}

TEST_F(productinfo, save_after_release_fails)
{
    load_blank();
    clr_prod_info();
    EXPECT_EQ(save_product_info(), -1);
}

/** Fills the list with records that take `total` bytes in the image, the ending one not counted. */
void fill_list(size_t total)
{
    const std::string value(500, 'v');
    int number = 100;
    while (total >= 2 * 505) {
        set_product_info(std::to_string(number++), value); // "100=", 500 characters, NUL
        total -= 505;
    }
    set_product_info("x", std::string(std::min<size_t>(total - 3, 511), 'w'));
    if (total - 3 > 511) {
        set_product_info("y", std::string(total - 3 - 511 - 3, 'w'));
    }
}

TEST_F(productinfo, save_takes_a_list_that_just_fits)
{
    load_blank();
    fill_list(8187);
    EXPECT_EQ(save_product_info(), 0);
    const auto before = shown();
    EXPECT_EQ(reload(), "");
    EXPECT_EQ(shown(), before);
}

TEST_F(productinfo, save_refuses_a_list_that_does_not_fit_and_leaves_flash_alone)
{
    load_blank();
    set_product_info("SerialNO", "ABCDEFGHJ1234");
    ASSERT_EQ(save_product_info(), 0);
    clr_prod_info();
    ASSERT_EQ(init_product_info(), 0);
    setproduct_info("SerialNO=");
    fill_list(8188);
    board().clear_log();
    EXPECT_EQ(save_product_info(), -1);
    EXPECT_EQ(board().count("erase"), 0U);
    EXPECT_EQ(board().count("write"), 0U);
    EXPECT_EQ(front(flash(), 4), serial_checksum);
}

TEST_F(productinfo, a_refused_save_does_not_hide_the_next_change)
{
    load_blank();
    fill_list(8188);
    EXPECT_EQ(save_product_info(), -1);
    setproduct_info("x=");
    EXPECT_EQ(save_product_info(), 0);
}

TEST_F(productinfo, load_needs_the_partition)
{
    fit({{.name = "boot"}});
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), -1); }),
              "init_product_info: can't find productinfo.\r\n");
}

TEST_F(productinfo, load_needs_its_size)
{
    fit({nor_partition()});
    board().inject({.operation = "open", .path = "/dev/mtd0", .error = EACCES});
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), -1); }),
              "mtd_get_size: Open mtd0 failed.\r\ninit_product_info: can't get mtd size.\r\n");
}

TEST_F(productinfo, load_refuses_a_partition_smaller_than_the_image)
{
    fit({{.name = "product_info", .erase_size = 0x1000, .blocks = 1}});
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), -1); }),
              "init_product_info: can't get mtd size.\r\n");
}

TEST_F(productinfo, load_refuses_nand_blocks_smaller_than_the_image)
{
    fit({{.name = "product_info", .type = sim::nand, .erase_size = 0x1000, .blocks = 64}});
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), -1); }),
              "init_product_info: can't get mtd size.\r\n");
}

TEST_F(productinfo, load_takes_a_partition_of_exactly_the_image)
{
    fit({{.name = "product_info", .erase_size = 0x1000, .blocks = 2}});
    put_image(flash(), serial_checksum, serial_record);
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), 0); }), "");
    EXPECT_EQ(shown(), "SerialNO=ABCDEFGHJ1234\r\n");
}

TEST_F(productinfo, load_refuses_partitions_that_are_no_flash)
{
    fit({{.name = "product_info", .type = sim::ram}});
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), -1); }),
              "init_product_info: can't get mtd size.\r\n");
}

TEST_F(productinfo, load_tells_of_a_failed_read_and_keeps_no_image)
{
    fit({nor_partition()});
    board().inject({.operation = "read", .path = "/dev/mtd0", .error = EIO});
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), -1); }),
              "init_product_info: mtd read failed.\r\n");
    EXPECT_EQ(save_product_info(), -1);
}

TEST_F(productinfo, load_of_a_nand_of_bad_blocks_starts_empty)
{
    fit({{.name = "product_info",
          .type = sim::nand,
          .erase_size = 0x4000,
          .blocks = 2,
          .bad = {0, 1}}});
    EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), 0); }),
              "!!!Warning: CRC check failed.\r\n");
    EXPECT_EQ(shown(), "");
}

TEST_F(productinfo, load_and_save_on_nand_skip_bad_blocks)
{
    load_blank({{.name = "product_info",
                 .type = sim::nand,
                 .erase_size = 0x4000,
                 .blocks = 4,
                 .bad = {0, 2}}});
    set_product_info("SerialNO", "ABCDEFGHJ1234");
    ASSERT_EQ(save_product_info(), 0);
    reload();
    EXPECT_EQ(shown(), "SerialNO=ABCDEFGHJ1234\r\n");
    EXPECT_EQ(front(board().flash(0).block(3), 4), serial_checksum);
}

} // namespace
