#include "sim/board.h"

#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mtd/mtd-abi.h>
#include <sys/ioctl.h>
#include <unistd.h>

TEST(sim_flash, programming_only_clears_bits)
{
    sim::board board({.partitions = {{.name = "product_info"}}});
    const int fd = open("/dev/mtd0", O_RDWR);
    ASSERT_GE(fd, 0);
    const std::array<uint8_t, 2> first = {0xF0, 0x0F};
    ASSERT_EQ(write(fd, first.data(), 2), 2);
    ASSERT_EQ(lseek(fd, 0, SEEK_SET), 0);
    const std::array<uint8_t, 2> second = {0xCC, 0xFF};
    ASSERT_EQ(write(fd, second.data(), 2), 2);
    EXPECT_EQ(board.flash(0).bytes()[0], 0xC0);
    EXPECT_EQ(board.flash(0).bytes()[1], 0x0F);
    EXPECT_EQ(close(fd), 0);
}

TEST(sim_flash, is_described_in_the_words_of_a_test)
{
    sim::board b(
        {.partitions = {{.name = "product_info", .type = sim::nand, .blocks = 8, .bad = {0}}}});
    EXPECT_EQ(b.flash(0).block(0).size(), 0x10000U);
}
