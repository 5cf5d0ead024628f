#include "exchange/format_info.h"

#include <algorithm>
#include <cerrno>
#include <optional>

#include "eeprom/e2prom.h"
#include "exchange/protocol.h"
#include "payloads.h"
#include "sim/board/board.h"
#include "store/productinfo.h"
#include "unit/switch/eeprom/tlv_fixture.h"
#include "units/common.h"

namespace {

using support::byte_list;
using support::bytes;
using support::default_image;
using support::node;
using support::operator+;
using support::part;
using support::printed;
using support::serial_image;
using support::trace_log;
using support::two_serials_image;

constexpr const char *bus = "/dev/i2c-0";
constexpr const char *cpld = "/dev/cpld0";

/** A board whose system EEPROM is protected until its CPLD or its driver library says otherwise. */
sim::board_description protected_board()
{
    return {.eeproms = {{.address = 0x56,
                         .lifted_by_cpld = {{0x25, {0xFB}}, {0x31, {0x00}}},
                         .lifted_by_driver = true},
                        {.address = 0x57}},
            .cpld = sim::cpld{}};
}

class tlv_payload : public testing::Test {
protected:
    void SetUp() override
    {
        sdd_my_type = 0;
        eeprom_writeable = 0;
        std::fill(std::begin(g_data_eeprom), std::end(g_data_eeprom), uint8_t{0});
        board_.emplace(protected_board());
    }

    void TearDown() override
    {
        clr_prod_info();
        sdd_my_type = 0;
        eeprom_writeable = 0;
    }

    /** Puts a record that says card type 5 into the card EEPROM. */
    void insert_card()
    {
        byte_list card(128, 0);
        card[0] = 1;
        card[3] = 5;
        std::copy(card.begin(), card.end(), board_->eeprom(0x57).begin());
    }

    /** Applies a payload that ends where its memory ends; what it prints. */
    std::string apply(const byte_list &content, int32_t result = 0)
    {
        const byte_list exact(content);
        return printed([&] {
            EXPECT_EQ(tlv_data_apply(exact.data(), static_cast<int32_t>(exact.size())), result);
        });
    }

    void load(const byte_list &image) { std::copy(image.begin(), image.end(), g_data_eeprom); }

    /** The records of the image, header and CRC included. */
    static byte_list image()
    {
        return {g_data_eeprom, g_data_eeprom + 11 + tlv_total_length(g_data_eeprom)};
    }

    /** As many bytes of the EEPROM as an image has. */
    byte_list stored(size_t count) const
    {
        const auto chip = board_->eeprom(0x56);
        return {chip.begin(), chip.begin() + static_cast<ptrdiff_t>(count)};
    }

    bool nothing_was_written() const
    {
        return std::ranges::all_of(board_->eeprom(0x56),
                                   [](uint8_t byte) { return byte == 0xFF; }) &&
               board_->count("write", cpld) == 0;
    }

    static byte_list value(uint8_t code)
    {
        int32_t offset = 0;
        if (!tlvinfo_find_tlv(g_data_eeprom, code, &offset)) {
            return bytes("absent");
        }
        const tlv_record record = tlv_record_at(g_data_eeprom, static_cast<size_t>(offset));
        return {record.content().begin(), record.content().end()};
    }

    /** Register and value of each write to the CPLD, and "eeprom" where the EEPROM was written. */
    std::vector<std::pair<uint64_t, int>> writes() const
    {
        std::vector<std::pair<uint64_t, int>> all;
        for (const auto &done : board_->log()) {
            if (done.name == "write" && done.path == cpld) {
                all.emplace_back(done.offset, done.data.at(0));
            } else if (done.name == "transfer" && (all.empty() || all.back().second != eeprom)) {
                all.emplace_back(0, eeprom);
            }
        }
        return all;
    }

    sim::board &board() { return *board_; }
    const sim::board &board() const { return *board_; }

