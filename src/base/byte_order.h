#pragma once

#include <cstdint>

// Numbers of the line and of EEPROMs stand most significant byte first.

/** The 16-bit number in the two bytes at `bytes`. */
constexpr uint16_t load_be16(const uint8_t *bytes)
{
    return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

/** The 32-bit number in the four bytes at `bytes`. */
constexpr uint32_t load_be32(const uint8_t *bytes)
{
    return static_cast<uint32_t>(load_be16(bytes)) << 16 | load_be16(bytes + 2);
}
