#pragma once

#include <cstdint>

// The contract of the maker's device-driver library, libdev_drv. The library is closed: on the
// switch the maker's build is found by the dynamic linker, elsewhere the stand-in of the simulated
// board. These are the operations that the program calls, and all that it relies on.

extern "C" {

/**
 * Prepares the library. Called once before any other operation of it.
 * The result is not looked at: a library that could not start refuses its operations one by one.
 */
int32_t dev_drv_init();

/**
 * Lifts (`protect` 0) or restores (`protect` 1) the write protection of the EEPROM number `index`;
 * 0 is the system EEPROM. The result is not looked at: what the EEPROM answers tells.
 */
int32_t drv_set_e2_wr_pro(int32_t index, int32_t protect);
}