    static constexpr int eeprom = -1;

private:
    mutable std::optional<sim::board> board_;
};

/** A text as the PC sends it, its NUL counted. */
byte_list text(std::string_view content)
{
    return bytes(content) + byte_list{0};
}

TEST_F(tlv_payload, of_no_bytes_programs_the_default_image)
{
    EXPECT_EQ(apply({}), "Manufacturer         0x2B   6 talvex\n"
                         "Country Code         0x2C   2 cn\n"
                         "Vendor Name          0x2D   6 talvex\n"
                         "Diag Version         0x2E   1 0\n"
                         "Service Tag          0x2F   1 0\n"
                         "Part Number          0x22   4 0000\n"
                         "ONIE Version         0x29   7 0000000\n"
                         "Device Version       0x26   1 1\n"
                         "Label Revision       0x27   2 00\n"
                         "Platform Name        0x28   6 x86-64\n"
                         "CRC-32               0xFE   4 0xED7D657E\n");
    EXPECT_EQ(stored(default_image.size()), default_image);
    EXPECT_EQ(board().eeprom(0x56)[255], 0) << "all 256 bytes are written";
    EXPECT_STREQ(get_product_info("ProductInfo"), "0B0EFACE");
}

TEST_F(tlv_payload, of_negative_length_is_empty)
{
    printed([] { EXPECT_EQ(tlv_data_apply(g_setmac_data, -4), 0); });
    EXPECT_EQ(stored(default_image.size()), default_image);
}

TEST_F(tlv_payload, does_not_carry_over_what_the_image_held)
{
    load(serial_image);
    apply({});
    EXPECT_EQ(image(), default_image);
}

TEST_F(tlv_payload, enables_writing_by_the_default_register)
{
    const trace_log log;
    apply({});
    EXPECT_EQ(writes(),
              (std::vector<std::pair<uint64_t, int>>{{0x25, 0xFB}, {0, eeprom}, {0x25, 0xFF}}));
    const auto said = log.unnumbered();
    EXPECT_NE(said.find("[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable reg:[0x0]!\r\n"
                        "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable[0x25]!\r\n"
                        "[SETMAC <prog_eeprom>:<N>] Save product info success.\n"
                        "[SETMAC <tlv_data_apply>:<N>] \r\nSave to ram OK\r\n"),
              std::string::npos);
}

TEST_F(tlv_payload, enables_writing_by_the_register_it_names)
{
    const trace_log log;
    apply(part(2, node("e2_write_en_reg", 1, {0x31})));
    EXPECT_EQ(writes(),
              (std::vector<std::pair<uint64_t, int>>{{0x31, 0x00}, {0, eeprom}, {0x31, 0xFF}}));
    EXPECT_NE(log.unnumbered().find("[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable reg:[0x31]!\r\n"
                                    "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable:[0x31]!\r\n"),
              std::string::npos);
    EXPECT_EQ(stored(default_image.size()), default_image);
}

TEST_F(tlv_payload, that_cannot_be_programmed_leaves_writing_enabled)
{
    board().inject({.operation = "transfer", .path = bus, .call = 4, .times = 5, .error = EIO});
    const trace_log log;
    apply({}, -1);
    EXPECT_EQ(writes(), (std::vector<std::pair<uint64_t, int>>{{0x25, 0xFB}, {0, eeprom}}));
    EXPECT_NE(log.unnumbered().find("[SETMAC <tlv_data_apply>:<N>] \r\nprog err!\r\n"),
              std::string::npos);
    EXPECT_STREQ(get_product_info("ProductInfo"), "0B0EFACE");
}

TEST_F(tlv_payload, is_programmed_though_the_register_cannot_be_written)
{
    board().inject({.operation = "open", .path = cpld, .times = 0, .error = EACCES});
    apply({});
    EXPECT_TRUE(nothing_was_written()) << "the protection stayed in the way";
}

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
    board().inject({.operation = "transfer", .path = bus, .times = 5, .error = ENXIO});
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

/** Serial numbers; what goes to the PC is what goes to standard output. */
class tlv_serial : public tlv_payload {
protected:
    std::string set(const byte_list &content, int32_t result = 0)
    {
        const byte_list exact(content);
        return printed([&] {
            EXPECT_EQ(tlv_set_sn(exact.data(), static_cast<int32_t>(exact.size())), result);
        });
    }

