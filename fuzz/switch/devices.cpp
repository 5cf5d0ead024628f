#include "fuzz/board/console.h"
#include "fuzz/board/small_allocations.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/board/unit_run.h"
#include "units/setsn_device.h"

// The exchanges of setdevice and setdevice_zk80chassis.

namespace {

constexpr fuzz::list_form form = {.start = 0x20, .length_size = 4, .count_size = 0};

sim::board_description chassis()
{
    const fuzz::small_allocations here;
    return {.fans = {{.present = true, .type = 0x11223344}, {.present = false}},
            .supplies = {{.present = true, .name = "PSU-550"}},
            .cards = {{.present = true, .card_type = 0x99}},
            .own_card_type = 14};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    auto board = chassis();
    fuzz::add_trouble(board, in.choice());
    const fuzz::switch_program program(std::move(board), in.tells_much());

    setdevice_zk80chassis = fuzz::chosen(choice, 0) ? 1 : 0;
    const auto result = fuzz::run_unit_operation(set_device_sn_info, choice, in, form);
    fuzz::require(!result || *result == 0, "what goes wrong is told to the PC alone");
    return 0;
}
