#include "platform/dev_drv.h"
#include "sim/board/board.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

constexpr uint16_t chip = 0x56;

sim::board_description with_cpld()
{
    return {.cpld = {{.registers = {{0x25, 0xF0}, {0x26, 0x07}}}}};
}

/** An EEPROM that three things let write, and is not ready for long after a write. */
sim::board_description protected_board()
{
    return {.eeproms = {{.address = chip,
                         .write_cycle_ms = 10000,
                         .lifted_by_cpld = {{0x25, {0xFB, 0xFA}}, {0x31, {0x00}}},
                         .lifted_by_driver = true}},
            .cpld = {{}}};
}

int open_cpld()
{
    return open("/dev/cpld0", O_RDWR);
}

void set_register(int number, uint8_t value)
{
    const int fd = open_cpld();
    ASSERT_EQ(lseek(fd, number, SEEK_SET), number);
    ASSERT_EQ(write(fd, &value, 1), 1);
    close(fd);
}

/** One byte to the start of the EEPROM: what the transfer answers. */
int write_eeprom(uint8_t value)
{
    uint8_t content[] = {0x00, value};
    i2c_msg message = {chip, 0, sizeof content, content};
    i2c_rdwr_ioctl_data data = {&message, 1};
    const int fd = open("/dev/i2c-0", O_RDWR);
    const int result = ioctl(fd, I2C_RDWR, &data);
    close(fd);
    return result;
}

