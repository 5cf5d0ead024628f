#include "units/setsn_device.h"

#include <algorithm>
#include <cstring>

#include "unit/switch/exchange/payloads.h"
#include "units_fixture.h"

namespace {

using support::acknowledged;
using support::be32;
using support::byte_list;
using support::bytes;
using support::field;
using support::operator+;
using support::trace_log;
using support::with_sum;

const byte_list banner =
    bytes("Disconnect your console terminal first\r\n"
          " Using your PC Setmac program to perform Set device info Operation ......");

/** What the PC says of a device. */
struct device {
    uint8_t kind;
    uint8_t index;
    std::string sn;
    std::string hw;
    uint32_t type = 0;
    std::string name = {};
    uint8_t fan_type = 0;
    uint8_t flag = 0x55;
};

byte_list entry(const device &what)
{
    return byte_list{what.kind, 129, what.index, what.flag, what.fan_type, 7, 8} +
           field(what.sn, 24) + field(what.hw, 6) + field(what.name, 32) +
           byte_list{static_cast<uint8_t>(what.type >> 24), static_cast<uint8_t>(what.type >> 16),
                     static_cast<uint8_t>(what.type >> 8), static_cast<uint8_t>(what.type)} +
           byte_list(58, 0xA5);
}

byte_list list(const std::vector<device> &devices)
{
    byte_list result = {static_cast<uint8_t>(devices.size()), 9, 0x34, 0x12, 0, 0};
    for (const device &one : devices) {
        result = result + entry(one);
    }
    return result;
}

byte_list message(const byte_list &content, uint8_t sum_before = 0)
{
    return byte_list{0x20, 0x01} + be32(content.size()) + with_sum(content, sum_before);
}

const byte_list ended = {0x03};

byte_list answer(const byte_list &content)
{
    return byte_list{0x06, 0x06, 0x20, 0x01} + be32(content.size()) + with_sum(content);
}

class devices : public support::unit_command {
protected:
    void SetUp() override
    {
        setdevice_zk80chassis = 0;
        fit({.fans = {{.present = true, .type = 0x11223344}, {.present = false}},
             .supplies = {{.present = true, .name = "PSU-550"}},
             .cards = {{.present = true, .card_type = 0x99}},
             .own_card_type = 14});
        unit_command::SetUp();
    }

    void TearDown() override
    {
        unit_command::TearDown();
        setdevice_zk80chassis = 0;
    }

