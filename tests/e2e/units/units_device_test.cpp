#include "e2e/support/units_device.h"

// "prov_setmac setdevice": the exchange, record after record until the PC ends it.

namespace {

using e2e::bytes;
using e2e::device_card;
using e2e::device_entry;
using e2e::device_fan;
using e2e::device_greeting;
using e2e::device_memory;
using e2e::device_message;
using e2e::device_record;
using e2e::memory_is;
using e2e::repeated;
using e2e::unit_acknowledge;
using e2e::unit_answer_offer;
using e2e::unit_session;
using e2e::unit_start;

constexpr std::string_view one_of_each = R"toml(
[driver]
own_card_type = 0x77

[[fan]]
type = 0x11223344
sn = "OLD-FAN"
hw = "0.01"

[[supply]]
index = 1
name = "PSU-450W"
hw = "A01"

[[card]]
index = 2
card_type = 0x0A0B0C0D
sn = "OLD-CARD"
hw = "1.0"
)toml";

/** Ends the command: nothing is to come but the result of the save. */
void end(unit_session &pc)
{
    pc.session.send(bytes({0x03}));
    pc.expect_saved();
}

/** A record of the fan alone: 137 bytes. */
std::string fan_record(std::string_view sn, std::string_view hw)
{
    return device_record(
        1, device_entry(
               {.kind = device_fan, .sn = sn, .hw = hw, .type = bytes({0x11, 0x22, 0x33, 0x44})}));
}

const std::string new_fan_record = fan_record("FAN-SERIAL-0001", "1.02");
const std::string new_fan = device_memory("\x44\x33\x22\x11", "FAN-SERIAL-0001", "1.02");

/** A switch with a fan, a supply and a card, which waits for a record. */
class setdevice : public testing::Test {
protected:
    /** The PC's start, and what is answered to a message. */
    void exchange(std::string_view message, std::string_view answer)
    {
        pc.exchange(unit_start, unit_acknowledge);
        pc.exchange(message, answer);
    }

    /** The record of the fan gets its answer, and the command is ended. */
    void expect_good_record()
    {
        e2e::exchange_devices(pc, new_fan_record, new_fan_record);
        end(pc);
        EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", new_fan));
    }

    unit_session pc{one_of_each, "setdevice", device_greeting};
};

TEST_F(setdevice, tells_a_fan_a_supply_and_a_card_byte_by_byte)
{
    const std::string record = bytes({0x03, 0x01, 0x89, 0x01, 0x00, 0x00}) +
                               // the fan 0
                               bytes({0x01, 0x81, 0x00, 0x00, 0x00, 0x00, 0x00}) +
                               "FAN-SERIAL-0001" + repeated(9, 0x00) + "1.02" + repeated(2, 0x00) +
                               repeated(32, 0x00) + bytes({0x11, 0x22, 0x33, 0x44}) +
                               repeated(58, 0x00) +
                               // the supply 1
                               bytes({0x02, 0x81, 0x01, 0x00, 0x00, 0x00, 0x00}) +
                               repeated(24, 0x00) + "A02" + repeated(3, 0x00) + "PSU-450W" +
                               repeated(24, 0x00) + repeated(4, 0x00) + repeated(58, 0x00) +
                               // the card 2
                               bytes({0x03, 0x81, 0x02, 0x00, 0x00, 0x00, 0x00}) + "CARD-SERIAL-7" +
                               repeated(11, 0x00) + "2.0" + repeated(3, 0x00) + repeated(32, 0x00) +
                               bytes({0x0A, 0x0B, 0x0C, 0x0D}) + repeated(58, 0x00);
    pc.session.send(bytes({0x20}));
    pc.session.expect(bytes({0x06}));
    pc.session.send(bytes({0x01, 0x00, 0x00, 0x01, 0x8F}) + record + bytes({0x16}));
    pc.session.expect(bytes({0x06, 0x20}));
    pc.session.send(bytes({0x06}));
    pc.session.expect(bytes({0x01, 0x00, 0x00, 0x01, 0x8F}) + record + bytes({0x16}));
    pc.session.send(bytes({0x06}));
    pc.session.send(bytes({0x03}));
    pc.expect_saved();
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", new_fan));
    EXPECT_TRUE(memory_is(pc.board, "supply-1.bin", device_memory(bytes({0, 0, 0, 0}), "", "A02")));
    EXPECT_TRUE(memory_is(pc.board, "card-2.bin",
                          device_memory("\x0D\x0C\x0B\x0A", "CARD-SERIAL-7", "2.0")));
    EXPECT_EQ(pc.board.operations("dev_drv_init ").size(), 1U);
}

