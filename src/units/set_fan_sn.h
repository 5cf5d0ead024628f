#pragma once

#include <cstdint>

#include "base/for_debugger.h"

/** A fan or PoE unit as the PC sends it, and as it goes back with its outcome. */
struct [[gnu::packed]] fan_record {
    uint8_t index;   // unit number, only logged
    uint8_t flag;    // 0 programmed, else the bridge status
    uint8_t type;    // model byte
    uint8_t channel; // bridge channel
    char sn[14];     // NUL-padded; the first 13 are programmed
    char hw[5];      // "X.YZ", hexadecimal digits
};
static_assert(sizeof(fan_record) == 23);

/** Which units a command is for. */
enum fan_mode : int32_t {
    mode_fans = 0,
    mode_poe = 1,
};

/** "setfansn" and "setpoesn". Always 0. */
int32_t set_fan_info();
int32_t set_poe_info();

/**
 * Receives a list of units, programs the identity EEPROM of each and sends the list back with the
 * outcome of each. Always 0: what went wrong is told to the PC.
 */
int32_t set_fanpoe_info(int32_t mode);

// The names of these are given.

/** Writes at most 8 bytes into the identity EEPROM of a unit: 0 or the bridge status. */
int32_t _write_fan_serial(int32_t mode, uint8_t channel, uint8_t offset, const uint8_t *data,
                          uint8_t length);

/** Reads at most 8 bytes from it: 0, or 1 on failure. */
FOR_DEBUGGER int32_t _read_fan_serial(int32_t mode, uint8_t channel, uint8_t offset,
                                      uint8_t *buffer, uint8_t length);

/** Lifts (0) or sets (1) the write protection of a fan's EEPROM: 0, or 1 on failure. */
int32_t write_protect(uint8_t value, uint8_t channel);

/** Reads units 0 to 9 and writes what they hold to the debug log, for diagnosis. Always 0. */
FOR_DEBUGGER int32_t print_fan_sn_info(int32_t mode);
