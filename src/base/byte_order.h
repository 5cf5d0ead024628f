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

/** Puts a 16-bit number into the two bytes at `bytes`. */
constexpr void store_be16(uint8_t *bytes, uint16_t number)
{
    bytes[0] = static_cast<uint8_t>(number >> 8);
    bytes[1] = static_cast<uint8_t>(number);
}

/** Puts a 32-bit number into the four bytes at `bytes`. */
constexpr void store_be32(uint8_t *bytes, uint32_t number)
{
    store_be16(bytes, static_cast<uint16_t>(number >> 16));
    store_be16(bytes + 2, static_cast<uint16_t>(number));
}