    std::vector<std::string> driver_calls() const
    {
        std::vector<std::string> calls;
        for (const auto &done : board().log()) {
            if (done.path == "libdev_drv") {
                calls.push_back(done.name + " " + done.arguments);
            }
        }
        return calls;
    }
};

TEST_F(tlv_serial, takes_the_place_of_the_old_one_and_is_echoed)
{
    load(serial_image);
    EXPECT_EQ(set(bytes("NEWSERIAL0001")), "\x06\x0D"
                                           "NEWSERIAL0001");
    EXPECT_EQ(value(0x23), bytes("NEWSERIAL0001"));
    EXPECT_EQ(stored(image().size()), image());
    EXPECT_TRUE(is_checksum_valid(g_data_eeprom));
}

TEST_F(tlv_serial, lifts_the_protection_by_the_driver_library_and_restores_it)
{
    load(serial_image);
    set(bytes("NEWSERIAL0001"));
    ASSERT_EQ(driver_calls().size(), 3U);
    EXPECT_EQ(driver_calls()[0].substr(0, 12), "dev_drv_init");
    EXPECT_EQ(driver_calls()[1], "drv_set_e2_wr_pro index=0 protect=0 answer=0");
    EXPECT_EQ(driver_calls()[2], "drv_set_e2_wr_pro index=0 protect=1 answer=0");
    EXPECT_EQ(board().count("write", cpld), 0U);
}

TEST_F(tlv_serial, without_a_record_to_replace_writes_nothing)
{
    load(default_image);
    EXPECT_EQ(set(bytes("NEWSERIAL0001"), -1), "");
    EXPECT_TRUE(nothing_was_written());
    EXPECT_TRUE(driver_calls().empty());
}

TEST_F(tlv_serial, that_cannot_be_programmed_leaves_the_protection_lifted)
{
    load(serial_image);
    board().inject({.operation = "transfer", .path = bus, .times = 5, .error = EIO});
    EXPECT_EQ(set(bytes("NEWSERIAL0001"), -3), "");
    EXPECT_EQ(driver_calls().size(), 2U);
}

TEST_F(tlv_serial, of_70_bytes_is_kept_as_63_and_echoed_filled_up)
{
    load(serial_image);
    EXPECT_EQ(set(byte_list(70, 'S')), "\x06\x46" + std::string(63, 'S') + std::string(7, '\0'));
    EXPECT_EQ(value(0x23), byte_list(63, 'S'));
}

TEST_F(tlv_serial, ends_at_a_nul_and_is_echoed_filled_up)
{
    load(serial_image);
    EXPECT_EQ(set({'A', 0, 'B'}), std::string("\x06\x03"
                                              "A\0\0",
                                              5));
    EXPECT_EQ(value(0x23), bytes("A"));
}

TEST_F(tlv_serial, of_negative_length_is_an_empty_one)
{
    load(serial_image);
    EXPECT_EQ(printed([] { EXPECT_EQ(tlv_set_sn(g_setmac_data, -2), 0); }),
              std::string("\x06\0", 2));
    EXPECT_EQ(value(0x23), byte_list{});
}

TEST(device_register, is_opened_for_each_access)
{
    sim::board board(protected_board());
    const uint8_t value = 0x5A;
    EXPECT_EQ(drv_device_write(cpld, 0x10, &value, 1), 0);
    uint8_t got = 0;
    EXPECT_EQ(drv_device_read(cpld, 0x10, &got, 1), 0);
    EXPECT_EQ(got, 0x5A);
    EXPECT_EQ(board.count("open", cpld), 2U);
    EXPECT_EQ(board.count("close", cpld), 2U);
}

TEST(device_register, needs_a_device_and_a_buffer)
{
    sim::board board(protected_board());
    uint8_t value = 0;
    EXPECT_EQ(drv_device_read(nullptr, 0, &value, 1), -1);
    EXPECT_EQ(drv_device_read(cpld, 0, nullptr, 1), -1);
    EXPECT_EQ(drv_device_write(nullptr, 0, &value, 1), -1);
    EXPECT_EQ(drv_device_write(cpld, 0, nullptr, 1), -1);
    EXPECT_EQ(drv_device_read("/dev/fpga0", 0, &value, 1), -1);
    EXPECT_EQ(board.count("open", cpld), 0U);
}

TEST(device_register, access_that_fails_is_passed_on_and_one_that_moves_nothing_is_not)
{
    sim::board board(protected_board());
    uint8_t value = 0;
    board.inject({.operation = "lseek", .path = cpld, .error = EINVAL});
    EXPECT_EQ(drv_device_write(cpld, 0x10, &value, 1), -1);
    board.inject({.operation = "write", .path = cpld, .error = EIO});
    EXPECT_EQ(drv_device_write(cpld, 0x10, &value, 1), -1);
    board.inject({.operation = "read", .path = cpld, .error = EIO});
    EXPECT_EQ(drv_device_read(cpld, 0x10, &value, 1), -1);
    board.inject({.operation = "write", .path = cpld, .short_to = 0});
    EXPECT_EQ(drv_device_write(cpld, 0x10, &value, 1), 0);
    EXPECT_EQ(board.count("open", cpld), board.count("close", cpld));
}

} // namespace