/** A folder that is gone at the end of the test. */
class scratch_folder {
public:
    scratch_folder()
    {
        std::string name = std::filesystem::temp_directory_path() / "sim_cpld_XXXXXX";
        path_ = mkdtemp(name.data());
    }
    ~scratch_folder() { std::filesystem::remove_all(path_); }
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;
    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace

TEST(sim_cpld, is_absent_unless_fitted)
{
    sim::board board({});
    EXPECT_EQ(open_cpld(), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THROW(board.cpld(), std::out_of_range);
}

TEST(sim_cpld, registers_start_as_described_and_the_others_with_all_bits_set)
{
    sim::board board(with_cpld());
    ASSERT_EQ(board.cpld().size(), 256U);
    EXPECT_EQ(board.cpld()[0x24], 0xFF);
    EXPECT_EQ(board.cpld()[0x25], 0xF0);
    EXPECT_EQ(board.cpld()[0x26], 0x07);
}

TEST(sim_cpld, the_position_is_the_register)
{
    sim::board board(with_cpld());
    const int fd = open_cpld();
    ASSERT_EQ(lseek(fd, 0x25, SEEK_SET), 0x25);
    std::array<uint8_t, 2> got = {};
    EXPECT_EQ(read(fd, got.data(), got.size()), 2);
    EXPECT_EQ(got, (std::array<uint8_t, 2>{0xF0, 0x07}));
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 0x27);
    EXPECT_EQ(write(fd, "\x11\x22", 2), 2);
    EXPECT_EQ(board.cpld()[0x27], 0x11);
    EXPECT_EQ(board.cpld()[0x28], 0x22);
    EXPECT_EQ(pread(fd, got.data(), 1, 0x28), 1);
    EXPECT_EQ(got[0], 0x22);
    close(fd);
}

TEST(sim_cpld, ends_after_its_last_register)
{
    sim::board board(with_cpld());
    const int fd = open_cpld();
    EXPECT_EQ(lseek(fd, 257, SEEK_SET), -1);
    EXPECT_EQ(errno, EINVAL);
    ASSERT_EQ(lseek(fd, 0xFF, SEEK_SET), 0xFF);
    EXPECT_EQ(write(fd, "\x01\x02", 2), 1);
    EXPECT_EQ(write(fd, "\x02", 1), -1);
    EXPECT_EQ(errno, ENOSPC);
    uint8_t byte = 0;
    EXPECT_EQ(read(fd, &byte, 1), 0);
    EXPECT_EQ(board.cpld()[0xFF], 0x01);
    close(fd);
}

TEST(sim_cpld, is_a_character_device)
{
    sim::board board(with_cpld());
    struct stat status = {};
    ASSERT_EQ(stat("/dev/cpld0", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(access("/dev/cpld0", R_OK | W_OK), 0);
    EXPECT_EQ(stat("/dev/cpld1", &status), -1);
}

TEST(sim_cpld, each_access_is_logged_with_register_and_bytes)
{
    sim::board board(with_cpld());
    set_register(0x31, 0x5A);
    const int fd = open_cpld();
    uint8_t got[3] = {};
    ASSERT_EQ(pread(fd, got, 3, 0x25), 3);
    close(fd);
    ASSERT_EQ(board.log().size(), 7U);
    const sim::operation &written = board.log()[2];
    EXPECT_EQ(written.name, "write");
    EXPECT_EQ(written.path, "/dev/cpld0");
    EXPECT_EQ(written.offset, 0x31U);
    EXPECT_EQ(written.length, 1U);
    EXPECT_EQ(written.data, bytes{0x5A});
    EXPECT_EQ(written.arguments, "offset=0x31 length=1 data=5a");
    const sim::operation &taken = board.log()[5];
    EXPECT_EQ(taken.name, "read");
    EXPECT_EQ(taken.data, (bytes{0xF0, 0x07, 0xFF}));
    EXPECT_EQ(taken.arguments, "offset=0x25 length=3 data=f007ff");
}

TEST(sim_cpld, an_access_can_fail_or_come_back_short)
{
    sim::board board(with_cpld());
    board.inject({.operation = "write", .path = "/dev/cpld0", .error = EIO});
    board.inject({.operation = "write", .path = "/dev/cpld0", .call = 2, .short_to = 1});
    const int fd = open_cpld();
    EXPECT_EQ(write(fd, "\x01\x02", 2), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.cpld()[0], 0xFF);
    EXPECT_TRUE(board.log().back().data.empty());
    EXPECT_EQ(write(fd, "\x01\x02", 2), 1);
    EXPECT_EQ(board.cpld()[0], 0x01);
    EXPECT_EQ(board.cpld()[1], 0xFF);
    EXPECT_EQ(board.log().back().data, bytes{0x01});
    close(fd);
}

TEST(sim_cpld, keeps_its_registers_in_the_folder)
{
    const scratch_folder folder;
    {
        sim::board board(with_cpld(), folder.path());
        set_register(0x25, 0xFB);
    }
    EXPECT_EQ(std::filesystem::file_size(folder.path() / "cpld0.bin"), 256U);
    sim::board board(with_cpld(), folder.path());
    EXPECT_EQ(board.cpld()[0x25], 0xFB);
    EXPECT_EQ(board.cpld()[0x26], 0x07);
}

TEST(sim_protection, an_eeprom_that_is_protected_answers_and_ignores_what_is_written)
{
    sim::board board(protected_board());
    EXPECT_TRUE(board.is_protected(chip));
    EXPECT_EQ(write_eeprom(0x11), 1);
    EXPECT_EQ(board.eeprom(chip)[0], 0xFF);
    EXPECT_EQ(write_eeprom(0x12), 1) << "a write cycle began";
}

TEST(sim_protection, an_eeprom_without_a_way_to_lift_it_is_open)
{
    sim::board board({.eeproms = {{.address = chip}}});
    EXPECT_FALSE(board.is_protected(chip));
    EXPECT_EQ(write_eeprom(0x11), 1);
    EXPECT_EQ(board.eeprom(chip)[0], 0x11);
    EXPECT_THROW(board.is_protected(0x57), std::out_of_range);
}

TEST(sim_protection, a_register_lifts_it_with_each_of_its_values_and_no_other)
{
    const std::pair<int, uint8_t> lifting[] = {{0x25, 0xFB}, {0x25, 0xFA}, {0x31, 0x00}};
    for (const auto &[number, value] : lifting) {
        sim::board board(protected_board());
        set_register(number, value);
        EXPECT_FALSE(board.is_protected(chip)) << number;
        EXPECT_EQ(write_eeprom(0x11), 1);
        EXPECT_EQ(board.eeprom(chip)[0], 0x11);
        EXPECT_EQ(write_eeprom(0x12), -1) << "no write cycle";
        set_register(number, 0xFF);
        EXPECT_TRUE(board.is_protected(chip)) << number;
    }
    const std::pair<int, uint8_t> others[] = {{0x25, 0x00}, {0x31, 0xFB}, {0x24, 0xFB}};
    for (const auto &[number, value] : others) {
        sim::board board(protected_board());
        set_register(number, value);
        EXPECT_TRUE(board.is_protected(chip)) << number;
    }
}

TEST(sim_protection, the_driver_library_lifts_and_restores_it)
{
    sim::board board(protected_board());
    EXPECT_EQ(drv_set_e2_wr_pro(0, 0), 0);
    EXPECT_FALSE(board.is_protected(chip));
    EXPECT_EQ(write_eeprom(0x11), 1);
    EXPECT_EQ(board.eeprom(chip)[0], 0x11);
    EXPECT_EQ(drv_set_e2_wr_pro(0, 1), 0);
    EXPECT_TRUE(board.is_protected(chip));
    ASSERT_EQ(board.count("drv_set_e2_wr_pro", "libdev_drv"), 2U);
    EXPECT_EQ(board.log()[0].arguments, "index=0 protect=0 answer=0");
    EXPECT_EQ(board.log().back().arguments, "index=0 protect=1 answer=0");
}

TEST(sim_protection, the_driver_library_lifts_only_what_it_is_wired_to)
{
    sim::board board(
        {.eeproms = {{.address = chip, .lifted_by_cpld = {{0x25, {0xFB}}}}}, .cpld = {{}}});
    EXPECT_EQ(drv_set_e2_wr_pro(0, 0), 0);
    EXPECT_TRUE(board.is_protected(chip));
}

TEST(sim_protection, a_driver_library_that_refuses_or_fails_changes_nothing)
{
    EXPECT_EQ(drv_set_e2_wr_pro(0, 0), -1) << "there is no board";
    auto description = protected_board();
    {
        sim::board board(description);
        EXPECT_EQ(drv_set_e2_wr_pro(1, 0), -1) << "the system EEPROM is number 0";
        EXPECT_TRUE(board.is_protected(chip));
        board.inject({.operation = "drv_set_e2_wr_pro", .error = EIO});
        EXPECT_EQ(drv_set_e2_wr_pro(0, 0), -1);
        EXPECT_EQ(board.log().back().arguments, "index=0 protect=0");
        EXPECT_EQ(board.log().back().error, EIO);
        EXPECT_TRUE(board.is_protected(chip));
    }
    description.driver.e2_wr_pro_result = -5;
    sim::board board(description);
    EXPECT_EQ(drv_set_e2_wr_pro(0, 0), -5);
    EXPECT_TRUE(board.is_protected(chip));
}

TEST(sim_protection, what_the_driver_library_set_outlives_the_process)
{
    const scratch_folder folder;
    {
        sim::board board(protected_board(), folder.path());
        EXPECT_TRUE(board.is_protected(chip));
        EXPECT_EQ(drv_set_e2_wr_pro(0, 0), 0);
    }
    sim::board board(protected_board(), folder.path());
    EXPECT_FALSE(board.is_protected(chip));
}

TEST(sim_protection, needs_the_cpld_that_it_names)
{
    EXPECT_THROW(sim::board({.eeproms = {{.address = chip, .lifted_by_cpld = {{0x25, {0xFB}}}}}}),
                 std::invalid_argument);
    EXPECT_THROW(
        sim::board({.eeproms = {{.address = chip, .lifted_by_cpld = {{0x25, {}}}}}, .cpld = {{}}}),
        std::invalid_argument);
}
