// SPDX-License-Identifier: GPL-2.0
/*
 * i2c-eepsim: the bus /dev/i2c-0 with simulated EEPROMs of the type 24C02 at 0x56 and 0x57: 256 bytes, pages of 8, a word address of one
 * byte. The bus is driven by the kernel's own i2c-algo-bit, and the chips see nothing but the edges of its two wires. So i2c-dev, the
 * I2C core and the algorithm are the real ones, and a program that frames its transfers wrongly gets what silicon would give it.
 *
 * A write is programmed from its stop on: the first half of the page at once, the rest when the write cycle ends. Until then the chip
 * does not answer.
 *
 * Parameters, also to be set while it is loaded:
 *   cycle_us    how long a write cycle takes
 *   protect     write protection, of all chips: 0 off; 1 data is acknowledged and dropped; 2 data is not acknowledged
 *   stop_after  after so many more page writes no chip answers any more; -1 for never
 *
 * What went over the wires stands in the log, one transfer a line, from the loading of the module on: S start, 1F a byte, + acknowledged,
 * - not acknowledged, P stop.
 */
#include <linux/hrtimer.h>
#include <linux/i2c-algo-bit.h>
#include <linux/i2c.h>
#include <linux/module.h>
#include "chips.h"

#define CHIPS 2
#define FIRST_ADDRESS 0x56
#define SIZE 256
#define PAGE 8

static uint cycle_us = 5000;
static uint protect;
static int stop_after = -1;
module_param(cycle_us, uint, 0644);
module_param(protect, uint, 0644);
module_param(stop_after, int, 0644);

static struct chip {
	u8 *cells;
	u8 word;	/* the address of the next byte; it survives a stop */
	u8 page[PAGE];	/* what a write has brought so far */
	u8 written;	/* a bit for each byte of it */
	struct hrtimer cycle;
} chips[CHIPS];

static char *wire_log;
static size_t log_end;

__printf(1, 2) static void log_wire(const char *format, ...)
{
	va_list values;

	va_start(values, format);
	log_end += vscnprintf(wire_log + log_end, CHIPS_WIRE_LOG_SIZE - log_end, format, values);
	va_end(values);
}

/* The chips, byte by byte. */

static struct chip *chip;	/* that was addressed last and answered */
static enum { ADDRESS, WORD, DATA } expected;

static void program(struct chip *c, int first, int end)
{
	u8 *page = c->cells + (c->word & ~(PAGE - 1));
	int i;

	for (i = first; i < end; i++)
		if (c->written & BIT(i))
			page[i] = c->page[i];
}

static enum hrtimer_restart cycle_ends(struct hrtimer *timer)
{
	struct chip *c = container_of(timer, struct chip, cycle);

	program(c, PAGE / 2, PAGE);
	return HRTIMER_NORESTART;
}

static bool answers(u8 address)
{
	uint i = address - FIRST_ADDRESS;

	chip = i < CHIPS && stop_after && !hrtimer_active(&chips[i].cycle) ? &chips[i] : NULL;
	if (chip)
		chip->written = 0;
	return chip;
}

/* A byte to the chips: whether one of them acknowledges it. */
static bool take(u8 byte)
{
	switch (expected) {
	case ADDRESS:
		expected = WORD;
		return answers(byte >> 1);
	case WORD:
		expected = DATA;
		chip->word = byte;
		return true;
	default:
		if (protect)
			return protect == 1;
		chip->page[chip->word % PAGE] = byte;
		chip->written |= BIT(chip->word % PAGE);
		/* At the end of the page it goes on at its start. */
		chip->word = (chip->word & ~(PAGE - 1)) | ((chip->word + 1) % PAGE);
		return true;
	}
}

static u8 give(void)
{
	return chip->cells[chip->word++];
}

static void stop(void)
{
	if (!chip || !chip->written)
		return;
	if (stop_after > 0)
		stop_after--;
	program(chip, 0, PAGE / 2);
	hrtimer_start(&chip->cycle, ns_to_ktime((u64)cycle_us * NSEC_PER_USEC), HRTIMER_MODE_REL);
}

