#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>

#include "fuzz/board/repair.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/input.h"
#include "store/productinfo.h"

// Any bytes in the partition of the product information.

namespace {

constexpr size_t partition_size = 0x2000;
constexpr const char *too_long_name =
    "NNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNN=V";

/** A board by the high half of a choice. */
sim::board_description board_for(uint8_t choice)
{
    auto board = fuzz::identity_board(fuzz::chosen(choice, 2) ? sim::nand : sim::nor);
    if (fuzz::chosen(choice, 3)) {
        board.partitions.push_back(
            {.name = "product_info_other", .erase_size = partition_size, .blocks = 1});
    }
    const std::string_view failing[] = {"", "read", "write", "ioctl"};
    const auto operation = failing[choice >> 4 & 3U];
    if (!operation.empty()) {
        const auto *path = fuzz::chosen(choice, 3) ? "/dev/mtd1" : "/dev/mtd0";
        board.faults.push_back(
            {.operation = std::string(operation), .path = path, .times = 0, .error = EIO});
    }
    if (choice >> 6 == 1) {
        board.partitions.front().name = "another";
    }
    if (choice >> 6 == 2) {
        board.partitions.front().erase_size = 0x800;
    }
    return board;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    auto content = in.take(partition_size);
    // Records that fill the area to its last byte come from one byte repeated.
    content.resize(partition_size,
                   fuzz::chosen(choice, 1) && !content.empty() ? content.back() : 0);
    if (!fuzz::chosen(choice, 0)) {
        fuzz::right_store_checksum(content);
    }

    fuzz::switch_program program(board_for(choice), in.tells_much());
    auto cells = program.board().flash(0).bytes();
    std::copy_n(content.begin(), std::min(content.size(), cells.size()), cells.begin());
    fuzz::require(save_product_info() != 0, "nothing is saved before it is loaded");
    if (init_product_info() == 0) {
        show_prod_info();
        for (const auto *line : {"SerialNO=ABCDEFGHJ1234", "SerialNO=1", "first=", "last=",
                                 "absent=", "no equals sign", too_long_name, "SerialNO="}) {
            setproduct_info(line);
        }
        fuzz::require(get_product_info("SerialNO") == nullptr, "a line removes");
        if (save_product_info() == 0 && choice < 0x10) {
            program.require_store_of_its_own();
        }
    }
    return 0;
}
