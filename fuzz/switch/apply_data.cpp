#include <cerrno>

#include "exchange/format_info.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/input.h"
#include "store/productinfo.h"

// The payloads of the flavour that keeps the identity in flash.

namespace {

sim::board_description board_for(uint8_t choice)
{
    auto board = fuzz::identity_board(fuzz::chosen(choice, 1) ? sim::nand : sim::nor);
    if (fuzz::chosen(choice, 2)) {
        board.partitions.push_back(
            {.name = "product_info_other", .erase_size = 0x4000, .blocks = 1});
    }
    if (fuzz::chosen(choice, 3)) {
        // A card of type 5, in the oldest form.
        board.eeproms.back().content = {1, 0, 0, 5};
    }
    if (fuzz::chosen(choice, 4)) {
        board.faults.push_back({.operation = "write", .path = "/dev/mtd0", .error = EIO});
    }
    return board;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    const auto payload = in.rest();
    const auto length = static_cast<int32_t>(payload.size());

    fuzz::switch_program program(board_for(choice), in.tells_much());
    init_product_info();
    const int32_t result = fuzz::chosen(choice, 0) ? do_set_sn(payload.data(), length)
                                                   : apply_data(payload.data(), length);
    if (result == 0 && !fuzz::chosen(choice, 4)) {
        program.require_store_of_its_own();
    }
    return 0;
}
