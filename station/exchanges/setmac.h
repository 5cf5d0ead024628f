#pragma once

#include "station/exchanges/framed_run.h"

namespace station {

/**
 * The exchange that "setmac" on the switch waits for. The switch takes attempts until one succeeds
 * or a value arrives damaged. It is found by its banner or, where the banner was printed before the
 * station came, by its answer to a hand sign.
 */
framed_kind setmac_exchange(bytes payload);

/** The same with a switch that keeps its identity in the system EEPROM. */
framed_kind setmac_eeprom_exchange(bytes payload);

} // namespace station
