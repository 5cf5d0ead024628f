#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace e2e {

// Bytes of lines and memories are kept in std::string, which may hold any byte: texts and binary
// parts of one exchange then join without ceremony, and compare as one.

/** The bytes with these values. */
inline std::string bytes(std::initializer_list<int> values)
{
    std::string all;
    for (const int value : values) {
        all += static_cast<char>(value);
    }
    return all;
}

/** `count` times the same byte. */
inline std::string repeated(std::size_t count, int value)
{
    return std::string(count, static_cast<char>(value));
}

/** As a reader wants to see them: printable characters, and "\0d" for everything else. */
std::string readable(std::string_view all);

/**
 * The image of product information in flash: 8192 bytes, that is the checksum word, least
 * significant byte first, the records with a NUL after each, and zeros.
 */
std::string product_image(uint32_t checksum, std::initializer_list<std::string_view> records);

} // namespace e2e
