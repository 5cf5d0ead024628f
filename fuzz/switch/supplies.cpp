#include "fuzz/board/console.h"
#include "fuzz/board/small_allocations.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/board/unit_run.h"
#include "units/set_power_sn.h"

// The exchange of setpwrsn.

namespace {

constexpr fuzz::list_form form = {.start = 0x20, .length_size = 1, .count_size = 0};

sim::board_description board_for(uint8_t choice)
{
    const fuzz::small_allocations here;
    sim::board_description board;
    if (!fuzz::chosen(choice, 0)) {
        board.fpga = sim::fpga{.supplies = {{.channel = 0, .address = 0x58},
                                            {.channel = 1, .address = 0x59},
                                            {.channel = 2, .address = 0x58, .present = false}}};
    }
    return board;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    auto board = board_for(choice);
    fuzz::add_trouble(board, in.choice());
    const fuzz::switch_program program(std::move(board), in.tells_much());

    const auto result = fuzz::run_unit_operation(set_pwr_info, choice, in, form);
    fuzz::require(!result || *result == 0 || (*result >= 40 && *result <= 42),
                  "the result is 0 or one of three errors");
    return 0;
}
