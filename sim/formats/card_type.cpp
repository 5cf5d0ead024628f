#include "sim/formats/card_type.h"

#include "sim/base/big_endian.h"
#include "sim/base/operation.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace sim {
namespace {

constexpr uint8_t flag = 0x7E;
constexpr uint8_t in_tlv_area = 0xF1; // in the place of the type
constexpr std::size_t type_offset = 3;
constexpr uint8_t card_type_entry = 6;
constexpr std::size_t entry_head = 2; // type and length
constexpr std::size_t shortest_area = 3;
constexpr std::size_t longest_area = 244;
constexpr std::size_t second_summand_offset = 7; // of the old form of format 2

// The old form of format 1: two type bytes that stand for other types, the first by a further byte.
constexpr uint8_t old_family = 0x9C;
constexpr uint8_t old_single = 0x9E;
constexpr uint32_t old_single_type = 42;
constexpr std::size_t family_offset = 64;
constexpr std::pair<uint8_t, uint32_t> family[] = {{0x11, 14}, {0x01, 15}, {0x00, 41}};
constexpr uint32_t rest_of_family = 41;

using record = std::vector<uint8_t>;

uint16_t sum_of(std::span<const uint8_t> bytes)
{
    return static_cast<uint16_t>(std::accumulate(bytes.begin(), bytes.end(), 0U));
}

void append_entry(record &bytes, uint32_t type)
{
    bytes.insert(bytes.end(), {card_type_entry, 4, static_cast<uint8_t>(type >> 24),
                               static_cast<uint8_t>(type >> 16), static_cast<uint8_t>(type >> 8),
                               static_cast<uint8_t>(type)});
}

record with_checksum(record bytes)
{
    const uint16_t sum = sum_of(bytes);
    bytes.push_back(static_cast<uint8_t>(sum >> 8));
    bytes.push_back(static_cast<uint8_t>(sum));
    return bytes;
}

record encode_tlv(uint32_t type)
{
    record bytes = {1, flag, 0, in_tlv_area, 0, 6};
    append_entry(bytes, type);
    return with_checksum(std::move(bytes));
}

std::optional<record> encode_direct(uint32_t type)
{
    if (type > 0xFF || type == in_tlv_area) {
        return std::nullopt;
    }
    // The area must be there and hold something; this is an entry that means nothing.
    return with_checksum({1, flag, 0, static_cast<uint8_t>(type), 0, 3, 1, 1, 0});
}

record encode_format2(uint32_t type)
{
    record bytes = {2, flag, 0, in_tlv_area, 0, 0, 0, 0, 0, 6};
    append_entry(bytes, type);
    return bytes;
}

std::optional<record> encode_legacy(uint32_t type)
{
    if (type == old_single_type) {
        return record{1, 0, 0, old_single};
    }
    for (const auto &[member, stands_for] : family) {
        if (type == stands_for) {
            record bytes(family_offset + 1);
            bytes[0] = 1;
            bytes[type_offset] = old_family;
            bytes[family_offset] = member;
            return bytes;
        }
    }
    if (type > 0xFF || type == old_family || type == old_single) {
        return std::nullopt;
    }
    return record{1, 0, 0, static_cast<uint8_t>(type)};
}

std::optional<record> encode_legacy2(uint32_t type)
{
    if (type > 2 * 0xFF) {
        return std::nullopt;
    }
    // Both bytes carry a part, so that a reader who takes one of them is found out.
    const auto half = static_cast<uint8_t>(type / 2);
    return record{2, 0, 0, static_cast<uint8_t>(type - half), 0, 0, 0, half};
}

/** The card type among the entries of an area, or nothing. */
std::optional<uint32_t> find_entry(std::span<const uint8_t> area)
{
    while (area.size() >= entry_head) {
        const std::size_t length = area[1];
        if (area[0] == card_type_entry && length == 4 && area.size() >= entry_head + length) {
            return big_endian(area.subspan(entry_head, length));
        }
        area = area.subspan(std::min(entry_head + length, area.size()));
    }
    return std::nullopt;
}

card_record decode_area(std::span<const uint8_t> area, const std::string &form)
{
    const auto type = find_entry(area);
    if (!type) {
        return {.text = form + ", no entry of type 6 and length 4 in the TLV area"};
    }
    return {type, form + ", in the TLV area"};
}

card_record decode_format1(std::span<const uint8_t> content)
{
    constexpr std::size_t head = 6;
    const std::size_t length = big_endian(content.subspan(4, 2));
    if (length < shortest_area || length > longest_area) {
        return {.text = "format 1, a TLV area of " + std::to_string(length) +
                        " bytes in the place of 3 to 244"};
    }
    const auto covered = content.first(head + length);
    const uint32_t stored = big_endian(content.subspan(covered.size(), 2));
    if (stored != sum_of(covered)) {
        return {.text = "format 1, the checksum is " + hex(stored) + " in the place of " +
                        hex(sum_of(covered))};
    }
    if (content[type_offset] != in_tlv_area) {
        return {content[type_offset], "format 1, in the type byte"};
    }
    return decode_area(covered.subspan(head), "format 1");
}

card_record decode_format2(std::span<const uint8_t> content)
{
    constexpr std::size_t head = 10;
    if (content[type_offset] != in_tlv_area) {
        return {content[type_offset], "format 2, in the type byte"};
    }
    const std::size_t length = big_endian(content.subspan(8, 2));
    const auto rest = content.subspan(head);
    return decode_area(rest.first(std::min(length, rest.size())), "format 2");
}

uint32_t old_type(std::span<const uint8_t> content)
{
    const uint8_t code = content[type_offset];
    if (code == old_single) {
        return old_single_type;
    }
    if (code != old_family) {
        return code;
    }
    for (const auto &[member, stands_for] : family) {
        if (content[family_offset] == member) {
            return stands_for;
        }
    }
    return rest_of_family;
}

} // namespace

std::optional<card_form> card_form_named(std::string_view name)
{
    using enum card_form;
    constexpr std::pair<std::string_view, card_form> forms[] = {{"tlv", tlv},
                                                                {"direct", direct},
                                                                {"format2", format2},
                                                                {"legacy", legacy},
                                                                {"legacy2", legacy2}};
    for (const auto &[text, form] : forms) {
        if (name == text) {
            return form;
        }
    }
    return std::nullopt;
}

std::optional<std::vector<uint8_t>> encode_card_type(card_form form, uint32_t type)
{
    switch (form) {
    case card_form::tlv:
        return encode_tlv(type);
    case card_form::direct:
        return encode_direct(type);
    case card_form::format2:
        return encode_format2(type);
    case card_form::legacy:
        return encode_legacy(type);
    case card_form::legacy2:
        break;
    }
    return encode_legacy2(type);
}

card_record decode_card_type(std::span<const uint8_t> content)
{
    const uint8_t format = content[0];
    const bool flagged = content[1] == flag;
    if (format != 1 && format != 2) {
        return {.text = "no record: it begins with " + hex(format) + " in the place of 0x1 or 0x2"};
    }
    if (flagged) {
        return format == 1 ? decode_format1(content) : decode_format2(content);
    }
    const uint32_t type = format == 1
                              ? old_type(content)
                              : uint32_t{content[type_offset]} + content[second_summand_offset];
    return {type, "format " + std::to_string(format) + ", old form"};
}

} // namespace sim
