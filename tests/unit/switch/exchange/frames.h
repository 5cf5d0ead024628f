#pragma once

#include "unit/switch/support.h"

namespace support {

using byte_list = std::vector<uint8_t>;

// The hand-sign blocks with their CRCs, worked out with another implementation.
inline const byte_list setmac_sign = {0x15, 0x18, 0x03, 0x10, 0xBD, 0x3D, 0x0E, 0x81};
inline const byte_list setsn_sign = {0x10, 0x03, 0x18, 0x15, 0xF3, 0xB4, 0x6D, 0x0B};

/** The payload 31 32 33 34 35 36 37 38 39 and its CRC, the published check value. */
inline const byte_list digits_value = bytes("123456789") + byte_list{0x03, 0x76, 0xE6, 0xE7};
inline const byte_list digits_length = {0x00, 0x00, 0x00, 0x0D};

} // namespace support
