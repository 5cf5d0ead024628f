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
}
