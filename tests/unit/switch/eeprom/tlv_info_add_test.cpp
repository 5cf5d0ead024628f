#include <algorithm>

#include "tlv_fixture.h"

namespace {

using support::byte_list;
using support::bytes;
using support::fresh_image;
using support::operator+;
using support::printed;
using support::serial_image;
using support::tlv_image;
using support::trace_log;

using add_tlv = tlv_image;

TEST_F(add_tlv, puts_the_record_before_the_crc)
{
    EXPECT_EQ(add(0x23, "ABCDEFGHJ1234"), 1);
    EXPECT_EQ(used(), serial_image);
}

TEST_F(add_tlv, appends_where_no_crc_record_stands)
{
    load({'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 0});
    EXPECT_EQ(add(0x23, "ABCDEFGHJ1234"), 1);
    EXPECT_EQ(used(), serial_image);
}

TEST_F(add_tlv, takes_a_code_twice_and_finds_the_first)
{
    add(0x23, "first");
    add(0x23, "second");
    EXPECT_EQ(value(0x23), bytes("first"));
    tlvinfo_delete_tlv(image(), 0x23);
    EXPECT_EQ(value(0x23), bytes("second"));
}

TEST_F(add_tlv, of_string_codes_keeps_the_text)
{
    for (const uint8_t code :
         byte_list{0x21, 0x22, 0x23, 0x27, 0x28, 0x29, 0x2B, 0x2C, 0x2D, 0x2E, 0x2F}) {
        load(fresh_image);
        const trace_log log;
        EXPECT_EQ(add(code, "a text"), 1);
        EXPECT_EQ(value(code), bytes("a text"));
        EXPECT_EQ(log.unnumbered(), "[SETMAC <tlvinfo_add_tlv>:<N>] new_tlv_len is:6\r\n");
    }
}

TEST_F(add_tlv, of_an_empty_string_makes_an_empty_record)
{
    EXPECT_EQ(add(0x21, ""), 1);
    EXPECT_EQ(tlv_total_length(image()), 8U);
}

TEST_F(add_tlv, fills_the_image_to_245_and_no_further)
{
    EXPECT_EQ(add(0x21, std::string(237, 'x')), 1);
    EXPECT_EQ(tlv_total_length(image()), 245U);
    EXPECT_TRUE(is_checksum_valid(image()));
    load(fresh_image);
    const trace_log log;
    EXPECT_EQ(add(0x21, std::string(238, 'x')), 255);
    EXPECT_EQ(used(), fresh_image);
    EXPECT_EQ(
        log.unnumbered(),
        "[SETMAC <tlvinfo_add_tlv>:<N>] new_tlv_len is:238\r\n"
        "[SETMAC <tlvinfo_add_tlv>:<N>] ERROR: There is not enough room in the EERPOM to save "
        "data.\n");
}

TEST_F(add_tlv, of_a_string_longer_than_a_record_has_no_room)
{
    for (const size_t length : {255U, 256U, 1000U}) {
        const trace_log log;
        EXPECT_EQ(add(0x21, std::string(length, 'x')), 255);
        const auto counted = std::to_string(std::min<size_t>(length, 256));
        EXPECT_NE(log.text().find("new_tlv_len is:" + counted + "\r\n"), std::string::npos);
    }
    EXPECT_EQ(used(), fresh_image);
}

TEST_F(add_tlv, of_a_device_version_reads_a_number_of_any_base)
{
    const struct {
        const char *text;
        uint8_t version;
    } cases[] = {{"0x10", 16}, {"100", 100}, {"255", 255},     {"010", 8},  {"01", 1},
                 {"0", 0},     {"AB", 0},    {" 7", 7},        {"12x", 12}, {"0b11", 0},
                 {"0x", 0},    {"0X1f", 31}, {"4294967296", 0}};
    for (const auto &[text, version] : cases) {
        load(fresh_image);
        EXPECT_EQ(add(0x26, text), 1) << text;
        EXPECT_EQ(value(0x26), byte_list{version}) << text;
    }
}

TEST_F(add_tlv, of_a_device_version_above_255_leaves_it_out_with_a_status_that_is_no_refusal)
{
    const trace_log log;
    EXPECT_EQ(add(0x26, "256"), 255);
    EXPECT_EQ(add(0x26, "-1"), 255);
    EXPECT_EQ(used(), fresh_image);
    EXPECT_EQ(log.unnumbered(),
              "[SETMAC <tlvinfo_add_tlv>:<N>] ERROR: Device version must be 255 or less. Value "
              "supplied: 256\r\n"
              "[SETMAC <tlvinfo_add_tlv>:<N>] ERROR: Device version must be 255 or less. Value "
              "supplied: 4294967295\r\n");
}

TEST_F(add_tlv, of_a_mac_size_reads_a_hexadecimal_number)
{
    EXPECT_EQ(add(0x2A, "ffff"), 1);
    EXPECT_EQ(value(0x2A), (byte_list{0xFF, 0xFF}));
    load(fresh_image);
    EXPECT_EQ(add(0x2A, "80"), 1);
    EXPECT_EQ(value(0x2A), (byte_list{0x00, 0x80}));
    load(fresh_image);
    const trace_log log;
    EXPECT_EQ(add(0x2A, "10000"), 0);
    EXPECT_EQ(used(), fresh_image);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <tlvinfo_add_tlv>:<N>] ERROR: MAC Size must be 65535 or "
                                "less. Value supplied: 65536\n");
}

TEST_F(add_tlv, of_a_mac_address_keeps_six_bytes)
{
    EXPECT_EQ(add(0x24, "00:11:22:aA:44:55"), 1);
    EXPECT_EQ(value(0x24), (byte_list{0x00, 0x11, 0x22, 0xAA, 0x44, 0x55}));
}

TEST_F(add_tlv, of_a_mac_address_refuses_all_others_and_says_why)
{
    const std::string rule = "ERROR: MAC address must not be 00:00:00:00:00:00, a multicast "
                             "address or FF:FF:FF:FF:FF:FF.\n";
    const struct {
        const char *text;
        std::string message;
    } cases[] = {
        {"00:11:22:33:44:5", "ERROR: MAC address strlen() != 17 -- 16\n"},
        {"", "ERROR: MAC address strlen() != 17 -- 0\n"},
        {"00-11-22-33-44-55", "ERROR: mac: p[2] != :, found: `-'\n"},
        {"00:11:22:33:44-55", "ERROR: mac: p[14] != :, found: `-'\n"},
        {"0g:11:22:33:44:55", "ERROR: mac: p[1] != hex digit, found: `g'\n"},
        {"00:11:22:33:44:5:", "ERROR: mac: p[16] != hex digit, found: `:'\n"},
        {"01:02:03:04:05:06", rule},
        {"00:00:00:00:00:00", rule},
        {"FF:FF:FF:FF:FF:FF", rule},
    };
    for (const auto &[text, message] : cases) {
        const auto said = printed([&, mac = text] { EXPECT_EQ(add(0x24, mac), 0); });
        EXPECT_EQ(said, message + "ERROR: Bad MAC address format: " + text + "\n");
    }
    EXPECT_EQ(used(), fresh_image);
    EXPECT_EQ(printed([&] { EXPECT_EQ(macaddr_str_to_hex(image(), nullptr), -1); }),
              "ERROR: NULL mac addr string passed in.\n");
}

TEST_F(add_tlv, of_a_date_takes_20_characters_and_keeps_19_with_a_nul)
{
    const trace_log log;
    EXPECT_EQ(add(0x25, "2024-01-02 03:04:05 "), 1);
    EXPECT_EQ(value(0x25), bytes("01/02/2024 03:04:05") + byte_list{0});
    EXPECT_EQ(log.unnumbered(), "[SETMAC <set_date>:<N>] \r\nstr new is: 01/02/2024 03:04:05");
}

TEST_F(add_tlv, of_a_date_of_19_characters_is_refused)
{
    const trace_log log;
    EXPECT_EQ(add(0x25, "2024-01-02 03:04:05"), 0);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <set_date>:<N>] \r\nERROR: Date strlen() != 20 -- 19"
                                "[SETMAC <set_date>:<N>] \r\nERROR: Bad date format (MM/DD/YYYY "
                                "hh:mm:ss): 2024-01-02 03:04:05");
}

