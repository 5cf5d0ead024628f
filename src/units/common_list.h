#pragma once

#include <array>
#include <cstdint>
#include <span>

// What the unit exchanges with the PC have in common: a list of units comes as a checksummed
// message and goes back with the outcome of each.

/** How a list is announced. */
struct unit_list_kind {
    uint8_t start;      // the PC's start byte, and the switch's request to send again
    bool counted;       // whether the count of elements follows the length
    uint8_t max_length; // a longer payload is refused
};

/** A list as received; the bytes behind its length are zero. */
struct unit_list {
    std::array<uint8_t, 256> bytes;
    uint8_t length;
    uint8_t count; // where the kind is counted

    std::span<const uint8_t> payload() const { return std::span(bytes).first(length); }
};

/** Replies of the unit exchanges. */
enum unit_reply : uint8_t {
    unit_acknowledge = 0x06,
    unit_request = 0x20,
    unit_bad_length = 0x28, // too long, or negative
    unit_bad_mark = 0x29,   // fans, PoE: the list lacks its mark
    unit_too_many = 0x29,   // supplies, devices: the same byte
    unit_bad_power_element = 0x2A,
    unit_bad_fan_element = 0x2B,
};

constexpr uint8_t unit_header = 0x01; // begins a message in either direction

/** What receiving a list leads to. */
enum class unit_list_outcome : uint8_t {
    received,
    too_long,     // the PC announced more than the kind takes, which it has been told
    console_gone, // no PC can send one any more
};

/**
 * Receives a list, again and again until its checksum is right. The checksum goes on over all
 * attempts of a command: the PC adds up what it has sent in all of them.
 */
unit_list_outcome receive_unit_list(const unit_list_kind &kind, unit_list *list);

/**
 * Offers the answer of a command and, once the PC acknowledges that, sends it with the bytes of its
 * length in front and its checksum behind. False when the PC never acknowledged the offer.
 */
bool send_unit_list(std::span<const uint8_t> length, std::span<const uint8_t> bytes);

// Lists of fans and of power supplies are elements of type, length and 23 bytes behind three bytes.

constexpr size_t unit_list_header_size = 3;
constexpr size_t unit_element_size = 25;
constexpr uint8_t unit_record_size = 23;

/** The record of element k; empty when it is missing or of another type or length. */
std::span<const uint8_t> unit_element(const unit_list &list, size_t k, uint8_t type);

/** Sends `count` records of that size back as a list, as send_unit_list. */
bool send_unit_records(uint8_t type, const uint8_t *records, size_t count);
