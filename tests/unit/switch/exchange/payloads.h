#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "unit/switch/support.h"

namespace support {

/** The four bytes of a number, most significant first. */
inline std::vector<uint8_t> be32(size_t number)
{
    return {static_cast<uint8_t>(number >> 24), static_cast<uint8_t>(number >> 16),
            static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
}

/** A node of a payload: name and NUL, type, length, value. */
inline std::vector<uint8_t> node(std::string_view name, uint8_t type,
                                 const std::vector<uint8_t> &value)
{
    return bytes(name) + std::vector<uint8_t>{0, type} + be32(value.size()) + value;
}

/** A part of a payload: flag, length of the whole part, content. */
inline std::vector<uint8_t> part(uint8_t flag, const std::vector<uint8_t> &content)
{
    return std::vector<uint8_t>{flag} + be32(content.size() + 5) + content;
}

} // namespace support
