#include "store/productinfo.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "sim/board/board.h"
#include "unit/switch/support.h"

namespace {

using support::bytes;
using support::operator+;
using support::printed;
using support::trace_log;

constexpr uint32_t image_size = 8192;

// CRC-32 (as zlib has it) over the 8188 bytes of the record area, low byte first: of an empty list,
// of the serial number ABCDEFGHJ1234, and of that and the address 00:d0:f8:a1:b2:c3.
const std::vector<uint8_t> empty_checksum = {0xF9, 0x84, 0xC1, 0xAA};
const std::vector<uint8_t> serial_checksum = {0xAB, 0xE7, 0x57, 0x2C};
const std::vector<uint8_t> serial_mac_checksum = {0x68, 0xC0, 0x47, 0x85};
const std::vector<uint8_t> serial_record = bytes("SerialNO=ABCDEFGHJ1234");

sim::partition nor_partition()
{
    return {.name = "product_info", .erase_size = 0x4000, .blocks = 2};
}

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

/** A store over a board, loaded at first and released in the end. */
class productinfo : public testing::Test {
protected:
    void TearDown() override { clr_prod_info(); }

    void fit(std::vector<sim::partition> partitions)
    {
        board_.emplace(sim::board_description{.partitions = std::move(partitions)});
    }

    void load_blank(std::vector<sim::partition> partitions = {nor_partition()})
    {
        fit(std::move(partitions));
        EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), 0); }),
                  "!!!Warning: CRC check failed.\r\n");
    }

    /** Starts over from what flash holds. */
    std::string reload()
    {
        clr_prod_info();
        return printed([] { EXPECT_EQ(init_product_info(), 0); });
    }

    static std::string shown()
    {
        return printed([] { show_prod_info(); });
    }

    sim::board &board() { return *board_; }
    std::span<uint8_t> flash(int index = 0) { return board_->flash(index).bytes(); }

private:
    std::optional<sim::board> board_;
};

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

TEST_F(productinfo, update_keeps_the_place_of_a_known_name)
{
    load_blank();
    set_product_info("a", "1");
    set_product_info("b", "2");
    set_product_info("a", "3");
    EXPECT_EQ(shown(), "a=3\r\nb=2\r\n");
    EXPECT_STREQ(get_product_info("a"), "3");
}

TEST_F(productinfo, an_update_with_a_shorter_value_leaves_nothing_of_the_longer)
{
    load_blank();
    set_product_info("a", "long value");
    set_product_info("a", "s");
    EXPECT_STREQ(get_product_info("a"), "s");
}

TEST_F(productinfo, names_are_compared_exactly)
{
    load_blank();
    set_product_info("Name", "1");
    EXPECT_EQ(get_product_info("name"), nullptr);
    EXPECT_EQ(get_product_info("Nam"), nullptr);
    EXPECT_EQ(get_product_info(nullptr), nullptr);
}

TEST_F(productinfo, an_empty_value_is_stored_by_the_setter)
{
    load_blank();
    EXPECT_EQ(set_product_info("a", ""), 0);
    EXPECT_EQ(shown(), "a=\r\n");
    ASSERT_EQ(save_product_info(), 0);
    reload();
    EXPECT_EQ(shown(), "a=\r\n");
}

TEST_F(productinfo, values_are_cut_to_511_characters)
{
    load_blank();
    set_product_info("a", std::string(600, 'v'));
    EXPECT_EQ(std::string(get_product_info("a")), std::string(511, 'v'));
}

TEST_F(productinfo, names_are_cut_to_63_characters_before_the_look_up)
{
    load_blank();
    const std::string stem(63, 'n');
    set_product_info(stem + "1", "first");
    set_product_info(stem + "2", "second");
    EXPECT_EQ(shown(), stem + "=second\r\n");
}

TEST_F(productinfo, a_line_updates_appends_and_removes)
{
    load_blank();
    setproduct_info("a=1");
    setproduct_info("b=2=3");
    setproduct_info("c=4");
    setproduct_info("a=5");
    EXPECT_EQ(shown(), "a=5\r\nb=2=3\r\nc=4\r\n");
    setproduct_info("b=");
    EXPECT_EQ(shown(), "a=5\r\nc=4\r\n");
    setproduct_info("c=");
    setproduct_info("d=6");
    EXPECT_EQ(shown(), "a=5\r\nd=6\r\n");
    setproduct_info("a=");
    setproduct_info("d=");
    EXPECT_EQ(shown(), "");
    setproduct_info("e=7");
    EXPECT_EQ(shown(), "e=7\r\n");
}

