#include "exchange/protocol.h"

#include <optional>

#include "frames.h"
#include "sim/board/board.h"
#include "store/productinfo.h"
#include "unit/switch/console/console_fixture.h"
#include "unit/switch/console/timed_pc.h"

namespace {

using support::byte_list;
using support::bytes;
using support::console;
using support::digits_length;
using support::digits_value;
using support::late_pc;
using support::operator+;
using support::printed;
using support::raw_mode;
using support::setmac_sign;
using support::setsn_sign;
using support::timed_pc;
using support::timed_script;
using support::trace_log;

int32_t handled_length = 0;

int32_t handler(const uint8_t *, int32_t length)
{
    handled_length = length;
    return 0;
}

/** The entry procedures, over a console and a blank store. */
class entry : public console {
protected:
    void SetUp() override
    {
        board_.emplace(sim::board_description{
            .partitions = {{.name = "product_info", .erase_size = 0x4000, .blocks = 1}}});
        printed([] { init_product_info(); });
        console::SetUp();
    }

    void TearDown() override
    {
        console::TearDown();
        clr_prod_info();
    }

    sim::board &board() { return *board_; }

private:
    std::optional<sim::board> board_;
};

const byte_list banner = bytes("Setmac Model setup ...\r\n"
                               "Disconnect your console terminal first \r\n"
                               " Using your PC SetMac program to perform Setmac Operation ...\r\n");

const byte_list empty_value = {0x01, 0, 0, 0, 4, 0xFF, 0xFF, 0xFF, 0xFF};

TEST_F(entry, setmac_shows_its_banner_and_saves)
{
    const raw_mode raw;
    send(setmac_sign + empty_value);
    EXPECT_EQ(enter_setmac(1), 0);
    EXPECT_EQ(received(), (banner + byte_list{0x15, 0x01, 0x07, 0x06}));
    EXPECT_EQ(board().count("write", "/dev/mtd0"), 1U);
}

TEST_F(entry, setmac_tries_again_until_an_exchange_ends_with_zero)
{
    const raw_mode raw;
    // A wrong sign, a version of another protocol, a part of flag 3: each starts over.
    send({0x7B});
    send(setmac_sign + byte_list{0x02});
    send(setmac_sign + byte_list{0x01, 0, 0, 0, 9, 0x03, 0, 0, 0, 5} +
         byte_list{0x8B, 0xC2, 0x78, 0x60});
    send(setmac_sign + empty_value);
    EXPECT_EQ(enter_setmac(1), 0);
    EXPECT_EQ(received(),
              (banner + byte_list{0x15, 0x01, 0x15, 0x01, 0x07, 0x12, 0x15, 0x01, 0x07, 0x06}));
}

TEST_F(entry, setmac_ends_on_a_first_sign_of_zero_and_saves)
{
    const raw_mode raw;
    send({0x00});
    EXPECT_EQ(enter_setmac(1), 0);
    EXPECT_EQ(received(), banner);
    EXPECT_EQ(board().count("write", "/dev/mtd0"), 1U);
}

TEST_F(entry, setmac_ends_on_a_damaged_value)
{
    const raw_mode raw;
    send(setmac_sign + byte_list{0x01, 0, 0, 0, 4, 0xFF, 0xFF, 0xFF, 0xFE});
    EXPECT_EQ(enter_setmac(1), 0);
    EXPECT_EQ(received(), (banner + byte_list{0x15, 0x01, 0x14}));
}

TEST_F(entry, setmac_of_an_unknown_mode_ends_at_once)
{
    const raw_mode raw;
    EXPECT_EQ(enter_setmac(9), 0);
    com_flush();
    EXPECT_EQ(received(), banner);
}

TEST_F(entry, setsn_gives_up_on_a_silent_console)
{
    const raw_mode raw;
    const trace_log log;
    EXPECT_EQ(enter_setsn(2), -1);
    EXPECT_EQ(log.text(), "");
    EXPECT_TRUE(received().empty());
}

TEST_F(entry, setsn_waits_100_ms_for_the_start_byte)
{
    const raw_mode raw;
    {
        const timed_pc pc(timed_script{{70, bytes("{") + setsn_sign + byte_list{0x02}}});
        EXPECT_EQ(enter_setsn(2), 1);
    }
    EXPECT_EQ(received(), (byte_list{'}', 0x10, 0x01}));
    const timed_pc late(timed_script{{130, {'{'}}});
    EXPECT_EQ(enter_setsn(2), -1);
    EXPECT_TRUE(received().empty());
}

TEST_F(entry, setsn_ends_when_no_start_byte_comes)
{
    const raw_mode raw;
    const trace_log log;
    send({'x', 'y'});
    EXPECT_EQ(enter_setsn(2), 0);
    EXPECT_EQ(log.text(), "[SETMAC <enter_setsn>:<299>] enter setsn \r\n"
                          "[SETMAC <enter_setsn>:<312>] Not get setsn char.\r\n");
    EXPECT_TRUE(received().empty());
}

TEST_F(entry, setsn_looks_at_1000_bytes_and_no_more)
{
    const raw_mode raw;
    send(byte_list(1000, 'x') + byte_list{'{'});
    EXPECT_EQ(enter_setsn(2), 0);
    EXPECT_EQ(getkey(), '{');
}

TEST_F(entry, setsn_takes_the_start_byte_as_the_last_of_1000)
{
    const raw_mode raw;
    send(byte_list(999, 'x') + byte_list{'{', 0x22});
    EXPECT_EQ(enter_setsn(2), 0x22);
    EXPECT_EQ(received(), byte_list{'}'});
}

TEST_F(entry, setsn_drops_other_bytes_and_stores_the_serial)
{
    const raw_mode raw;
    send(bytes("xy{{{") + setsn_sign + byte_list{0x01, 0, 0, 0, 17} + bytes("ABCDEFGHJ1234") +
         byte_list{0xBC, 0x52, 0x7E, 0xA8});
    EXPECT_EQ(enter_setsn(2), 0);
    EXPECT_EQ(received(), byte_list({'}', 0x10, 0x01, 0x07, 0x06, 13}) + bytes("ABCDEFGHJ1234") +
                              byte_list{0x06});
    EXPECT_STREQ(get_product_info("SerialNO"), "ABCDEFGHJ1234");
}

TEST_F(entry, setsn_stops_taking_bytes_at_the_first_start_byte)
{
    const raw_mode raw;
    send(bytes("{") + setsn_sign + byte_list{0x02});
    EXPECT_EQ(enter_setsn(2), 1) << "the hand sign right behind the start byte is the exchange's";
    EXPECT_EQ(received(), (byte_list{'}', 0x10, 0x01}));
}

int32_t talkative_handler(const uint8_t *, int32_t)
{
    for (int i = 0; i < 2000; ++i) {
        printf("%099d\n", i);
    }
    return 0;
}

TEST_F(entry, text_of_a_handler_reaches_a_pc_that_stalls_and_so_does_the_reply_behind_it)
{
    const raw_mode raw;
    send(bytes("{") + setsn_sign + byte_list{0x01} + digits_length + digits_value);
    ASSERT_EQ(kbhit(900000), 1);
    const byte_list front = {'}', 0x10, 0x01, 0x07};
    late_pc reader(pc(), front.size() + 200000 + 1);
    EXPECT_EQ(set_module_info(talkative_handler), 0);
    const auto got = reader.received();
    ASSERT_EQ(got.size(), front.size() + 200000 + 1);
    EXPECT_EQ(byte_list(got.begin() + 4, got.begin() + 104), bytes(std::string(99, '0') + "\n"));
    EXPECT_EQ(byte_list(got.end() - 6, got.end()), bytes("1999\n\x06"));
}

TEST_F(entry, module_info_needs_a_handler_and_waiting_input)
{
    const raw_mode raw;
    EXPECT_EQ(set_module_info(handler), -1);
    send({'{'});
    ASSERT_EQ(kbhit(900000), 1);
    EXPECT_EQ(set_module_info(nullptr), -1);
}

TEST_F(entry, module_info_ends_when_the_first_byte_is_no_start_byte)
{
    const raw_mode raw;
    send({'x'});
    ASSERT_EQ(kbhit(900000), 1);
    EXPECT_EQ(set_module_info(handler), 0);
    EXPECT_TRUE(received().empty());
}

TEST_F(entry, module_info_runs_one_exchange_with_its_handler)
{
    const raw_mode raw;
    send(bytes("{") + setsn_sign + byte_list{0x01} + digits_length + digits_value);
    ASSERT_EQ(kbhit(900000), 1);
    EXPECT_EQ(set_module_info(handler), 0);
    EXPECT_EQ(handled_length, 9);
    EXPECT_EQ(received(), (byte_list{'}', 0x10, 0x01, 0x07, 0x06}));
}

} // namespace
