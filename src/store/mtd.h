#pragma once

#include <cstdint>

// Raw flash partitions through the MTD character devices /dev/mtdN. Each operation opens its
// device, uses it and closes it.

/** The index N of the partition named `name`, or -1. Indices are looked at up to the first gap. */
int32_t get_mtd_nm(const char *name);

/**
 * Stores in `size` what one image may take: the whole partition on NOR flash, one erase block on
 * NAND flash; left as it is for any other type. 0, or a negative failure, told on standard output.
 */
int32_t mtd_get_size(int32_t index, uint32_t *size);

/**
 * Reads `length` bytes from the start of the partition: on NOR from offset 0, on NAND from the
 * first good block that can be read. Returns the bytes read, 0 for other types of flash, or a
 * negative failure. A NAND of bad blocks only returns the last block's offset, with nothing read.
 */
int32_t mtd_read(int32_t index, void *buffer, int32_t length);

/**
 * Erases the partition and writes `length` bytes: once at the start of NOR flash, into every good
 * block of NAND flash. 0, or -1 when any step failed; the partition may then be erased in part.
 */
int32_t mtd_write(int32_t index, const void *buffer, int32_t length);
