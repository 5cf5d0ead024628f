#pragma once

#include <cstdint>

// Small EEPROMs on the I2C bus: 256 bytes, a one-byte word address, 8-byte pages.

/** The bus of the system EEPROM and of the card EEPROM, and their 7-bit addresses on it. */
constexpr const char *e2prom_bus = "/dev/i2c-0";
constexpr uint16_t system_e2prom_address = 0x56;
constexpr uint16_t card_e2prom_address = 0x57;

extern "C" {

// For the libraries that the program loads to look up in it, hence C linkage and visibility.

/**
 * One read transfer. Returns the driver's result (negative on failure), -1 for a missing argument
 * or a bus that cannot be opened. `two_byte_offset` non-zero sends the offset as two bytes.
 */
[[gnu::visibility("default")]] int32_t sdd_read_i2c_one_time(const char *device, uint16_t address,
                                                             uint16_t offset, uint8_t *buffer,
                                                             uint16_t length,
                                                             int32_t two_byte_offset);

/** Up to five read transfers until one succeeds, 10 ms after each failure. The last result. */
[[gnu::visibility("default")]] int32_t sdd_read_i2c(const char *device, uint16_t address,
                                                    uint16_t offset, uint8_t *buffer,
                                                    uint16_t length);
}

/**
 * One write transfer of 1 to 256 bytes. Returns the driver's result (negative on failure), -1 for a
 * missing argument, more bytes than a device holds or a bus that cannot be opened, and `length`
 * itself where that is 0 or less.
 */
int32_t sdd_write_i2c_one_time(const char *device, uint16_t address, uint16_t offset,
                               const uint8_t *data, int32_t length);

/**
 * Reads `length` bytes at `offset`: 0, or the negative result of the last of five transfers. Of no
 * bytes there is no transfer: adapters may refuse an empty message.
 */
int32_t dfd_read_e2prom(const char *device, uint16_t address, uint16_t offset, uint8_t *buffer,
                        uint16_t length);

/**
 * Writes `length` bytes at `offset` page by page, each with up to five transfers and 10 ms after
 * each. 0, or the negative result of the page that failed; the pages before it stay written.
 */
int32_t dfd_write_e2prom(const char *device, uint16_t address, uint16_t offset, const uint8_t *data,
                         int32_t length);

/**
 * What setmac_get_my_card_type remembers: the card type, or the negative result of a lookup where
 * that is another than -1; 0 before.
 */
extern int32_t sdd_my_type;

/**
 * The card type of this board, from the card EEPROM; read once and remembered in sdd_my_type. 0
 * when the EEPROM cannot be read (the next call tries again), negative when it holds no known
 * record: -1, which is not remembered either, or what the lookup in the record came to.
 */
int32_t setmac_get_my_card_type();

/**
 * The card type from a card-type record in the current layout. The name is given: the one type of
 * information that is asked for is the card type. `capacity` holds the bytes that
 * `value` has room for (4) and gets the bytes delivered. 0, or -1, -12, -22 or the negative result
 * of a transfer; `value` is then left as it was.
 */
int32_t setmac_get_e2prom_info_by_type(uint32_t *value, uint32_t *capacity);
