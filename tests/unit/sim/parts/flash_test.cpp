#include "sim/board/board.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mtd/mtd-abi.h>
#include <numeric>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

/** An open /dev/mtdN. */
class mtd {
public:
    explicit mtd(int index, int flags = O_RDWR)
        : fd_(open(("/dev/mtd" + std::to_string(index)).c_str(), flags))
    {
    }
    ~mtd() { close(fd_); }
    mtd(const mtd &) = delete;
    mtd &operator=(const mtd &) = delete;

    int fd() const { return fd_; }
    int erase(uint32_t start, uint32_t length) const
    {
        erase_info_user area = {start, length};
        return ioctl(fd_, MEMERASE, &area);
    }
    int bad_block(int64_t offset) const { return ioctl(fd_, MEMGETBADBLOCK, &offset); }
    mtd_info_user info() const
    {
        mtd_info_user info = {};
        EXPECT_EQ(ioctl(fd_, MEMGETINFO, &info), 0);
        return info;
    }

private:
    int fd_;
};

/** So many bytes 0, 1, 2 … */
bytes counting(std::size_t count)
{
    bytes content(count);
    std::iota(content.begin(), content.end(), uint8_t{0});
    return content;
}

std::string text_of(const char *path)
{
    const int fd = open(path, O_RDONLY);
    std::array<char, 64> text = {};
    const ssize_t count = read(fd, text.data(), text.size());
    close(fd);
    return count < 0 ? "unreadable" : std::string(text.data(), static_cast<std::size_t>(count));
}

} // namespace

TEST(sim_flash, starts_erased)
{
    sim::board board({.partitions = {{.name = "a", .erase_size = 4096, .blocks = 2}}});
    EXPECT_EQ(board.flash(0).block(0), bytes(4096, 0xFF));
    EXPECT_EQ(board.flash(0).bytes().size(), 8192U);
}

TEST(sim_flash, programming_only_clears_bits)
{
    sim::board board({.partitions = {{.name = "a"}}});
    const mtd dev(0);
    ASSERT_EQ(write(dev.fd(), "\xF0\x0F", 2), 2);
    ASSERT_EQ(lseek(dev.fd(), 0, SEEK_SET), 0);
    ASSERT_EQ(write(dev.fd(), "\xCC\xFF", 2), 2);
    EXPECT_EQ(board.flash(0).bytes()[0], 0xC0);
    EXPECT_EQ(board.flash(0).bytes()[1], 0x0F);
}

TEST(sim_flash, ram_takes_every_value)
{
    sim::board board({.partitions = {{.name = "a", .type = sim::ram}}});
    const mtd dev(0);
    ASSERT_EQ(pwrite(dev.fd(), "\x00", 1, 5), 1);
    ASSERT_EQ(pwrite(dev.fd(), "\xA5", 1, 5), 1);
    EXPECT_EQ(board.flash(0).bytes()[5], 0xA5);
}

TEST(sim_flash, erase_clears_whole_blocks_and_leaves_the_others)
{
    sim::board board({.partitions = {{.name = "a", .erase_size = 4096, .blocks = 3}}});
    std::ranges::fill(board.flash(0).bytes(), 0x00);
    const mtd dev(0);
    EXPECT_EQ(dev.erase(4096, 4096), 0);
    EXPECT_EQ(board.flash(0).block(0), bytes(4096, 0x00));
    EXPECT_EQ(board.flash(0).block(1), bytes(4096, 0xFF));
    EXPECT_EQ(board.flash(0).block(2), bytes(4096, 0x00));
}

