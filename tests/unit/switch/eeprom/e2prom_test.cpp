#include "eeprom/e2prom.h"

#include <algorithm>
#include <cerrno>
#include <numeric>

#include "sim/board/board.h"
#include "unit/switch/support.h"

namespace {

using support::trace_log;

constexpr const char *bus = "/dev/i2c-0";

sim::board_description one_e2prom(unsigned write_cycle_ms = 5)
{
    return {.eeproms = {{.address = 0x56, .write_cycle_ms = write_cycle_ms}}};
}

std::vector<uint8_t> counting(size_t count)
{
    std::vector<uint8_t> bytes(count);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

std::vector<sim::operation> transfers(const sim::board &board)
{
    std::vector<sim::operation> found;
    std::ranges::copy_if(board.log(), std::back_inserter(found),
                         [](const sim::operation &done) { return done.name == "transfer"; });
    return found;
}

TEST(dfd_write_e2prom, cuts_at_pages)
{
    sim::board board(one_e2prom());
    const auto data = counting(20);
    ASSERT_EQ(dfd_write_e2prom(bus, 0x56, 5, data.data(), 20), 0);
    std::vector<std::pair<uint64_t, uint64_t>> chunks;
    for (const auto &transfer : transfers(board)) {
        chunks.emplace_back(transfer.offset, transfer.length);
    }
    EXPECT_EQ(chunks,
              (std::vector<std::pair<uint64_t, uint64_t>>{{5, 3}, {8, 8}, {16, 8}, {24, 1}}));
    EXPECT_TRUE(std::ranges::equal(board.eeprom(0x56).subspan(5, 20), data));
    EXPECT_EQ(board.eeprom(0x56)[4], 0xFF);
    EXPECT_EQ(board.eeprom(0x56)[25], 0xFF);
}

TEST(dfd_write_e2prom, writes_a_whole_image_in_32_transfers_with_pauses)
{
    sim::board board(one_e2prom(9));
    const auto data = counting(256);
    ASSERT_EQ(dfd_write_e2prom(bus, 0x56, 0, data.data(), 256), 0);
    const auto done = transfers(board);
    ASSERT_EQ(done.size(), 32U);
    for (size_t i = 0; i < done.size(); ++i) {
        EXPECT_EQ(done[i].offset, i * 8);
        EXPECT_EQ(done[i].length, 8U);
        EXPECT_EQ(done[i].error, 0);
        if (i > 0) {
            EXPECT_GE(done[i].time_us - done[i - 1].time_us, 10000);
        }
    }
    EXPECT_TRUE(std::ranges::equal(board.eeprom(0x56), data));
}

TEST(dfd_write_e2prom, of_nothing_does_nothing)
{
    sim::board board(one_e2prom());
    EXPECT_EQ(dfd_write_e2prom(bus, 0x56, 0, counting(1).data(), 0), 0);
    EXPECT_TRUE(board.log().empty());
}

TEST(dfd_write_e2prom, tries_a_chunk_again_until_it_is_answered)
{
    sim::board board(one_e2prom());
    board.inject({.operation = "transfer", .path = bus, .call = 2, .times = 4, .error = ENXIO});
    const auto data = counting(16);
    EXPECT_EQ(dfd_write_e2prom(bus, 0x56, 0, data.data(), 16), 0);
    EXPECT_EQ(transfers(board).size(), 6U);
    EXPECT_TRUE(std::ranges::equal(board.eeprom(0x56).first(16), data));
}

TEST(dfd_write_e2prom, gives_up_after_five_failures_and_keeps_the_chunks_before)
{
    sim::board board(one_e2prom());
    board.inject({.operation = "transfer", .path = bus, .call = 2, .times = 5, .error = ENXIO});
    const trace_log log;
    const auto data = counting(16);
    EXPECT_EQ(dfd_write_e2prom(bus, 0x56, 0, data.data(), 16), -1);
    const auto done = transfers(board);
    ASSERT_EQ(done.size(), 6U);
    for (size_t i = 2; i < done.size(); ++i) {
        EXPECT_GE(done[i].time_us - done[i - 1].time_us, 10000);
    }
    EXPECT_TRUE(std::ranges::equal(board.eeprom(0x56).first(8), counting(8)));
    EXPECT_EQ(board.eeprom(0x56)[8], 0xFF);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <dfd_write_e2prom>:<N>] Failed to get e2prom info: dev "
                                "/dev/i2c-0 0x56, offset: 8(ret -1)\r\n");
}

TEST(dfd_read_e2prom, reads_in_one_transfer)
{
    sim::board board({.eeproms = {{.address = 0x57, .content = counting(256)}}});
    std::vector<uint8_t> got(20);
    EXPECT_EQ(dfd_read_e2prom(bus, 0x57, 3, got.data(), 20), 0);
    EXPECT_TRUE(std::ranges::equal(got, std::span(board.eeprom(0x57)).subspan(3, 20)));
    ASSERT_EQ(transfers(board).size(), 1U);
    EXPECT_EQ(board.count("open", bus), 1U);
    EXPECT_EQ(board.count("close", bus), 1U);
}

TEST(dfd_read_e2prom, of_nothing_does_nothing)
{
    sim::board board(one_e2prom());
    uint8_t byte = 0;
    EXPECT_EQ(dfd_read_e2prom(bus, 0x56, 3, &byte, 0), 0);
    EXPECT_TRUE(board.log().empty());
}

