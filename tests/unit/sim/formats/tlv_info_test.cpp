#include "sim/formats/tlv_info.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using bytes = std::vector<uint8_t>;
using strings = std::vector<std::string>;
using records = std::vector<sim::tlv_record>;

/** "TlvInfo", version 1, 10 bytes of records: serial number "AB" and the CRC record. */
const bytes one_record = {0x54, 0x6C, 0x76, 0x49, 0x6E, 0x66, 0x6F, 0x00, 0x01, 0x00, 0x0A,
                          0x23, 0x02, 0x41, 0x42, 0xFE, 0x04, 0xC0, 0x9B, 0x0E, 0x8A};

/** With the bytes from an offset on replaced, and filled up to the size of an EEPROM. */
bytes with(std::size_t offset, const bytes &change)
{
    bytes image = one_record;
    image.resize(256, 0xFF);
    std::copy(change.begin(), change.end(), image.begin() + static_cast<std::ptrdiff_t>(offset));
    return image;
}

strings problems(const bytes &image)
{
    return sim::decode_tlv_info(image).problems;
}

} // namespace

TEST(sim_tlv_info, an_image_without_records_has_a_crc_record)
{
    EXPECT_EQ(sim::encode_tlv_info({}), (bytes{0x54, 0x6C, 0x76, 0x49, 0x6E, 0x66, 0x6F, 0x00, 0x01,
                                               0x00, 0x06, 0xFE, 0x04, 0xD4, 0x43, 0x1C, 0x18}));
}

TEST(sim_tlv_info, an_image_is_header_records_and_crc)
{
    EXPECT_EQ(sim::encode_tlv_info({{0x23, {'A', 'B'}}}), one_record);
}

TEST(sim_tlv_info, records_fill_the_memory_and_no_more)
{
    const bytes image = sim::encode_tlv_info({{0x30, bytes(237, 0x11)}});
    EXPECT_EQ(image.size(), 256U);
    EXPECT_EQ(image[9], 0);
    EXPECT_EQ(image[10], 245);
    EXPECT_TRUE(problems(image).empty());
    EXPECT_EQ(sim::find_mistake(records{{0x30, bytes(238)}}),
              "the records take 246 bytes with the CRC record, but there is room for 245");
    EXPECT_THROW(sim::encode_tlv_info({{0x30, bytes(238)}}), std::invalid_argument);
}

TEST(sim_tlv_info, codes_that_are_no_records_are_refused)
{
    EXPECT_EQ(sim::find_mistake(records{{0x21, {}}, {0x00, {}}}), "code 0x0 begins no record");
    EXPECT_EQ(sim::find_mistake(records{{0xFF, {}}}), "code 0xff begins no record");
    EXPECT_EQ(sim::find_mistake(records{{0xFE, bytes(4)}}),
              "the CRC record, code 0xfe, is added by itself");
    EXPECT_EQ(sim::find_mistake(records{{0x21, bytes(256)}}), "a record holds at most 255 bytes");
    EXPECT_EQ(sim::find_mistake(records{{0x21, {}}, {0x21, {}}}), std::nullopt);
}

TEST(sim_tlv_info, a_valid_image_is_read_back)
{
    const auto info = sim::decode_tlv_info(with(0, {}));
    EXPECT_TRUE(info.problems.empty());
    EXPECT_EQ(info.version, 1U);
    EXPECT_EQ(info.length, 10U);
    ASSERT_EQ(info.records.size(), 1U);
    EXPECT_EQ(info.records[0].code, 0x23);
    EXPECT_EQ(info.records[0].value, (bytes{'A', 'B'}));
    EXPECT_EQ(info.stored_crc, 0xC09B0E8AU);
    EXPECT_EQ(info.crc, 0xC09B0E8AU);
}

TEST(sim_tlv_info, tells_what_is_wrong_with_the_header)
{
    const strings no_id = {"it does not begin with \"TlvInfo\" and a NUL"};
    EXPECT_EQ(problems(with(0, {0x74})), no_id);
    EXPECT_EQ(problems(with(7, {0x20})), no_id);
    EXPECT_EQ(problems(bytes(256, 0xFF)), no_id);
    EXPECT_EQ(problems({}), no_id);
    const strings version = problems(with(8, {2}));
    ASSERT_EQ(version.size(), 2U) << "the CRC covers the version";
    EXPECT_EQ(version[0], "the version is 2 in the place of 1");
    const strings length = problems(with(9, {0x00, 0xF6}));
    ASSERT_FALSE(length.empty());
    EXPECT_EQ(length[0], "the length is 246, but there is room for 245");
    EXPECT_EQ(problems(with(9, {0x00, 0x00})), strings{"there is no CRC record"});
}