TEST_F(productinfo, removing_an_absent_name_does_nothing_and_says_nothing)
{
    load_blank();
    setproduct_info("a=1");
    EXPECT_EQ(printed([] { setproduct_info("b="); }), "");
    EXPECT_EQ(shown(), "a=1\r\n");
}

TEST_F(productinfo, a_line_without_equals_is_warned_of)
{
    load_blank();
    EXPECT_EQ(printed([] { setproduct_info("quit"); }), "Warning: invliad product info: quit.\r\n");
    EXPECT_EQ(printed([] { setproduct_info(""); }), "Warning: invliad product info: .\r\n");
    EXPECT_EQ(shown(), "");
}

TEST_F(productinfo, a_line_takes_names_of_63_characters_and_no_more)
{
    load_blank();
    const std::string name(63, 'n');
    EXPECT_EQ(printed([&] { setproduct_info(name + "=1"); }), "");
    EXPECT_EQ(printed([&] { setproduct_info(name + "n=1"); }),
              "Warning: product info name is too long.\r\n");
    EXPECT_EQ(shown(), name + "=1\r\n");
}

TEST_F(productinfo, a_line_may_have_an_empty_name_which_reloads)
{
    load_blank();
    setproduct_info("=value");
    EXPECT_EQ(shown(), "=value\r\n");
    ASSERT_EQ(save_product_info(), 0);
    reload();
    EXPECT_EQ(shown(), "=value\r\n");
}

/** Parsing alone, over an area that no checksum guards. */
class parse : public productinfo {
protected:
    /** What parsing `area` as the record area prints. The buffer ends with the area. */
    static std::string parsed(const std::vector<uint8_t> &area)
    {
        std::vector<uint8_t> image(4);
        image.insert(image.end(), area.begin(), area.end());
        const prod_info_partition partition{.mtd_index = 0,
                                            .mtd_size = static_cast<uint32_t>(image.size()),
                                            .data_len = static_cast<uint32_t>(image.size()),
                                            .image = image.data()};
        return printed([&] { EXPECT_EQ(parse_product_info(partition), 0); });
    }
};

TEST_F(parse, gives_the_later_value_of_a_name_at_the_place_of_the_first)
{
    EXPECT_EQ(parsed(bytes({"a=1\0b=2\0a=3\0\0", 13})), "");
    EXPECT_EQ(shown(), "a=3\r\nb=2\r\n");
}

TEST_F(parse, ends_at_the_first_empty_record)
{
    EXPECT_EQ(parsed(bytes({"a=1\0\0b=2\0\0", 10})), "");
    EXPECT_EQ(shown(), "a=1\r\n");
}

TEST_F(parse, of_an_area_that_begins_with_nul_is_empty)
{
    EXPECT_EQ(parsed(bytes({"\0a=1\0", 5})), "");
    EXPECT_EQ(shown(), "");
}

TEST_F(parse, warns_of_malformed_records_and_goes_on)
{
    const std::string name(64, 'n');
    EXPECT_EQ(parsed(bytes("bad" + std::string(1, '\0') + name + "=1" + std::string(1, '\0') +
                           "a=1" + std::string(2, '\0'))),
              "Warning: invliad product info: bad.\r\n"
              "Warning: product info name is too long\r\n");
    EXPECT_EQ(shown(), "a=1\r\n");
}

TEST_F(parse, never_looks_past_the_area)
{
    EXPECT_EQ(parsed(bytes("a=1")), "");
    EXPECT_EQ(shown(), "a=1\r\n");
}

