#include <ostream>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/tlv_board.h"

// Payloads that "prov_setmac setmac" of the TLV flavour refuses: before anything is written, and so
// that the PC can try again.

namespace {

using e2e::bytes;
using e2e::default_image;
using e2e::eeprom_content;
using e2e::framed;
using e2e::outcome;
using e2e::send_frame;
using e2e::setmac_banner;
using e2e::terminal_session;
using e2e::text_node;
using e2e::tlv_node;
using e2e::tlv_part;
using e2e::tlv_prov_setmac;

using operation_list = std::vector<std::string>;

const auto good_frame = framed(tlv_part(2, text_node("serial0", "A1")), 0x7D087BAD);

const std::string good_image = e2e::tlv_image(
    e2e::default_records +
        e2e::tlv_record(0xFD, bytes({0x00, 0x00, 0x7E, 0xD9, 0x44, 0x02, 0x41, 0x31})),
    0xF7BE91D1);

const std::string good_rows =
    std::string(e2e::default_rows.substr(0, e2e::default_rows.find("CRC-32"))) +
    "Vendor Extension     0xFD   8  0x00 0x00 0x7E 0xD9 0x44 0x02 0x41 0x31\n"
    "CRC-32               0xFE   4 0xF7BE91D1\n";

const std::string refused_mac = "ERROR: MAC address must not be 00:00:00:00:00:00, a multicast "
                                "address or FF:FF:FF:FF:FF:FF.\n"
                                "ERROR: Bad MAC address format: ";

struct refusal {
    std::string name;
    e2e::frame payload;
    std::string said = {}; // to the operator, in the middle of the exchange
};

std::ostream &operator<<(std::ostream &out, const refusal &one)
{
    return out << one.name;
}

/** A board of card type 14 whose EEPROM would take what is written. */
e2e::board_folder open_board()
{
    return e2e::board_with_eeprom(e2e::tlv_board + "[cpld]\n" + e2e::card_14,
                                  eeprom_content(default_image, 0xA5));
}

class tlv_payload : public testing::TestWithParam<refusal> {};

TEST_P(tlv_payload, is_refused_before_anything_is_written_and_another_taken)
{
    const auto board = open_board();
    terminal_session session(board, {tlv_prov_setmac, "setmac"});
    session.expect(setmac_banner);
    send_frame(session, GetParam().payload);
    session.expect(bytes({0x07}) + GetParam().said + bytes({0x12}));
    EXPECT_EQ(e2e::eeprom_writes(board), operation_list{});
    EXPECT_TRUE(
        e2e::memory_is(board, e2e::system_eeprom_file, eeprom_content(default_image, 0xA5)));
    // Neither flash nor a register.
    EXPECT_TRUE(e2e::untouched_nor_holds(board, e2e::no_product_records));

    send_frame(session, good_frame);
    session.expect(bytes({0x07}) + good_rows + bytes({0x06}));
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_TRUE(e2e::eeprom_holds(board, good_image));
    EXPECT_TRUE(e2e::nor_holds(board, e2e::marked_complete));
}

const std::string a1_header = std::string("serial0") + bytes({0x00, 0x01});

/** A part of one node "serial0", from whose value length on everything is given. */
std::string cut_part(const std::string &length_and_value)
{
    return tlv_part(2, a1_header + length_and_value);
}

const refusal refusals[] = {
    // Values.
    {"multicast_mac",
     framed(tlv_part(2, tlv_node("MacAddress", bytes({0x01, 0x02, 0x03, 0x04, 0x05, 0x06}))),
            0xE6B5FE8C),
     refused_mac + "01:02:03:04:05:06\n"},
    {"zero_mac", framed(tlv_part(2, tlv_node("MacAddress", e2e::repeated(6, 0x00))), 0x8529915B),
     refused_mac + "00:00:00:00:00:00\n"},
    {"broadcast_mac",
     framed(tlv_part(2, tlv_node("MacAddress", e2e::repeated(6, 0xFF))), 0x401B4954),
     refused_mac + "FF:FF:FF:FF:FF:FF\n"},
    {"date_of_19_characters",
     framed(tlv_part(2, text_node("setmac_time", "2024-01-02 03:04:05")), 0x8306FBF2)},
    {"scale_above_65535", framed(tlv_part(2, text_node("ethaddr_scale", "10000")), 0xAAB543F1)},
    {"crc_record", framed(tlv_part(2, text_node("CRC-32", "1")), 0xB0CA7487)},
    // The card type, behind a node that is all right.
    {"other_card_type",
     framed(tlv_part(2, text_node("serial0", "A1") + tlv_node("e2type", bytes({0x00, 0x05}))),
            0xEC214F23)},
    {"card_type_of_reversed_bytes",
     framed(tlv_part(2, tlv_node("e2type", bytes({0x0E, 0x00}))), 0x0176B269)},
    {"card_type_of_no_bytes", framed(tlv_part(2, tlv_node("e2type", "")), 0xE4974E90)},
    {"card_type_of_five_bytes",
     framed(tlv_part(2, tlv_node("e2type", bytes({0x00, 0x00, 0x00, 0x00, 0x0E}))), 0x4B2D197A)},
    // Parts.
    {"part_header_cut_off", framed(bytes({0x02, 0x00, 0x00, 0x00}), 0x7B1EF5A2)},
    {"single_byte", framed(bytes({0x00}), 0x4E08BFB4)},
    {"part_length_below_its_header", framed(bytes({0x02, 0x00, 0x00, 0x00, 0x04}), 0xC60E025A)},
    {"skipped_part_of_length_0", framed(bytes({0x00, 0x00, 0x00, 0x00, 0x00}), 0x4710BB9C)},
    {"part_one_byte_too_long",
     framed(bytes({0x02, 0x00, 0x00, 0x00, 0x16}) + text_node("serial0", "A1"), 0x457D284A)},
    {"skipped_part_too_long", framed(bytes({0x00, 0x00, 0x00, 0x00, 0x0A}) + "1234", 0x38B5BE55)},
    {"part_of_2_to_the_31",
     framed(bytes({0x02, 0x80, 0x00, 0x00, 0x00}) + text_node("serial0", "A1"), 0x2EB96145)},
    {"good_part_and_a_cut_one",
     framed(tlv_part(2, text_node("serial0", "A1")) + bytes({0x02}), 0xD0800D5A)},
    // Nodes.
    {"name_without_end", framed(tlv_part(2, "serial0"), 0x2094981E)},
    {"name_alone", framed(tlv_part(2, std::string("serial0") + '\0'), 0xFEBB0286)},
    {"value_length_cut_off", framed(cut_part(bytes({0x00, 0x00})), 0x2A870C71)},
    {"value_past_its_part",
     framed(cut_part(bytes({0x00, 0x00, 0x00, 0x04}) + "A1" + '\0'), 0x618A85C6)},
    {"value_of_2_to_the_31",
     framed(cut_part(bytes({0x80, 0x00, 0x00, 0x00}) + "A1" + '\0'), 0x30AF27A6)},
    {"value_of_all_ones",
     framed(cut_part(bytes({0xFF, 0xFF, 0xFF, 0xFF}) + "A1" + '\0'), 0x9C7B0085)},
    {"unknown_name_with_a_value_past_its_part",
     framed(tlv_part(2, std::string("x") + bytes({0x00, 0x01, 0x00, 0x00, 0x00, 0x01})),
            0x3C90DC5A)},
};

INSTANTIATE_TEST_SUITE_P(of, tlv_payload, testing::ValuesIn(refusals),
                         [](const auto &one) { return one.param.name; });

TEST(tlv_refusal, leaves_the_mark_of_an_unfinished_write_when_no_other_payload_follows)
{
    const auto board = open_board();
    terminal_session session(board, {tlv_prov_setmac, "setmac"});
    session.expect(setmac_banner);
    send_frame(session, framed(bytes({0x00}), 0x4E08BFB4));
    session.expect(e2e::failed);
    send_frame(session, e2e::damaged(good_frame));
    session.expect(e2e::bad_value);
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_EQ(e2e::eeprom_writes(board), operation_list{});
    EXPECT_TRUE(e2e::nor_holds(board, e2e::product_image(0x97B22CCA, {"ProductInfo=0A0A0A0A"})));
}

TEST(tlv_refusal, of_a_card_that_tells_no_type_is_that_of_any_type)
{
    // A format that no card has.
    const auto board = e2e::board_with_eeprom(
        e2e::tlv_board + "[[eeprom]]\naddress = 0x57\ncontent = \"03 00 00 0E\"\n",
        eeprom_content(default_image, 0xA5));
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {tlv_prov_setmac, "setmac", log.string()});
    session.expect(setmac_banner);
    send_frame(session, framed(tlv_part(2, tlv_node("e2type", bytes({0x00, 0x0E}))), 0x5266EE97));
    session.expect(e2e::failed);
    session.send(bytes({0x00}));
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_NE(e2e::unnumbered_log(log).find("[SETMAC <setmac_check_eeprom_type>:<N>] \r\n"
                                            "Error eeprom read type:-1[SETMAC <smp_recv>:<N>] "
                                            "\r\nSetMac Fail:write"),
              std::string::npos)
        << e2e::read_file(log);
    EXPECT_EQ(e2e::eeprom_writes(board), operation_list{});
}

} // namespace
