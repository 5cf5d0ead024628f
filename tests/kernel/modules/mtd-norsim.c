// SPDX-License-Identifier: GPL-2.0
/*
 * mtd-norsim: a NOR flash in memory, for what the CFI chip that QEMU emulates does not give: programming only clears bits, erasing and
 * programming take their time, and each of them, and reading, can be made to fail. The MTD core, its character device and its
 * partitions are the kernel's own; only the chip is simulated. Its partitions: mtdparts=norsim:...
 *
 * Parameters, also to be set while it is loaded:
 *   fail_erase, fail_write, fail_read  the erase block, counted from the chip's start, that this fails on with EIO; -1 for none. What comes
 *                                      before that block is done.
 *   erase_ms                           how long erasing a block takes; meanwhile it is erased from its start on
 *   write_us                           how long programming 64 bytes takes
 */
#include <linux/delay.h>
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include "chips.h"

#define ERASE_SIZE 0x10000
#define STEPS 64	/* of an erase */
#define WRITE_SIZE 64	/* bytes that are programmed at once */

static int fail_erase = -1, fail_write = -1, fail_read = -1;
static uint erase_ms, write_us;
module_param(fail_erase, int, 0644);
module_param(fail_write, int, 0644);
module_param(fail_read, int, 0644);
module_param(erase_ms, uint, 0644);
module_param(write_us, uint, 0644);

static u8 *cells;

static bool fails(int block, loff_t at)
{
	return block >= 0 && block == (int)((u32)at / ERASE_SIZE);
}

static void pause(ulong us)
{
	if (us)
		usleep_range(us, us + us / 8 + 1);
}

static int norsim_erase(struct mtd_info *mtd, struct erase_info *what)
{
	u32 at = what->addr, end = what->addr + what->len, step = ERASE_SIZE / STEPS;

	if (at % ERASE_SIZE || end % ERASE_SIZE)
		return -EINVAL;
	for (; at < end; at += step) {
		if (fails(fail_erase, at)) {
			what->fail_addr = at;
			return -EIO;
		}
		memset(cells + at, 0xff, step);
		pause(erase_ms * 1000 / STEPS);
	}
	return 0;
}

static int norsim_write(struct mtd_info *mtd, loff_t at, size_t len, size_t *done, const u_char *data)
{
	size_t i;

	for (i = 0; i < len; i++) {
		if (fails(fail_write, at + i))
			return -EIO;
		cells[at + i] &= data[i];
		*done = i + 1;
		if ((i + 1) % WRITE_SIZE == 0)
			pause(write_us);
	}
	return 0;
}

static int norsim_read(struct mtd_info *mtd, loff_t at, size_t len, size_t *done, u_char *data)
{
	size_t i;

	for (i = 0; i < len; i++) {
		if (fails(fail_read, at + i))
			return -EIO;
		data[i] = cells[at + i];
		*done = i + 1;
	}
	return 0;
}

static struct mtd_info norsim = {
	.owner = THIS_MODULE,
	.name = "norsim",
	.type = MTD_NORFLASH,
	.flags = MTD_CAP_NORFLASH,
	.size = CHIPS_NOR_SIZE,
	.erasesize = ERASE_SIZE,
	.writesize = 1,
	.writebufsize = WRITE_SIZE,
	._erase = norsim_erase,
	._write = norsim_write,
	._read = norsim_read,
};

static int __init norsim_init(void)
{
	int result;

	cells = chips_map(CHIPS_NOR, CHIPS_NOR_SIZE);
	if (!cells)
		return -ENOMEM;
	result = mtd_device_register(&norsim, NULL, 0);
	if (result)
		memunmap(cells);
	return result;
}

static void __exit norsim_exit(void)
{
	mtd_device_unregister(&norsim);
	memunmap(cells);
}

module_init(norsim_init);
module_exit(norsim_exit);
MODULE_DESCRIPTION("simulated NOR flash that fails when told to");
MODULE_LICENSE("GPL");
