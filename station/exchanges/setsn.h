#pragma once

#include "station/exchanges/framed_run.h"

namespace station {

/**
 * The exchange that "setsn" on the switch waits for, with a serial number as its payload. The
 * switch looks for "{" for about 100 ms after its start, answers "}" and takes a single attempt; it
 * sends the serial number that it has stored back.
 */
framed_kind setsn_exchange(bytes serial);

/** The same with a switch that keeps its serial number in the system EEPROM. */
framed_kind setsn_eeprom_exchange(bytes serial);

} // namespace station