/** The lines of the fan's entry; `step` is "set" or "get". */
std::string entry_steps(const std::string &step)
{
    const std::string line = "[SETMAC <set_device_sn_info>:<N>] ";
    const std::string entry = line + "Tlv " + step + " 0 ";
    return line + "device " + step + " tlv_num 1 .\r\n" + line + "device " + step +
           " type 1 .\r\n" + line + "device " + step + " len 131 .\r\n" + entry +
           "tlv_type 1 .\r\n" + entry + "tlv_len 129 .\r\n" + entry + "tlv_data.index 0 .\r\n" +
           entry + "tlv_data.flag 0 .\r\n" + entry + "tlv_data.fan_type 0 .\r\n" + entry +
           "tlv_data.channel 0 .\r\n" + entry + "tlv_data.dev_addr 0 .\r\n" + entry +
           "tlv_data.sn FAN-SERIAL-0001 .\r\n" + entry + "tlv_data.hw 1.02 .\r\n" + entry +
           "tlv_data.name  .\r\n" + entry + "tlv_data.type 11 22 33 44 .\r\n";
}

TEST_F(setdevice, logs_a_record_before_and_after)
{
    expect_good_record();
    EXPECT_EQ(pc.steps(), "[SETMAC <recv_setsn_info>:<N>] Get NAK \r\n"
                          "[SETMAC <recv_setsn_info>:<N>] Get key:0x1 0x1\r\n"
                          "[SETMAC <recv_setsn_info>:<N>] len:137 2102\r\n"
                          "[SETMAC <recv_setsn_info>:<N>] chesum:0x84 read:0x84\r\n" +
                              entry_steps("set") +
                              "[SETMAC <device_fan_set_info>:<N>] Fan device type: P set type: "
                              "P \r\n" +
                              entry_steps("get") +
                              "[SETMAC <set_device_sn_info>:<N>]  Send ret:0 \r\n");
    EXPECT_NE(e2e::read_file(pc.log).find("Fan device type: 0x11223344 set type: 0x11223344 \r\n"),
              std::string::npos);
}

TEST_F(setdevice, takes_record_after_record_until_0x03)
{
    const std::string records[] = {
        new_fan_record,
        device_record(0, ""),
        device_record(1, device_entry({.kind = device_card,
                                       .index = 2,
                                       .sn = "CARD-2",
                                       .hw = "3.0",
                                       .type = bytes({0x0A, 0x0B, 0x0C, 0x0D})})),
        fan_record("FAN-SERIAL-0002", "1.03"),
    };
    for (const std::string &record : records) {
        e2e::exchange_devices(pc, record, record);
    }
    end(pc);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin",
                          device_memory("\x44\x33\x22\x11", "FAN-SERIAL-0002", "1.03")));
    EXPECT_TRUE(
        memory_is(pc.board, "card-2.bin", device_memory("\x0D\x0C\x0B\x0A", "CARD-2", "3.0")));
}

TEST_F(setdevice, ends_at_0x03_before_any_record)
{
    end(pc);
    EXPECT_EQ(pc.board.operations("drv_"), std::vector<std::string>{});
    EXPECT_EQ(pc.steps(), "");
}

