#pragma once

#include <cstdint>
#include <span>
#include <string_view>

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
 * Rebuilds the image of the system EEPROM from a TLV payload and programs it. 0; -1 a record was
 * refused, the board is of another kind, or the EEPROM could not be programmed; -2 malformed.
 * Nothing is programmed unless all of the payload was understood.
 */
int32_t tlv_data_apply(const uint8_t *data, int32_t len);

/** Adds the nodes of one part of a TLV payload to the image; results as tlv_data_apply. */
int32_t tlv_insight_node(const uint8_t *nodes, int32_t count);

/**
 * Replaces the serial number in the image of the system EEPROM, programs it and echoes what it
 * holds: 0x06, the low byte of the length, and as many bytes as came. 0; -1 the image has no serial
 * number to replace; -2 the new one was refused; -3 the EEPROM could not be programmed.
 */
int32_t tlv_set_sn(const uint8_t *data, int32_t len);

// What a payload tells about the board: format_info_eeprom.cpp.

/** The CPLD register that write-enables the system EEPROM; 0: the default one. */
extern uint8_t eeprom_writeable;

/** Takes the register from the value of a node named "e2_write_en_reg"; ignores all others. */
void get_eeprom_writeable_reg(std::string_view name, std::span<const uint8_t> value);

/**
 * Derives standard records of the image from the maker's own: device version and label revision
 * from a hardware version, the platform name from a product model. Other codes do nothing; what
 * cannot be derived is logged and left out.
 */
void analy_private_to_onie_code(uint8_t code, std::string_view value);

/**
 * Whether contents made for the card type in `bytes` (at most 4, most significant first) may be
 * written on this board: 0 if so, or if the board has no card type; otherwise -1.
 */
int32_t setmac_check_eeprom_type(const uint8_t *bytes, uint32_t count);
