#include <gtest/gtest.h>

#include "e2e/support/tlv_board.h"

// The debug log of "prov_setmac setmac" of the TLV flavour. Whoever looks for the reason of a
// refused payload reads it, and so do scripts: every line in its place.

namespace {

using e2e::bytes;
using e2e::outcome;
using e2e::terminal_session;
using e2e::text_node;
using e2e::tlv_node;
using e2e::tlv_part;

const std::string success = "[SETMAC <smp_recv>:<N>] \r\nSetMac Success";
const std::string failure = "[SETMAC <smp_recv>:<N>] \r\nSetMac Fail:write";

/** The log from the handler's start on, to the end of the exchange. */
std::string log_of(const e2e::frame &payload, const std::string &end)
{
    const auto board = e2e::board_with_eeprom(e2e::protected_tlv_board + e2e::card_14,
                                              e2e::eeprom_content(e2e::default_image, 0xFF));
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {e2e::tlv_prov_setmac, "setmac", log.string()});
    session.expect(e2e::setmac_banner);
    send_frame(session, payload);
    session.expect(bytes({0x07}));
    if (end == failure) {
        e2e::wait_for_log(log, "SetMac Fail:write");
        session.send(bytes({0x00}));
    }
    EXPECT_EQ(session.finish().status, 0);
    const std::string all = e2e::unnumbered_log(log);
    const std::string start = "\r\n write pre sucess";
    const auto from = all.find(start) + start.size();
    return all.substr(from, all.find(end) + end.size() - from);
}

std::string new_length(int length)
{
    return "[SETMAC <tlvinfo_add_tlv>:<N>] new_tlv_len is:" + std::to_string(length) + "\r\n";
}

/** A default record goes in; those that are no strings are not measured. */
std::string added_default(const std::string &code, const std::string &text)
{
    return "[SETMAC <e2prom_value_default_init>:<N>] \r\nAdding TLV " + code + ": " + text + "\r\n";
}

const std::string default_log =
    new_length(6) + added_default("0x2b", "talvex") + new_length(2) + added_default("0x2c", "cn") +
    new_length(6) + added_default("0x2d", "talvex") + new_length(1) + added_default("0x2e", "0") +
    new_length(1) + added_default("0x2f", "0") + new_length(4) + added_default("0x22", "0000") +
    new_length(7) + added_default("0x29", "0000000") + added_default("0x26", "1") + new_length(2) +
    added_default("0x27", "00") + new_length(6) + added_default("0x28", "x86-64");

std::string header_log(int total_length)
{
    return "[SETMAC <show_eeprom>:<N>] TlvInfo Header:\r\n"
           "[SETMAC <show_eeprom>:<N>]    Id String:    TlvInfo\r\n"
           "[SETMAC <show_eeprom>:<N>]    Version:      1\r\n"
           "[SETMAC <show_eeprom>:<N>]    Total Length: " +
           std::to_string(total_length) +
           "\r\n"
           "[SETMAC <show_eeprom>:<N>] TLV Name             Code Len Value\r\n"
           "[SETMAC <show_eeprom>:<N>] -------------------- ---- --- -----\r\n"
           "[SETMAC <show_eeprom>:<N>] Checksum is valid.\n";
}

const std::string programmed_log = "[SETMAC <prog_eeprom>:<N>] Save product info success.\n"
                                   "[SETMAC <tlv_data_apply>:<N>] \r\nSave to ram OK\r\n" +
                                   success;

/** A node goes in, or more exactly its record. */
std::string added(const std::string &code, const std::string &name)
{
    return "[SETMAC <tlv_insight_node>:<N>] Adding   TLV " + code + ": " + name + "\r\n";
}

std::string part_log(int offset, int length)
{
    return "[SETMAC <tlv_data_apply>:<N>] \r\nFlag at " + std::to_string(offset) +
           " Bytes[SETMAC <tlv_data_apply>:<N>] \r\nnPartLen:" + std::to_string(length);
}

TEST(tlv_trace, of_an_empty_payload)
{
    EXPECT_EQ(log_of(e2e::empty_frame, success),
              default_log + header_log(62) +
                  "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable reg:[0x0]!\r\n"
                  "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable[0x25]!\r\n" +
                  programmed_log);
}

TEST(tlv_trace, of_records_and_what_is_derived_from_them)
{
    const auto nodes = text_node("ProductModel", "ES24") +
                       tlv_node("MacAddress", bytes({0x00, 0xD0, 0xF8, 0xA1, 0xB2, 0xC3})) +
                       text_node("setmac_time", "2024-01-02 03:04:05 ") +
                       text_node("Part Number", "P1");
    EXPECT_EQ(log_of(e2e::framed(tlv_part(1, nodes), 0x1BECDA18), success),
              default_log + part_log(0, 103) +
                  "[SETMAC <analy_private_to_onie_code>:<N>] \r\nDeleting TLV 0x28: platform name" +
                  new_length(14) +
                  "[SETMAC <analy_private_to_onie_code>:<N>] \r\nAdding   TLV 0x28: platform name"
                  "[SETMAC <tlv_insight_node>:<N>] \r\n"
                  "Name:ProductModel,Type:33,Len:5,Value:ES24\r\n" +
                  new_length(4) + added("0x21", "ProductModel") +
                  "[SETMAC <tlv_insight_node>:<N>] \r\n~~~~00:D0:F8:A1:B2:C3~~~~"
                  "[SETMAC <tlv_insight_node>:<N>] \r\nmacaddr_tmp is:00:D0:F8:A1:B2:C3"
                  "[SETMAC <tlv_insight_node>:<N>] \r\n"
                  "Name:MacAddress,Type:36,Len:18,Value:00:D0:F8:A1:B2:C3\r\n" +
                  added("0x24", "MacAddress") +
                  "[SETMAC <tlv_insight_node>:<N>] \r\n"
                  "Name:setmac_time,Type:37,Len:21,Value:2024-01-02 03:04:05 \r\n"
                  "[SETMAC <set_date>:<N>] \r\nstr new is: 01/02/2024 03:04:05" +
                  added("0x25", "setmac_time") +
                  "[SETMAC <tlv_insight_node>:<N>] \r\n"
                  "Name:Part Number,Type:34,Len:3,Value:P1\r\n"
                  "[SETMAC <tlv_insight_node>:<N>] Deleting TLV 0x22: Part Number\r\n" +
                  new_length(2) + added("0x22", "Part Number") + header_log(104) +
                  "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable reg:[0x0]!\r\n"
                  "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable[0x25]!\r\n" +
                  programmed_log);
}