TEST_F(setdevice, does_not_end_at_0x03_in_the_place_of_the_header)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.session.send(bytes({0x03}));
    expect_good_record();
}

TEST_F(setdevice, ends_at_a_record_of_length_0)
{
    exchange(bytes({0x01, 0x00, 0x00, 0x00, 0x00, 0x07}), bytes({0x20})); // with a wrong sum
    pc.exchange(unit_start, unit_acknowledge);
    pc.session.send(bytes({0x01, 0x00, 0x00, 0x00, 0x00, 0x00}));
    pc.expect_saved();
    EXPECT_EQ(pc.board.operations("drv_"), std::vector<std::string>{});
}

TEST_F(setdevice, refuses_a_length_of_2103_with_0x28_before_any_byte_of_it)
{
    exchange(bytes({0x01, 0x00, 0x00, 0x08, 0x37}), bytes({0x28}));
    expect_good_record();
}

TEST_F(setdevice, refuses_the_greatest_length_with_0x28)
{
    exchange(bytes({0x01, 0x7F, 0xFF, 0xFF, 0xFF}), bytes({0x28}));
    expect_good_record();
}

TEST_F(setdevice, refuses_a_negative_length_with_0x28_after_its_sum)
{
    exchange(bytes({0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}), bytes({0x20}));
    exchange(bytes({0x01, 0x80, 0x00, 0x00, 0x00, 0x00}), bytes({0x28}));
    expect_good_record();
    EXPECT_NE(pc.steps().find("[SETMAC <recv_setsn_info>:<N>] len:-1 2102\r\n"), std::string::npos);
    EXPECT_NE(pc.steps().find("[SETMAC <set_device_sn_info>:<N>]  Send ret:40 \r\n"),
              std::string::npos);
}

TEST_F(setdevice, refuses_17_entries_with_0x29)
{
    exchange(device_message(device_record(17, repeated(2096, 0x00))), bytes({0x29}));
    expect_good_record();
    EXPECT_NE(pc.steps().find("Tlv get 15 tlv_type 0 .\r\n"), std::string::npos);
    EXPECT_EQ(pc.steps().find("Tlv get 16 "), std::string::npos);
}

TEST_F(setdevice, asks_for_a_record_of_a_wrong_sum_again_and_goes_on_adding_up)
{
    const std::string sent = new_fan_record;
    ASSERT_EQ(e2e::sum_of(sent), bytes({0x84}));
    const std::string message = bytes({0x01, 0x00, 0x00, 0x00, 0x89}) + sent;
    exchange(message + bytes({0x83}), bytes({0x20}));
    // The sum of this attempt alone is not the one any more.
    exchange(message + bytes({0x84}), bytes({0x20}));
    // Three times 0x84.
    exchange(message + bytes({0x8C}), unit_answer_offer);
    pc.exchange(unit_acknowledge, message + bytes({0x84}));
    pc.session.send(unit_acknowledge);
    // The next record begins at 0.
    expect_good_record();
}

TEST_F(setdevice, keeps_what_came_before_in_the_same_record)
{
    exchange(bytes({0x01, 0x00, 0x00, 0x00, 0x89}) + new_fan_record + bytes({0x83}), bytes({0x20}));
    // The head alone, whose bytes add up to 0x85.
    exchange(bytes({0x01, 0x00, 0x00, 0x00, 0x06, 0x01, 0x01, 0x83, 0x00, 0x00, 0x00, 0x09}),
             unit_answer_offer);
    pc.exchange(unit_acknowledge,
                bytes({0x01, 0x00, 0x00, 0x00, 0x06, 0x01, 0x01, 0x83, 0x00, 0x00, 0x00, 0x85}));
    pc.session.send(unit_acknowledge);
    end(pc);
    EXPECT_TRUE(memory_is(pc.board, "fan-0.bin", new_fan));
}

