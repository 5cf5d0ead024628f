#pragma once

#include <cstdint>

// Registers of the FPGA and the CPLD: device files whose offset is the register number.

/**
 * Reads `length` bytes at register `offset`. Opens the device for this one access. 0, also when
 * fewer bytes or none were moved; -1 for a missing argument or a device that cannot be opened;
 * otherwise the negative result of the access.
 */
int32_t drv_device_read(const char *device, int32_t offset, uint8_t *buffer, int32_t length);

/** Writes `length` bytes at register `offset`; as drv_device_read. */
int32_t drv_device_write(const char *device, int32_t offset, const uint8_t *data, int32_t length);

/** Whether this board has an FPGA that the caller may read and write: 1 or 0. */
int32_t fpga_exist();

/** One byte to or from an FPGA register: 0, or the negative result of the access. */
int32_t fpga_write(uint32_t reg, uint8_t value);
int32_t fpga_read(uint32_t reg, uint8_t *value);
