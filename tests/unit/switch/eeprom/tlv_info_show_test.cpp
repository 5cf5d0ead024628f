#include <algorithm>

#include "tlv_fixture.h"

namespace {

using support::byte_list;
using support::bytes;
using support::default_image;
using support::five_image;
using support::fresh_image;
using support::operator+;
using support::printed;
using support::tlv_image;
using support::trace_log;

using show_tlv = tlv_image;

tlv_record record(uint8_t type, const byte_list &value)
{
    tlv_record result{.type = type, .length = static_cast<uint8_t>(value.size()), .value = {}};
    std::copy(value.begin(), value.end(), result.value.begin());
    return result;
}

std::string decoded(uint8_t type, const byte_list &value)
{
    char text[tlv_text_size];
    decode_tlv_value(record(type, value), text);
    return text;
}

TEST(decode_tlv_value, copies_texts)
{
    for (const uint8_t code :
         byte_list{0x21, 0x22, 0x23, 0x25, 0x27, 0x28, 0x29, 0x2B, 0x2C, 0x2D, 0x2E, 0x2F}) {
        EXPECT_EQ(decoded(code, bytes("a text")), "a text");
        EXPECT_EQ(decoded(code, byte_list(255, 'x')), std::string(255, 'x'));
        EXPECT_EQ(decoded(code, {}), "");
    }
}

TEST(decode_tlv_value, formats_numbers_and_addresses)
{
    EXPECT_EQ(decoded(0x24, {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}), "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(decoded(0x26, {200}), "200");
    EXPECT_EQ(decoded(0x2A, {0x00, 0x80}), "000000000080");
    EXPECT_EQ(decoded(0xFE, {0x01, 0x23, 0xAB, 0xCD}), "0x0123ABCD");
}

TEST(decode_tlv_value, takes_zeros_for_bytes_that_a_record_lacks)
{
    EXPECT_EQ(decoded(0x24, {0x11}), "11:00:00:00:00:00");
    EXPECT_EQ(decoded(0x26, {}), "0");
    EXPECT_EQ(decoded(0x2A, {0x12}), "000000001200");
    EXPECT_EQ(decoded(0xFE, {}), "0x00000000");
}

TEST(decode_tlv_value, lists_the_bytes_of_all_others)
{
    EXPECT_EQ(decoded(0x30, {0x01, 0x02}), " 0x01 0x02");
    EXPECT_EQ(decoded(0xFD, {0xAB}), " 0xAB");
    EXPECT_EQ(decoded(0x01, {}), "");
    EXPECT_EQ(decoded(0x30, byte_list(255, 0xEE)).size(), 1275U);
}

TEST(decode_tlv, prints_a_row)
{
    EXPECT_EQ(printed([] { decode_tlv(record(0x23, bytes("A1"))); }),
              "Serial Number        0x23   2 A1\n");
    EXPECT_EQ(printed([] { decode_tlv(record(0x30, {7})); }),
              "Unknown              0x30   1  0x07\n");
    EXPECT_EQ(printed([] { decode_tlv(record(0xFD, byte_list(100, 0))); }).substr(0, 30),
              "Vendor Extension     0xFD 100 ");
}

TEST_F(show_tlv, of_a_fresh_image_shows_its_crc_record)
{
    const trace_log log;
    EXPECT_EQ(printed([&] { show_eeprom(image()); }), "CRC-32               0xFE   4 0xD4431C18\n");
    EXPECT_EQ(log.unnumbered(), "[SETMAC <show_eeprom>:<N>] TlvInfo Header:\r\n"
                                "[SETMAC <show_eeprom>:<N>]    Id String:    TlvInfo\r\n"
                                "[SETMAC <show_eeprom>:<N>]    Version:      1\r\n"
                                "[SETMAC <show_eeprom>:<N>]    Total Length: 6\r\n"
                                "[SETMAC <show_eeprom>:<N>] TLV Name             Code Len Value\r\n"
                                "[SETMAC <show_eeprom>:<N>] -------------------- ---- --- -----\r\n"
                                "[SETMAC <show_eeprom>:<N>] Checksum is valid.\n");
}

TEST_F(show_tlv, says_when_the_checksum_is_wrong)
{
    image()[14] ^= 1;
    const trace_log log;
    printed([&] { show_eeprom(image()); });
    EXPECT_NE(log.unnumbered().find("[SETMAC <show_eeprom>:<N>] Checksum is invalid.\n"),
              std::string::npos);
}

TEST_F(show_tlv, of_no_image_says_so)
{
    image()[0] = 'X';
    const trace_log log;
    EXPECT_EQ(printed([&] { show_eeprom(image()); }), "");
    EXPECT_EQ(log.unnumbered(),
              "[SETMAC <show_eeprom>:<N>] EEPROM does not contain data in a valid "
              "TlvInfo format.\n");
}

TEST_F(show_tlv, stops_at_an_invalid_record)
{
    load({'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 9, 0x21, 1, 'a', 0xFF, 0, 0x22, 1, 'b'});
    const trace_log log;
    EXPECT_EQ(printed([&] { show_eeprom(image()); }), "ProductModel         0x21   1 a\n");
    const auto text = log.unnumbered();
    EXPECT_EQ(text.substr(text.rfind("[SETMAC")),
              "[SETMAC <show_eeprom>:<N>] Invalid TLV field starting at EEPROM offset 14\r\n");
}

TEST_F(show_tlv, names_become_codes)
{
    const std::pair<const char *, uint8_t> names[] = {
        {"ProductModel", 0x21},     {"Part Number", 0x22},   {"Serial Number", 0x23},
        {"MacAddress", 0x24},       {"setmac_time", 0x25},   {"Device Version", 0x26},
        {"Label Revision", 0x27},   {"Platform Name", 0x28}, {"ONIE Version", 0x29},
        {"ethaddr_scale", 0x2A},    {"Manufacturer", 0x2B},  {"Country Code", 0x2C},
        {"Vendor Name", 0x2D},      {"Diag Version", 0x2E},  {"Service Tag", 0x2F},
        {"Vendor Extension", 0xFD}, {"CRC-32", 0xFE},        {"ProductID", 0x40},
        {"HardwareVersion", 0x41},  {"MainFile", 0x42},      {"fdtname", 0x43},
        {"serial0", 0x44},          {"serial1", 0x45},       {"serial2", 0x46},
        {"serial3", 0x47},          {"projectid", 0x48},     {"setmac_ver", 0x49},
        {"e2type", 0x4A},           {"productmodel", 0},     {"", 0},
        {"ProductModel ", 0},
    };
    for (const auto &[name, code] : names) {
        EXPECT_EQ(name_to_type(name), code) << name;
    }
}

TEST_F(show_tlv, personal_codes_are_40_to_4a)
{
    EXPECT_TRUE(is_pesnl_tlv(0x40));
    EXPECT_TRUE(is_pesnl_tlv(0x4A));
    EXPECT_FALSE(is_pesnl_tlv(0x3F));
    EXPECT_FALSE(is_pesnl_tlv(0x4B));
    EXPECT_FALSE(is_pesnl_tlv(-1));
}

const char *const five_values = "SerialNO=ABCDEFGHJ1234\n"
                                "ethaddr=00:11:22:33:44:55\n"
                                "ethaddr_scale=000000000080\n"
                                "ProductModel=SW-48\n"
                                "setmac_time=01/02/2024 03:04:05\n";

TEST_F(show_tlv, lists_the_five_values_and_the_vendor_extension)
{
    load(five_image);
    EXPECT_EQ(printed([&] { EXPECT_EQ(list_ext_tlv_info(image()), 0); }),
              std::string(five_values) + "serial0=A1\ne2type=7\n");
}

TEST_F(show_tlv, lists_up_to_the_first_missing_value_and_the_extension_all_the_same)
{
    load(five_image);
    tlvinfo_delete_tlv(image(), 0x2A);
    EXPECT_EQ(printed([&] { EXPECT_EQ(show_tlv_code_list(image()), -1); }),
              "SerialNO=ABCDEFGHJ1234\nethaddr=00:11:22:33:44:55\n");
    EXPECT_EQ(printed([&] { EXPECT_EQ(list_ext_tlv_info(image()), 0); }),
              "SerialNO=ABCDEFGHJ1234\nethaddr=00:11:22:33:44:55\nserial0=A1\ne2type=7\n");
}

TEST_F(show_tlv, lists_nothing_of_an_image_that_is_not_valid)
{
    load(five_image);
    image()[30] ^= 1;
    EXPECT_EQ(printed([&] { EXPECT_EQ(list_ext_tlv_info(image()), -1); }), "");
}

TEST_F(show_tlv, lists_nothing_without_a_vendor_extension)
{
    load(default_image);
    EXPECT_EQ(printed([&] { EXPECT_EQ(list_ext_tlv_info(image()), -1); }), "");
}

/** What is listed of a vendor extension of these bytes alone. */
class extension : public show_tlv {
protected:
    void put(const byte_list &content)
    {
        load(fresh_image);
        ASSERT_EQ(add(0xFD, std::string(content.begin(), content.end()),
                      static_cast<int32_t>(content.size())),
                  1);
    }

    std::string listed(int32_t result)
    {
        return printed([&] { EXPECT_EQ(list_ext_tlv_info(image()), result); });
    }
};

TEST_F(extension, of_the_enterprise_number_alone_is_empty)
{
    put({1, 2, 3, 4});
    EXPECT_EQ(listed(0), "");
}

TEST_F(extension, shorter_than_the_enterprise_number_is_malformed)
{
    put({1, 2, 3});
    EXPECT_EQ(listed(-1), "length err!\n");
}

TEST_F(extension, shows_no_sub_record_that_claims_too_much)
{
    put(byte_list{0, 0, 0, 1, 0x44, 2, 'A', '1', 0x45, 3, 'B', '2'});
    EXPECT_EQ(listed(-1), "serial0=A1\nlength err!\n");
    put(byte_list{0, 0, 0, 1, 0x44, 2, 'A', '1', 0x45});
    EXPECT_EQ(listed(-1), "serial0=A1\nlength err!\n");
}

TEST_F(extension, shows_personal_sub_records_alone)
{
    put(byte_list{0, 0, 0, 1, 0x3F, 1, 'a', 0x40, 1, 'b', 0x4B, 1, 'c', 0x49, 0});
    EXPECT_EQ(listed(0), "ProductID=b\nsetmac_ver=\n");
}

TEST_F(extension, shows_e2type_by_its_length)
{
    put(byte_list{0, 0, 0, 1, 0x4A, 1, 0x12});
    EXPECT_EQ(listed(0), "e2type=12\n");
    put(byte_list{0, 0, 0, 1, 0x4A, 2, 0x12, 0x34});
    EXPECT_EQ(listed(0), "e2type=1234\n");
    put(byte_list{0, 0, 0, 1, 0x4A, 4, 0x01, 0x02, 0x03, 0x04});
    EXPECT_EQ(listed(0), "e2type=1020304\n");
    put(byte_list{0, 0, 0, 1, 0x4A, 3, 0x01, 0x02, 0x03});
    EXPECT_EQ(listed(0), "e2type=30201\n");
    put(byte_list{0, 0, 0, 1, 0x4A, 0});
    EXPECT_EQ(listed(0), "e2type=0\n");
}

TEST_F(extension, of_an_unknown_code_shows_nothing)
{
    EXPECT_EQ(printed([] { show_ext_tlv({.code = 0x50, .value = {}}); }), "");
}

TEST_F(extension, values_are_found_by_their_sub_code)
{
    load(five_image);
    byte_list out(255, 0xCC);
    EXPECT_EQ(decode_ext_tlv_value(image(), 0x4A, out.data()), 0);
    EXPECT_EQ(out[0], 0x00);
    EXPECT_EQ(out[1], 0x07);
    EXPECT_EQ(out[2], 0xCC) << "no NUL is added";
    EXPECT_EQ(decode_ext_tlv_value(image(), 0x45, out.data()), -1);
    EXPECT_EQ(decode_ext_tlv_value(image(), 0x23, out.data()), -1);
    load(default_image);
    EXPECT_EQ(decode_ext_tlv_value(image(), 0x44, out.data()), -1);
}

TEST_F(extension, malformed_is_told_when_the_value_is_not_found_before)
{
    put(byte_list{0, 0, 0, 1, 0x44, 2, 'A', '1', 0x45, 3, 'B', '2'});
    byte_list out(255);
    EXPECT_EQ(printed([&] { EXPECT_EQ(decode_ext_tlv_value(image(), 0x44, out.data()), 0); }), "");
    EXPECT_EQ(printed([&] { EXPECT_EQ(decode_ext_tlv_value(image(), 0x45, out.data()), -1); }),
              "length err!\n");
}

TEST_F(show_tlv, default_image_holds_ten_records_and_the_crc)
{
    load(byte_list(256, 0x5A));
    const trace_log log;
    EXPECT_EQ(e2prom_value_default_init(image()), 0);
    EXPECT_EQ(used(), default_image);
    EXPECT_TRUE(std::all_of(image() + 73, image() + 256, [](uint8_t byte) { return byte == 0; }));
    EXPECT_NE(log.unnumbered().find("[SETMAC <e2prom_value_default_init>:<N>] \r\nAdding TLV 0x2b: "
                                    "talvex\r\n"),
              std::string::npos);
}

} // namespace
