#include <algorithm>
#include <cerrno>
#include <regex>

#include "eeprom/e2prom.h"
#include "exchange/format_info.h"
#include "sim/board/board.h"
#include "unit/switch/support.h"

namespace {

using support::operator+;
using support::trace_log;

using byte_list = std::vector<uint8_t>;

constexpr const char *bus = "/dev/i2c-0";

/** A board with a card EEPROM, whose type nobody has asked for yet. */
class card_type : public testing::Test {
protected:
    void SetUp() override { sdd_my_type = 0; }
    void TearDown() override { sdd_my_type = 0; }

    void fit(std::vector<uint8_t> content)
    {
        board_.emplace(
            sim::board_description{.eeproms = {{.address = 0x57, .content = std::move(content)}}});
    }

    void fit_none() { board_.emplace(sim::board_description{}); }

    static int32_t look_up(uint32_t &value, uint32_t capacity = 4)
    {
        return setmac_get_e2prom_info_by_type(&value, &capacity);
    }

    sim::board &board() { return *board_; }

private:
    std::optional<sim::board> board_;
};

/** A record of format 1 by hand: header, a type-6 entry with 0x00000109, checksum. */
std::vector<uint8_t> format_1_record()
{
    // 01 + 7E + 00 + F1 + 00 + 0A = 17A; 01 02 AA BB = 168; 06 04 00 00 01 09 = 14; sum 2F6.
    return {0x01, 0x7E, 0x00, 0xF1, 0x00, 0x0A, 0x01, 0x02, 0xAA,
            0xBB, 0x06, 0x04, 0x00, 0x00, 0x01, 0x09, 0x02, 0xF6};
}

TEST_F(card_type, comes_from_the_tlv_area_of_a_checked_record)
{
    fit(format_1_record());
    EXPECT_EQ(setmac_get_my_card_type(), 0x109);
    EXPECT_EQ(sdd_my_type, 0x109);
}

TEST_F(card_type, is_read_once)
{
    fit(format_1_record());
    setmac_get_my_card_type();
    const size_t transfers = board().count("transfer");
    EXPECT_EQ(setmac_get_my_card_type(), 0x109);
    EXPECT_EQ(board().count("transfer"), transfers);
}

TEST_F(card_type, lookup_logs_its_steps)
{
    fit(format_1_record());
    const trace_log log;
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), 0);
    const auto text = std::regex_replace(log.unnumbered(), std::regex("0x[0-9a-f]{6,}"), "P");
    EXPECT_EQ(text,
              "[SETMAC <dfd_check_e2prom_info>:<N>] Len:16, chechsum_low:0x2, high:0xf6, "
              "checksum:0x2f6.\n"
              "[SETMAC <dfd_get_tlv_data>:<N>] TLV Len:2\n"
              "[SETMAC <dfd_get_tlv_data>:<N>] tlv: P, tlv->type: 0x1, tlv->len: 0x2 tlv_len: 0xa\n"
              "[SETMAC <dfd_get_tlv_data>:<N>] tlv: P, tlv->type: 0x6, tlv->len: 0x4 tlv_len: "
              "0xa\n");
}

TEST_F(card_type, of_a_record_with_a_bad_checksum_is_unknown_and_not_remembered)
{
    auto record = format_1_record();
    record[17] = 0xF7;
    fit(record);
    const trace_log log;
    EXPECT_EQ(setmac_get_my_card_type(), -1);
    EXPECT_EQ(sdd_my_type, 0);
    EXPECT_NE(log.unnumbered().find("[SETMAC <dfd_check_e2prom_info>:<N>] ERROR:old checksum:759, "
                                    "new checksum:758.\n"),
              std::string::npos);
    record[17] = 0xF6;
    std::ranges::copy(record, board().eeprom(0x57).begin());
    EXPECT_EQ(setmac_get_my_card_type(), 0x109);
}

TEST_F(card_type, byte_is_the_type_when_it_is_not_the_one_for_the_area)
{
    // 01 + 7E + 00 + 21 + 00 + 03 + 01 + 01 + 05 = AA
    fit({0x01, 0x7E, 0x00, 0x21, 0x00, 0x03, 0x01, 0x01, 0x05, 0x00, 0xAA});
    EXPECT_EQ(setmac_get_my_card_type(), 0x21);
}