TEST(dfd_read_e2prom, tries_five_times_with_pauses_and_logs_the_failure)
{
    sim::board board(one_e2prom());
    const trace_log log;
    uint8_t byte = 0;
    EXPECT_EQ(dfd_read_e2prom(bus, 0x33, 9, &byte, 1), -1);
    const auto done = transfers(board);
    ASSERT_EQ(done.size(), 5U);
    for (size_t i = 1; i < done.size(); ++i) {
        EXPECT_GE(done[i].time_us - done[i - 1].time_us, 10000);
    }
    EXPECT_EQ(board.count("close", bus), 5U);
    EXPECT_EQ(log.unnumbered(), "[SETMAC <dfd_read_e2prom>:<N>] Failed to get e2prom info: dev "
                                "/dev/i2c-0 0x33, offset: 9(ret -1)\r\n");
}

TEST(dfd_read_e2prom, logs_nothing_when_a_later_attempt_succeeds)
{
    sim::board board({.eeproms = {{.address = 0x57, .content = counting(4)}}});
    board.inject({.operation = "transfer", .path = bus, .times = 4, .error = ETIMEDOUT});
    const trace_log log;
    uint8_t byte = 0;
    EXPECT_EQ(dfd_read_e2prom(bus, 0x57, 2, &byte, 1), 0);
    EXPECT_EQ(byte, 3);
    EXPECT_EQ(log.text(), "");
}

TEST(sdd_read_i2c_one_time, needs_a_bus_and_a_buffer)
{
    sim::board board(one_e2prom());
    uint8_t byte = 0;
    EXPECT_EQ(sdd_read_i2c_one_time(nullptr, 0x56, 0, &byte, 1, 0), -1);
    EXPECT_EQ(sdd_read_i2c_one_time(bus, 0x56, 0, nullptr, 1, 0), -1);
    EXPECT_TRUE(board.log().empty());
}

TEST(sdd_read_i2c_one_time, fails_when_the_bus_is_not_there)
{
    sim::board board(one_e2prom());
    uint8_t byte = 0;
    EXPECT_EQ(sdd_read_i2c_one_time("/dev/i2c-7", 0x56, 0, &byte, 1, 0), -1);
}

TEST(sdd_read_i2c_one_time, returns_what_the_driver_says)
{
    sim::board board(one_e2prom());
    uint8_t byte = 0;
    EXPECT_EQ(sdd_read_i2c_one_time(bus, 0x56, 0, &byte, 1, 0), 2) << "two messages";
}

TEST(sdd_read_i2c_one_time, sends_the_low_byte_of_the_offset)
{
    sim::board board({.eeproms = {{.address = 0x57, .content = counting(256)}}});
    uint8_t byte = 0;
    EXPECT_EQ(sdd_read_i2c_one_time(bus, 0x57, 0x1234, &byte, 1, 0), 2);
    EXPECT_EQ(byte, 0x35);
}

TEST(sdd_read_i2c_one_time, sends_a_two_byte_offset_high_byte_first_and_as_ten_bits)
{
    sim::board board(one_e2prom());
    uint8_t byte = 0x5A;
    EXPECT_EQ(sdd_read_i2c_one_time(bus, 0x56, 0x1234, &byte, 1, 1), -1);
    EXPECT_EQ(errno, EOPNOTSUPP) << "the bus of the board knows no addresses of ten bits";
    ASSERT_EQ(transfers(board).size(), 1U);
    EXPECT_EQ(transfers(board)[0].arguments, "address=0x56 write=1234 read=");
    EXPECT_EQ(byte, 0x5A);
}

TEST(sdd_write_i2c_one_time, needs_a_bus_and_data)
{
    sim::board board(one_e2prom());
    const uint8_t byte = 0;
    EXPECT_EQ(sdd_write_i2c_one_time(nullptr, 0x56, 0, &byte, 1), -1);
    EXPECT_EQ(sdd_write_i2c_one_time(bus, 0x56, 0, nullptr, 1), -1);
    EXPECT_TRUE(board.log().empty());
}

TEST(sdd_write_i2c_one_time, of_no_bytes_returns_the_length)
{
    sim::board board(one_e2prom());
    const uint8_t byte = 0;
    EXPECT_EQ(sdd_write_i2c_one_time(bus, 0x56, 0, &byte, 0), 0);
    EXPECT_EQ(sdd_write_i2c_one_time(bus, 0x56, 0, &byte, -3), -3);
    EXPECT_TRUE(board.log().empty());
}

TEST(sdd_write_i2c_one_time, refuses_more_than_the_device_holds)
{
    sim::board board(one_e2prom());
    const std::vector<uint8_t> data(257);
    EXPECT_EQ(sdd_write_i2c_one_time(bus, 0x56, 0, data.data(), 257), -1);
    EXPECT_TRUE(board.log().empty());
}

TEST(sdd_write_i2c_one_time, takes_as_many_bytes_as_the_device_holds)
{
    sim::board board({.eeproms = {{.address = 0x56, .page_size = 256}}});
    const auto data = counting(256);
    EXPECT_EQ(sdd_write_i2c_one_time(bus, 0x56, 0, data.data(), 256), 2);
    EXPECT_TRUE(std::ranges::equal(board.eeprom(0x56), data));
}

TEST(sdd_write_i2c_one_time, is_one_write_on_the_bus)
{
    sim::board board(one_e2prom());
    const std::vector<uint8_t> data = {0xAA, 0xBB};
    EXPECT_EQ(sdd_write_i2c_one_time(bus, 0x56, 0x10, data.data(), 2), 2);
    ASSERT_EQ(transfers(board).size(), 1U);
    EXPECT_EQ(transfers(board)[0].address, 0x56);
    EXPECT_EQ(transfers(board)[0].data, (std::vector<uint8_t>{0x10, 0xAA, 0xBB}));
    EXPECT_EQ(board.count("close", bus), 1U);
}

} // namespace
