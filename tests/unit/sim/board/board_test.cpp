#include "platform/dev_drv.h"
#include "sim/board/board.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <mtd/mtd-abi.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

sim::board_description one_partition()
{
    return {.partitions = {{.name = "a", .erase_size = 4096, .blocks = 2}}};
}

int open_mtd()
{
    return open("/dev/mtd0", O_RDWR);
}

int get_info(int fd)
{
    mtd_info_user info = {};
    return ioctl(fd, MEMGETINFO, &info);
}

int erase(int fd, uint32_t start, uint32_t length)
{
    erase_info_user area = {start, length};
    return ioctl(fd, MEMERASE, &area);
}

std::vector<std::string> names(const sim::board &board)
{
    std::vector<std::string> all;
    for (const auto &one : board.log()) {
        all.push_back(one.name);
    }
    return all;
}

} // namespace

TEST(sim_board, a_node_that_is_not_fitted_is_absent)
{
    sim::board board({});
    for (const char *path :
         {"/dev/mtd0", "/dev/mtdblock0", "/dev/i2c-7", "/sys/class/mtd/mtd0/name"}) {
        errno = 0;
        EXPECT_EQ(open(path, O_RDONLY), -1) << path;
        EXPECT_EQ(errno, ENOENT);
    }
}

TEST(sim_board, other_paths_are_those_of_the_host)
{
    sim::board board(one_partition());
    const int fd = open("/dev/zero", O_RDONLY);
    ASSERT_GE(fd, 0);
    bytes buffer(4, 0xEE);
    EXPECT_EQ(read(fd, buffer.data(), 4), 4);
    EXPECT_EQ(buffer, bytes(4, 0x00));
    EXPECT_EQ(close(fd), 0);
    EXPECT_TRUE(board.log().empty());
}

TEST(sim_board, a_descriptor_outliving_the_board_reaches_nothing)
{
    int fd = -1;
    {
        sim::board board(one_partition());
        fd = open_mtd();
    }
    const int nothing = open("/dev/null", O_RDWR);
    ASSERT_GE(nothing, 0);
    EXPECT_EQ(get_info(nothing), -1);
    const int answer_of_nothing = errno; // the kernel's and an emulator's are not the same
    EXPECT_EQ(get_info(fd), -1);
    EXPECT_EQ(errno, answer_of_nothing);
    EXPECT_EQ(close(nothing), 0);
    EXPECT_EQ(close(fd), 0);
}

