#include "units/set_backplane.h"

#include <algorithm>
#include <cerrno>

#include "units/common_backplane.h"
#include "units_fixture.h"

namespace {

using support::byte_list;
using support::bytes;
using support::field;
using support::operator+;
using support::printed;
using support::raw_mode;
using support::trace_log;
using support::with_sum;

const byte_list banner = bytes("Disconnect your console terminal first ...\r\n");

/** Element: type, length, text, NUL. */
byte_list element(uint8_t type, std::string_view text)
{
    return byte_list{type, static_cast<uint8_t>(text.size())} + bytes(text) + byte_list{0};
}

/** A whole message: start byte, header, length, count, payload and its sum. */
byte_list message(const byte_list &payload, uint8_t count, uint8_t sum_before = 0)
{
    return byte_list{0x15, 0x01, static_cast<uint8_t>(payload.size()), count} +
           with_sum(payload, sum_before);
}

const byte_list whole = element(1, "00e0fc0a0b0c") + element(2, "BP123456789012345X") +
                        element(3, "0x1F") + element(4, "V1.00") + element(5, "01") +
                        element(6, "a2") + element(7, "3") + element(8, "1ff") +
                        element(9, "12345678");

/** The record of those elements. */
const byte_list whole_record = byte_list{0x1F} + field("V1.00", 8) + bytes("BP123456789012345X") +
                               byte_list{0,    0x00, 0xE0, 0xFC, 0x0A, 0x0B, 0x0C, 0x01, 0xA2,
                                         0x03, 0xFF, 0,    0,    0x78, 0x56, 0x34, 0x12};

/** A pause that the switch asks for, and how far it is on the FPGA. */
struct asked_pause {
    useconds_t length_us;
    uint64_t written; // the last register
    size_t reads;

    bool operator==(const asked_pause &) const = default;
};

/** The pauses that the switch asks for while it lives. One at a time. */
class pause_log {
public:
    pause_log() { current = this; }
    pause_log(const pause_log &) = delete;
    pause_log &operator=(const pause_log &) = delete;
    ~pause_log() { current = nullptr; }

    std::vector<asked_pause> pauses = {};

    static inline pause_log *current = nullptr;
};

asked_pause pause_of(useconds_t length_us)
{
    const auto &board = *sim::board::current();
    asked_pause asked = {.length_us = length_us, .written = 0, .reads = board.count("read")};
    for (const auto &done : board.log()) {
        asked.written = done.name == "write" ? done.offset : asked.written;
    }
    return asked;
}

} // namespace

// The linker puts this in front of usleep() (--wrap).
extern "C" {

int __real_usleep(useconds_t length_us);

int __wrap_usleep(useconds_t length_us)
{
    if (pause_log::current != nullptr) {
        pause_log::current->pauses.push_back(pause_of(length_us));
    }
    return __real_usleep(length_us);
}
}

namespace {

class backplane : public support::unit_command {
protected:
    void SetUp() override
    {
        fit({});
        unit_command::SetUp();
    }

    byte_list stored(int32_t index)
    {
        const auto record = board().backplane(index);
        return {record.begin(), record.end()};
    }
};

/** A board whose backplane is reached through the bridge. */
class bridge_backplane : public backplane {
protected:
    void SetUp() override
    {
        fit({.fpga = sim::fpga{.eeproms = {{.bus = 4,
                                            .channel = 0,
                                            .address = 0x52,
                                            .kind = sim::bridge_eeprom::backplane},
                                           {.bus = 4,
                                            .channel = 1,
                                            .address = 0x54,
                                            .kind = sim::bridge_eeprom::backplane}}}});
        unit_command::SetUp();
    }

    byte_list chip(uint8_t channel, uint8_t address, size_t count = 44)
    {
        const auto content = board().bridge_eeprom(4, channel, address);
        return {content.begin(), content.begin() + static_cast<ptrdiff_t>(count)};
    }

