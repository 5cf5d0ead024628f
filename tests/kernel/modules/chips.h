/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Where the simulated chips keep what they hold: in memory of the emulated machine that the kernel leaves alone (it is told to with "mem=")
 * and that is a file on the host. It outlives the machine, so that a machine killed in the middle of a write finds its chips as they were;
 * and the host sees and sets what they hold without asking the machine. machine.py knows this map too.
 */
#ifndef CHIPS_H
#define CHIPS_H

#include <linux/io.h>

#define CHIPS_BASE 0x4C000000	/* behind the first 192 MiB of the machine's memory, which begins at 1 GiB */

#define CHIPS_EEPROM 0x0	/* 256 bytes each, in the order of their addresses */
#define CHIPS_WIRE_LOG 0x10000
#define CHIPS_WIRE_LOG_SIZE 0x30000
#define CHIPS_NOR 0x100000
#define CHIPS_NOR_SIZE 0x100000
#define CHIPS_NAND 0x200000
#define CHIPS_NAND_SIZE 0x4200000	/* 64 MiB, and 64 spare bytes for every 2048 */

/* The memory of a chip, or NULL; given back with memunmap(). */
static inline void *chips_map(size_t offset, size_t size)
{
	return memremap(CHIPS_BASE + offset, size, MEMREMAP_WB);
}

#endif
