#pragma once

#include <cstdint>

#include "console/com_data_provider.h"

// The framed exchange with the provisioning program on the PC: one payload, checked by
// CRC-32/MPEG-2 and handed to a handler, answered with one-byte status codes.

/** The largest value of a frame: a payload and its 4 CRC bytes. */
constexpr uint32_t setmac_data_size = 131072;

/** The receive buffer. Keeps the last payload, its CRC and then zeros until the next exchange. */
extern uint8_t g_setmac_data[setmac_data_size];

/** The hand signs of payloads for the store or the system EEPROM, and of serial-number payloads. */
constexpr uint8_t setmac_hand_sign[4] = {0x15, 0x18, 0x03, 0x10};
constexpr uint8_t setsn_hand_sign[4] = {0x10, 0x03, 0x18, 0x15};

/** The result of a handler that refuses a payload meant for another kind of board. */
constexpr int32_t payload_refused = -13;

/**
 * What is done with a payload: its bytes, which the CRC and zeros follow, and its length. A length
 * below 0 (a value too short to hold its CRC) is an empty payload. 0 applied, payload_refused, or
 * any other value for a failure.
 */
using payload_handler = int32_t (*)(const uint8_t *data, int32_t length);

/** The payload handlers that the program can be asked for. */
enum setmac_mode : int32_t {
    mode_product_info = 1,   // legacy "setmac"
    mode_product_serial = 2, // legacy "setsn"
    mode_tlv = 3,            // TLV "setmac"
    mode_tlv_serial = 4,     // TLV "setsn"
};

/** Fills the table of the line's CRC. Called before each exchange. */
void setmac_crc32_init();

/** CRC-32/MPEG-2 of `len` bytes. Bytes followed by their own CRC, high byte first, give 0. */
uint32_t setmac_crc32(const uint8_t *data, int32_t len);

/**
 * One exchange. 0 when it is over: the payload was applied, or arrived damaged. Otherwise the PC
 * starts again from the hand sign: 1, or the first byte received where that is no hand sign. A
 * first byte of 00 is such a result too, and so ends the exchanges.
 */
int32_t smp_recv(const com_data_provider *provider, payload_handler handler,
                 const uint8_t *hand_sign);

/**
 * One exchange over the console with the handler and hand sign of `mode`; 0 for an unknown mode.
 * The name is given.
 */
int32_t __set_product_info(int32_t mode);

/** Exchanges until one ends with 0, then saves the product information. Always 0. */
int32_t enter_setmac(int32_t mode);

/**
 * Answers the PC's "{" with "}" and runs one exchange: its result. -1 when the console is silent,
 * 0 when no "{" came.
 */
int32_t enter_setsn(int32_t mode);

/** The same as enter_setsn with a handler of the caller's, for a PC that has started already. */
int32_t set_module_info(payload_handler handler);

/** Run at the start of both entry procedures. */
void clear_input();
