#include "e2e/support/units_device.h"

// "prov_setmac setdevice" and "setdevice_zk80chassis": what becomes of a device, and what the PC is
// told of it in the flag of its entry.

namespace {

using e2e::bytes;
using e2e::device;
using e2e::device_card;
using e2e::device_entry;
using e2e::device_fan;
using e2e::device_memory;
using e2e::device_record;
using e2e::device_supply;
using e2e::memory_is;
using e2e::unit_session;

using operation_list = std::vector<std::string>;

constexpr std::string_view fan_5 = "[[fan]]\ntype = 5\nsn = \"OLD\"\nhw = \"0.1\"\n";
constexpr std::string_view supply_450 = "[[supply]]\nname = \"PSU-450W\"\nhw = \"A01\"\n";
constexpr std::string_view card_9 = "[[card]]\ncard_type = 9\nsn = \"OLD\"\nhw = \"0.1\"\n";

const device new_fan = {
    .kind = device_fan, .sn = "NEW", .hw = "1.0", .type = bytes({0x00, 0x00, 0x00, 0x05})};
const device new_supply = {.kind = device_supply, .hw = "A02", .name = "PSU-450W"};
const device new_card = {
    .kind = device_card, .sn = "NEW", .hw = "1.0", .type = bytes({0x00, 0x00, 0x00, 0x09})};

const std::string type_5 = bytes({0x05, 0x00, 0x00, 0x00});
const std::string old_fan = device_memory(type_5, "OLD", "0.1");
const std::string stored_fan = device_memory(type_5, "NEW", "1.0");

/** One device is sent, and comes back so; the command is ended. */
void expect_back(unit_session &pc, const device &sent, const device &back)
{
    e2e::exchange_devices(pc, device_record(1, device_entry(sent)),
                          device_record(1, device_entry(back)));
    pc.session.send(bytes({0x03}));
    pc.expect_saved();
}

/** The same where nothing but the flag comes back changed. */
void expect_flag(unit_session &pc, device sent, int flag)
{
    const device as_sent = sent;
    sent.flag = flag;
    expect_back(pc, as_sent, sent);
}

/** A session on a switch on which an operation of the driver library answers so. */
unit_session session_on(std::string_view units, const std::string &operation = {}, int result = 0)
{
    std::string all(units);
    if (!operation.empty()) {
        all += "[[fault]]\noperation = \"" + operation + "\"\nresult = " + std::to_string(result) +
               "\n";
    }
    return {all, "setdevice", e2e::device_greeting};
}

TEST(setdevice_flag, is_0_in_place_of_what_the_pc_sent)
{
    auto pc = session_on(fan_5);
    device sent = new_fan;
    sent.flag = 0x77;
    expect_flag(pc, sent, 0);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", stored_fan));
}

TEST(setdevice_flag, is_1_for_an_empty_slot_of_each_kind)
{
    for (const device &what : {new_fan, new_supply, new_card}) {
        auto pc = session_on("[[fan]]\npresent = false\n[[supply]]\npresent = false\n");
        expect_flag(pc, what, 1);
        EXPECT_EQ(pc.board.operations("drv_").size(), 1U);
        EXPECT_NE(pc.steps().find("] Device 0 is not present. \r\n"), std::string::npos);
    }
}

TEST(setdevice_flag, is_1_for_an_unknown_kind)
{
    auto pc = session_on(fan_5);
    expect_flag(pc, {.kind = 4}, 1);
    EXPECT_EQ(pc.board.operations("drv_"), operation_list{});
}

TEST(setdevice_flag, is_1_for_a_presence_other_than_1)
{
    auto pc = session_on(fan_5, "drv_get_fan_status", 257);
    expect_flag(pc, new_fan, 1);
}

TEST(setdevice_flag, looks_at_the_low_byte_of_a_card_slot_alone)
{
    auto pc = session_on(card_9, "drv_get_sslot_state", 257);
    expect_flag(pc, new_card, 0);
    EXPECT_TRUE(memory_is(pc.board, "card-0.bin",
                          device_memory(bytes({0x09, 0x00, 0x00, 0x00}), "NEW", "1.0")));
}

TEST(setdevice_flag, is_2_for_a_refused_write_of_each_kind)
{
    const std::pair<device, const char *> writes[] = {{new_fan, "drv_set_fan_info"},
                                                      {new_supply, "drv_set_power_hw_version"},
                                                      {new_card, "drv_set_sub_unintlg_info"}};
    for (const auto &[what, operation] : writes) {
        auto pc = session_on(std::string(fan_5).append(supply_450).append(card_9), operation, -1);
        expect_flag(pc, what, 2);
        EXPECT_NE(pc.steps().find("]  Device 0 set info fail. \r\n"), std::string::npos);
    }
}

TEST(setdevice_flag, is_3_for_a_serial_number_that_is_not_read_back)
{
    for (const auto &[what, operation] :
         {std::pair(new_fan, "drv_get_fan_sn"), std::pair(new_card, "drv_get_sub_unintlg_sn")}) {
        auto pc = session_on(std::string(fan_5).append(card_9), operation, 1);
        expect_flag(pc, what, 3);
        EXPECT_EQ(pc.board.operations("drv_get_fan_hw_version"), operation_list{});
        EXPECT_EQ(pc.board.operations("drv_get_sub_unintlg_hw_ver"), operation_list{});
        EXPECT_NE(pc.steps().find("]  Device 0 get info fail. \r\n"), std::string::npos);
    }
}

TEST(setdevice_flag, is_3_for_a_version_that_is_not_read_back)
{
    const std::pair<device, const char *> reads[] = {{new_fan, "drv_get_fan_hw_version"},
                                                     {new_supply, "drv_get_power_hw_version"},
                                                     {new_card, "drv_get_sub_unintlg_hw_ver"}};
    for (const auto &[what, operation] : reads) {
        auto pc = session_on(std::string(fan_5).append(supply_450).append(card_9), operation, -1);
        expect_flag(pc, what, 3);
    }
}

TEST(setdevice_flag, is_4_for_a_fan_of_another_type_which_is_left_alone)
{
    auto pc = session_on(fan_5);
    device sent = new_fan;
    sent.type = bytes({0x05, 0x00, 0x00, 0x00});
    expect_flag(pc, sent, 4);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", old_fan));
}

TEST(setdevice_flag, is_4_for_a_supply_of_another_name)
{
    auto pc = session_on(supply_450);
    device sent = new_supply;
    sent.name = "PSU-450";
    expect_flag(pc, sent, 4);
    EXPECT_NE(pc.steps().find("] Power device name: 'PSU-450W' set name: 'PSU-450' \r\n"),
              std::string::npos);
}

TEST(setdevice_flag, is_4_for_a_card_of_another_type_whatever_the_fan_type_says)
{
    auto pc = session_on(card_9);
    device sent = new_card;
    sent.fan_type = 9;
    sent.type = bytes({0x00, 0x00, 0x00, 0x00});
    expect_flag(pc, sent, 4);
}

TEST(setdevice_flag, is_the_low_byte_of_what_a_supply_answers_instead_of_its_name)
{
    auto pc = session_on(supply_450, "drv_get_power_name", -1);
    expect_flag(pc, new_supply, 0xFF);
    EXPECT_NE(pc.steps().find("[SETMAC <device_power_set_info>:<N>] get power name fail!\r\n"),
              std::string::npos);
}

TEST(setdevice_flag, is_the_low_byte_of_what_a_card_answers_instead_of_its_type)
{
    auto pc = session_on(card_9, "drv_get_sub_unintlg_lc_info", -6);
    expect_flag(pc, new_card, 0xFA);
    EXPECT_NE(pc.steps().find("[SETMAC <device_sub_unintlg_setinfo>:<N>] get card type fail!\r\n"),
              std::string::npos);
}

TEST(setdevice_flag, of_one_device_does_not_stop_the_others)
{
    auto pc = session_on(std::string(fan_5).append(supply_450).append(card_9));
    device absent = new_fan;
    absent.index = 3;
    device other = new_supply;
    other.name = "PSU-600W";
    const std::string sent =
        device_entry(absent) + device_entry(other) + device_entry(new_card) + device_entry(new_fan);
    absent.flag = 1;
    other.flag = 4;
    const std::string back =
        device_entry(absent) + device_entry(other) + device_entry(new_card) + device_entry(new_fan);
    e2e::exchange_devices(pc, device_record(4, sent), device_record(4, back));
    pc.session.send(bytes({0x03}));
    pc.expect_saved();
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", stored_fan));
}

TEST(setdevice_read_back, tells_what_the_device_holds_and_not_what_was_sent)
{
    auto pc = session_on(fan_5, "drv_set_fan_info", 0);
    device back = new_fan;
    back.sn = "OLD";
    back.hw = "0.1";
    expect_back(pc, new_fan, back);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", old_fan));
}

TEST(setdevice_read_back, leaves_out_what_the_pc_left_empty)
{
    auto pc = session_on(fan_5);
    device sent = new_fan;
    sent.sn = "";
    expect_flag(pc, sent, 0);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", device_memory(type_5, "OLD", "1.0")));
    EXPECT_EQ(pc.board.operations("drv_get_fan_sn "), operation_list{});
}

TEST(setdevice_identity, is_the_old_fan_type_when_the_type_is_zero)
{
    auto pc = session_on(fan_5);
    device sent = new_fan;
    sent.fan_type = 5;
    sent.type = bytes({0x00, 0x00, 0x00, 0x00});
    expect_flag(pc, sent, 0);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", stored_fan));
    EXPECT_NE(pc.steps().find("[SETMAC <device_fan_set_info>:<N>] Fan has no dev_type, try legacy "
                              "fan_type.\r\n"
                              "[SETMAC <device_fan_set_info>:<N>] Fan device type: 0x5 set type: "
                              "0x5 \r\n"),
              std::string::npos);
}

TEST(setdevice_identity, may_be_a_name_of_32_characters)
{
    auto pc = session_on("[[supply]]\nname = \"ABCDEFGHIJKLMNOPQRSTUVWXYZ012345\"\n");
    device sent = new_supply;
    sent.name = "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345";
    expect_flag(pc, sent, 0);
    EXPECT_TRUE(memory_is(pc.board, "supply-0.bin", device_memory(bytes({0, 0, 0, 0}), "", "A02")));
}

TEST(setdevice_zk80chassis, gives_a_fan_another_type_without_asking_for_its_own)
{
    unit_session pc(fan_5, "setdevice_zk80chassis", e2e::device_greeting);
    device sent = new_fan;
    sent.type = bytes({0x01, 0x02, 0x03, 0x04});
    expect_flag(pc, sent, 0);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin",
                          device_memory(bytes({0x04, 0x03, 0x02, 0x01}), "NEW", "1.0")));
    EXPECT_EQ(pc.board.operations("drv_get_fan_type"), operation_list{});
    EXPECT_EQ(pc.board.operations("drv_set_fan_info ").size(), 0U);
    EXPECT_NE(e2e::read_file(pc.log).find("Fan device type: 0xffffffff set type: 0x1020304 \r\n"),
              std::string::npos);
}

