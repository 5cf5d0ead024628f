#include <algorithm>
#include <cerrno>

#include "sim/board/board.h"
#include "tlv_fixture.h"

namespace {

using support::byte_list;
using support::bytes;
using support::default_image;
using support::five_image;
using support::fresh_image;
using support::operator+;
using support::printed;
using support::serial_image;
using support::tlv_image;
using support::trace_log;

TEST_F(tlv_image, header_alone_has_a_crc_over_13_bytes)
{
    byte_list garbage(256, 0xA5);
    load(garbage);
    update_eeprom_header(image());
    EXPECT_EQ(used(), fresh_image);
    EXPECT_EQ(image()[17], 0xA5) << "what follows is left as it was";
    EXPECT_TRUE(is_checksum_valid(image()));
}

TEST_F(tlv_image, record_types_are_1_to_254)
{
    for (const uint8_t type : byte_list{1, 0x21, 0xFD, 0xFE}) {
        EXPECT_TRUE(is_valid_tlv(&type));
    }
    for (const uint8_t type : byte_list{0x00, 0xFF}) {
        EXPECT_FALSE(is_valid_tlv(&type));
    }
}

TEST_F(tlv_image, is_valid_with_its_header_and_crc_alone)
{
    load(serial_image);
    EXPECT_TRUE(is_checksum_valid(image()));
    for (size_t i = 0; i < serial_image.size(); ++i) {
        auto damaged = serial_image;
        damaged[i] ^= 0x10;
        load(damaged);
        EXPECT_FALSE(is_checksum_valid(image())) << "byte " << i;
    }
}

TEST_F(tlv_image, total_length_may_be_245_and_no_more)
{
    load({'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 245});
    EXPECT_TRUE(is_valid_tlvinfo_header(image()));
    image()[10] = 246;
    EXPECT_FALSE(is_valid_tlvinfo_header(image()));
    EXPECT_FALSE(is_checksum_valid(image()));
}

TEST_F(tlv_image, find_leaves_the_offset_at_the_record_or_the_end)
{
    load(five_image);
    int32_t offset = 0;
    EXPECT_TRUE(tlvinfo_find_tlv(image(), 0x23, &offset));
    EXPECT_EQ(offset, 11);
    EXPECT_TRUE(tlvinfo_find_tlv(image(), 0xFE, &offset));
    EXPECT_EQ(offset, 81);
    EXPECT_FALSE(tlvinfo_find_tlv(image(), 0x2B, &offset));
    EXPECT_EQ(offset, 87);
}

TEST_F(tlv_image, find_finds_a_last_record_without_value_bytes)
{
    load({'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 5, 0x21, 1, 'a', 0x23, 0});
    int32_t offset = 0;
    EXPECT_TRUE(tlvinfo_find_tlv(image(), 0x23, &offset));
    EXPECT_EQ(offset, 14);
}

TEST_F(tlv_image, find_stops_at_an_invalid_record)
{
    load({'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 9, 0x21, 1, 'a', 0x00, 0, 0x22, 1, 'b'});
    int32_t offset = 0;
    EXPECT_FALSE(tlvinfo_find_tlv(image(), 0x22, &offset));
    EXPECT_EQ(offset, 14);
}

TEST_F(tlv_image, find_in_no_records_finds_none)
{
    load({'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 0, 0x21, 1, 'a'});
    int32_t offset = 0;
    EXPECT_FALSE(tlvinfo_find_tlv(image(), 0x21, &offset));
    EXPECT_EQ(offset, 11);
}

TEST_F(tlv_image, crc_record_deleted_comes_back_at_the_end)
{
    load(serial_image);
    EXPECT_TRUE(tlvinfo_delete_tlv(image(), 0xFE));
    EXPECT_EQ(used(), serial_image);
    update_crc(image());
    EXPECT_EQ(used(), serial_image);
}

TEST_F(tlv_image, crc_is_left_out_when_there_is_no_room_for_it)
{
    byte_list full = {'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 240, 0x21, 238};
    load(full);
    const byte_list before = used();
    update_crc(image());
    EXPECT_EQ(used(), before);
    image()[10] = 239;
    image()[12] = 237;
    update_crc(image());
    EXPECT_TRUE(is_checksum_valid(image())) << "239 and 6 are 245";
}

TEST_F(tlv_image, delete_closes_the_gap_and_corrects_the_crc)
{
    load(default_image);
    EXPECT_EQ(add(0x23, "ABCDEFGHJ1234"), 1);
    EXPECT_TRUE(tlvinfo_delete_tlv(image(), 0x23));
    EXPECT_EQ(used(), default_image);
    EXPECT_FALSE(tlvinfo_delete_tlv(image(), 0x23));
    EXPECT_EQ(used(), default_image);
    EXPECT_TRUE(tlvinfo_delete_tlv(image(), 0x2B));
    EXPECT_TRUE(is_checksum_valid(image()));
    EXPECT_EQ(value(0x2B), byte_list{});
    EXPECT_EQ(value(0x28), bytes("x86-64"));
}

TEST_F(tlv_image, delete_of_a_record_that_claims_too_much_ends_with_the_records)
{
    load({'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 6, 0x21, 1, 'a', 0x22, 200, 'b'});
    EXPECT_TRUE(tlvinfo_delete_tlv(image(), 0x22));
    EXPECT_EQ(value(0x21), bytes("a"));
    EXPECT_TRUE(is_checksum_valid(image()));
}

TEST_F(tlv_image, record_at_the_very_end_is_read_with_zeros_for_what_is_missing)
{
    byte_list full(256, 0x21);
    std::copy(fresh_image.begin(), fresh_image.begin() + 9, full.begin());
    full[10] = 245;
    full[255] = 0x33;
    load(full);
    const tlv_record last = tlv_record_at(image(), 255);
    EXPECT_EQ(last.type, 0x33);
    EXPECT_EQ(last.length, 0);
    const tlv_record cut = tlv_record_at(image(), 250);
    EXPECT_EQ(cut.length, 0x21);
    EXPECT_EQ(cut.value[3], 0x33);
    EXPECT_EQ(cut.value[4], 0);
}

TEST_F(tlv_image, of_any_bytes_can_be_searched_and_edited)
{
    // Images come from EEPROMs: whatever they hold, nothing outside of them may be touched.
    uint32_t state = 12345;
    for (int round = 0; round < 3000; ++round) {
        byte_list content(256);
        for (uint8_t &byte : content) {
            state = state * 1103515245U + 12345U;
            byte = static_cast<uint8_t>(state >> 16);
        }
        content[9] = 0;
        if (round % 2 == 0) {
            std::copy(fresh_image.begin(), fresh_image.begin() + 9, content.begin());
        }
        load(content);
        int32_t offset = 0;
        tlvinfo_find_tlv(image(), 0xFE, &offset);
        EXPECT_LE(offset, 256 + 257);
        tlvinfo_delete_tlv(image(), content[11]);
        add(0x21, "x");
        update_crc(image());
        printed([&] { show_eeprom(image()); });
    }
}

TEST_F(tlv_image, no_code_may_stand_twice)
{
    EXPECT_FALSE(tlvinfo_multiple_tcode_allowed(0x23));
    EXPECT_FALSE(tlvinfo_multiple_tcode_allowed(0xFD));
}

constexpr const char *bus = "/dev/i2c-0";

class system_eeprom : public tlv_image {
protected:
    void fit(byte_list content)
    {
        board_.emplace(
            sim::board_description{.eeproms = {{.address = 0x56, .content = std::move(content)}}});
    }

    void fit_none() { board_.emplace(sim::board_description{}); }

    sim::board &board() { return *board_; }

private:
    std::optional<sim::board> board_;
};

TEST_F(system_eeprom, is_loaded_in_two_reads)
{
    fit(serial_image);
    load({});
    EXPECT_EQ(printed([&] { EXPECT_EQ(read_eeprom(image()), 0); }), "");
    EXPECT_EQ(used(), serial_image);
    std::vector<std::pair<uint64_t, uint64_t>> reads;
    for (const auto &done : board().log()) {
        if (done.name == "transfer") {
            reads.emplace_back(done.offset, done.length);
        }
    }
    EXPECT_EQ(reads, (std::vector<std::pair<uint64_t, uint64_t>>{{0, 11}, {11, 21}}));
}

TEST_F(system_eeprom, that_is_blank_gives_a_fresh_image_and_no_failure)
{
    fit({});
    EXPECT_EQ(printed([&] { EXPECT_EQ(read_eeprom(image()), 0); }),
              "read_eeprom: can't find productinfo.\r\n!!!Warning: CRC check failed.\r\n");
    EXPECT_EQ(used(), fresh_image);
}

TEST_F(system_eeprom, without_records_gives_a_fresh_image_and_no_failure)
{
    fit({'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 0});
    load({});
    EXPECT_EQ(printed([&] { EXPECT_EQ(read_eeprom(image()), 0); }),
              "!!!Warning: CRC check failed.\r\n");
    EXPECT_EQ(used(), fresh_image);
    EXPECT_EQ(board().count("transfer"), 1U) << "there are no records to read";
}

TEST_F(system_eeprom, that_is_damaged_gives_a_fresh_image_and_no_failure)
{
    auto damaged = serial_image;
    damaged[15] ^= 1;
    fit(damaged);
    EXPECT_EQ(printed([&] { EXPECT_EQ(read_eeprom(image()), 0); }),
              "!!!Warning: CRC check failed.\r\n");
    EXPECT_EQ(used(), fresh_image);
}

TEST_F(system_eeprom, that_cannot_be_read_gives_a_fresh_image_and_the_failure)
{
    fit_none();
    load({});
    EXPECT_EQ(printed([&] { EXPECT_EQ(read_eeprom(image()), -1); }),
              "read_eeprom: can't find productinfo.\r\n!!!Warning: CRC check failed.\r\n");
    EXPECT_EQ(used(), fresh_image);
}

TEST_F(system_eeprom, whose_records_cannot_be_read_gives_a_fresh_image_and_the_failure)
{
    fit(serial_image);
    load({});
    board().inject({.operation = "transfer", .path = bus, .call = 2, .times = 5, .error = EIO});
    EXPECT_EQ(printed([&] { EXPECT_EQ(read_eeprom(image()), -1); }),
              "!!!Warning: CRC check failed.\r\n");
    EXPECT_EQ(used(), fresh_image);
}

TEST_F(system_eeprom, is_programmed_whole)
{
    fit({});
    load(serial_image);
    image()[255] = 0x77;
    const trace_log log;
    EXPECT_EQ(prog_eeprom(image()), 0);
    EXPECT_TRUE(std::equal(board().eeprom(0x56).begin(), board().eeprom(0x56).end(), image()));
    EXPECT_EQ(board().count("transfer"), 32U);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <prog_eeprom>:<N>] Save product info success.\n");
}

TEST_F(system_eeprom, that_fails_in_the_middle_is_reported)
{
    fit({});
    board().inject({.operation = "transfer", .path = bus, .call = 10, .times = 5, .error = EIO});
    const trace_log log;
    EXPECT_EQ(prog_eeprom(image()), -1);
    EXPECT_NE(log.unnumbered().find("[SETMAC <prog_eeprom>:<N>] Save product info failed.\n"),
              std::string::npos);
}

} // namespace
