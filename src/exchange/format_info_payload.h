#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/byte_reader.h"

// What the payload handlers share.

/** The result for a payload whose parts or nodes do not fit together. */
constexpr int32_t payload_malformed = -2;

/** A flag byte and the length of the whole part. */
constexpr uint32_t part_header_size = 5;

/** The longest serial number that is kept. */
constexpr size_t serial_length = 63;

/** A node: a property of the store or a record of the EEPROM, as the PC sends it. */
struct payload_node {
    std::string_view name;
    uint8_t type;
    std::span<const uint8_t> value;
};

/** Takes the node at the front of `in`; false when it is cut off, as is `in` then. */
bool take_node(byte_reader &in, payload_node *node);

/** The bytes of a payload; a negative length is an empty one. */
std::span<const uint8_t> payload_bytes(const uint8_t *data, int32_t len);

/** The text of a serial number as it is kept: of its first bytes, up to a NUL. */
std::string_view serial_text(std::span<const uint8_t> payload);

/** "00:1A:2B:3C:4D:5E" of the first six bytes; bytes that are missing are zero. */
struct mac_text {
    char text[18];
};
mac_text format_mac(std::span<const uint8_t> value);

/** Sends the serial number that is stored to the PC, filled up with zeros to the `count` it sent.
 */
void echo_serial(std::string_view serial, size_t count);
