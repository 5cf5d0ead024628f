#include "sim/board/board.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <numeric>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

constexpr uint16_t chip = 0x56;

struct part {
    uint16_t flags;
    bytes data;
    uint16_t address = chip;
};

/** One I2C_RDWR of those messages on the bus; bytes read are put into them. */
int transfer(std::vector<part> &parts)
{
    std::vector<i2c_msg> messages;
    messages.reserve(parts.size());
    for (part &one : parts) {
        messages.push_back(
            {one.address, one.flags, static_cast<uint16_t>(one.data.size()), one.data.data()});
    }
    i2c_rdwr_ioctl_data data = {messages.data(), static_cast<uint32_t>(messages.size())};
    const int fd = open("/dev/i2c-0", O_RDWR);
    const int result = ioctl(fd, I2C_RDWR, &data);
    const int error = errno;
    close(fd);
    errno = error;
    return result;
}

int transfer(std::vector<part> &&parts)
{
    return transfer(parts);
}

/** The word address and data as one write on the bus. */
int write_at(uint8_t word, const bytes &data)
{
    return transfer({{0, {word}}, {I2C_M_NOSTART, data}});
}

bytes read_at(uint8_t word, std::size_t count)
{
    std::vector<part> parts = {{0, {word}}, {I2C_M_RD, bytes(count)}};
    return transfer(parts) == 2 ? parts[1].data : bytes{};
}

bytes counting()
{
    bytes content(256);
    std::iota(content.begin(), content.end(), uint8_t{0});
    return content;
}

bytes copy(std::span<const uint8_t> of)
{
    return {of.begin(), of.end()};
}

/** An EEPROM that is ready again at once. */
sim::board_description quick()
{
    return {.eeproms = {{.address = chip, .content = counting(), .write_cycle_ms = 0}}};
}

} // namespace

TEST(sim_i2c, an_eeprom_starts_with_its_content_and_is_blank_behind_it)
{
    sim::board board({.eeproms = {{.address = chip, .content = {1, 2, 3}}}});
    EXPECT_EQ(copy(board.eeprom(chip).first(5)), (bytes{1, 2, 3, 0xFF, 0xFF}));
    EXPECT_EQ(board.eeprom(chip).size(), 256U);
}

TEST(sim_i2c, a_read_goes_on_from_the_word_address)
{
    sim::board board(quick());
    EXPECT_EQ(read_at(0x10, 4), (bytes{0x10, 0x11, 0x12, 0x13}));
}

TEST(sim_i2c, a_read_wraps_at_the_end_of_the_memory)
{
    sim::board board(quick());
    EXPECT_EQ(read_at(0xFE, 4), (bytes{0xFE, 0xFF, 0x00, 0x01}));
}

TEST(sim_i2c, a_read_without_word_address_goes_on_where_the_last_ended)
{
    sim::board board(quick());
    ASSERT_EQ(read_at(0x20, 2), (bytes{0x20, 0x21}));
    std::vector<part> parts = {{I2C_M_RD, bytes(2)}};
    ASSERT_EQ(transfer(parts), 1);
    EXPECT_EQ(parts[0].data, (bytes{0x22, 0x23}));
}

TEST(sim_i2c, a_write_without_start_continues_the_word_address)
{
    sim::board board(quick());
    EXPECT_EQ(write_at(0x40, {0xA1, 0xA2}), 2);
    EXPECT_EQ(copy(board.eeprom(chip).subspan(0x3F, 4)), (bytes{0x3F, 0xA1, 0xA2, 0x42}));
}

TEST(sim_i2c, a_second_start_begins_another_word_address)
{
    sim::board board(quick());
    EXPECT_EQ(transfer({{0, {0x40}}, {0, {0x50, 0xB7}}}), 2);
    EXPECT_EQ(board.eeprom(chip)[0x40], 0x40);
    EXPECT_EQ(board.eeprom(chip)[0x50], 0xB7);
}

TEST(sim_i2c, a_write_wraps_inside_its_page)
{
    sim::board board(quick());
    EXPECT_EQ(transfer({{0, {0x16, 0xE0, 0xE1, 0xE2, 0xE3}}}), 1);
    EXPECT_EQ(copy(board.eeprom(chip).subspan(0x0F, 10)),
              (bytes{0x0F, 0xE2, 0xE3, 0x12, 0x13, 0x14, 0x15, 0xE0, 0xE1, 0x18}));
}

TEST(sim_i2c, the_page_size_is_that_of_the_part)
{
    sim::board board({.eeproms = {{.address = chip, .content = counting(), .page_size = 16}}});
    EXPECT_EQ(transfer({{0, {0x16, 0xE0, 0xE1, 0xE2}}}), 1);
    EXPECT_EQ(copy(board.eeprom(chip).subspan(0x15, 5)), (bytes{0x15, 0xE0, 0xE1, 0xE2, 0x19}));
}

TEST(sim_i2c, an_eeprom_does_not_answer_during_its_write_cycle)
{
    sim::board board({.eeproms = {{.address = chip, .write_cycle_ms = 1000}}});
    ASSERT_EQ(write_at(0, {0x11}), 2);
    EXPECT_EQ(read_at(0, 1), bytes{});
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(write_at(0, {0x22}), -1);
    EXPECT_EQ(errno, ENXIO);
    std::this_thread::sleep_for(std::chrono::milliseconds(1010));
    EXPECT_EQ(read_at(0, 1), bytes{0x11});
}

