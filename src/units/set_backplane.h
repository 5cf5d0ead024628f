#pragma once

#include <cstdint>

/** The identity of the backplane, as it stands in both of its EEPROMs. */
struct [[gnu::packed]] backplane_record {
    uint8_t type;
    char version[8];    // not terminated when it has 8 characters
    char serial_no[18]; // nor this one when it has 18
    uint8_t reserved_27;
    uint8_t mac_addr[6];
    uint8_t serial_0;
    uint8_t serial_1;
    uint8_t serial_2;
    uint8_t serial_3;
    uint8_t reserved_38[2];
    uint32_t type9_value; // in the byte order of the processor
};
static_assert(sizeof(backplane_record) == 44);

/**
 * "setbackplane": receives the elements of a backplane record and writes it to both EEPROMs,
 * through the FPGA or, on boards without one, the driver library. A write that fails is told to the
 * PC as a status byte. Always 0.
 */
int32_t set_backplane_info();
