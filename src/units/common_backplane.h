#pragma once

#include <cstdint>

#include "base/for_debugger.h"

// The backplane's EEPROMs behind the FPGA's bridge. The names of the operations and of `debug` are
// given, their spelling included.

/** Both EEPROMs; the first is on channel 0 of the bridge, the other on channel 1. */
constexpr uint8_t backplane_addresses[] = {0x52, 0x54};

/** Non-zero shows the bridge transfers of the backplane on standard output. For the debugger. */
extern int32_t debug;

/**
 * One bridge transfer of at most 8 bytes to or from a backplane EEPROM. 0, or the last status of
 * the bridge: 1 when it failed, any other value when it stayed busy. -1, without a transfer, for
 * another length.
 */
int32_t _write_blckplane_info(uint8_t address, uint8_t offset, const uint8_t *data, int32_t length);
FOR_DEBUGGER int32_t _read_blckplane_info(uint8_t address, uint8_t offset, uint8_t *buffer,
                                          int32_t length);

/**
 * `length` bytes at offset 0, in transfers of 8. 0, or the status of the first that failed; -1,
 * without a transfer, for a negative length.
 */
int32_t write_backplane_info(uint8_t address, const uint8_t *data, int32_t length);
FOR_DEBUGGER int32_t read_backplane_info(uint8_t address, uint8_t *buffer, int32_t length);