TEST_F(add_tlv, of_no_date_is_refused)
{
    const trace_log log;
    EXPECT_EQ(tlvinfo_add_tlv(image(), 0x25, nullptr, 0), 0);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <set_date>:<N>] \r\nERROR: NULL date string passed in.");
}

TEST_F(add_tlv, of_a_date_without_six_numbers_is_refused)
{
    const trace_log log;
    EXPECT_EQ(add(0x25, "2024/01/02 03:04:05 "), 0);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <set_date>:<N>] \r\nERROR: Time format wrong.");
}

TEST_F(add_tlv, of_a_date_out_of_form_is_refused_where_it_shows)
{
    const std::string stem = "\r\nERROR: Bad date format (MM/DD/YYYY hh:mm:ss): ";
    const struct {
        const char *text;
        std::string message;
    } cases[] = {
        {"202-100-02 03:04:05 ", stem + "100/02/202 03:04:05"},    // position 2 is no "/"
        {"12024-01-02 03:04:05", stem + "01/02/12024 03:04:05"},   // position 10 is no space
        {"224-01-002  03:04:05", stem + "01/02/224 03:04:05\n"},   // position 9 is no digit
        {"2024-01-02 103:04:05", stem + "01/02/2024 103:04:05\n"}, // position 13 is no ":"
        {"2024-1-02  03:-4:05 ", stem + "01/02/2024 03:-4:05\n"},  // position 14 is no digit
    };
    for (const auto &[text, message] : cases) {
        const trace_log log;
        EXPECT_EQ(add(0x25, text), 0) << text;
        const auto said = log.unnumbered();
        EXPECT_EQ(said.substr(said.rfind("[SETMAC")), "[SETMAC <set_date>:<N>] " + message);
    }
    EXPECT_EQ(used(), fresh_image);
}

