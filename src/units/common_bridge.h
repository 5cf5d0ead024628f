#pragma once

#include <cstdint>
#include <span>

// The I2C master inside the FPGA, through which the EEPROMs of backplane, fans and PoE and the
// power supplies are reached. Each of its users has a timing of its own: the numbers are given, and
// what the parts behind the bridge need was never measured.

/** A device behind the bridge. */
struct bridge_target {
    uint8_t bus;
    uint8_t channel;
    uint8_t address; // 7 bits
};

enum bridge_command : uint8_t {
    bridge_write = 2,
    bridge_read = 3,
};

/** The status after a command; any other value is busy. */
enum bridge_status : uint8_t {
    bridge_done = 0,
    bridge_failed = 1,
};

/** How a command is waited for. */
struct bridge_timing {
    uint32_t first_pause_us; // before the first poll
    int32_t polls;           // at most
    uint32_t pause_us;       // after each poll that finds it not done
    bool ends_on_failure;    // whether a failed status ends the wait
};

/** Sets the device and the offset and length of a transfer. */
void bridge_address(const bridge_target &target, uint8_t offset, uint8_t length);

/** Puts the bytes of a write command into the bridge. */
void bridge_put(std::span<const uint8_t> data);

/** Takes the bytes of a read command out of the bridge. */
void bridge_get(std::span<uint8_t> buffer);

/**
 * Starts a command and waits for it. The last status; one that cannot be read is not done.
 */
uint8_t bridge_run(bridge_command command, const bridge_timing &timing);

/** Waits for the write cycle of an EEPROM. */
void bridge_settle();
