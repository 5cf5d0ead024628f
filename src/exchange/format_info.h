#pragma once

#include <cstdint>

// What a received payload does: the payload handlers, and the checks they share.

/**
 * Applies a product-info payload: stores its properties in the product-info store and saves it.
 * 0 applied and saved; 1 an empty part of flag 1; -2 malformed; payload_refused for the wrong kind
 * of board; otherwise the save's result. After a failure the properties before it stay in memory.
 */
int32_t apply_data(const uint8_t *data, int32_t len);

/**
 * Stores a serial number as "SerialNO", saves, and echoes what is stored to the PC: 0x06, the low
 * byte of the length, and as many bytes as came. 0, or -2 not stored, -3 not saved, -4 not there.
 */
int32_t do_set_sn(const uint8_t *data, int32_t len);

/**
 * Whether contents made for the card type in `bytes` (at most 4, most significant first) may be
 * written on this board: 0 if so, or if the board has no card type; otherwise -1.
 */
int32_t setmac_check_eeprom_type(const uint8_t *bytes, uint32_t count);
