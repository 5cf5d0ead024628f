#include "fuzz/board/unit_run.h"

#include <cerrno>
#include <iterator>

#include "fuzz/board/console.h"
#include "fuzz/board/small_allocations.h"

namespace fuzz {

namespace {

constexpr const char *library = "libdev_drv";
constexpr const char *fpga_device = "/dev/fpga0";

constexpr const char *library_operations[] = {
    "drv_set_backplane_info",   "drv_set_fan_info",         "drv_set_fan_info_with_type",
    "drv_get_fan_sn",           "drv_get_fan_hw_version",   "drv_get_power_name",
    "drv_set_power_hw_version", "drv_get_power_hw_version", "drv_get_sub_unintlg_lc_info",
    "drv_set_sub_unintlg_info", "drv_get_sub_unintlg_sn",   "drv_get_sub_unintlg_hw_ver",
};

/** Kinds of trouble; from `busy` on those of the bridge. */
enum trouble_kind : uint8_t {
    no_trouble,
    one_read_fails,
    library_refuses,
    device_fails,
    one_seek_fails,
    bridge_is_busy,
    bridge_fails,
    bridge_sticks,
    trouble_kinds
};

sim::bridge_trouble at_chip(const sim::bridge_place &place, trouble_kind kind, unsigned call)
{
    sim::bridge_trouble trouble{
        .bus = place.bus, .channel = place.channel, .address = place.address, .call = call};
    if (kind == bridge_is_busy) {
        trouble.what = sim::bridge_trouble::busy;
        trouble.polls = 3;
    } else {
        trouble.what =
            kind == bridge_fails ? sim::bridge_trouble::fail : sim::bridge_trouble::stick;
    }
    return trouble;
}

void trouble_bridge(sim::fpga &fpga, trouble_kind kind, unsigned call)
{
    for (const auto &chip : fpga.eeproms) {
        fpga.troubles.push_back(at_chip(place_of(chip), kind, call));
    }
    for (const auto &supply : fpga.supplies) {
        fpga.troubles.push_back(at_chip(place_of(supply), kind, call));
    }
}

} // namespace

void add_trouble(sim::board_description &board, uint8_t choice)
{
    const small_allocations here;
    const auto kind = static_cast<trouble_kind>(choice % trouble_kinds);
    const unsigned which = choice / trouble_kinds;
    const unsigned call = which + 1;
    auto &faults = board.faults;
    switch (kind) {
    case no_trouble:
        break;
    case one_read_fails:
        faults.push_back({.operation = "read", .path = fpga_device, .call = call, .error = EIO});
        break;
    case library_refuses:
        faults.push_back({.operation = library_operations[which % std::size(library_operations)],
                          .path = library,
                          .result = -5});
        break;
    case device_fails:
        faults.push_back(
            {.operation = "any", .path = fpga_device, .call = call, .times = 0, .error = EIO});
        break;
    case one_seek_fails:
        faults.push_back({.operation = "lseek", .path = fpga_device, .call = call, .error = EIO});
        break;
    default:
        if (board.fpga) {
            trouble_bridge(*board.fpga, kind, call);
        }
        break;
    }
}

std::optional<int32_t> run_unit_operation(int32_t (*operation)(), uint8_t choice, input &in,
                                          const list_form &form)
{
    auto stream = in.rest();
    if (!chosen(choice, 7)) {
        right_list_sums(stream, form);
    }
    return run_on_console(operation, stream);
}

} // namespace fuzz