TEST_F(card_type, lookup_refuses_areas_shorter_than_3_or_longer_than_244)
{
    for (const uint8_t length : byte_list{2, 245}) {
        fit({0x01, 0x7E, 0x00, 0xF1, 0x00, length});
        const trace_log log;
        uint32_t value = 0;
        EXPECT_EQ(look_up(value), -1);
        EXPECT_EQ(log.unnumbered(), "[SETMAC <dfd_check_e2prom_info>:<N>] E2prom TLV LEN error, "
                                    "LEN:" +
                                        std::to_string(length) + ".\n");
    }
}

TEST_F(card_type, lookup_takes_the_longest_area)
{
    // Entries of type 1 up to the last six bytes, which are the card type's.
    std::vector<uint8_t> record = {0x01, 0x7E, 0x00, 0xF1, 0x00, 0xF4, 0x01, 0xEC};
    record.resize(6 + 244 - 6, 0);
    record = record + std::vector<uint8_t>{0x06, 0x04, 0x00, 0x00, 0x00, 0x2A};
    // 01 + 7E + F1 + F4 + 01 + EC + 06 + 04 + 2A = 385
    record = record + std::vector<uint8_t>{0x03, 0x85};
    fit(record);
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), 0);
    EXPECT_EQ(value, 0x2AU);
}

TEST_F(card_type, lookup_needs_the_flag_but_for_format_2)
{
    fit({0x01, 0x00, 0x00, 0x21, 0x00, 0x03});
    const trace_log log;
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), -1);
    EXPECT_EQ(log.unnumbered(),
              "[SETMAC <dfd_check_e2prom_info>:<N>] E2prom flag ERROR, flag:0.\n");
    fit({0x02, 0x00, 0x00, 0x21, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(look_up(value), 0);
    EXPECT_EQ(value, 0x21U);
}

TEST_F(card_type, lookup_of_an_unknown_format_uses_the_long_header)
{
    // 03 + 7E + F1 + 06 + 06 + 04 + 07 = 189
    fit({0x03, 0x7E, 0x00, 0xF1, 0, 0, 0, 0, 0x00, 0x06, 0x06, 0x04, 0, 0, 0, 0x07, 0x01, 0x89});
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), 0);
    EXPECT_EQ(value, 7U);
    EXPECT_EQ(setmac_get_my_card_type(), -1) << "but the type of such a card is not known";
}

TEST_F(card_type, lookup_without_a_card_type_entry_fails)
{
    // 01 + 7E + F1 + 06 + 01 + 01 + AA + 02 + 01 + BB = 2E0
    fit({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x06, 0x01, 0x01, 0xAA, 0x02, 0x01, 0xBB, 0x02, 0xE0});
    const trace_log log;
    uint32_t value = 5;
    EXPECT_EQ(look_up(value), -1);
    EXPECT_EQ(value, 5U);
    EXPECT_NE(
        log.unnumbered().find("[SETMAC <dfd_get_tlv_data>:<N>] Not support to get info: 6.\n"),
        std::string::npos);
}

TEST_F(card_type, lookup_passes_over_an_entry_that_is_longer_than_the_slot)
{
    // 01+7E+F1+0D + 06+05+1+1+1+1+1 + 06+04+63 = 1FA
    fit({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x0D, 0x06, 0x05, 1,    1,   1,
         1,    1,    0x06, 0x04, 0,    0,    0,    0x63, 0x01, 0xFA});
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), 0);
    EXPECT_EQ(value, 0x63U);
}

TEST_F(card_type, of_a_short_entry_is_the_low_end_of_the_number_in_four_bytes)
{
    // A two-byte entry in front of others: the number is 0x00050102, of which two bytes are kept.
    // 01+7E+F1+06 + 06+02+00+05 + 01+02 = 186
    fit({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x06, 0x06, 0x02, 0x00, 0x05, 0x01, 0x02, 0x01, 0x86});
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), 0);
    EXPECT_EQ(value, 0x0102U);
}

TEST_F(card_type, bytes_missing_from_the_area_are_zero)
{
    // 01+7E+F1+03 + 06+04+09 = 186; the checksum that follows is not part of the value.
    fit({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x03, 0x06, 0x04, 0x09, 0x01, 0x86});
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), 0);
    EXPECT_EQ(value, 0x09000000U);
}