TEST(setdevice_zk80chassis, takes_the_old_fan_type_when_the_type_is_zero)
{
    unit_session pc(fan_5, "setdevice_zk80chassis", e2e::device_greeting);
    device sent = new_fan;
    sent.fan_type = 8;
    sent.type = bytes({0x00, 0x00, 0x00, 0x00});
    expect_flag(pc, sent, 0);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin",
                          device_memory(bytes({0x08, 0x00, 0x00, 0x00}), "NEW", "1.0")));
}

TEST(setdevice_zk80chassis, answers_2_to_a_refused_fan)
{
    unit_session pc(std::string(fan_5) +
                        "[[fault]]\noperation = \"drv_set_fan_info_with_type\"\nresult = 7\n",
                    "setdevice_zk80chassis", e2e::device_greeting);
    expect_flag(pc, new_fan, 2);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", old_fan));
}

TEST(setdevice_zk80chassis, compares_supplies_and_cards_as_setdevice_does)
{
    for (const auto &[other, back] : {std::pair(new_supply, 4), std::pair(new_card, 4)}) {
        unit_session pc("[[supply]]\nname = \"PSU\"\n[[card]]\ncard_type = 1\n",
                        "setdevice_zk80chassis", e2e::device_greeting);
        expect_flag(pc, other, back);
    }
}

TEST(setdevice_zk80chassis, ends_at_0x03_like_setdevice)
{
    unit_session pc("", "setdevice_zk80chassis", e2e::device_greeting);
    pc.session.send(bytes({0x03}));
    pc.expect_saved();
}

} // namespace