TEST_F(setdevice, keeps_nothing_of_the_record_before)
{
    e2e::exchange_devices(pc, new_fan_record, new_fan_record);
    const std::string head_alone = bytes({0x01, 0x01, 0x83, 0x00, 0x00, 0x00});
    e2e::exchange_devices(pc, head_alone, head_alone);
    end(pc);
    EXPECT_EQ(pc.board.operations("drv_set_fan_info ").size(), 1U);
    EXPECT_NE(pc.steps().find("] Device 0 is not present. \r\n"), std::string::npos);
}

TEST_F(setdevice, waits_for_a_new_start_after_a_time_out_with_what_it_has_added_up)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.session.send(bytes({0x01, 0x00, 0x00, 0x00, 0x89}) + new_fan_record.substr(0, 3));
    pc.session.expect_silence(300);
    // 01 + 01 + 83 before, then 84.
    exchange(bytes({0x01, 0x00, 0x00, 0x00, 0x89}) + new_fan_record + bytes({0x09}),
             unit_answer_offer);
    pc.exchange(unit_acknowledge, device_message(new_fan_record));
    pc.session.send(unit_acknowledge);
    end(pc);
}

TEST_F(setdevice, waits_for_a_new_start_after_a_length_that_came_in_part)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.session.send(bytes({0x01, 0x00, 0x00, 0x08}));
    pc.session.expect_silence(300);
    expect_good_record();
}

TEST_F(setdevice, asks_again_when_the_sum_does_not_come_though_it_is_0xFF)
{
    exchange(bytes({0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0xFF}), bytes({0x20}));
    exchange(bytes({0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0xFF}), unit_answer_offer);
    pc.exchange(unit_acknowledge, bytes({0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00}));
    pc.session.send(unit_acknowledge);
    end(pc);
    EXPECT_NE(e2e::read_file(pc.log).find("chesum:0xff read:0xffffffff\r\n"), std::string::npos);
}

TEST_F(setdevice, keeps_waiting_through_silence_and_other_bytes)
{
    pc.session.expect_silence(300);
    pc.session.send(bytes({0x15, 0x00, 0xFF}));
    expect_good_record();
}

TEST_F(setdevice, answers_when_the_20th_byte_acknowledges)
{
    exchange(device_message(new_fan_record), unit_answer_offer);
    pc.exchange(repeated(19, 0x03) + bytes({0x06}), device_message(new_fan_record));
    pc.session.send(unit_acknowledge);
    end(pc);
}

TEST_F(setdevice, takes_the_next_record_when_20_bytes_do_not_acknowledge)
{
    exchange(device_message(fan_record("FAN-SERIAL-0002", "1.03")), unit_answer_offer);
    pc.session.send(repeated(20, 0x03));
    expect_good_record();
}

TEST_F(setdevice, takes_0x03_behind_its_answer_for_the_last_word_on_it)
{
    exchange(device_message(new_fan_record), unit_answer_offer);
    pc.exchange(unit_acknowledge, device_message(new_fan_record));
    pc.session.send(bytes({0x03}));
    pc.session.expect_silence(200);
    end(pc);
}

TEST(setdevice_record, of_16_fans_is_as_long_as_a_record_can_be)
{
    std::string fans;
    std::string entries;
    for (int index = 0; index < 16; ++index) {
        fans += "[[fan]]\ntype = 7\n";
        entries += device_entry(
            {.index = index, .sn = "FAN", .hw = "1.0", .type = bytes({0x00, 0x00, 0x00, 0x07})});
    }
    unit_session pc(fans, "setdevice", device_greeting);
    const std::string record = device_record(16, entries);
    ASSERT_EQ(record.size(), 2102U);
    e2e::exchange_devices(pc, record, record);
    end(pc);
    for (int index = 0; index < 16; ++index) {
        EXPECT_TRUE(memory_is(pc.board, "fan-" + std::to_string(index) + ".bin",
                              device_memory(bytes({0x07, 0x00, 0x00, 0x00}), "FAN", "1.0")));
    }
}

} // namespace
