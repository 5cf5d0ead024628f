#pragma once

#include <vector>

#include "station/exchanges/exchange.h"

namespace station {

/** What the banners of the switch's operations show that no other's does. */
namespace unit_banner {
constexpr std::string_view backplane = "Disconnect your console terminal first ...";
constexpr std::string_view fans = "perform SetFanSn Operation";
constexpr std::string_view poe = "perform SetPOESn Operation";
constexpr std::string_view supplies = "perform SetPowerSn Operation";
constexpr std::string_view devices = "perform Set device info Operation";
} // namespace unit_banner

/** A list of units as it goes over the line. */
struct unit_list {
    bytes length; // as the operation sends it; in some the count of elements stands behind it
    bytes payload;
    std::size_t units = 0; // that it is for
};

/** How the switch reports what became of the units of a list. */
enum class unit_report {
    list,    // it sends the list back, with the outcomes in it
    statuses // it sends a byte for each unit that it could not write, then 0x06
};

/** An operation on units, as it runs on the switch. */
struct unit_operation {
    std::string_view banner;   // one of those above
    std::uint8_t start = 0x20; // begins a list; from the switch, it asks for the list again
    unit_report report = unit_report::list;
    bool ended_by_station = false; // the switch takes list after list until it is told to end
    std::vector<unit_list> lists;
    /**
     * Added to the sum with every list that the switch asks for again: where it had added up
     * something unknown before the station came, 256 attempts with 1 are sure to meet it.
     */
    std::uint8_t guess = 0;
};

/**
 * Finds the switch and carries out the operation list by list, until one of them fails for good.
 * The echo of the outcome holds what the switch has sent back: the payloads one behind the other,
 * or the statuses with the 0x06 behind them; its count of attempts is that of the list that took
 * most. Whether the units came out well is not looked at. Does not throw for what goes wrong on the
 * line: the outcome tells it.
 */
outcome run_units(conversation &talk, const unit_operation &operation,
                  const exchange_options &options);

} // namespace station