TEST(sim_board, a_closed_descriptor_is_bad)
{
    sim::board board(one_partition());
    const int fd = open_mtd();
    EXPECT_EQ(close(fd), 0);
    EXPECT_EQ(close(fd), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(sim_board, refuses_a_description_that_contradicts_itself)
{
    const std::vector<sim::board_description> wrong = {
        {.partitions = {{.name = "a", .bad = {0}}}},
        {.partitions = {{.name = "a", .type = sim::nand, .bad = {4}}}},
        {.partitions = {{.name = "a", .type = sim::nand, .page_size = 1000}}},
        {.partitions = {{.name = "a", .blocks = 0}}},
        {.partitions = {{.name = "a", .blocks = 65536}}},
        {.partitions = {{.name = "a"}, {.name = "b", .index = 0}}},
        {.eeproms = {{.address = 0x80}}},
        {.eeproms = {{.address = 0x56, .content = bytes(257)}}},
        {.eeproms = {{.address = 0x56, .page_size = 7}}},
        {.eeproms = {{.address = 0x56}, {.address = 0x56}}},
        {.faults = {{.operation = "read"}}},
        {.faults = {{.operation = "read", .call = 0, .error = EIO}}},
    };
    for (const auto &one : wrong) {
        EXPECT_THROW(sim::board{one}, std::invalid_argument);
    }
}

TEST(sim_log, keeps_operations_in_order_with_what_they_asked_and_got)
{
    sim::board board(one_partition());
    const int fd = open_mtd();
    erase(fd, 4096, 4096);
    lseek(fd, 4096, SEEK_SET);
    EXPECT_EQ(write(fd, "abc", 3), 3);
    erase(fd, 1, 1);
    close(fd);
    EXPECT_EQ(names(board),
              (std::vector<std::string>{"open", "erase", "lseek", "write", "erase", "close"}));
    EXPECT_EQ(board.log()[1].offset, 4096U);
    EXPECT_EQ(board.log()[1].length, 4096U);
    EXPECT_EQ(board.log()[3].path, "/dev/mtd0");
    EXPECT_EQ(board.log()[3].offset, 4096U);
    EXPECT_EQ(board.log()[3].length, 3U);
    EXPECT_EQ(board.log()[3].result, 3);
    EXPECT_EQ(board.log()[4].result, -1);
    EXPECT_EQ(board.log()[4].error, EINVAL);
}

TEST(sim_log, counts_by_name_and_path)
{
    sim::board board(one_partition());
    close(open_mtd());
    close(open("/sys/class/mtd/mtd0/name", O_RDONLY));
    EXPECT_EQ(board.count("open"), 2U);
    EXPECT_EQ(board.count("open", "/dev/mtd0"), 1U);
    EXPECT_EQ(board.count("read"), 0U);
    board.clear_log();
    EXPECT_EQ(board.count("open"), 0U);
}

TEST(sim_log, tells_the_pauses_between_operations)
{
    sim::board board(one_partition());
    const int fd = open_mtd();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    close(fd);
    EXPECT_EQ(board.log()[0].time_us, 0);
    EXPECT_GE(board.log()[1].time_us, 20000);
    EXPECT_LT(board.log()[1].time_us, 5000000);
}

TEST(sim_log, a_line_has_time_process_operation_path_arguments_and_result)
{
    const sim::operation good = {.time_us = 1234,
                                 .name = "write",
                                 .path = "/dev/mtd1",
                                 .result = 8192,
                                 .arguments = "offset=0x0 length=8192"};
    EXPECT_EQ(sim::log_line(good, 77),
              "      1234 77 write /dev/mtd1 offset=0x0 length=8192 = 8192");
    const sim::operation failed = {
        .name = "open", .path = "/dev/mtd9", .result = -1, .error = ENOENT};
    EXPECT_EQ(sim::log_line(failed, 77), "         0 77 open /dev/mtd9 = -1 ENOENT");
}

TEST(sim_fault, strikes_the_nth_call_only)
{
    sim::board board(one_partition());
    board.inject({.operation = "write", .path = "/dev/mtd0", .call = 2, .error = EIO});
    const int fd = open_mtd();
    EXPECT_EQ(write(fd, "a", 1), 1);
    EXPECT_EQ(write(fd, "b", 1), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(write(fd, "c", 1), 1);
    close(fd);
    EXPECT_EQ(board.flash(0).bytes()[0], 'a');
    EXPECT_EQ(board.flash(0).bytes()[1], 'c');
}

TEST(sim_fault, strikes_as_often_as_told)
{
    sim::board board(one_partition());
    board.inject({.operation = "open", .times = 2, .error = EACCES});
    EXPECT_EQ(open_mtd(), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(open_mtd(), -1);
    const int fd = open_mtd();
    EXPECT_GE(fd, 0);
    close(fd);
}

TEST(sim_fault, lasts_for_ever_until_cleared)
{
    sim::board board(one_partition());
    board.inject({.operation = "getinfo", .call = 2, .times = 0, .error = EIO});
    const int fd = open_mtd();
    EXPECT_EQ(get_info(fd), 0);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(get_info(fd), -1);
    }
    board.clear_faults();
    EXPECT_EQ(get_info(fd), 0);
    close(fd);
}

TEST(sim_fault, concerns_its_path_alone)
{
    sim::board board({.partitions = {{.name = "a"}, {.name = "b"}}});
    board.inject({.operation = "open", .path = "/dev/mtd1", .times = 0, .error = EIO});
    EXPECT_EQ(open("/dev/mtd1", O_RDWR), -1);
    const int fd = open_mtd();
    EXPECT_GE(fd, 0);
    close(fd);
}

TEST(sim_fault, ioctl_stands_for_every_ioctl_and_any_for_everything)
{
    sim::board board(one_partition());
    const int fd = open_mtd();
    board.inject({.operation = "ioctl", .call = 2, .error = EIO});
    EXPECT_EQ(get_info(fd), 0);
    EXPECT_EQ(erase(fd, 0, 4096), -1);
    EXPECT_EQ(errno, EIO);
    board.clear_faults();
    board.inject({.operation = "any", .call = 3, .error = ENXIO});
    EXPECT_EQ(get_info(fd), 0);
    EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
    EXPECT_EQ(write(fd, "a", 1), -1);
    EXPECT_EQ(errno, ENXIO);
    close(fd);
}

TEST(sim_fault, lets_reads_and_writes_come_back_short)
{
    sim::board board(one_partition());
    board.inject({.operation = "read", .short_to = 2});
    board.inject({.operation = "write", .short_to = 0});
    const int fd = open_mtd();
    bytes buffer(4, 0x00);
    EXPECT_EQ(read(fd, buffer.data(), 4), 2);
    EXPECT_EQ(buffer, (bytes{0xFF, 0xFF, 0x00, 0x00}));
    EXPECT_EQ(read(fd, buffer.data(), 4), 4);
    EXPECT_EQ(write(fd, "abc", 3), 0);
    EXPECT_EQ(board.flash(0).bytes()[6], 0xFF);
    close(fd);
}

TEST(sim_fault, lets_a_transfer_stop_after_some_messages)
{
    sim::board board(
        {.eeproms = {{.address = 0x56}}, .faults = {{.operation = "transfer", .short_to = 1}}});
    std::array<uint8_t, 2> data = {0x00, 0x00};
    std::array<i2c_msg, 2> messages = {{{0x56, 0, 1, &data[0]}, {0x56, I2C_M_RD, 1, &data[1]}}};
    i2c_rdwr_ioctl_data request = {messages.data(), 2};
    const int fd = open("/dev/i2c-0", O_RDWR);
    EXPECT_EQ(ioctl(fd, I2C_RDWR, &request), 1);
    EXPECT_EQ(data[1], 0x00);
    EXPECT_EQ(ioctl(fd, I2C_RDWR, &request), 2);
    EXPECT_EQ(data[1], 0xFF);
    close(fd);
}

volatile sig_atomic_t signals_seen = 0;

TEST(sim_fault, sends_a_signal_as_the_operation_begins_and_does_it)
{
    struct sigaction counting {};
    struct sigaction before {};
    counting.sa_handler = [](int) { signals_seen = signals_seen + 1; };
    sigaction(SIGUSR1, &counting, &before);
    signals_seen = 0;
    sim::board board(one_partition());
    board.inject({.operation = "write", .call = 2, .signal = SIGUSR1});
    const int fd = open_mtd();
    EXPECT_EQ(write(fd, "a", 1), 1);
    EXPECT_EQ(signals_seen, 0);
    EXPECT_EQ(write(fd, "b", 1), 1);
    EXPECT_EQ(signals_seen, 1);
    EXPECT_EQ(board.flash(0).bytes()[1], 'b');
    close(fd);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(sim_fault, a_failed_close_closes_all_the_same)
{
    sim::board board(one_partition());
    board.inject({.operation = "close", .error = EIO});
    const int fd = open_mtd();
    EXPECT_EQ(close(fd), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(close(fd), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(sim_power, a_cut_leaves_what_was_programmed_and_a_dead_board)
{
    sim::board board(
        {.partitions = {{.name = "a", .erase_size = 4096, .blocks = 2}}, .cut_after = 2});
    const int fd = open_mtd();
    EXPECT_TRUE(board.powered());
    EXPECT_EQ(write(fd, "abc", 3), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(board.powered());
    EXPECT_EQ(board.flash(0).bytes()[0], 'a');
    EXPECT_EQ(board.flash(0).bytes()[1], 'b');
    EXPECT_EQ(board.flash(0).bytes()[2], 0xFF);
    EXPECT_EQ(get_info(fd), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(open_mtd(), -1);
    EXPECT_EQ(erase(fd, 0, 4096), -1);
    EXPECT_EQ(board.flash(0).bytes()[0], 'a');
    EXPECT_EQ(board.count("power_cut"), 1U);
    close(fd);
}

TEST(sim_power, counts_its_steps_over_several_writes)
{
    sim::board board({.partitions = {{.name = "a"}}, .cut_after = 5});
    const int fd = open_mtd();
    EXPECT_EQ(write(fd, "abc", 3), 3);
    EXPECT_EQ(write(fd, "de", 2), 2);
    EXPECT_TRUE(board.powered());
    EXPECT_EQ(write(fd, "f", 1), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(board.powered());
    EXPECT_EQ(board.flash(0).bytes()[4], 'e');
    EXPECT_EQ(board.flash(0).bytes()[5], 0xFF);
    close(fd);
}

TEST(sim_power, each_erased_block_is_a_step_and_the_cut_one_is_half_erased)
{
    sim::board board(one_partition());
    std::ranges::fill(board.flash(0).bytes(), 0x00);
    board.cut_after(1);
    const int fd = open_mtd();
    EXPECT_EQ(erase(fd, 0, 8192), -1);
    EXPECT_EQ(errno, EIO);
    close(fd);
    EXPECT_EQ(board.flash(0).block(0), bytes(4096, 0xFF));
    bytes half(4096, 0x00);
    std::fill_n(half.begin(), 2048, uint8_t{0xFF});
    EXPECT_EQ(board.flash(0).block(1), half);
}

TEST(sim_power, is_cut_between_two_bytes_of_an_eeprom_page)
{
    sim::board board({.eeproms = {{.address = 0x56}}, .cut_after = 1});
    std::array<uint8_t, 3> data = {0x00, 0xA1, 0xA2};
    i2c_msg message = {0x56, 0, 3, data.data()};
    i2c_rdwr_ioctl_data request = {&message, 1};
    const int fd = open("/dev/i2c-0", O_RDWR);
    EXPECT_EQ(ioctl(fd, I2C_RDWR, &request), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(board.powered());
    EXPECT_EQ(board.eeprom(0x56)[0], 0xA1);
    EXPECT_EQ(board.eeprom(0x56)[1], 0xFF);
    close(fd);
}

TEST(sim_power, comes_back_when_switched_on)
{
    sim::board board({.partitions = {{.name = "a"}}, .cut_after = 0});
    int fd = open_mtd();
    EXPECT_EQ(write(fd, "a", 1), -1);
    close(fd);
    board.cut_after(std::nullopt);
    fd = open_mtd();
    EXPECT_EQ(write(fd, "a", 1), 1);
    close(fd);
}

TEST(sim_driver, the_library_is_answered_by_the_board)
{
    EXPECT_EQ(dev_drv_init(), 0);
    sim::board board({.driver = {.init_result = -7}});
    EXPECT_EQ(dev_drv_init(), -7);
    EXPECT_EQ(board.count("dev_drv_init", "libdev_drv"), 1U);
    EXPECT_EQ(board.log()[0].arguments, "answer=-7");
    board.inject({.operation = "dev_drv_init", .error = EIO});
    EXPECT_EQ(dev_drv_init(), -1);
}
