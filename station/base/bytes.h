#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace station {

using bytes = std::vector<std::uint8_t>;

/** Appends a number of 32 bits, most significant byte first. */
void put_be32(bytes &out, std::uint32_t number);

/** Appends the characters, without a terminator. */
void put_text(bytes &out, std::string_view text);

/** Appends a text in a field of that size, filled up with NULs; what does not fit is cut off. */
void put_field(bytes &out, std::string_view text, std::size_t size);

/** The text in such a field. */
std::string field_text(std::span<const std::uint8_t> field);

/** The sum of the bytes, modulo 256. */
std::uint8_t sum_of(std::span<const std::uint8_t> data);

/** CRC-32/MPEG-2: polynomial 0x04C11DB7, from 0xFFFFFFFF, not reflected, not inverted. */
std::uint32_t crc32_mpeg2(std::span<const std::uint8_t> data);

/** The bytes followed by their CRC, so that the CRC of the whole is 0. */
bytes with_crc(std::span<const std::uint8_t> data);

/** "00 1A 2B" */
std::string to_hex(std::span<const std::uint8_t> data, std::string_view separator = " ");

/** "0x1A" */
std::string hex_number(std::uint8_t byte);

/** The bytes of "00 1A 2B", "00:1A:2B" or "001A2B"; none where it is something else. */
std::optional<bytes> bytes_of_hex(std::string_view text);

/** Text of unknown origin, fit for a terminal: other than printable ASCII is shown as "\xNN". */
std::string printable(std::string_view text);
std::string printable(std::span<const std::uint8_t> data);

} // namespace station
