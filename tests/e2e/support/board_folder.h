#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace e2e {

/** An empty folder of a test's own, gone with it. */
class scratch_folder {
public:
    scratch_folder();
    ~scratch_folder();
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;

    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

/** The bytes of a file. Throws std::runtime_error when it cannot be read. */
std::string read_file(const std::filesystem::path &file);
/** Makes a file of these bytes. Throws std::runtime_error when that fails. */
void write_file(const std::filesystem::path &file, std::string_view content);

/** An operation of the board's log. */
struct timed_operation {
    long time_us = 0; // when it began, since the first one of its process
    std::string what = {};
};

/** A simulated board that the real executables run on: a folder, looked at before and after. */
class board_folder {
public:
    /** What is fitted, and the memories that are not as delivered: {"mtd1.bin", bytes}. */
    explicit board_folder(
        std::string_view description,
        std::initializer_list<std::pair<std::string_view, std::string_view>> memories = {});

    std::filesystem::path path() const { return scratch_.path(); }

    /** All bytes of a memory, by its file: "mtd1.bin". */
    std::string memory(std::string_view file) const;

    /**
     * What was done on the board so far, in order, without times and processes:
     * "erase /dev/mtd1 start=0x0 length=0x3000 = 0".
     */
    std::vector<std::string> operations() const;
    /** Those of them that begin so: "write /dev/cpld0 ". */
    std::vector<std::string> operations(std::string_view beginning) const;
    /** All of them with their times. */
    std::vector<timed_operation> timed_operations() const;
    /** Those of them that erased or wrote flash or a register. */
    std::vector<std::string> changes() const;

private:
    scratch_folder scratch_;
};

// Boards that several tests use.

/** "product_info" is /dev/mtd1: NOR flash of 12288 bytes. */
constexpr std::string_view nor_board = R"toml(
[[partition]]
name = "boot"
erase_size = 0x1000
blocks = 1

[[partition]]
name = "product_info"
erase_size = 0x1000
blocks = 3
)toml";

/** The file of the partition "product_info" on all of these boards. */
constexpr std::string_view product_info_file = "mtd1.bin";

/** The partition of `nor_board` after a save: the image, and the erased rest. */
std::string nor_content(std::string_view image);

} // namespace e2e
