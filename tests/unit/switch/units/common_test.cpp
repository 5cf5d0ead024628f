#include "units/common.h"

#include <cerrno>

#include <gtest/gtest.h>

#include "sim/board/board.h"

namespace {

constexpr const char *cpld = "/dev/cpld0";

sim::board_description with_cpld()
{
    return {.cpld = sim::cpld{}};
}

TEST(device_register, is_opened_for_each_access)
{
    sim::board board(with_cpld());
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
    sim::board board(with_cpld());
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
    sim::board board(with_cpld());
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

TEST(fpga, exists_when_it_can_be_read_and_written)
{
    {
        sim::board board({});
        EXPECT_EQ(fpga_exist(), 0);
        uint8_t value = 0;
        EXPECT_EQ(fpga_read(0x10, &value), -1);
        EXPECT_EQ(fpga_write(0x10, 1), -1);
    }
    sim::board board({.fpga = sim::fpga{}});
    EXPECT_EQ(fpga_exist(), 1);
    EXPECT_EQ(fpga_write(0x20, 0x5A), 0);
    uint8_t value = 0;
    EXPECT_EQ(fpga_read(0x20, &value), 0);
    EXPECT_EQ(value, 0x5A);
}

} // namespace
