#include "e2e/support/units_device.h"

#include "e2e/support/tlv_board.h"

// The unit commands of the TLV flavour: the same exchanges, but nothing is saved after them, and
// the driver library is prepared for "setdevice" alone.

namespace {

using e2e::bytes;
using e2e::memory_is;
using e2e::outcome;
using e2e::repeated;
using e2e::unit_session;

using operation_list = std::vector<std::string>;

TEST(tlv_setdevice, prepares_the_driver_library_and_tells_a_fan)
{
    unit_session pc("[[fan]]\ntype = 5\n", "setdevice", e2e::device_greeting, e2e::flavour::tlv);
    const std::string record = e2e::device_record(
        1, e2e::device_entry({.sn = "NEW", .hw = "1.0", .type = bytes({0, 0, 0, 5})}));
    e2e::exchange_devices(pc, record, record);
    pc.session.send(bytes({0x03}));
    pc.expect_end(outcome{});
    EXPECT_TRUE(
        memory_is(pc.board, "fan-0.bin", e2e::device_memory(bytes({5, 0, 0, 0}), "NEW", "1.0")));
    EXPECT_EQ(
        pc.board.operations("d"),
        (operation_list{"dev_drv_init libdev_drv answer=0 = 0",
                        "drv_get_fan_status libdev_drv index=0 answer=1 = 0",
                        "drv_get_fan_type libdev_drv index=0 answer=5 = 0",
                        "drv_set_fan_info libdev_drv index=0 sn=\"NEW\" hw=\"1.0\" answer=0 = 0",
                        "drv_get_fan_sn libdev_drv index=0 text=\"NEW\" answer=0 = 0",
                        "drv_get_fan_hw_version libdev_drv index=0 text=\"1.0\" answer=0 = 0"}));
}

TEST(tlv_setdevice, prepares_the_driver_library_even_for_no_record)
{
    unit_session pc("", "setdevice", e2e::device_greeting, e2e::flavour::tlv);
    pc.session.send(bytes({0x03}));
    pc.expect_end(outcome{});
    EXPECT_EQ(pc.board.operations("dev_drv_init ").size(), 1U);
}

constexpr std::string_view backplane_greeting = "Disconnect your console terminal first ...\r\n";

/** The MAC address 00 E0 FC 0A 0B 0C. */
const std::string backplane_message =
    bytes({0x01, 0x0F, 0x01, 0x01, 0x0C}) + "00e0fc0a0b0c" + bytes({0x00, 0x81});
const std::string backplane_record =
    repeated(28, 0x00) + bytes({0x00, 0xE0, 0xFC, 0x0A, 0x0B, 0x0C}) + repeated(10, 0x00);

TEST(tlv_setbackplane, stores_the_record_through_the_fpga)
{
    unit_session pc(e2e::backplane_eeproms, "setbackplane", backplane_greeting, e2e::flavour::tlv);
    pc.exchange(bytes({0x15}), bytes({0x06}));
    pc.exchange(backplane_message, bytes({0x06}));
    pc.expect_end(outcome{});
    for (const char *chip : {"bridge-4-0-52.bin", "bridge-4-1-54.bin"}) {
        EXPECT_TRUE(memory_is(pc.board, chip, backplane_record + repeated(212, 0xFF)));
    }
    EXPECT_EQ(pc.board.operations("dev_drv_init "), operation_list{});
}

TEST(tlv_setbackplane, stores_the_record_through_the_driver_library_without_preparing_it)
{
    unit_session pc("", "setbackplane", backplane_greeting, e2e::flavour::tlv);
    pc.exchange(bytes({0x15}), bytes({0x06}));
    pc.exchange(backplane_message, bytes({0x06}));
    pc.expect_end(outcome{});
    EXPECT_TRUE(memory_is(pc.board, "backplane-1.bin", backplane_record));
    EXPECT_TRUE(memory_is(pc.board, "backplane-2.bin", backplane_record));
    EXPECT_EQ(pc.board.operations("dev_drv_init "), operation_list{});
}

TEST(tlv_setfansn, programs_a_fan)
{
    unit_session pc("[[fpga.eeprom]]\nbus = 3\nchannel = 1\naddress = 0x56\nkind = \"fan\"\n",
                    "setfansn",
                    "Disconnect your console terminal first\r\n"
                    " Using your PC SetFanSn program to perform SetFanSn Operation ......",
                    e2e::flavour::tlv);
    const std::string list =
        e2e::unit_list(1, e2e::unit_element(4, bytes({0x01, 0x00, 0x20, 0x01}) +
                                                   e2e::field("FAN", 14) + e2e::field("9.FE", 5)));
    pc.exchange(e2e::unit_start, e2e::unit_acknowledge);
    pc.exchange(e2e::unit_message(list), e2e::unit_answer_offer);
    pc.exchange(e2e::unit_acknowledge, e2e::unit_message(list));
    pc.session.send(e2e::unit_acknowledge);
    pc.expect_end(outcome{});
    EXPECT_TRUE(memory_is(pc.board, "bridge-3-1-56.bin",
                          bytes({0x20}) + "FAN" + repeated(10, 0x00) + bytes({0x09, 0xEF}) +
                              repeated(240, 0xFF)));
    EXPECT_EQ(pc.board.operations("dev_drv_init "), operation_list{});
}

} // namespace