TEST(tlv_trace, of_vendor_extensions_and_a_register_in_the_last_of_three_parts)
{
    const auto payload =
        tlv_part(1, "") + tlv_part(0, "skipped") +
        tlv_part(2, text_node("HardwareVersion", "2.1") + tlv_node("e2type", bytes({0x00, 0x0E})) +
                        tlv_node("e2_write_en_reg", bytes({0x31})));
    EXPECT_EQ(
        log_of(e2e::framed(payload, 0xE8EBEFDA), success),
        default_log + part_log(0, 0) + part_log(5, 7) + part_log(17, 61) +
            "[SETMAC <analy_private_to_onie_code>:<N>] \r\n"
            "device version is:50, label revision is:1."
            "[SETMAC <analy_private_to_onie_code>:<N>] \r\nDeleting TLV 0x26: device version"
            "[SETMAC <analy_private_to_onie_code>:<N>] \r\nDeleting TLV 0x27: label revision"
            "[SETMAC <analy_private_to_onie_code>:<N>] \r\nAdding   TLV 0x26: device version" +
            new_length(1) +
            "[SETMAC <analy_private_to_onie_code>:<N>] \r\nAdding   TLV 0x27: label revision"
            "[SETMAC <tlv_insight_node>:<N>] \r\n"
            "Name:HardwareVersion,Type:65,Len:4,Value:2.1\r\n"
            "[SETMAC <tlv_insight_node>:<N>] \r\next node:Value:" +
            new_length(9) + added("0xfd", "HardwareVersion") +
            "[SETMAC <setmac_check_eeprom_type>:<N>] \r\nCheck eeprom type, read:14, check:14 "
            "[SETMAC <tlv_insight_node>:<N>] \r\nName:e2type,Type:74,Len:2,Value:\r\n"
            "[SETMAC <tlv_insight_node>:<N>] \r\next node:Value:"
            "[SETMAC <tlv_insight_node>:<N>] Deleting TLV 0xfd: e2type\r\n" +
            new_length(13) + added("0xfd", "e2type") +
            "[SETMAC <get_eeprom_writeable_reg>:<N>] \r\nget e2 write writeable reg:0x31"
            "[SETMAC <tlv_insight_node>:<N>] \r\n"
            "This is invalid node:Name:e2_write_en_reg,Type:0,Len:1,Value:1" +
            header_log(76) +
            "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable reg:[0x31]!\r\n"
            "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable:[0x31]!\r\n" +
            programmed_log);
}

TEST(tlv_trace, of_payloads_that_are_refused)
{
    EXPECT_EQ(
        log_of(e2e::framed(tlv_part(2, text_node("setmac_time", "2024")), 0xB63BFBCE), failure),
        default_log + part_log(0, 22) +
            "[SETMAC <tlv_insight_node>:<N>] \r\nName:setmac_time,Type:37,Len:5,Value:2024\r\n"
            "[SETMAC <set_date>:<N>] \r\nERROR: Date strlen() != 20 -- 4"
            "[SETMAC <set_date>:<N>] \r\n"
            "ERROR: Bad date format (MM/DD/YYYY hh:mm:ss): 2024"
            "[SETMAC <tlv_insight_node>:<N>] \r\ntlv info add err" +
            failure);
    EXPECT_EQ(
        log_of(e2e::framed(tlv_part(2, tlv_node("e2type", bytes({0x05}))), 0x4C273951), failure),
        default_log + part_log(0, 13) +
            "[SETMAC <setmac_check_eeprom_type>:<N>] \r\n"
            "Check eeprom type, read:14, check:5 " +
            failure);
    EXPECT_EQ(log_of(e2e::framed(tlv_part(2, "serial0"), 0x2094981E), failure),
              default_log + part_log(0, 7) + "[SETMAC <tlv_insight_node>:<N>] \r\n length err\r\n" +
                  failure);
    EXPECT_EQ(log_of(e2e::framed(bytes({0x01, 0x00, 0x00, 0x00, 0x03}), 0x035EFAC8), failure),
              default_log + part_log(0, -2) +
                  "[SETMAC <tlv_insight_node>:<N>] \r\n length err\r\n" + failure);
    EXPECT_EQ(log_of(e2e::framed(bytes({0x00, 0x00, 0x00, 0x00, 0x06}), 0x5D96F62E), failure),
              default_log + part_log(0, 1) +
                  "[SETMAC <tlv_data_apply>:<N>] \r\n length err---2\r\n" + failure);
}

} // namespace
