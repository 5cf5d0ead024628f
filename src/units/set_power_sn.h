#pragma once

#include <cstdint>

/** A power supply as the PC sends it, and as it goes back with its outcome. */
struct [[gnu::packed]] power_record {
    uint8_t index;    // unit number, only logged
    uint8_t channel;  // bridge channel; also selects the presence register
    uint8_t dev_addr; // 7-bit address; also selects the presence bit
    char sn[14];      // NUL-padded
    char hw[5];       // the first 4 are written
    uint8_t flag;     // a power_outcome, or as the PC sent it when all went well
};
static_assert(sizeof(power_record) == 23);

enum power_outcome : uint8_t {
    power_write_failed = 1,
    power_read_failed = 2,
    power_absent = 3,
};

/** A PMBus command to a supply: a block of its data goes out or comes in. */
struct [[gnu::packed]] power_command {
    uint8_t unused;
    uint8_t command;
    uint8_t channel;
    uint8_t address;
    uint8_t length; // of the data
    uint8_t data[32];
};
static_assert(sizeof(power_command) == 37);

/**
 * "setpwrsn": receives a list of power supplies, writes revision and serial number of each, reads
 * both back and sends the list back with the outcome of each. 0, or the error byte that the PC was
 * sent: 40 list too long, 41 too many supplies, 42 malformed element.
 */
int32_t set_pwr_info();

/** Sends the data of a command: 0, or 1 when the bridge is never done. */
int32_t pwr_cmd_write(const power_command *block);

/** Fetches the data of a command: 0, or 1 when the bridge is never done. */
int32_t pwr_cmd_read(power_command *block);
