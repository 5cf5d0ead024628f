#include <algorithm>

#include "fuzz/board/small_allocations.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/board/unit_run.h"
#include "units/common.h"
#include "units/common_backplane.h"
#include "units/set_backplane.h"

// The exchange of setbackplane, on boards with an FPGA and with the driver library.

namespace {

constexpr size_t record_size = sizeof(backplane_record);
constexpr fuzz::list_form form = {.start = 0x15, .length_size = 1, .count_size = 1};

sim::board_description board_for(uint8_t choice)
{
    const fuzz::small_allocations here;
    sim::board_description board;
    if (fuzz::chosen(choice, 0)) {
        constexpr auto kind = sim::bridge_eeprom::backplane;
        board.fpga = sim::fpga{
            .eeproms = {
                {.bus = 4, .channel = 0, .address = 0x52, .kind = kind, .write_cycle_ms = 0},
                {.bus = 4, .channel = 1, .address = 0x54, .kind = kind, .write_cycle_ms = 0}}};
    }
    return board;
}

fuzz::byte_list stored(sim::board &board, int32_t index)
{
    const bool behind_fpga = board.description().fpga.has_value();
    const uint8_t channel = index == 1 ? 0 : 1;
    const uint8_t address = index == 1 ? 0x52 : 0x54;
    const auto bytes =
        behind_fpga ? board.bridge_eeprom(4, channel, address) : board.backplane(index);
    return {bytes.begin(), bytes.begin() + record_size};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    const uint8_t trouble = in.choice();
    auto board = board_for(choice);
    fuzz::add_trouble(board, trouble);
    fuzz::switch_program program(std::move(board), in.tells_much());
    debug = fuzz::chosen(choice, 1) ? 1 : 0;

    const auto result = fuzz::run_unit_operation(set_backplane_info, choice, in, form);
    if (result && trouble == 0) {
        const auto first = stored(program.board(), 1);
        fuzz::require(first == stored(program.board(), 2), "both EEPROMs hold the same record");
    }
    if (fpga_exist() != 0) {
        fuzz::byte_list back(record_size);
        read_backplane_info(0x54, back.data(), static_cast<int32_t>(back.size()));
        fuzz::require(trouble != 0 || back == stored(program.board(), 2),
                      "what is read is what is stored");
    }
    return 0;
}