/* The wires, edge by edge. A wire is low where the master or a chip pulls it. */

static bool scl = true, sda = true, pulled;	/* by the master, by the master, sda by a chip */
static enum { IDLE, TAKING, GIVING } phase;
static int bit;	/* of the byte under way, 8 for its acknowledgement; -1 before the clock's first fall */
static u8 byte;
static bool acknowledged;

static void start_condition(void)
{
	log_wire("%sS", phase == IDLE ? "" : " ");
	phase = TAKING;
	expected = ADDRESS;
	chip = NULL;	/* a write that has seen no stop is given up */
	bit = -1;
	pulled = false;
}

static void stop_condition(void)
{
	log_wire(" P\n");
	stop();
	chip = NULL;
	phase = IDLE;
	pulled = false;
}

static void clock_rises(void)
{
	if (bit == 8 && phase == GIVING)
		acknowledged = !sda;
	else if (phase == TAKING && bit < 8)
		byte = byte << 1 | sda;
}

static void byte_ends(void)
{
	bool is_read = phase == GIVING || (expected == WORD && byte & 1);

	log_wire(" %02X%c", byte, acknowledged ? '+' : '-');
	bit = 0;
	phase = is_read ? GIVING : TAKING;
	if (!acknowledged)
		bit = 9;	/* deaf until the next start or stop */
	else if (is_read)
		byte = give();
	if (!acknowledged && !is_read)
		chip = NULL;
}

static void clock_falls(void)
{
	if (phase == IDLE || bit == 9)
		return;
	bit++;
	if (bit == 9)
		byte_ends();
	if (bit == 8 && phase == TAKING)
		acknowledged = take(byte);
	if (bit == 8)
		pulled = phase == TAKING && acknowledged;
	else
		pulled = phase == GIVING && bit < 8 && !(byte << bit & 0x80);
}

static void set_sda(void *unused, int high)
{
	bool before = sda;

	sda = high;
	if (scl && before && !sda)
		start_condition();
	else if (scl && !before && sda)
		stop_condition();
}

static void set_scl(void *unused, int high)
{
	bool before = scl;

	scl = high;
	if (!before && scl)
		clock_rises();
	else if (before && !scl)
		clock_falls();
}

static int get_sda(void *unused)
{
	return sda && !pulled;
}

static int get_scl(void *unused)
{
	return scl;
}

static struct i2c_algo_bit_data wires = {
	.setsda = set_sda,
	.setscl = set_scl,
	.getsda = get_sda,
	.getscl = get_scl,
	.udelay = 1,
	.timeout = HZ,
};

static struct i2c_adapter bus = {
	.owner = THIS_MODULE,
	.name = "i2c-eepsim",
	.nr = 0,
	.algo_data = &wires,
};

static int __init eepsim_init(void)
{
	u8 *cells = chips_map(CHIPS_EEPROM, CHIPS * SIZE);
	int i, result;

	wire_log = chips_map(CHIPS_WIRE_LOG, CHIPS_WIRE_LOG_SIZE);
	if (!cells || !wire_log)
		return -ENOMEM;
	memset(wire_log, 0, CHIPS_WIRE_LOG_SIZE);
	for (i = 0; i < CHIPS; i++) {
		chips[i].cells = cells + i * SIZE;
		hrtimer_init(&chips[i].cycle, CLOCK_MONOTONIC, HRTIMER_MODE_REL);
		chips[i].cycle.function = cycle_ends;
	}
	result = i2c_bit_add_numbered_bus(&bus);
	if (result) {
		memunmap(wire_log);
		memunmap(cells);
	}
	return result;
}

static void __exit eepsim_exit(void)
{
	int i;

	i2c_del_adapter(&bus);
	for (i = 0; i < CHIPS; i++)
		hrtimer_cancel(&chips[i].cycle);
	memunmap(wire_log);
	memunmap(chips[0].cells);
}

module_init(eepsim_init);
module_exit(eepsim_exit);
MODULE_DESCRIPTION("bit-banged I2C bus with simulated EEPROMs");
MODULE_LICENSE("GPL");