TEST_F(parse, takes_a_full_area_whose_last_record_just_ends)
{
    EXPECT_EQ(parsed(bytes({"a=1\0", 4})), "");
    EXPECT_EQ(shown(), "a=1\r\n");
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

/** Text, result, and what is stored of it. */
struct field_case {
    const char *text;
    int32_t result;
    const char *stored; // null: nothing
};

TEST_F(productinfo, serial_numbers_are_13_letters_and_digits)
{
    for (const auto &[text, result, stored] : {
             field_case{"ABCDEFGHJ1234", 0, "ABCDEFGHJ1234"},
             field_case{"abcdefghj1234", 0, "abcdefghj1234"},
             field_case{"0000000000000", 0, "0000000000000"},
             field_case{"ABCDEFGHJ123", -1, nullptr},
             field_case{"ABCDEFGHJ12345", -1, nullptr},
             field_case{"ABCDEFGH-1234", -1, nullptr},
             field_case{"ABCDEFGH\xE9J123", -1, nullptr},
             field_case{"", -1, nullptr},
         }) {
        const auto text_printed =
            printed([&] { EXPECT_EQ(set_product_info_serialnum(text), result); });
        EXPECT_EQ(text_printed,
                  result == 0 ? std::string()
                              : "Error: Invalid serial number: " + std::string(text) + "\r\n");
        EXPECT_STREQ(get_product_info("SerialNO"), stored) << text;
        clr_prod_info();
    }
}

TEST_F(productinfo, mac_addresses_are_six_pairs_with_colons_or_without)
{
    for (const auto &[text, result, stored] : {
             field_case{"00d0f8a1b2c3", 0, "00:d0:f8:a1:b2:c3"},
             field_case{"00D0F8A1B2C3", 0, "00:D0:F8:A1:B2:C3"},
             field_case{"00:D0:F8:A1:B2:C3", 0, "00:D0:F8:A1:B2:C3"},
             field_case{"00:d0:f8:A1:b2:c3", 0, "00:d0:f8:A1:b2:c3"},
             field_case{"00-d0-f8-a1-b2-c3", -1, nullptr},
             field_case{"00.d0.f8.a1.b2.c3", -1, nullptr},
             field_case{"00d0f8a1b2cg", -1, nullptr},
             field_case{"00:d0:f8:a1:b2:cg", -1, nullptr},
             field_case{"00:d0:f8:a1:b2-c3", -1, nullptr},
             field_case{"00:d0:f8:a1:b20c3", -1, nullptr},
             field_case{":0:d0:f8:a1:b2:c3", -1, nullptr},
             field_case{"00:d0:f8:a1:b2:c", -1, nullptr},
             field_case{"00:d0:f8:a1:b2:c3:", -1, nullptr},
             field_case{"00d0f8a1b2c", -1, nullptr},
             field_case{"00d0f8a1b2c3d", -1, nullptr},
             field_case{"", -1, nullptr},
         }) {
        const auto text_printed =
            printed([&] { EXPECT_EQ(set_product_info_macaddr(text), result); });
        EXPECT_EQ(text_printed, result == 0
                                    ? std::string()
                                    : "Error: Invalid Mac Address: " + std::string(text) + "\r\n");
        EXPECT_STREQ(get_product_info("ethaddr"), stored) << text;
        clr_prod_info();
    }
}

TEST_F(productinfo, hardware_versions_are_digits_and_dots_and_others_silently_dropped)
{
    for (const auto &[text, result, stored] : {
             field_case{"1.0.3", 0, "1.0.3"},
             field_case{"", 0, ""},
             field_case{"V1.0", 0, nullptr},
             field_case{"1.0-3", 0, nullptr},
         }) {
        EXPECT_EQ(printed([&] { EXPECT_EQ(set_product_info_hardver(text), result); }), "");
        EXPECT_STREQ(get_product_info("HardwareVersion"), stored) << text;
        clr_prod_info();
    }
}

TEST_F(productinfo, country_settings_are_stored_unchecked_in_their_order)
{
    EXPECT_EQ(set_product_info_country("CN", "a b", "", "=x"), 0);
    EXPECT_EQ(shown(),
              "country_def=CN\r\ncountry_map=a b\r\ncountry_map1=\r\ncountry_change==x\r\n");
    EXPECT_EQ(set_product_info_country("", "", "", ""), 0);
    EXPECT_EQ(shown(), "country_def=\r\ncountry_map=\r\ncountry_map1=\r\ncountry_change=\r\n");
}

} // namespace