TEST_F(card_type, last_entry_of_the_area_may_lack_all_of_its_value)
{
    // 01+7E+F1+05 + 01+01+AA + 06+04 = 22B
    fit({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x05, 0x01, 0x01, 0xAA, 0x06, 0x04, 0x02, 0x2B});
    uint32_t value = 0x55;
    uint32_t capacity = 4;
    EXPECT_EQ(setmac_get_e2prom_info_by_type(&value, &capacity), 0);
    EXPECT_EQ(capacity, 4U);
    EXPECT_EQ(value, 0U);
}

TEST_F(card_type, last_byte_of_the_area_is_an_entry_whose_missing_length_is_zero)
{
    // 01+7E+F1+03 + 05+00+06 = 17E; the byte behind the area is the checksum's.
    fit({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x03, 0x05, 0x00, 0x06, 0x01, 0x7E});
    uint32_t value = 0x55;
    uint32_t capacity = 4;
    EXPECT_EQ(setmac_get_e2prom_info_by_type(&value, &capacity), 0);
    EXPECT_EQ(capacity, 0U);
    EXPECT_EQ(value, 0x55U) << "no byte was delivered";
    EXPECT_EQ(setmac_get_my_card_type(), 0);
    // The same with a type of no interest: 17F. It is walked over, and logged as an entry.
    fit({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x03, 0x05, 0x00, 0x07, 0x01, 0x7F});
    const trace_log log;
    EXPECT_EQ(look_up(value), -1);
    EXPECT_NE(log.text().find("tlv->type: 0x7, tlv->len: 0x0 tlv_len: 0x3\n"), std::string::npos);
    EXPECT_NE(log.text().find("Not support to get info: 6.\n"), std::string::npos);
}

TEST_F(card_type, lookup_needs_room_for_the_value)
{
    fit(format_1_record());
    const trace_log log;
    uint32_t value = 0;
    EXPECT_EQ(look_up(value, 0), -22);
    EXPECT_NE(log.unnumbered().find("[SETMAC <dfd_get_tlv_data>:<N>] Invalid parameter!\n"),
              std::string::npos);
    fit({0x02, 0x7E, 0x00, 0x21, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(look_up(value, 3), -1);
}

TEST_F(card_type, lookup_of_an_empty_area_fails)
{
    fit({0x02, 0x7E, 0x00, 0xF1, 0, 0, 0, 0, 0, 0});
    const trace_log log;
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), -22);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <dfd_get_tlv_data>:<N>] No TVL data.\n");
}

TEST_F(card_type, lookup_fails_with_the_transfer)
{
    fit_none();
    const trace_log log;
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), -1);
    EXPECT_NE(log.unnumbered().find("[SETMAC <dfd_get_e2prom_info>:<N>] Read eeprom error(dev: "
                                    "/dev/i2c-0, addr: 57).\n"),
              std::string::npos);
}

TEST_F(card_type, lookup_fails_when_the_record_cannot_be_read_whole)
{
    fit(format_1_record());
    board().inject({.operation = "transfer", .path = bus, .call = 2, .times = 5, .error = EIO});
    const trace_log log;
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), -1);
    EXPECT_NE(log.unnumbered().find("[SETMAC <dfd_check_e2prom_info>:<N>] Read eeprom error(dev "
                                    "name:/dev/i2c-0, addr: 0x57).\n"),
              std::string::npos);
}

TEST_F(card_type, lookup_fails_when_the_area_cannot_be_read)
{
    fit(format_1_record());
    board().inject({.operation = "transfer", .path = bus, .call = 3, .times = 5, .error = EIO});
    const trace_log log;
    uint32_t value = 0;
    EXPECT_EQ(look_up(value), -1);
    EXPECT_NE(log.unnumbered().find("[SETMAC <dfd_get_tlv_data>:<N>] Get TLV data error.\n"),
              std::string::npos);
}

TEST_F(card_type, of_legacy_cards_of_format_1)
{
    const auto legacy = [](uint8_t code, uint8_t sub_type) {
        std::vector<uint8_t> content(128, 0);
        content[0] = 1;
        content[3] = code;
        content[64] = sub_type;
        return content;
    };
    const struct {
        uint8_t code;
        uint8_t sub_type;
        int32_t type;
    } cases[] = {
        {0x9C, 0x11, 14}, {0x9C, 0x01, 15}, {0x9C, 0x02, 41}, {0x9E, 0x11, 42}, {0x31, 0x11, 0x31}};
    for (const auto &[code, sub_type, type] : cases) {
        sdd_my_type = 0;
        fit(legacy(code, sub_type));
        EXPECT_EQ(setmac_get_my_card_type(), type);
        EXPECT_EQ(setmac_get_my_card_type(), type);
        EXPECT_EQ(board().count("transfer"), 1U);
    }
}