    /** Register and value of each write to the FPGA. */
    std::vector<std::pair<uint64_t, int>> register_writes()
    {
        std::vector<std::pair<uint64_t, int>> writes;
        for (const auto &done : board().log()) {
            if (done.name == "write" && done.path == "/dev/fpga0") {
                writes.emplace_back(done.offset, done.data.at(0));
            }
        }
        return writes;
    }
};

TEST_F(backplane, is_written_by_the_driver_library_where_there_is_no_fpga)
{
    const trace_log log;
    EXPECT_EQ(run(set_backplane_info, message(whole, 9)), (banner + byte_list{0x06, 0x06}));
    EXPECT_EQ(stored(1), whole_record);
    EXPECT_EQ(stored(2), whole_record);
    const auto said = log.unnumbered();
    EXPECT_NE(said.find("[SETMAC <set_backplane_info>:<N>] BP type 31 .\r\n"
                        "[SETMAC <set_backplane_info>:<N>] BP version V1.00 .\r\n"
                        "[SETMAC <set_backplane_info>:<N>] BP serial_no BP123456789012345X .\r\n"
                        "[SETMAC <set_backplane_info>:<N>] BP mac_addr 00:E0:FC:0A:0B:0C .\r\n"
                        "[SETMAC <set_backplane_info>:<N>] BP serial_0 1 .\r\n"
                        "[SETMAC <set_backplane_info>:<N>] BP serial_1 162 .\r\n"
                        "[SETMAC <set_backplane_info>:<N>] BP serial_2 3 .\r\n"
                        "[SETMAC <set_backplane_info>:<N>] BP serial_3 255 .\r\n"
                        "[SETMAC <set_backplane_info>:<N>] Set backplane by dfd!\r\n"),
              std::string::npos)
        << said;
}

TEST_F(backplane, version_of_8_characters_runs_on_in_the_log)
{
    const trace_log log;
    run(set_backplane_info, message(element(4, "VERSION8x") + element(2, "SN"), 2));
    EXPECT_EQ(stored(1), byte_list{0} + bytes("VERSION8") + field("SN", 35));
    EXPECT_NE(log.text().find("BP version VERSION8SN .\r\n"), std::string::npos);
}

TEST_F(backplane, mac_is_zero_from_the_first_pair_that_is_not_hexadecimal)
{
    run(set_backplane_info, message(element(1, "00e0zz0a0b0c"), 1));
    EXPECT_EQ(stored(1), (byte_list(28, 0) + byte_list{0x00, 0xE0, 0, 0, 0, 0} + byte_list(10, 0)));
}

TEST_F(backplane, mac_of_another_length_is_ignored)
{
    run(set_backplane_info, message(element(1, "00:e0:fc:0a:0b:0c"), 1));
    EXPECT_EQ(stored(1), byte_list(44, 0));
}

TEST_F(backplane, unknown_elements_are_skipped_and_later_ones_win)
{
    run(set_backplane_info, message(element(10, "zz") + element(2, "LONGSERIAL") +
                                        element(2, "SHORT") + element(3, "12") + element(3, "zz"),
                                    5));
    EXPECT_EQ(stored(1), byte_list(9, 0) + field("SHORT", 35));
}

TEST_F(backplane, of_no_elements_is_all_zero)
{
    EXPECT_EQ(run(set_backplane_info, message({}, 0)), (banner + byte_list{0x06, 0x06}));
    EXPECT_EQ(stored(1), byte_list(44, 0));
}

TEST_F(backplane, elements_that_are_missing_are_skipped)
{
    auto cut = element(3, "1F") + element(2, "SERIAL");
    cut.resize(cut.size() - 4);
    run(set_backplane_info, message(cut, 200));
    EXPECT_EQ(stored(1), byte_list{0x1F} + byte_list(43, 0));
    run(set_backplane_info, message({3}, 1));
    EXPECT_EQ(stored(1), byte_list(44, 0));
}

TEST_F(backplane, element_needs_no_nul_at_the_very_end)
{
    auto unterminated = element(2, "SERIAL");
    unterminated.pop_back();
    run(set_backplane_info, message(unterminated, 1));
    EXPECT_EQ(stored(1), byte_list(9, 0) + field("SERIAL", 35));
}

TEST_F(backplane, payload_may_have_255_bytes)
{
    byte_list full = element(3, "1F");
    full.resize(255, 0x41);
    run(set_backplane_info, message(full, 1));
    EXPECT_EQ(stored(1), byte_list{0x1F} + byte_list(43, 0));
}

TEST_F(backplane, checksum_goes_on_over_a_resend)
{
    const auto payload = element(3, "1F");
    auto damaged = message(payload, 1);
    damaged.back() ^= 0xFF;
    const uint8_t sum = message(payload, 1).back();
    EXPECT_EQ(run(set_backplane_info, damaged + message(payload, 1, sum)),
              (banner + byte_list{0x06, 0x15, 0x06, 0x06}));
    EXPECT_EQ(stored(1), byte_list{0x1F} + byte_list(43, 0));
}

TEST_F(backplane, checksum_that_starts_over_is_refused)
{
    const auto payload = element(3, "1F");
    auto damaged = message(payload, 1);
    damaged.back() ^= 0xFF;
    const uint8_t sum = message(payload, 1).back();
    const auto third = message(payload, 1, static_cast<uint8_t>(sum + sum));
    EXPECT_EQ(run(set_backplane_info, damaged + message(payload, 1) + third),
              (banner + byte_list{0x06, 0x15, 0x06, 0x15, 0x06, 0x06}));
}

TEST_F(backplane, start_is_waited_for_and_its_header_needed)
{
    EXPECT_EQ(run(set_backplane_info, byte_list{0x00, 0x20, 0x15, 0x02} + message({}, 0)),
              (banner + byte_list{0x06, 0x06, 0x06}));
}

TEST_F(backplane, write_that_fails_is_told_and_the_other_made_all_the_same)
{
    board().inject({.operation = "drv_set_backplane_info", .path = "libdev_drv", .result = -2});
    EXPECT_EQ(run(set_backplane_info, message(element(3, "1F"), 1)),
              (banner + byte_list{0x06, 0xFE, 0x06}));
    EXPECT_EQ(stored(2), byte_list{0x1F} + byte_list(43, 0));
    EXPECT_NE(stored(1), stored(2));
}

TEST_F(bridge_backplane, is_written_to_both_eeproms)
{
    EXPECT_EQ(run(set_backplane_info, message(whole, 9)), (banner + byte_list{0x06, 0x06}));
    EXPECT_EQ(chip(0, 0x52), whole_record);
    EXPECT_EQ(chip(1, 0x54), whole_record);
    EXPECT_EQ(board().count("drv_set_backplane_info"), 0U);
}

TEST_F(bridge_backplane, failed_write_is_told_and_the_other_made_all_the_same)
{
    board().trouble({.bus = 4, .channel = 0, .address = 0x52, .what = sim::bridge_trouble::fail});
    EXPECT_EQ(run(set_backplane_info, message(element(3, "1F"), 1)),
              (banner + byte_list{0x06, 0x01, 0x06}));
    EXPECT_EQ(chip(1, 0x54, 1), byte_list{0x1F});
    EXPECT_EQ(chip(0, 0x52, 1), byte_list{0xFF});
    EXPECT_EQ(register_writes().back(), (std::pair<uint64_t, int>{0x00C, 3}));
}

TEST_F(bridge_backplane, transfer_sets_the_registers_in_order)
{
    const byte_list data = {0xAA, 0xBB};
    EXPECT_EQ(_write_blckplane_info(0x54, 0x10, data.data(), 2), 0);
    EXPECT_EQ(register_writes(), (std::vector<std::pair<uint64_t, int>>{{0x00C, 0},
                                                                        {0x100, 4},
                                                                        {0x101, 1},
                                                                        {0x102, 0x54},
                                                                        {0x103, 0x10},
                                                                        {0x104, 2},
                                                                        {0x140, 0xAA},
                                                                        {0x141, 0xBB},
                                                                        {0x105, 2},
                                                                        {0x00C, 3}}));
}

TEST_F(bridge_backplane, transfer_of_no_bytes_starts_the_command_all_the_same)
{
    _write_blckplane_info(0x52, 0, nullptr, 0);
    EXPECT_EQ(register_writes(), (std::vector<std::pair<uint64_t, int>>{{0x00C, 0},
                                                                        {0x100, 4},
                                                                        {0x101, 0},
                                                                        {0x102, 0x52},
                                                                        {0x103, 0},
                                                                        {0x104, 0},
                                                                        {0x105, 2},
                                                                        {0x00C, 3}}));
}

TEST_F(bridge_backplane, read_leaves_the_write_control_alone)
{
    const byte_list data = {1, 2, 3};
    ASSERT_EQ(_write_blckplane_info(0x52, 4, data.data(), 3), 0);
    board().clear_log();
    byte_list got(3);
    EXPECT_EQ(_read_blckplane_info(0x52, 4, got.data(), 3), 0);
    EXPECT_EQ(got, data);
    EXPECT_EQ(register_writes(),
              (std::vector<std::pair<uint64_t, int>>{
                  {0x100, 4}, {0x101, 0}, {0x102, 0x52}, {0x103, 4}, {0x104, 3}, {0x105, 3}}));
}

TEST_F(bridge_backplane, lengths_are_cut_into_transfers_of_8)
{
    const struct {
        int32_t length;
        std::vector<std::pair<int, int>> transfers; // offset and length
    } cases[] = {
        {0, {{0, 0}}},
        {8, {{0, 8}}},
        {9, {{0, 8}, {8, 1}}},
        {44, {{0, 8}, {8, 8}, {16, 8}, {24, 8}, {32, 8}, {40, 4}}},
    };
    const byte_list data(44, 0x11);
    for (const auto &[length, transfers] : cases) {
        board().clear_log();
        EXPECT_EQ(write_backplane_info(0x52, data.data(), length), 0);
        std::vector<std::pair<int, int>> seen;
        int offset = 0;
        for (const auto &[reg, value] : register_writes()) {
            if (reg == 0x103) {
                offset = value;
            } else if (reg == 0x104) {
                seen.emplace_back(offset, value);
            }
        }
        EXPECT_EQ(seen, transfers) << length;
    }
    byte_list got(44);
    EXPECT_EQ(read_backplane_info(0x52, got.data(), 44), 0);
    EXPECT_EQ(got, data);
}

TEST_F(bridge_backplane, length_that_cannot_be_is_refused_without_a_transfer)
{
    byte_list nine(9, 0x11);
    EXPECT_EQ(write_backplane_info(0x52, nine.data(), -1), -1);
    EXPECT_EQ(read_backplane_info(0x52, nine.data(), -9), -1);
    for (const int32_t length : {-1, 9}) {
        EXPECT_EQ(_write_blckplane_info(0x52, 0, nine.data(), length), -1);
        EXPECT_EQ(_read_blckplane_info(0x52, 0, nine.data(), length), -1);
    }
    EXPECT_TRUE(board().log().empty());
    EXPECT_EQ(nine, byte_list(9, 0x11));
}

TEST_F(bridge_backplane, first_failed_transfer_ends_the_write)
{
    board().trouble(
        {.bus = 4, .channel = 0, .address = 0x52, .call = 2, .what = sim::bridge_trouble::fail});
    const byte_list data(44, 0x11);
    EXPECT_EQ(write_backplane_info(0x52, data.data(), 44), 1);
    EXPECT_EQ(chip(0, 0x52, 9), byte_list(8, 0x11) + byte_list{0xFF});
    const auto writes = register_writes();
    EXPECT_EQ(std::ranges::count(writes, (std::pair<uint64_t, int>{0x105, 2})), 2);
}

TEST_F(bridge_backplane, busy_bridge_is_polled_until_it_is_done)
{
    board().trouble(
        {.bus = 4, .channel = 0, .address = 0x52, .what = sim::bridge_trouble::busy, .polls = 7});
    const uint8_t byte = 1;
    EXPECT_EQ(_write_blckplane_info(0x52, 0, &byte, 1), 0);
    EXPECT_EQ(board().count("read", "/dev/fpga0"), 8U);
}

TEST_F(bridge_backplane, bridge_that_stays_busy_is_given_up_after_5000_polls)
{
    board().trouble({.bus = 4, .channel = 0, .address = 0x52, .what = sim::bridge_trouble::stick});
    const uint8_t byte = 1;
    EXPECT_EQ(_write_blckplane_info(0x52, 0, &byte, 1), 2);
    EXPECT_EQ(board().count("read", "/dev/fpga0"), 5000U);
    EXPECT_EQ(register_writes().back(), (std::pair<uint64_t, int>{0x00C, 3}));
}

TEST_F(bridge_backplane, failed_status_ends_the_poll)
{
    board().trouble({.bus = 4, .channel = 0, .address = 0x52, .what = sim::bridge_trouble::fail});
    const uint8_t byte = 1;
    EXPECT_EQ(_write_blckplane_info(0x52, 0, &byte, 1), 1);
    EXPECT_EQ(board().count("read", "/dev/fpga0"), 1U);
}

TEST_F(bridge_backplane, good_write_settles_for_10_ms_before_it_is_protected)
{
    const uint8_t byte = 1;
    ASSERT_EQ(_write_blckplane_info(0x52, 0, &byte, 1), 0);
    const auto &log = board().log();
    const auto last_read = std::ranges::find_if(
        log.rbegin(), log.rend(), [](const auto &done) { return done.name == "read"; });
    EXPECT_GE(log.back().time_us - last_read->time_us, 10000);
}

TEST_F(bridge_backplane, first_poll_comes_80_us_after_the_command)
{
    const pause_log log;
    byte_list got(1);
    EXPECT_EQ(_read_blckplane_info(0x52, 0, got.data(), 1), 0);
    EXPECT_EQ(log.pauses,
              (std::vector<asked_pause>{{.length_us = 80, .written = 0x105, .reads = 0}}));
    EXPECT_GT(board().count("read", "/dev/fpga0"), 0U);
}

TEST_F(bridge_backplane, status_that_cannot_be_read_is_not_done)
{
    board().inject({.operation = "read", .path = "/dev/fpga0", .times = 3, .error = EIO});
    const uint8_t byte = 1;
    EXPECT_EQ(_write_blckplane_info(0x52, 0, &byte, 1), 0);
    EXPECT_EQ(board().count("read", "/dev/fpga0"), 4U);
}

TEST_F(bridge_backplane, shown_transfers_and_the_status_behind_them_reach_a_pc_that_stalls)
{
    std::string shown;
    for (int i = 0; i < 100; ++i) {
        shown += "<read...>channel:[0x0], eeprom_addr:[0x52], offset:[0x0],len:[0x4]"
                 "get:0xff get:0xff get:0xff get:0xff \n";
    }
    const raw_mode raw;
    const size_t filled = support::fill_line();
    support::late_pc reader(pc(), filled + shown.size() + 1);
    debug = 1;
    byte_list got(4);
    for (int i = 0; i < 100; ++i) {
        _read_blckplane_info(0x52, 0, got.data(), 4);
    }
    serial_putc_raw(0x01);
    debug = 0;
    com_flush();
    EXPECT_EQ(reader.received(), byte_list(filled, 0) + bytes(shown) + byte_list{0x01});
}

TEST_F(bridge_backplane, transfers_are_shown_when_debugging)
{
    const byte_list data = {0xAB, 0x01};
    debug = 1;
    EXPECT_EQ(printed([&] { _write_blckplane_info(0x52, 0x10, data.data(), 2); }),
              "<Writing...>channel:[0x0], eeprom_addr:[0x52], offset:[0x10],len:[0x2]\n");
    byte_list got(2);
    EXPECT_EQ(
        printed([&] { _read_blckplane_info(0x52, 0x10, got.data(), 2); }),
        "<read...>channel:[0x0], eeprom_addr:[0x52], offset:[0x10],len:[0x2]get:0xab get:0x01 "
        "\n");
    debug = 0;
}

} // namespace
