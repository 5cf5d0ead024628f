#include "sim/formats/tlv_info.h"

#include "sim/base/big_endian.h"
#include "sim/base/operation.h"
#include "sim/base/sizes.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace sim {
namespace {

constexpr std::array<uint8_t, 8> identifier = {'T', 'l', 'v', 'I', 'n', 'f', 'o', 0};
constexpr uint8_t known_version = 1;
constexpr std::size_t version_offset = identifier.size();
constexpr std::size_t length_offset = version_offset + 1;
constexpr std::size_t header_size = length_offset + 2;
constexpr std::size_t record_head = 2; // code and length
constexpr std::size_t longest_value = 255;
constexpr std::size_t crc_size = 4;
constexpr std::size_t enterprise_size = 4;
static_assert(header_size + tlv_info_room == eeprom_size);

/** CRC-32 as in IEEE 802.3: reflected, all ones before and after. */
uint32_t crc32_of(std::span<const uint8_t> bytes)
{
    constexpr uint32_t polynomial = 0xEDB88320;
    uint32_t crc = 0xFFFFFFFF;
    for (const uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? polynomial : 0);
        }
    }
    return ~crc;
}

void append_big_endian(std::vector<uint8_t> &bytes, uint32_t number, unsigned size)
{
    for (unsigned left = size; left > 0; --left) {
        bytes.push_back(static_cast<uint8_t>(number >> (8 * (left - 1))));
    }
}

/** Takes the record at an offset and moves on behind it; nothing: it does not fit. */
std::optional<tlv_record> take_record(std::span<const uint8_t> bytes, std::size_t &offset)
{
    if (bytes.size() - offset < record_head) {
        return std::nullopt;
    }
    const std::size_t length = bytes[offset + 1];
    const auto rest = bytes.subspan(offset + record_head);
    if (rest.size() < length) {
        return std::nullopt;
    }
    const auto value = rest.first(length);
    tlv_record one = {bytes[offset], {value.begin(), value.end()}};
    offset += record_head + length;
    return one;
}

bool is_record(uint8_t code)
{
    return code != 0x00 && code != 0xFF;
}

std::string at(std::size_t offset)
{
    return "at offset " + std::to_string(offset) + " ";
}

/** The CRC record, which must be the last. */
void check_crc_record(std::span<const uint8_t> image, const tlv_record &crc, std::size_t offset,
                      std::size_t end, tlv_info &info)
{
    const std::size_t behind = offset + record_head + crc.value.size();
    if (crc.value.size() != crc_size) {
        info.problems.push_back(at(offset) + "the CRC record has " +
                                std::to_string(crc.value.size()) + " bytes in the place of 4");
        return;
    }
    info.stored_crc = big_endian(crc.value);
    info.crc = crc32_of(image.first(offset + record_head));
    if (info.stored_crc != info.crc) {
        info.problems.push_back("the CRC-32 is " + hex(*info.stored_crc) + " in the place of " +
                                hex(info.crc));
    }
    if (behind != end) {
        info.problems.push_back(at(offset) + "the CRC record is not the last: " +
                                std::to_string(end - behind) + " bytes follow");
    }
}

/** The records from the header up to the CRC record, or to where they cannot be read. */
void decode_records(std::span<const uint8_t> image, tlv_info &info)
{
    const std::size_t end = std::min(header_size + info.length, image.size());
    std::size_t offset = header_size;
    while (offset < end) {
        const std::size_t start = offset;
        if (!is_record(image[start])) {
            info.problems.push_back(at(start) + "there is " + hex(image[start]) +
                                    ", which begins no record");
            return;
        }
        auto one = take_record(image.first(end), offset);
        if (!one) {
            info.problems.push_back(at(start) + "record " + hex(image[start]) +
                                    " runs past the end of the records");
            return;
        }
        if (one->code == tlv_crc) {
            check_crc_record(image, *one, start, end, info);
            return;
        }
        info.records.push_back(std::move(*one));
    }
    info.problems.emplace_back("there is no CRC record");
}

} // namespace

std::optional<std::string> find_mistake(const std::vector<tlv_record> &records)
{
    std::size_t size = record_head + crc_size;
    for (const tlv_record &one : records) {
        if (!is_record(one.code)) {
            return "code " + hex(one.code) + " begins no record";
        }
        if (one.code == tlv_crc) {
            return "the CRC record, code 0xfe, is added by itself";
        }
        if (one.value.size() > longest_value) {
            return "a record holds at most 255 bytes";
        }
        size += record_head + one.value.size();
    }
    if (size > tlv_info_room) {
        return "the records take " + std::to_string(size) +
               " bytes with the CRC record, but there " + "is room for " +
               std::to_string(tlv_info_room);
    }
    return std::nullopt;
}

std::vector<uint8_t> encode_tlv_info(const std::vector<tlv_record> &records)
{
    if (const auto wrong = find_mistake(records)) {
        throw std::invalid_argument(*wrong);
    }
    std::vector<uint8_t> area;
    for (const tlv_record &one : records) {
        area.push_back(one.code);
        area.push_back(static_cast<uint8_t>(one.value.size()));
        area.insert(area.end(), one.value.begin(), one.value.end());
    }
    area.push_back(tlv_crc);
    area.push_back(crc_size);
    std::vector<uint8_t> image(identifier.begin(), identifier.end());
    image.push_back(known_version);
    append_big_endian(image, static_cast<uint32_t>(area.size() + crc_size), 2);
    image.insert(image.end(), area.begin(), area.end());
    append_big_endian(image, crc32_of(image), crc_size);
    return image;
}

tlv_info decode_tlv_info(std::span<const uint8_t> image)
{
    tlv_info info;
    if (image.size() < header_size ||
        !std::ranges::equal(image.first(identifier.size()), identifier)) {
        info.problems.emplace_back("it does not begin with \"TlvInfo\" and a NUL");
        return info;
    }
    info.version = image[version_offset];
    info.length = big_endian(image.subspan(length_offset, 2));
    if (info.version != known_version) {
        info.problems.push_back("the version is " + std::to_string(info.version) +
                                " in the place of 1");
    }
    if (info.length > tlv_info_room) {
        info.problems.push_back("the length is " + std::to_string(info.length) +
                                ", but there is room for " + std::to_string(tlv_info_room));
    }
    decode_records(image, info);
    return info;
}

vendor_extension decode_vendor_extension(std::span<const uint8_t> value)
{
    vendor_extension extension;
    if (value.size() < enterprise_size) {
        return extension;
    }
    extension.enterprise = big_endian(value.first(enterprise_size));
    std::size_t offset = enterprise_size;
    while (offset < value.size()) {
        auto one = take_record(value, offset);
        if (!one) {
            return extension;
        }
        extension.records.push_back(std::move(*one));
    }
    extension.whole = true;
    return extension;
}

} // namespace sim
