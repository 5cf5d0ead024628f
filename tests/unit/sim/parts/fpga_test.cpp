#include "unit/sim/parts/fpga_chassis.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace {

using namespace fpga_chassis;

/** A folder that is gone at the end of the test. */
class scratch_folder {
public:
    scratch_folder()
    {
        std::string name = std::filesystem::temp_directory_path() / "sim_fpga_XXXXXX";
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

TEST(sim_fpga, is_absent_unless_fitted)
{
    sim::board board({});
    EXPECT_EQ(access("/dev/fpga0", R_OK | W_OK), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THROW(board.fpga(), std::out_of_range);
    EXPECT_THROW(board.bridge_eeprom(4, 0, 0x52), std::out_of_range);
    EXPECT_THROW(board.trouble({}), std::out_of_range);
}

TEST(sim_fpga, can_be_read_and_written_when_fitted)
{
    sim::board board({.fpga = sim::fpga{}});
    EXPECT_EQ(access("/dev/fpga0", R_OK | W_OK), 0);
}

TEST(sim_fpga, registers_start_as_described_and_the_others_at_0_with_the_backplane_protected)
{
    sim::board board({.fpga = sim::fpga{.registers = {{0x002, 0x5A}, {0x3FF, 0xA5}}}});
    EXPECT_EQ(board.fpga().size(), 0x400U);
    EXPECT_EQ(get_register(0x002), 0x5A);
    EXPECT_EQ(get_register(0x3FF), 0xA5);
    EXPECT_EQ(get_register(0x003), 0);
    EXPECT_EQ(get_register(0x00C), 3);
    EXPECT_EQ(get_register(status_register), done);
}

TEST(sim_fpga, accesses_are_logged_with_register_and_byte)
{
    sim::board board({.fpga = sim::fpga{}});
    set_register(0x101, 0x2A);
    ASSERT_EQ(board.count("write", "/dev/fpga0"), 1U);
    const sim::operation &written = board.log()[1];
    EXPECT_EQ(written.offset, 0x101U);
    EXPECT_EQ(written.data, bytes{0x2A});
    EXPECT_EQ(get_register(0x101), 0x2A);
    const sim::operation &taken = board.log()[4];
    EXPECT_EQ(taken.name, "read");
    EXPECT_EQ(taken.offset, 0x101U);
    EXPECT_EQ(taken.data, bytes{0x2A});
}

TEST(sim_fpga, presence_bits_tell_which_supplies_are_plugged_in)
{
    sim::board board(
        {.fpga = sim::fpga{.supplies = {{.channel = 0, .address = 0x58},
                                        {.channel = 0, .address = 0x5F},
                                        {.channel = 0, .address = 0x5A, .present = false},
                                        {.channel = 2, .address = 0x59}}}});
    EXPECT_EQ(get_register(0x1B), 0x81);
    EXPECT_EQ(get_register(0x1C), 0x00);
    EXPECT_EQ(get_register(0x1D), 0x02);
}

TEST(sim_fpga, registers_and_memories_stay_in_the_folder)
{
    const scratch_folder folder;
    {
        sim::board board(chassis(), folder.path());
        set_register(0x002, 0x77);
        EXPECT_EQ(bridge_write(poe, 0, {0x99}), done);
        EXPECT_EQ(bridge_write(supply, 0x9E, block("NEW")), done);
        EXPECT_EQ(bridge_write(fan_protection, 0x0E, {0}), done);
    }
    EXPECT_EQ(std::filesystem::file_size(folder.path() / "fpga0.bin"), 0x400U);
    EXPECT_EQ(std::filesystem::file_size(folder.path() / "bridge-4-5-52.bin"), 256U);
    EXPECT_EQ(std::filesystem::file_size(folder.path() / "bridge-4-1-59.bin"), 66U);
    EXPECT_EQ(std::filesystem::file_size(folder.path() / "bridge-3-2-68.bin"), 16U);
    sim::board board(chassis(), folder.path());
    EXPECT_EQ(get_register(0x002), 0x77);
    EXPECT_EQ(board.bridge_eeprom(4, 5, 0x52)[0], 0x99);
    EXPECT_EQ(board.bridge_supply(1, 0x59).serial, "NEW");
    EXPECT_FALSE(board.is_protected(3, 2, 0x56));
}