TEST_F(add_tlv, of_a_crc_is_refused)
{
    const trace_log log;
    EXPECT_EQ(add(0xFE, "1"), 0);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <tlvinfo_add_tlv>:<N>] WARNING: The CRC TLV is set "
                                "automatically and cannot be set manually.\n");
    EXPECT_EQ(used(), fresh_image);
}

TEST_F(add_tlv, of_a_vendor_extension_keeps_counted_bytes)
{
    const trace_log log;
    EXPECT_EQ(add(0xFD, std::string("a\0b", 3), 3), 1);
    EXPECT_EQ(value(0xFD), (byte_list{'a', 0, 'b'}));
    EXPECT_EQ(log.unnumbered(), "[SETMAC <tlvinfo_add_tlv>:<N>] new_tlv_len is:3\r\n");
}

TEST_F(add_tlv, of_a_vendor_extension_counts_at_most_256)
{
    const trace_log log;
    EXPECT_EQ(add(0xFD, std::string(300, 'x'), 300), 255);
    EXPECT_NE(log.text().find("new_tlv_len is:256\r\n"), std::string::npos);
    EXPECT_EQ(used(), fresh_image);
    EXPECT_EQ(add(0xFD, "x", -1), 1) << "a negative count is none";
    EXPECT_EQ(tlv_total_length(image()), 8U);
}

TEST_F(add_tlv, of_other_codes_reads_a_list_of_bytes)
{
    const struct {
        const char *text;
        byte_list expected;
    } cases[] = {
        {"1, 2;0x10", {0x01, 0x02, 0x10}},
        {"255", {0xFF}},
        {"\t010", {0x08}},
        {"1 2 ", {0x01, 0x02, 0x32}}, // the third is the character that stood there
        {" ", {0x20}},
        {"", {}},
    };
    for (const auto &[text, expected] : cases) {
        load(fresh_image);
        EXPECT_EQ(add(0x30, text), 1) << text;
        EXPECT_EQ(value(0x30), expected) << text;
    }
}

TEST_F(add_tlv, of_a_list_takes_codes_from_both_ends)
{
    EXPECT_EQ(add(0x01, "1"), 1);
    EXPECT_EQ(add(0x20, "2"), 1);
    EXPECT_EQ(add(0xFC, "3"), 1);
    EXPECT_EQ(value(0xFC), byte_list{3});
}

TEST_F(add_tlv, of_a_list_refuses_what_is_no_byte)
{
    const struct {
        const char *text;
        const char *message;
    } cases[] = {
        {"1 a", "ERROR: Non-digit found in byte string: (1 a)\n"},
        {"12x", "ERROR: Non-digit found in byte string: (12x)\n"},
        {"300", "ERROR: The value specified is greater than 255: (300) in string: 300\n"},
    };
    for (const auto &[text, message] : cases) {
        const trace_log log;
        EXPECT_EQ(add(0x30, text), 0);
        EXPECT_EQ(log.unnumbered(), std::string("[SETMAC <set_bytes>:<N>] ") + message);
    }
    EXPECT_EQ(used(), fresh_image);
}

std::string ones(int count)
{
    std::string list = "1";
    for (int i = 1; i < count; ++i) {
        list += " 1";
    }
    return list;
}

TEST_F(add_tlv, of_a_list_ends_at_255_bytes)
{
    EXPECT_EQ(add(0x30, ones(237)), 1);
    EXPECT_EQ(tlv_total_length(image()), 245U);
    load(fresh_image);
    EXPECT_EQ(add(0x30, ones(254)), 255) << "no room";
    const trace_log log;
    EXPECT_EQ(add(0x30, ones(255)), 255);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <set_bytes>:<N>] ERROR: There is not enough room in the "
                                "EERPOM to save data.\n");
}

TEST_F(add_tlv, of_a_list_longer_than_255_bytes_is_refused)
{
    const auto list = ones(256);
    const trace_log log;
    EXPECT_EQ(add(0x30, list), 0);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <set_bytes>:<N>] ERROR: Trying to assign too many bytes "
                                "(max: 255) in string: " +
                                    list + "\n");
    EXPECT_EQ(used(), fresh_image);
}

} // namespace
