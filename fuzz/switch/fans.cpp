#include "fuzz/board/console.h"
#include "fuzz/board/small_allocations.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/board/unit_run.h"
#include "units/set_fan_sn.h"

// The exchanges of setfansn and setpoesn.

namespace {

constexpr fuzz::list_form form = {.start = 0x20, .length_size = 1, .count_size = 0};

sim::board_description board_for(uint8_t choice)
{
    const fuzz::small_allocations here;
    sim::board_description board;
    if (!fuzz::chosen(choice, 1)) {
        constexpr auto kind = sim::bridge_eeprom::fan;
        board.fpga = sim::fpga{
            .eeproms = {
                {.bus = 3, .channel = 0, .address = 0x56, .kind = kind, .write_cycle_ms = 0},
                {.bus = 3, .channel = 1, .address = 0x56, .kind = kind, .write_cycle_ms = 0},
                {.bus = 4, .channel = 2, .address = 0x52, .write_cycle_ms = 0}}};
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

    const bool poe = fuzz::chosen(choice, 0);
    const auto result =
        fuzz::run_unit_operation(poe ? set_poe_info : set_fan_info, choice, in, form);
    fuzz::require(!result || *result == 0, "what goes wrong is told to the PC alone");
    if (fuzz::chosen(choice, 2)) {
        print_fan_sn_info(poe ? mode_poe : mode_fans);
    }
    return 0;
}
