#pragma once

#include "sim/board/board.h"

#include <algorithm>
#include <cstdint>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <span>
#include <string>
#include <unistd.h>
#include <vector>

// A chassis behind an FPGA, and its registers and bridge as a program uses them.

namespace fpga_chassis {

using bytes = std::vector<uint8_t>;

inline constexpr int status_register = 0x106;
inline constexpr uint8_t writing = 2;
inline constexpr uint8_t reading = 3;
inline constexpr uint8_t done = 0;
inline constexpr uint8_t failed = 1;
inline constexpr uint8_t busy = 2;

inline void set_register(int number, uint8_t value)
{
    const int fd = open("/dev/fpga0", O_RDWR);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(pwrite(fd, &value, 1, number), 1);
    close(fd);
}

inline uint8_t get_register(int number)
{
    uint8_t value = 0xEE;
    const int fd = open("/dev/fpga0", O_RDWR);
    EXPECT_EQ(pread(fd, &value, 1, number), 1);
    close(fd);
    return value;
}

inline void set_header(const sim::bridge_place &place, uint8_t offset, std::size_t length)
{
    set_register(0x100, place.bus);
    set_register(0x101, place.channel);
    set_register(0x102, place.address);
    set_register(0x103, offset);
    set_register(0x104, static_cast<uint8_t>(length));
}

/** Writes through the bridge: the first status after it. */
inline uint8_t bridge_write(const sim::bridge_place &place, uint8_t offset, const bytes &data)
{
    set_header(place, offset, data.size());
    for (std::size_t i = 0; i < data.size(); ++i) {
        set_register(static_cast<int>(0x140 + i), data[i]);
    }
    set_register(0x105, writing);
    return get_register(status_register);
}

inline bytes data_in(std::size_t length)
{
    bytes data;
    for (std::size_t i = 0; i < length; ++i) {
        data.push_back(get_register(static_cast<int>(0x180 + i)));
    }
    return data;
}

/** What the data-in registers hold after a read of the bridge that must be done at once. */
inline bytes bridge_read(const sim::bridge_place &place, uint8_t offset, std::size_t length)
{
    set_header(place, offset, length);
    set_register(0x105, reading);
    EXPECT_EQ(get_register(status_register), done);
    return data_in(length);
}

inline bytes head(std::span<const uint8_t> content, std::size_t length)
{
    return {content.begin(), content.begin() + static_cast<std::ptrdiff_t>(length)};
}

inline bytes block(const std::string &text)
{
    bytes result(1 + text.size());
    result[0] = static_cast<uint8_t>(text.size());
    std::ranges::copy(text, result.begin() + 1);
    return result;
}

inline constexpr sim::bridge_place poe = {4, 5, 0x52};
inline constexpr sim::bridge_place backplane = {4, 0, 0x52};
inline constexpr sim::bridge_place fan = {3, 2, 0x56};
inline constexpr sim::bridge_place fan_protection = {3, 2, 0x68};
inline constexpr sim::bridge_place supply = {4, 1, 0x59};
inline constexpr sim::bridge_place nowhere = {4, 7, 0x52};

/** One chip of each kind; EEPROMs are ready again at once after a write. */
inline sim::board_description chassis()
{
    return {.fpga = sim::fpga{
                .eeproms = {{.bus = 4, .channel = 5, .address = 0x52, .write_cycle_ms = 0},
                            {.bus = 4,
                             .channel = 0,
                             .address = 0x52,
                             .kind = sim::bridge_eeprom::backplane,
                             .content = {0x11, 0x22},
                             .write_cycle_ms = 0},
                            {.bus = 3,
                             .channel = 2,
                             .address = 0x56,
                             .kind = sim::bridge_eeprom::fan,
                             .write_cycle_ms = 0}},
                .supplies = {{.channel = 1, .address = 0x59, .serial = "PS01", .revision = "A00"},
                             {.channel = 1, .address = 0x5F, .present = false}}}};
}

} // namespace fpga_chassis
