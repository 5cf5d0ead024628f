#include <cerrno>

#include "exchange/protocol.h"
#include "payloads.h"
#include "tlv_payload_fixture.h"

// The parts and nodes of TLV payloads, and the records that they become.

namespace {

using support::byte_list;
using support::bytes;
using support::e2prom_path;
using support::node;
using support::operator+;
using support::part;
using support::text;
using support::tlv_payload;
using support::trace_log;
using support::two_serials_image;

TEST_F(tlv_payload, builds_a_vendor_extension_from_its_nodes)
{
    apply(part(1, node("serial0", 1, text("A1")) + node("serial1", 1, text("B2"))));
    EXPECT_EQ(image(), two_serials_image);
    EXPECT_EQ(stored(two_serials_image.size()), two_serials_image);
}

TEST_F(tlv_payload, logs_a_vendor_extension_node)
{
    const trace_log log;
    apply(part(1, node("serial0", 1, text("A1"))));
    EXPECT_NE(log.unnumbered().find(
                  "[SETMAC <tlv_data_apply>:<N>] \r\nFlag at 0 Bytes"
                  "[SETMAC <tlv_data_apply>:<N>] \r\nnPartLen:16"
                  "[SETMAC <tlv_insight_node>:<N>] \r\nName:serial0,Type:68,Len:3,Value:A1\r\n"
                  "[SETMAC <tlv_insight_node>:<N>] \r\next node:Value:"
                  "[SETMAC <tlvinfo_add_tlv>:<N>] new_tlv_len is:8\r\n"
                  "[SETMAC <tlv_insight_node>:<N>] Adding   TLV 0xfd: serial0\r\n"),
              std::string::npos)
        << log.unnumbered();
}

TEST_F(tlv_payload, keeps_a_sub_code_that_comes_twice_twice)
{
    apply(part(1, node("serial0", 1, text("A")) + node("serial0", 1, text("B"))));
    EXPECT_EQ(value(0xFD), (byte_list{0, 0, 0x7E, 0xD9, 0x44, 1, 'A', 0x44, 1, 'B'}));
}

TEST_F(tlv_payload, keeps_a_vendor_value_of_length_0_as_an_empty_sub_record)
{
    apply(part(1, node("serial0", 1, {}) + node("serial1", 1, text(""))));
    EXPECT_EQ(value(0xFD), (byte_list{0, 0, 0x7E, 0xD9, 0x44, 0, 0x45, 0}));
}

TEST_F(tlv_payload, keeps_the_records_by_their_names)
{
    apply(part(1, node("ProductModel", 1, text("SW-48")) + node("Part Number", 1, text("P1")) +
                      node("Serial Number", 1, text("ABCDEFGHJ1234")) +
                      node("MacAddress", 1, {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}) +
                      node("setmac_time", 1, text("2024-01-02 03:04:05 ")) +
                      node("ethaddr_scale", 1, text("80")) + node("Device Version", 1, text("7")) +
                      node("Manufacturer", 1, text("M")) + node("Country Code", 1, text("DE"))));
    EXPECT_EQ(value(0x21), bytes("SW-48"));
    EXPECT_EQ(value(0x22), bytes("P1"));
    EXPECT_EQ(value(0x23), bytes("ABCDEFGHJ1234"));
    EXPECT_EQ(value(0x24), (byte_list{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}));
    EXPECT_EQ(value(0x25), bytes("01/02/2024 03:04:05") + byte_list{0});
    EXPECT_EQ(value(0x26), byte_list{7});
    EXPECT_EQ(value(0x28), bytes("x86-64-SW-48-v1")) << "derived from the model";
    EXPECT_EQ(value(0x2A), (byte_list{0x00, 0x80}));
    EXPECT_EQ(value(0x2B), bytes("M"));
    EXPECT_EQ(value(0x2C), bytes("DE"));
    EXPECT_TRUE(is_checksum_valid(g_data_eeprom));
}

TEST_F(tlv_payload, logs_a_record_that_takes_the_place_of_another)
{
    const trace_log log;
    apply(part(1, node("Country Code", 1, text("DE"))));
    EXPECT_NE(log.unnumbered().find(
                  "[SETMAC <tlv_insight_node>:<N>] \r\nName:Country Code,Type:44,Len:3,Value:DE\r\n"
                  "[SETMAC <tlv_insight_node>:<N>] Deleting TLV 0x2c: Country Code\r\n"
                  "[SETMAC <tlvinfo_add_tlv>:<N>] new_tlv_len is:2\r\n"
                  "[SETMAC <tlv_insight_node>:<N>] Adding   TLV 0x2c: Country Code\r\n"),
              std::string::npos);
}

TEST_F(tlv_payload, logs_a_mac_address_on_its_way)
{
    const trace_log log;
    apply(part(1, node("MacAddress", 2, {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E})));
    EXPECT_NE(
        log.unnumbered().find("[SETMAC <tlv_insight_node>:<N>] \r\n~~~~00:1A:2B:3C:4D:5E~~~~"
                              "[SETMAC <tlv_insight_node>:<N>] \r\nmacaddr_tmp is:00:1A:2B:3C:4D:5E"
                              "[SETMAC <tlv_insight_node>:<N>] "
                              "\r\nName:MacAddress,Type:36,Len:18,Value:00:1A:2B:3C:4D:5E\r\n"),
        std::string::npos);
}

TEST_F(tlv_payload, fills_a_short_mac_address_with_zeros)
{
    apply(part(1, node("MacAddress", 2, {0x00, 0x1A})));
    EXPECT_EQ(value(0x24), (byte_list{0x00, 0x1A, 0, 0, 0, 0}));
}

TEST_F(tlv_payload, of_a_multicast_address_is_refused_before_anything_is_written)
{
    const trace_log log;
    const auto said = apply(part(1, node("MacAddress", 2, {1, 2, 3, 4, 5, 6})), -1);
    EXPECT_NE(said.find("ERROR: Bad MAC address format: 01:02:03:04:05:06\n"), std::string::npos);
    EXPECT_NE(log.unnumbered().find("[SETMAC <tlv_insight_node>:<N>] \r\ntlv info add err"),
              std::string::npos);
    EXPECT_TRUE(nothing_was_written());
    EXPECT_STREQ(get_product_info("ProductInfo"), "0A0A0A0A");
}

TEST_F(tlv_payload, of_a_crc_record_is_refused)
{
    apply(part(1, node("CRC-32", 1, text("1"))), -1);
    EXPECT_TRUE(nothing_was_written());
}

TEST_F(tlv_payload, takes_a_raw_vendor_extension)
{
    apply(part(1, node("Vendor Extension", 1, {0, 0, 0, 9, 0x44, 1, 'Z'})));
    EXPECT_EQ(value(0xFD), (byte_list{0, 0, 0, 9, 0x44, 1, 'Z'}));
    apply(part(1, node("Vendor Extension", 1, {0, 0, 0, 9}) + node("serial0", 1, text("Y"))));
    EXPECT_EQ(value(0xFD), (byte_list{0, 0, 0, 9, 0x44, 1, 'Y'}));
}

TEST_F(tlv_payload, derives_records_from_a_hardware_version)
{
    apply(part(1, node("HardwareVersion", 1, text("1.00"))));
    EXPECT_EQ(value(0x26), byte_list{100});
    EXPECT_EQ(value(0x27), bytes("00"));
    EXPECT_EQ(value(0xFD), (byte_list{0, 0, 0x7E, 0xD9, 0x41, 4, '1', '.', '0', '0'}));
}

TEST_F(tlv_payload, ends_a_text_at_its_end_where_no_nul_comes_before)
{
    apply(part(1, node("ProductModel", 1, bytes("ABC"))));
    EXPECT_EQ(value(0x28), bytes("x86-64-ABC-v1"));
    EXPECT_EQ(value(0x21), bytes("ABC"));
}

TEST_F(tlv_payload, without_room_for_a_record_counts_as_applied)
{
    // 62 bytes of defaults: a text of 181 characters just fits, one of 182 is left out.
    apply(part(1, node("ProductModel", 1, text(std::string(181, 'x')))));
    EXPECT_EQ(value(0x21).size(), 181U);
    EXPECT_EQ(tlv_total_length(g_data_eeprom), 245U);
    apply(part(1, node("ProductModel", 1, text(std::string(182, 'x')))));
    EXPECT_EQ(value(0x21), bytes("absent"));
    apply(part(1, node("ProductModel", 1, byte_list(100000, 'x'))));
    EXPECT_EQ(value(0x21), bytes("absent"));
    EXPECT_TRUE(is_checksum_valid(g_data_eeprom));
}

TEST_F(tlv_payload, without_room_for_a_vendor_extension_counts_as_applied)
{
    for (const size_t length : {176U, 255U, 300U, 100000U}) {
        apply(part(1, node("serial0", 1, byte_list(length, 'x'))));
        const bool fits = length == 176;
        EXPECT_EQ(value(0xFD).size(), fits ? 4 + 2 + 175U : 6U) << length;
    }
    EXPECT_TRUE(is_checksum_valid(g_data_eeprom));
}

TEST_F(tlv_payload, with_a_device_version_above_255_leaves_the_record_out)
{
    apply(part(1, node("Device Version", 1, text("256"))));
    EXPECT_EQ(value(0x26), bytes("absent"));
}

TEST_F(tlv_payload, skips_parts_of_flag_0_without_looking_at_them)
{
    apply(part(0, bytes("\xFF\xFF not nodes")) + part(7, node("Country Code", 1, text("DE"))));
    EXPECT_EQ(value(0x2C), bytes("DE"));
}

TEST_F(tlv_payload, logs_and_skips_nodes_of_unknown_names)
{
    const trace_log log;
    apply(part(1, node("colour", 9, text("red")) + node("Country Code", 1, text("DE"))));
    EXPECT_NE(log.unnumbered().find("[SETMAC <tlv_insight_node>:<N>] \r\nThis is invalid "
                                    "node:Name:colour,Type:0,Len:4,Value:red"),
              std::string::npos);
    EXPECT_EQ(value(0x2C), bytes("DE"));
}

TEST_F(tlv_payload, for_this_card_type_is_applied)
{
    insert_card();
    apply(part(1, node("e2type", 1, {0x00, 0x05})));
    EXPECT_EQ(value(0xFD), (byte_list{0, 0, 0x7E, 0xD9, 0x4A, 2, 0x00, 0x05}));
}

TEST_F(tlv_payload, for_another_card_type_fails_before_anything_is_written)
{
    insert_card();
    apply(part(1, node("Country Code", 1, text("DE")) + node("e2type", 1, {0x05, 0x00})), -1);
    EXPECT_TRUE(nothing_was_written());
}

TEST_F(tlv_payload, for_any_card_type_is_applied_where_the_card_cannot_be_read)
{
    board().inject({.operation = "transfer", .path = e2prom_path, .times = 5, .error = ENXIO});
    apply(part(1, node("e2type", 1, {0x12})));
    EXPECT_EQ(value(0xFD), (byte_list{0, 0, 0x7E, 0xD9, 0x4A, 1, 0x12}));
}

TEST_F(tlv_payload, that_is_cut_off_or_overlong_is_malformed_and_writes_nothing)
{
    const auto whole = part(1, node("Country Code", 1, text("DE")));
    for (size_t length = 1; length < whole.size(); ++length) {
        const byte_list cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
        apply(cut, -2);
    }
    apply(whole + byte_list{0}, -2);
    apply({0, 0, 0, 0, 0}, -2);
    apply({1, 0, 0, 0, 4}, -2);
    apply({0, 0, 0, 0, 4, 1, 2, 3, 4}, -2);
    apply({1, 0xFF, 0xFF, 0xFF, 0xFF}, -2);
    apply(part(1, bytes("serial0") + byte_list{0, 1, 0x80, 0, 0, 0, 'x'}), -2);
    EXPECT_TRUE(nothing_was_written());
}

/** The last two lines of a log, without their line numbers. */
std::string last_two_lines(const trace_log &log)
{
    const auto text = log.unnumbered();
    return text.substr(text.rfind("[SETMAC", text.rfind("[SETMAC") - 1));
}

TEST_F(tlv_payload, whose_part_is_shorter_than_its_header_is_told_of_its_nodes)
{
    const std::pair<byte_list, std::string> cases[] = {
        {{1, 0, 0, 0, 0}, "-5"},
        {{1, 0, 0, 0, 3}, "-2"},
        {{0xFF, 0, 0, 0, 4}, "-1"},
        {{1, 0xFF, 0xFF, 0xFF, 0xFF}, "-6"},
        {{1, 0x80, 0, 0, 5, 'x'}, "-2147483648"},
    };
    for (const auto &[content, length] : cases) {
        const trace_log log;
        apply(content, -2);
        EXPECT_EQ(last_two_lines(log), "[SETMAC <tlv_data_apply>:<N>] \r\nnPartLen:" + length +
                                           "[SETMAC <tlv_insight_node>:<N>] \r\n length err\r\n");
    }
    EXPECT_TRUE(nothing_was_written());
}

TEST_F(tlv_payload, whose_skipped_part_is_shorter_than_its_header_is_told_of_its_end)
{
    for (const auto &[last, length] : {std::pair{0, "-5"}, std::pair{4, "-1"}}) {
        const trace_log log;
        apply({0, 0, 0, 0, static_cast<uint8_t>(last)}, -2);
        EXPECT_EQ(last_two_lines(log), std::string("[SETMAC <tlv_data_apply>:<N>] \r\nnPartLen:") +
                                           length +
                                           "[SETMAC <tlv_data_apply>:<N>] "
                                           "\r\n length err---2\r\n");
    }
    EXPECT_TRUE(nothing_was_written());
}

TEST_F(tlv_payload, that_ends_inside_its_part_is_applied_so_far_and_then_refused)
{
    auto overrun = part(1, node("Country Code", 1, text("DE")));
    ++overrun[4];
    const trace_log log;
    apply(overrun, -2);
    EXPECT_EQ(value(0x2C), bytes("DE"));
    EXPECT_NE(log.unnumbered().find("[SETMAC <tlv_data_apply>:<N>] \r\n length err---2\r\n"),
              std::string::npos);
    EXPECT_TRUE(nothing_was_written());
}

TEST_F(tlv_payload, nodes_of_no_bytes_are_no_failure_and_of_fewer_are)
{
    EXPECT_EQ(tlv_insight_node(nullptr, 0), 0);
    const trace_log log;
    EXPECT_EQ(tlv_insight_node(g_setmac_data, -1), -2);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <tlv_insight_node>:<N>] \r\n length err\r\n");
}

} // namespace