TEST_F(card_type, of_a_legacy_card_of_format_2_is_a_plain_sum)
{
    std::vector<uint8_t> content(128, 0);
    content[0] = 2;
    content[3] = 0xF0;
    content[7] = 0x20;
    fit(content);
    const trace_log log;
    EXPECT_EQ(setmac_get_my_card_type(), 0x110);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <setmac_get_dev_type>:<N>] CA type is272\r\n");
}

TEST_F(card_type, of_a_flagged_record_of_format_2_ignores_the_checksum)
{
    fit({0x02, 0x7E, 0x00, 0xF1, 0, 0, 0, 0, 0x00, 0x06, 0x06, 0x04, 0, 0, 0x12, 0x34, 0xBA, 0xD0});
    EXPECT_EQ(setmac_get_my_card_type(), 0x1234);
}

TEST_F(card_type, of_format_2_is_zero_when_the_lookup_fails)
{
    fit({0x02, 0x7E, 0x00, 0xF1, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(setmac_get_my_card_type(), 0);
}

TEST_F(card_type, of_another_format_is_unknown)
{
    fit(std::vector<uint8_t>(128, 0));
    EXPECT_EQ(setmac_get_my_card_type(), -1);
    EXPECT_EQ(sdd_my_type, 0);
}

TEST_F(card_type, is_zero_while_the_card_cannot_be_read_and_asked_for_again)
{
    fit(format_1_record());
    board().inject({.operation = "transfer", .path = bus, .times = 5, .error = ENXIO});
    EXPECT_EQ(setmac_get_my_card_type(), 0);
    EXPECT_EQ(setmac_get_my_card_type(), 0x109);
}

class check_eeprom_type : public card_type {
protected:
    void fit_type_5()
    {
        std::vector<uint8_t> content(128, 0);
        content[0] = 1;
        content[3] = 5;
        fit(content);
    }

    static int32_t check(const std::vector<uint8_t> &bytes)
    {
        return setmac_check_eeprom_type(bytes.data(), static_cast<uint32_t>(bytes.size()));
    }
};

TEST_F(check_eeprom_type, compares_the_number_most_significant_byte_first)
{
    fit_type_5();
    EXPECT_EQ(check({0x00, 0x05}), 0);
    EXPECT_EQ(check({0x05}), 0);
    EXPECT_EQ(check({0x00, 0x00, 0x00, 0x05}), 0);
    EXPECT_EQ(check({0x05, 0x00}), -1);
    EXPECT_EQ(check({}), -1);
}

TEST_F(check_eeprom_type, logs_both_numbers)
{
    fit_type_5();
    const trace_log log;
    check({0x01, 0x00});
    EXPECT_EQ(log.unnumbered(), "[SETMAC <setmac_check_eeprom_type>:<N>] \r\nCheck eeprom type, "
                                "read:5, check:256 ");
}

TEST_F(check_eeprom_type, refuses_more_than_four_bytes_before_the_card_is_read)
{
    fit_type_5();
    const trace_log log;
    EXPECT_EQ(check({0, 0, 0, 0, 5}), -1);
    EXPECT_EQ(board().count("transfer"), 0U);
    EXPECT_EQ(log.text(), "");
}

TEST_F(check_eeprom_type, passes_on_a_board_without_a_card_type)
{
    fit_none();
    const trace_log log;
    EXPECT_EQ(check({0x12}), 0);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <setmac_check_eeprom_type>:<N>] \r\nSkip eeprom check.");
}

TEST_F(check_eeprom_type, refuses_on_a_board_with_an_unknown_record)
{
    fit(std::vector<uint8_t>(128, 0));
    const trace_log log;
    EXPECT_EQ(check({0x12}), -1);
    EXPECT_EQ(log.unnumbered(),
              "[SETMAC <setmac_check_eeprom_type>:<N>] \r\nError eeprom read type:-1");
}

} // namespace