TEST(sim_flash, erase_of_parts_of_blocks_or_past_the_end_is_refused)
{
    sim::board board({.partitions = {{.name = "a", .erase_size = 4096, .blocks = 3}}});
    std::ranges::fill(board.flash(0).bytes(), 0x00);
    const mtd dev(0);
    for (const auto &[start, length] :
         {std::pair{1U, 4096U}, {0U, 4095U}, {8192U, 8192U}, {12288U, 4096U}}) {
        errno = 0;
        EXPECT_EQ(dev.erase(start, length), -1) << start << " " << length;
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(board.flash(0).block(0), bytes(4096, 0x00));
}

TEST(sim_flash, erase_needs_a_descriptor_for_writing)
{
    sim::board board({.partitions = {{.name = "a"}}});
    const mtd dev(0, O_RDONLY);
    EXPECT_EQ(dev.erase(0, 0x10000), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST(sim_flash, erase_of_a_bad_block_fails_after_the_good_ones_before_it)
{
    sim::board board(
        {.partitions = {
             {.name = "a", .type = sim::nand, .erase_size = 4096, .blocks = 3, .bad = {1}}}});
    std::ranges::fill(board.flash(0).bytes(), 0x00);
    const mtd dev(0);
    EXPECT_EQ(dev.erase(0, 12288), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.flash(0).block(0), bytes(4096, 0xFF));
    EXPECT_EQ(board.flash(0).block(1), bytes(4096, 0x00));
    EXPECT_EQ(board.flash(0).block(2), bytes(4096, 0x00));
}

TEST(sim_flash, bad_blocks_are_told_by_any_offset_in_them)
{
    sim::board board(
        {.partitions = {
             {.name = "a", .type = sim::nand, .erase_size = 4096, .blocks = 3, .bad = {1}}}});
    const mtd dev(0);
    EXPECT_EQ(dev.bad_block(0), 0);
    EXPECT_EQ(dev.bad_block(4096), 1);
    EXPECT_EQ(dev.bad_block(8191), 1);
    EXPECT_EQ(dev.bad_block(8192), 0);
    EXPECT_EQ(dev.bad_block(12288), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(dev.bad_block(-1), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(sim_flash, nor_has_no_bad_blocks)
{
    sim::board board({.partitions = {{.name = "a"}}});
    EXPECT_EQ(mtd(0).bad_block(0), 0);
}

TEST(sim_flash, nand_takes_whole_pages_only)
{
    sim::board board({.partitions = {{.name = "a", .type = sim::nand, .page_size = 512}}});
    const mtd dev(0);
    const bytes page = counting(512);
    EXPECT_EQ(write(dev.fd(), page.data(), 511), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(pwrite(dev.fd(), page.data(), 512, 256), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(board.flash(0).block(0), bytes(0x10000, 0xFF));
    EXPECT_EQ(pwrite(dev.fd(), page.data(), 512, 512), 512);
    EXPECT_EQ(board.flash(0).bytes()[512 + 255], 255);
}

TEST(sim_flash, a_write_into_a_bad_block_fails_and_changes_nothing_there)
{
    sim::board board(
        {.partitions = {{.name = "a", .type = sim::nand, .erase_size = 4096, .bad = {1}}}});
    const mtd dev(0);
    const bytes two_pages(4096, 0x00);
    EXPECT_EQ(pwrite(dev.fd(), two_pages.data(), 4096, 2048), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.flash(0).bytes()[4095], 0x00);
    EXPECT_EQ(board.flash(0).block(1), bytes(4096, 0xFF));
}

TEST(sim_flash, a_block_that_cannot_be_erased_fails_after_those_before_it)
{
    sim::board board(
        {.partitions = {{.name = "a", .erase_size = 4096, .blocks = 3, .no_erase = {1}}}});
    std::ranges::fill(board.flash(0).bytes(), 0x00);
    const mtd dev(0);
    EXPECT_EQ(dev.erase(0, 12288), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.flash(0).block(0), bytes(4096, 0xFF));
    EXPECT_EQ(board.flash(0).block(1), bytes(4096, 0x00));
    EXPECT_EQ(board.flash(0).block(2), bytes(4096, 0x00));
    EXPECT_EQ(dev.bad_block(4096), 0);
}

TEST(sim_flash, a_block_that_cannot_be_programmed_keeps_its_bytes)
{
    sim::board board(
        {.partitions = {{.name = "a", .erase_size = 4096, .blocks = 2, .no_write = {1}}}});
    const mtd dev(0);
    EXPECT_EQ(pwrite(dev.fd(), "\x00\x00\x00\x00", 4, 4094), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.flash(0).bytes()[4095], 0x00);
    EXPECT_EQ(board.flash(0).block(1), bytes(4096, 0xFF));
    EXPECT_EQ(pwrite(dev.fd(), "\x00", 1, 0), 1);
}

TEST(sim_flash, a_block_that_cannot_be_read_fails_every_read_that_touches_it)
{
    sim::board board(
        {.partitions = {{.name = "a", .erase_size = 4096, .blocks = 3, .no_read = {1}}}});
    const mtd dev(0);
    bytes buffer(12288);
    const auto got = [&](off_t offset, std::size_t count) {
        return pread(dev.fd(), buffer.data(), count, offset);
    };
    EXPECT_EQ(got(0, 4096), 4096);
    EXPECT_EQ(got(8192, 4096), 4096);
    for (const auto &[offset, count] : {std::pair{0, 4097}, {0, 12288}, {8191, 1}, {4096, 1}}) {
        EXPECT_EQ(got(offset, static_cast<std::size_t>(count)), -1) << offset;
        EXPECT_EQ(errno, EIO);
    }
}

TEST(sim_flash, a_read_only_partition_is_opened_for_reading_alone)
{
    sim::board board({.partitions = {{.name = "a", .read_only = true}}});
    EXPECT_EQ(open("/dev/mtd0", O_RDWR), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(open("/dev/mtd0", O_WRONLY), -1);
    EXPECT_EQ(errno, EACCES);
    const mtd dev(0, O_RDONLY);
    uint8_t byte = 0;
    EXPECT_EQ(read(dev.fd(), &byte, 1), 1);
    EXPECT_EQ(dev.info().flags, uint32_t{MTD_BIT_WRITEABLE});
    EXPECT_EQ(text_of("/sys/class/mtd/mtd0/flags"), "0x800\n");
}

TEST(sim_flash, reads_are_cut_at_the_end)
{
    sim::board board({.partitions = {{.name = "a", .erase_size = 4096, .blocks = 1}}});
    std::ranges::fill(board.flash(0).bytes(), 0x5A);
    const mtd dev(0);
    bytes buffer(100, 0x00);
    ASSERT_EQ(lseek(dev.fd(), 4090, SEEK_SET), 4090);
    EXPECT_EQ(read(dev.fd(), buffer.data(), buffer.size()), 6);
    EXPECT_EQ(buffer[5], 0x5A);
    EXPECT_EQ(buffer[6], 0x00);
    EXPECT_EQ(read(dev.fd(), buffer.data(), buffer.size()), 0);
}

TEST(sim_flash, writes_are_cut_at_the_end_and_then_find_no_space)
{
    sim::board board({.partitions = {{.name = "a", .erase_size = 4096, .blocks = 1}}});
    const mtd dev(0);
    ASSERT_EQ(lseek(dev.fd(), 4094, SEEK_SET), 4094);
    EXPECT_EQ(write(dev.fd(), "\1\2\3", 3), 2);
    EXPECT_EQ(board.flash(0).bytes()[4095], 2);
    EXPECT_EQ(write(dev.fd(), "\3", 1), -1);
    EXPECT_EQ(errno, ENOSPC);
}

TEST(sim_flash, the_position_moves_as_the_kernel_moves_it)
{
    sim::board board({.partitions = {{.name = "a", .erase_size = 4096, .blocks = 2}}});
    const mtd dev(0);
    EXPECT_EQ(lseek(dev.fd(), 100, SEEK_SET), 100);
    EXPECT_EQ(lseek(dev.fd(), -50, SEEK_CUR), 50);
    EXPECT_EQ(lseek(dev.fd(), -1, SEEK_END), 8191);
    EXPECT_EQ(lseek(dev.fd(), 8192, SEEK_SET), 8192);
    EXPECT_EQ(lseek(dev.fd(), 8193, SEEK_SET), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(lseek(dev.fd(), -1, SEEK_SET), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(lseek(dev.fd(), 0, SEEK_CUR), 8192);
}

TEST(sim_flash, a_read_and_a_write_at_an_offset_leave_the_position)
{
    sim::board board({.partitions = {{.name = "a"}}});
    const mtd dev(0);
    uint8_t byte = 0;
    EXPECT_EQ(pwrite(dev.fd(), "\x12", 1, 7), 1);
    EXPECT_EQ(pread(dev.fd(), &byte, 1, 7), 1);
    EXPECT_EQ(byte, 0x12);
    EXPECT_EQ(lseek(dev.fd(), 0, SEEK_CUR), 0);
}

TEST(sim_flash, descriptors_keep_to_their_access_mode)
{
    sim::board board({.partitions = {{.name = "a"}}});
    uint8_t byte = 0;
    const mtd reading(0, O_RDONLY);
    EXPECT_EQ(write(reading.fd(), &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
    const mtd writing(0, O_WRONLY);
    EXPECT_EQ(read(writing.fd(), &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(board.flash(0).bytes()[0], 0xFF);
}

TEST(sim_flash, tells_what_each_type_is)
{
    sim::board board({.partitions = {
                          {.name = "a", .type = sim::nor, .erase_size = 4096, .blocks = 2},
                          {.name = "b", .type = sim::nand, .erase_size = 0x20000, .blocks = 8},
                          {.name = "c", .type = sim::ram},
                          {.name = "d", .type = sim::ubi},
                      }});
    const mtd_info_user first = mtd(0).info();
    EXPECT_EQ(first.type, 3);
    EXPECT_EQ(first.size, 8192U);
    EXPECT_EQ(first.erasesize, 4096U);
    EXPECT_EQ(first.writesize, 1U);
    const mtd_info_user second = mtd(1).info();
    EXPECT_EQ(second.type, 4);
    EXPECT_EQ(second.size, 0x100000U);
    EXPECT_EQ(second.erasesize, 0x20000U);
    EXPECT_EQ(second.writesize, 2048U);
    EXPECT_EQ(second.oobsize, 64U);
    EXPECT_EQ(mtd(2).info().type, 1);
    EXPECT_EQ(mtd(3).info().type, 7);
}

TEST(sim_flash, locks_are_accepted_and_unknown_requests_are_not)
{
    sim::board board({.partitions = {{.name = "a"}}});
    const mtd dev(0);
    erase_info_user area = {0, 0x10000};
    EXPECT_EQ(ioctl(dev.fd(), MEMUNLOCK, &area), 0);
    EXPECT_EQ(ioctl(dev.fd(), MEMLOCK, &area), 0);
    EXPECT_EQ(ioctl(dev.fd(), MEMGETOOBSEL, &area), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(ioctl(dev.fd(), MEMGETINFO, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
}

TEST(sim_flash, names_stand_in_sysfs_with_a_line_feed)
{
    sim::board board({.partitions = {{.name = "boot"}, {.name = "product_info"}}});
    EXPECT_EQ(text_of("/sys/class/mtd/mtd0/name"), "boot\n");
    EXPECT_EQ(text_of("/sys/class/mtd/mtd1/name"), "product_info\n");
    EXPECT_EQ(text_of("/sys/class/mtd/mtd1/type"), "nor\n");
    EXPECT_EQ(text_of("/sys/class/mtd/mtd1/size"), "262144\n");
}

TEST(sim_flash, numbering_may_have_gaps)
{
    sim::board board({.partitions = {{.name = "a"}, {.name = "b", .index = 5}, {.name = "c"}}});
    EXPECT_EQ(text_of("/sys/class/mtd/mtd0/name"), "a\n");
    EXPECT_EQ(open("/sys/class/mtd/mtd1/name", O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(open("/dev/mtd1", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(text_of("/sys/class/mtd/mtd5/name"), "b\n");
    EXPECT_EQ(text_of("/sys/class/mtd/mtd6/name"), "c\n");
}

TEST(sim_flash, a_memory_outlives_the_descriptor)
{
    sim::board board({.partitions = {{.name = "a"}}});
    ASSERT_EQ(pwrite(mtd(0).fd(), "\x42", 1, 0), 1);
    uint8_t byte = 0;
    EXPECT_EQ(pread(mtd(0).fd(), &byte, 1, 0), 1);
    EXPECT_EQ(byte, 0x42);
}