TEST(sim_i2c, an_eeprom_can_stop_answering_after_a_number_of_writes)
{
    sim::board board({.eeproms = {{.address = chip, .write_cycle_ms = 0, .answered_writes = 2}}});
    EXPECT_EQ(read_at(0, 1), bytes{0xFF});
    EXPECT_EQ(write_at(0, {0x11}), 2);
    EXPECT_EQ(write_at(8, {0x22}), 2);
    EXPECT_EQ(write_at(16, {0x33}), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(read_at(0, 1), bytes{});
    EXPECT_EQ(board.eeprom(chip)[8], 0x22);
    EXPECT_EQ(board.eeprom(chip)[16], 0xFF);
}

TEST(sim_i2c, setting_the_word_address_begins_no_write_cycle)
{
    sim::board board({.eeproms = {{.address = chip, .write_cycle_ms = 10000}}});
    EXPECT_EQ(read_at(0, 1), bytes{0xFF});
    EXPECT_EQ(read_at(0, 1), bytes{0xFF});
}

TEST(sim_i2c, each_eeprom_has_its_own_write_cycle)
{
    sim::board board({.eeproms = {{.address = chip, .write_cycle_ms = 10000},
                                  {.address = 0x57, .content = {7}}}});
    ASSERT_EQ(write_at(0, {0x11}), 2);
    std::vector<part> parts = {{0, {0}, 0x57}, {I2C_M_RD, bytes(1), 0x57}};
    EXPECT_EQ(transfer(parts), 2);
    EXPECT_EQ(parts[1].data, bytes{7});
}

TEST(sim_i2c, nobody_answers_at_an_address_without_a_chip)
{
    sim::board board(quick());
    EXPECT_EQ(transfer({{0, {0}, 0x50}}), -1);
    EXPECT_EQ(errno, ENXIO);
}

TEST(sim_i2c, ten_bit_addresses_are_refused)
{
    sim::board board(quick());
    EXPECT_EQ(transfer({{I2C_M_TEN, {0, 0}}}), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
}

TEST(sim_i2c, empty_messages_are_refused_before_anything_crosses_the_bus)
{
    sim::board board(quick());
    EXPECT_EQ(transfer({{0, {0x40, 0xA1}}, {I2C_M_RD, {}}}), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_EQ(transfer({{0, {}}}), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_EQ(board.eeprom(chip)[0x40], 0x40);
    const int fd = open("/dev/i2c-0", O_RDWR);
    EXPECT_EQ(ioctl(fd, I2C_SLAVE, chip), 0);
    uint8_t none = 0;
    EXPECT_EQ(read(fd, &none, 0), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_EQ(write(fd, &none, 0), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    close(fd);
}

TEST(sim_i2c, a_continuation_needs_a_message_of_its_direction_before_it)
{
    sim::board board(quick());
    EXPECT_EQ(transfer({{I2C_M_NOSTART, {0}}}), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(transfer({{0, {0}}, {I2C_M_RD | I2C_M_NOSTART, {0}}}), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(sim_i2c, transfers_without_messages_or_with_too_many_are_refused)
{
    sim::board board(quick());
    EXPECT_EQ(transfer({}), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(transfer(std::vector<part>(43, {0, {0}})), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(transfer(std::vector<part>(42, {0, {0}})), 42);
}

TEST(sim_i2c, a_chosen_chip_is_read_and_written_plainly)
{
    sim::board board(quick());
    const int fd = open("/dev/i2c-0", O_RDWR);
    unsigned long functions = 0;
    EXPECT_EQ(ioctl(fd, I2C_FUNCS, &functions), 0);
    EXPECT_EQ(functions & I2C_FUNC_I2C, static_cast<unsigned long>(I2C_FUNC_I2C));
    EXPECT_EQ(ioctl(fd, I2C_SLAVE, chip), 0);
    EXPECT_EQ(write(fd, "\x30\x99", 2), 2);
    EXPECT_EQ(write(fd, "\x30", 1), 1);
    bytes answer(2);
    EXPECT_EQ(read(fd, answer.data(), 2), 2);
    EXPECT_EQ(answer, (bytes{0x99, 0x31}));
    EXPECT_EQ(ioctl(fd, I2C_SLAVE, 0x80), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ioctl(fd, 0x0799, nullptr), -1);
    close(fd);
}

TEST(sim_i2c, the_bus_is_where_the_board_has_it)
{
    sim::board board({.i2c_bus = "/dev/i2c-3"});
    EXPECT_EQ(open("/dev/i2c-0", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
    const int fd = open("/dev/i2c-3", O_RDWR);
    EXPECT_GE(fd, 0);
    close(fd);
}

TEST(sim_i2c, a_transfer_is_logged_with_address_word_and_bytes)
{
    sim::board board(quick());
    ASSERT_EQ(write_at(0x40, {0xA1, 0xA2}), 2);
    ASSERT_EQ(read_at(0x40, 1), bytes{0xA1});
    ASSERT_EQ(board.count("transfer", "/dev/i2c-0"), 2U);
    const sim::operation &written = board.log()[1];
    EXPECT_EQ(written.name, "transfer");
    EXPECT_EQ(written.address, 0x56);
    EXPECT_EQ(written.offset, 0x40U);
    EXPECT_EQ(written.length, 2U);
    EXPECT_EQ(written.data, (bytes{0x40, 0xA1, 0xA2}));
    EXPECT_EQ(written.result, 2);
    EXPECT_EQ(written.arguments, "address=0x56 write=40a1a2");
    const sim::operation &taken = board.log()[4];
    EXPECT_EQ(taken.offset, 0x40U);
    EXPECT_EQ(taken.length, 1U);
    EXPECT_EQ(taken.arguments, "address=0x56 write=40 read=a1");
}