TEST(sim_tlv_info, tells_a_wrong_crc_with_the_right_one)
{
    const bytes image = with(17, {0x12, 0x34, 0x56, 0x78});
    EXPECT_EQ(problems(image), strings{"the CRC-32 is 0x12345678 in the place of 0xc09b0e8a"});
    const auto info = sim::decode_tlv_info(image);
    EXPECT_EQ(info.stored_crc, 0x12345678U);
    EXPECT_EQ(info.crc, 0xC09B0E8AU);
    EXPECT_EQ(info.records.size(), 1U);
}

TEST(sim_tlv_info, tells_records_that_cannot_be_read)
{
    EXPECT_EQ(problems(with(12, {9})),
              strings{"at offset 11 record 0x23 runs past the end of the records"});
    EXPECT_EQ(problems(with(12, {8})), strings{"there is no CRC record"});
    EXPECT_EQ(problems(with(12, {7})),
              strings{"at offset 20 record 0x8a runs past the end of the records"});
    EXPECT_EQ(problems(with(11, {0x00})),
              strings{"at offset 11 there is 0x0, which begins no record"});
    EXPECT_EQ(problems(with(15, {0xFF})),
              strings{"at offset 15 there is 0xff, which begins no record"});
    EXPECT_EQ(problems(with(15, {0x22, 4})), strings{"there is no CRC record"});
    EXPECT_EQ(problems(with(16, {3})),
              strings{"at offset 15 the CRC record has 3 bytes in the place of 4"});
    EXPECT_EQ(problems(bytes(one_record.begin(), one_record.begin() + 14)),
              strings{"at offset 11 record 0x23 runs past the end of the records"});
}

TEST(sim_tlv_info, tells_what_follows_the_crc_record)
{
    bytes image = with(9, {0x00, 0x0C});
    EXPECT_EQ(problems(image).back(),
              "at offset 15 the CRC record is not the last: 2 bytes follow");
}

TEST(sim_tlv_info, a_vendor_extension_holds_a_number_and_records)
{
    const auto extension = sim::decode_vendor_extension(
        bytes{0x00, 0x00, 0x7E, 0xD9, 0x44, 0x02, 'A', '1', 0x4A, 0x01, 0x07});
    EXPECT_EQ(extension.enterprise, 32473U);
    ASSERT_EQ(extension.records.size(), 2U);
    EXPECT_EQ(extension.records[0].code, 0x44);
    EXPECT_EQ(extension.records[0].value, (bytes{'A', '1'}));
    EXPECT_EQ(extension.records[1].value, bytes{0x07});
    EXPECT_TRUE(extension.whole);
}

TEST(sim_tlv_info, a_vendor_extension_may_hold_a_number_alone)
{
    const auto extension = sim::decode_vendor_extension(bytes{0x00, 0x00, 0x7E, 0xD9});
    EXPECT_EQ(extension.enterprise, 32473U);
    EXPECT_TRUE(extension.records.empty());
    EXPECT_TRUE(extension.whole);
}

TEST(sim_tlv_info, a_vendor_extension_that_is_cut_off_gives_what_is_whole)
{
    const auto cut = sim::decode_vendor_extension(
        bytes{0x00, 0x00, 0x7E, 0xD9, 0x44, 0x01, 'A', 0x45, 0x02, 'B'});
    EXPECT_EQ(cut.records.size(), 1U);
    EXPECT_FALSE(cut.whole);
    EXPECT_FALSE(sim::decode_vendor_extension(bytes{0x00, 0x00, 0x7E, 0xD9, 0x44}).whole);
    const auto without_number = sim::decode_vendor_extension(bytes{0x00, 0x00, 0x7E});
    EXPECT_FALSE(without_number.enterprise.has_value());
    EXPECT_FALSE(without_number.whole);
}
