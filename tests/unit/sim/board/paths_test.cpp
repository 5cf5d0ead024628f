#include "sim/board/board.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

namespace {

sim::board_description two_partitions()
{
    return {.partitions = {{.name = "boot"}, {.name = "product_info", .index = 12}}};
}

std::vector<std::string> names_in(const char *folder)
{
    std::vector<std::string> names;
    DIR *open_folder = opendir(folder);
    if (open_folder == nullptr) {
        return names;
    }
    while (const dirent *entry = readdir(open_folder)) {
        names.emplace_back(entry->d_name);
    }
    EXPECT_EQ(closedir(open_folder), 0);
    return names;
}

} // namespace

TEST(sim_paths, a_device_is_a_character_device_with_its_number)
{
    const sim::board board(two_partitions());
    struct stat status = {};
    ASSERT_EQ(stat("/dev/mtd12", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(status.st_rdev, makedev(90, 24));
    const int fd = open("/dev/mtd0", O_RDONLY);
    ASSERT_EQ(fstat(fd, &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(status.st_rdev, makedev(90, 0));
    close(fd);
    ASSERT_EQ(lstat("/dev/i2c-0", &status), 0);
    EXPECT_EQ(status.st_rdev, makedev(89, 0));
}

TEST(sim_paths, texts_and_folders_of_sysfs_are_what_they_are)
{
    const sim::board board(two_partitions());
    struct stat status = {};
    ASSERT_EQ(stat("/sys/class/mtd/mtd12/name", &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    ASSERT_EQ(fstatat(AT_FDCWD, "/sys/class/mtd/mtd12", &status, 0), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
}

TEST(sim_paths, what_is_not_fitted_is_not_found)
{
    const sim::board board(two_partitions());
    struct stat status = {};
    EXPECT_EQ(stat("/dev/mtd1", &status), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(access("/dev/mtd1", F_OK), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(access("/dev/mtd12", R_OK | W_OK), 0);
    EXPECT_EQ(opendir("/sys/class/mtd/mtd1"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(fopen("/dev/mtd1", "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(sim_paths, a_folder_lists_what_is_fitted)
{
    const sim::board board(two_partitions());
    EXPECT_EQ(names_in("/sys/class/mtd"), (std::vector<std::string>{"mtd0", "mtd12"}));
    EXPECT_EQ(names_in("/sys/class/mtd/"), (std::vector<std::string>{"mtd0", "mtd12"}));
}

TEST(sim_paths, folders_of_the_host_are_listed_as_ever)
{
    const sim::board board(two_partitions());
    const auto names = names_in("/proc/self/task");
    EXPECT_NE(std::find(names.begin(), names.end(), std::to_string(getpid())), names.end());
}

TEST(sim_paths, a_path_is_its_own_real_path)
{
    const sim::board board(two_partitions());
    std::array<char, PATH_MAX> buffer = {};
    EXPECT_EQ(realpath("/dev/mtd0", buffer.data()), buffer.data());
    EXPECT_STREQ(buffer.data(), "/dev/mtd0");
    const std::unique_ptr<char, decltype(&std::free)> made(realpath("/dev/mtd12", nullptr),
                                                           &std::free);
    EXPECT_STREQ(made.get(), "/dev/mtd12");
    EXPECT_EQ(realpath("/dev/mtd1", nullptr), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(sim_paths, streams_read_and_write_devices)
{
    sim::board board(two_partitions());
    FILE *text = fopen("/sys/class/mtd/mtd12/name", "r");
    ASSERT_NE(text, nullptr);
    std::array<char, 32> line = {};
    EXPECT_STREQ(fgets(line.data(), static_cast<int>(line.size()), text), "product_info\n");
    EXPECT_EQ(fclose(text), 0);
    FILE *dev = fopen("/dev/mtd0", "r+");
    ASSERT_NE(dev, nullptr);
    EXPECT_EQ(fseek(dev, 16, SEEK_SET), 0);
    EXPECT_EQ(fwrite("ab", 1, 2, dev), 2U);
    EXPECT_EQ(fclose(dev), 0);
    EXPECT_EQ(board.flash(0).bytes()[16], 'a');
    EXPECT_EQ(board.flash(0).bytes()[17], 'b');
}

TEST(sim_paths, every_form_of_open_finds_the_device)
{
    const sim::board board(two_partitions());
    for (const int fd :
         {open("/dev/mtd0", O_RDWR), open64("/dev/mtd0", O_RDWR),
          openat(AT_FDCWD, "/dev/mtd0", O_RDWR), openat64(AT_FDCWD, "/dev/mtd0", O_RDWR)}) {
        EXPECT_EQ(lseek64(fd, 0, SEEK_END), 0x40000);
        uint8_t byte = 0;
        EXPECT_EQ(pread64(fd, &byte, 1, 0), 1);
        EXPECT_EQ(byte, 0xFF);
        EXPECT_EQ(close(fd), 0);
    }
    EXPECT_EQ(board.count("open", "/dev/mtd0"), 4U);
}

TEST(sim_paths, files_of_the_host_are_made_with_the_mode_asked_for)
{
    const sim::board board(two_partitions());
    std::string path = "/tmp/sim-paths-XXXXXX";
    ASSERT_NE(mkdtemp(path.data()), nullptr);
    const std::string file = path + "/file";
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    struct stat status = {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
    unlink(file.c_str());
    rmdir(path.c_str());
}

TEST(sim_paths, a_successful_call_leaves_errno_alone)
{
    const sim::board board(two_partitions());
    errno = EDOM;
    const int fd = open("/dev/mtd0", O_RDONLY);
    EXPECT_EQ(errno, EDOM);
    close(fd);
    EXPECT_EQ(errno, EDOM);
}