    /** The flags that come back for a list of devices. */
    byte_list flags_of(const std::vector<device> &sent)
    {
        const auto got = run(set_device_sn_info, message(list(sent)) + acknowledged + ended);
        byte_list flags;
        const size_t list_at = banner.size() + 8;
        for (size_t i = 0; i < sent.size(); ++i) {
            flags.push_back(got.at(list_at + 6 + i * 131 + 3));
        }
        return flags;
    }
};

TEST_F(devices, of_each_kind_are_written_read_back_and_sent_back)
{
    const std::vector<device> sent = {
        {.kind = 1, .index = 0, .sn = "FAN0000000001", .hw = "1.23", .type = 0x11223344},
        {.kind = 2, .index = 0, .sn = "", .hw = "2.00", .name = "PSU-550"},
        {.kind = 3, .index = 0, .sn = "CARD000000001", .hw = "3.00", .type = 0x99}};
    auto back = sent;
    for (device &one : back) {
        one.flag = 0;
    }
    EXPECT_EQ(run(set_device_sn_info, message(list(sent)) + acknowledged + ended),
              banner + answer(list(back)));
    EXPECT_EQ(board().fan(0).sn, "FAN0000000001");
    EXPECT_EQ(board().fan(0).hw, "1.23");
    EXPECT_EQ(board().supply(0).hw, "2.00");
    EXPECT_EQ(board().card(0).sn, "CARD000000001");
}

TEST_F(devices, are_logged_entry_by_entry)
{
    const trace_log log;
    run(set_device_sn_info, message(list({{.kind = 2,
                                           .index = 0,
                                           .sn = "S",
                                           .hw = "2.00",
                                           .type = 0x01020304,
                                           .name = "PSU-550"}})) +
                                acknowledged + ended);
    const auto said = log.unnumbered();
    const std::string me = "[SETMAC <set_device_sn_info>:<N>] ";
    EXPECT_NE(said.find("[SETMAC <recv_setsn_info>:<N>] Get NAK \r\n"), std::string::npos);
    EXPECT_NE(said.find("[SETMAC <recv_setsn_info>:<N>] Get key:0x1 0x1\r\n"), std::string::npos);
    EXPECT_NE(said.find("[SETMAC <recv_setsn_info>:<N>] len:137 2102\r\n"), std::string::npos);
    EXPECT_NE(said.find(me + "device set tlv_num 1 .\r\n" + me + "device set type 9 .\r\n" + me +
                        "device set len 4660 .\r\n" + me + "Tlv set 0 tlv_type 2 .\r\n" + me +
                        "Tlv set 0 tlv_len 129 .\r\n" + me + "Tlv set 0 tlv_data.index 0 .\r\n" +
                        me + "Tlv set 0 tlv_data.flag 85 .\r\n" + me +
                        "Tlv set 0 tlv_data.fan_type 0 .\r\n" + me +
                        "Tlv set 0 tlv_data.channel 7 .\r\n" + me +
                        "Tlv set 0 tlv_data.dev_addr 8 .\r\n" + me +
                        "Tlv set 0 tlv_data.sn S .\r\n" + me + "Tlv set 0 tlv_data.hw 2.00 .\r\n" +
                        me + "Tlv set 0 tlv_data.name PSU-550 .\r\n" + me +
                        "Tlv set 0 tlv_data.type 01 02 03 04 .\r\n"),
              std::string::npos)
        << said;
    EXPECT_NE(said.find("[SETMAC <device_power_set_info>:<N>] Power device name: 'PSU-550' set "
                        "name: 'PSU-550' \r\n"),
              std::string::npos);
    EXPECT_NE(said.find(me + "device get tlv_num 1 .\r\n"), std::string::npos);
    EXPECT_NE(said.find(me + "Tlv get 0 tlv_data.flag 0 .\r\n"), std::string::npos);
    EXPECT_NE(said.find(me + " Send ret:0 \r\n"), std::string::npos);
}

TEST_F(devices, end_at_once_when_the_pc_says_so)
{
    EXPECT_EQ(run(set_device_sn_info, byte_list{0x55, 0x03}), banner);
}

TEST_F(devices, end_with_a_list_of_length_0)
{
    EXPECT_EQ(run(set_device_sn_info, message({})), banner + byte_list{0x06});
}

TEST_F(devices, lists_may_follow_each_other)
{
    const auto one = message(list({})) + acknowledged;
    EXPECT_EQ(run(set_device_sn_info, one + one + one + ended),
              banner + answer(list({})) + answer(list({})) + answer(list({})));
}

TEST_F(devices, absent_one_is_told_in_its_flag)
{
    const trace_log log;
    EXPECT_EQ(flags_of({{.kind = 1, .index = 1, .sn = "S", .hw = "1"},
                        {.kind = 2, .index = 5, .sn = "S", .hw = "1"},
                        {.kind = 3, .index = 5, .sn = "S", .hw = "1"},
                        {.kind = 4, .index = 0, .sn = "S", .hw = "1"}}),
              (byte_list{1, 1, 1, 1}));
    EXPECT_NE(
        log.unnumbered().find("[SETMAC <set_device_sn_info>:<N>] Device 5 is not present. \r\n"),
        std::string::npos);
}

TEST_F(devices, of_another_type_are_not_written)
{
    const trace_log log;
    EXPECT_EQ(flags_of({{.kind = 1, .index = 0, .sn = "S", .hw = "1", .type = 5},
                        {.kind = 2, .index = 0, .sn = "S", .hw = "1", .name = "PSU-551"},
                        {.kind = 3, .index = 0, .sn = "S", .hw = "1", .type = 5}}),
              (byte_list{4, 4, 4}));
    EXPECT_EQ(board().fan(0).sn, "");
    EXPECT_EQ(board().supply(0).hw, "");
    EXPECT_EQ(board().card(0).sn, "");
    const auto said = log.unnumbered();
    EXPECT_NE(said.find("[SETMAC <device_fan_set_info>:<N>] Fan device type: 0x11223344 set type: "
                        "0x5 \r\n"),
              std::string::npos);
    EXPECT_NE(said.find("[SETMAC <device_sub_unintlg_setinfo>:<N>] card type: 0x99 set type: 0x5 "
                        "\r\n"),
              std::string::npos);
    EXPECT_NE(said.find("[SETMAC <set_device_sn_info>:<N>]  Device 0 set info fail. \r\n"),
              std::string::npos);
}

TEST_F(devices, fan_without_a_type_is_compared_by_its_legacy_type)
{
    fit({.fans = {{.present = true, .type = 5}}});
    const trace_log log;
    EXPECT_EQ(flags_of({{.kind = 1, .index = 0, .sn = "S", .hw = "1", .fan_type = 5}}),
              byte_list{0});
    EXPECT_NE(log.unnumbered().find("[SETMAC <device_fan_set_info>:<N>] Fan has no dev_type, try "
                                    "legacy fan_type.\r\n"),
              std::string::npos);
}

TEST_F(devices, fan_of_the_chassis_takes_its_type_from_the_pc)
{
    setdevice_zk80chassis = 1;
    const trace_log log;
    EXPECT_EQ(flags_of({{.kind = 1, .index = 0, .sn = "S", .hw = "1", .type = 5}}), byte_list{0});
    EXPECT_EQ(board().fan(0).type, 5U);
    EXPECT_EQ(board().count("drv_get_fan_type"), 0U);
    EXPECT_NE(log.unnumbered().find("Fan device type: 0xffffffff set type: 0x5 \r\n"),
              std::string::npos);
}

TEST_F(devices, names_are_compared_to_32_characters)
{
    const std::string name(32, 'N');
    fit({.supplies = {{.present = true, .name = name}}});
    EXPECT_EQ(flags_of({{.kind = 2, .index = 0, .sn = "", .hw = "1", .name = name}}), byte_list{0});
    EXPECT_EQ(
        flags_of({{.kind = 2, .index = 0, .sn = "", .hw = "1", .name = std::string(31, 'N')}}),
        byte_list{4});
}

TEST_F(devices, serial_of_a_supply_is_neither_written_nor_read)
{
    const std::vector<device> sent = {
        {.kind = 2, .index = 0, .sn = "KEPT", .hw = "2.00", .name = "PSU-550"}};
    auto back = sent;
    back[0].flag = 0;
    EXPECT_EQ(run(set_device_sn_info, message(list(sent)) + acknowledged + ended),
              banner + answer(list(back)));
}

TEST_F(devices, empty_fields_are_not_read_back)
{
    EXPECT_EQ(flags_of({{.kind = 1, .index = 0, .sn = "", .hw = "", .type = 0x11223344},
                        {.kind = 3, .index = 0, .sn = "", .hw = "1", .type = 0x99}}),
              (byte_list{0, 0}));
    EXPECT_EQ(board().count("drv_get_fan_sn"), 0U);
    EXPECT_EQ(board().count("drv_get_fan_hw_version"), 0U);
    EXPECT_EQ(board().count("drv_get_sub_unintlg_sn"), 0U);
    EXPECT_EQ(board().count("drv_get_sub_unintlg_hw_ver"), 1U);
}

TEST_F(devices, library_failures_become_flags)
{
    const struct {
        const char *operation;
        uint8_t kind;
        int32_t result;
        uint8_t flag;
    } cases[] = {
        {"drv_set_fan_info", 1, -1, 2},          {"drv_get_fan_sn", 1, -1, 3},
        {"drv_get_fan_hw_version", 1, 7, 3},     {"drv_get_power_name", 2, -1, 0xFF},
        {"drv_get_power_name", 2, -5, 0xFB},     {"drv_set_power_hw_version", 2, 1, 2},
        {"drv_get_power_hw_version", 2, -1, 3},  {"drv_get_sub_unintlg_lc_info", 3, -2, 0xFE},
        {"drv_set_sub_unintlg_info", 3, -1, 2},  {"drv_get_sub_unintlg_sn", 3, -1, 3},
        {"drv_get_sub_unintlg_hw_ver", 3, -1, 3}};
    for (const auto &[operation, kind, result, flag] : cases) {
        board().clear_faults();
        board().inject({.operation = operation, .path = "libdev_drv", .result = result});
        EXPECT_EQ(flags_of({{.kind = kind,
                             .index = 0,
                             .sn = "S",
                             .hw = "1",
                             .type = kind == 1 ? 0x11223344U : 0x99U,
                             .name = "PSU-550"}}),
                  byte_list{flag})
            << operation;
    }
}

TEST_F(devices, length_above_the_list_is_refused_unread)
{
    EXPECT_EQ(run(set_device_sn_info, byte_list{0x20, 0x01} + be32(2103) + ended),
              banner + (byte_list{0x06, 0x28}));
}

TEST_F(devices, negative_length_is_refused_after_its_checksum)
{
    EXPECT_EQ(
        run(set_device_sn_info, byte_list{0x20, 0x01} + be32(0xFFFFFFFF) + byte_list{0} + ended),
        banner + (byte_list{0x06, 0x28}));
}

TEST_F(devices, list_of_2102_bytes_is_taken)
{
    const std::vector<device> sixteen(16, device{.kind = 9, .index = 3, .sn = "S", .hw = "1"});
    ASSERT_EQ(list(sixteen).size(), 2102U);
    EXPECT_EQ(flags_of(sixteen), byte_list(16, 1));
}

TEST_F(devices, more_than_16_entries_are_refused_and_16_logged)
{
    auto seventeen =
        list(std::vector<device>(16, device{.kind = 9, .index = 3, .sn = "", .hw = ""}));
    seventeen[0] = 17;
    const trace_log log;
    EXPECT_EQ(run(set_device_sn_info, message(seventeen) + ended),
              banner + (byte_list{0x06, 0x29}));
    const auto said = log.unnumbered();
    EXPECT_NE(said.find("device get tlv_num 17 .\r\n"), std::string::npos);
    EXPECT_NE(said.find("Tlv get 15 tlv_type 9 .\r\n"), std::string::npos);
    EXPECT_EQ(said.find("Tlv get 16 "), std::string::npos);
    EXPECT_EQ(said.find("Tlv set "), std::string::npos);
    EXPECT_NE(said.find("[SETMAC <set_device_sn_info>:<N>]  Send ret:41 \r\n"), std::string::npos);
}

TEST_F(devices, entries_that_did_not_come_are_empty_ones)
{
    // Two are announced, none is in the list: both are of an unknown kind.
    const byte_list header = {2, 9, 0, 0, 0, 0};
    EXPECT_EQ(run(set_device_sn_info, message(header) + acknowledged + ended),
              banner + answer(header));
}

TEST_F(devices, checksum_goes_on_over_a_resend_and_starts_over_with_the_next_list)
{
    const byte_list content = list({});
    uint8_t sum = message(content).back();
    auto damaged = message(content);
    damaged.back() ^= 0xFF;
    EXPECT_EQ(run(set_device_sn_info, damaged + message(content, sum) + acknowledged +
                                          message(content) + acknowledged + ended),
              banner + (byte_list{0x06, 0x20}) + answer(content) + answer(content));
}

TEST_F(devices, time_out_in_the_list_starts_again_with_the_sum_kept)
{
    const byte_list content = list({});
    EXPECT_EQ(run_with_pause(set_device_sn_info, byte_list{0x20, 0x01, 0, 0, 0, 6, 5, 5},
                             message(content, 10) + acknowledged + ended),
              banner + byte_list{0x06} + answer(content));
}

TEST_F(devices, header_may_come_after_400_ms_and_each_byte_behind_it_after_80)
{
    const byte_list content = list({});
    auto rest = message(content);
    rest.erase(rest.begin(), rest.begin() + 2);
    EXPECT_EQ(run_timed(set_device_sn_info,
                        support::timed_script{{400, {0x20}}, {400, {0x01}}} +
                            support::one_by_one(rest, 80) +
                            support::timed_script{{400, {0x06}}, {900, {0x06}}, {80, {0x03}}}),
              banner + answer(content));
}

TEST_F(devices, header_after_600_ms_and_a_byte_after_120_are_too_late)
{
    const byte_list content = list({});
    EXPECT_EQ(run_timed(set_device_sn_info, {{0, {0x20}},
                                             {600, {0x01}},
                                             {0, {0x20, 0x01, 0, 0, 0}},
                                             {120, {6}},
                                             {0, {0x20, 0x01, 0, 0, 0, 6, 5}},
                                             {120, {5}},
                                             {0, message(content, 5) + acknowledged + ended}}),
              banner + (byte_list{0x06, 0x06, 0x06}) + answer(content));
}

TEST_F(devices, checksum_that_does_not_come_is_asked_for_again)
{
    const byte_list content = list({});
    auto without = message(content);
    const uint8_t sum = without.back();
    without.pop_back();
    EXPECT_EQ(
        run_with_pause(set_device_sn_info, without, message(content, sum) + acknowledged + ended),
        banner + (byte_list{0x06, 0x20}) + answer(content));
}

TEST_F(devices, start_byte_without_its_header_is_waited_for_again)
{
    EXPECT_EQ(
        run(set_device_sn_info, byte_list{0x20, 0x02} + message(list({})) + acknowledged + ended),
        banner + byte_list{0x06} + answer(list({})));
}

TEST_F(devices, answer_is_kept_back_from_a_pc_that_never_acknowledges)
{
    EXPECT_EQ(run(set_device_sn_info, message(list({})) + byte_list(20, 0x55) + ended),
              banner + (byte_list{0x06, 0x06, 0x20}));
}

TEST_F(devices, that_are_no_entry_are_absent_refused_and_unread)
{
    EXPECT_EQ(setsn_device_present(nullptr), 0);
    EXPECT_EQ(setsn_device_set_info(nullptr), 2);
    EXPECT_EQ(setsn_device_get_info(nullptr), 3);
    device_entry unknown{};
    unknown.tlv_type = 7;
    EXPECT_EQ(setsn_device_set_info(&unknown), 2);
    EXPECT_EQ(setsn_device_get_info(&unknown), 3);
}

} // namespace
