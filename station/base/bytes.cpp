#include "station/base/bytes.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace station {

namespace {

constexpr std::array<std::uint32_t, 256> make_crc_table()
{
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t index = 0; index < table.size(); ++index) {
        std::uint32_t value = index << 24;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value << 1) ^ ((value & 0x80000000U) != 0 ? 0x04C11DB7U : 0U);
        }
        table[index] = value;
    }
    return table;
}

constexpr auto crc_table = make_crc_table();

constexpr std::string_view hex_digits = "0123456789ABCDEF";

void put_hex(std::string &out, std::uint8_t byte)
{
    out += hex_digits[byte >> 4];
    out += hex_digits[byte & 0x0F];
}

std::optional<std::uint8_t> digit(char character)
{
    if (character >= '0' && character <= '9') {
        return static_cast<std::uint8_t>(character - '0');
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<std::uint8_t>(character - 'A' + 10);
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<std::uint8_t>(character - 'a' + 10);
    }
    return std::nullopt;
}

} // namespace

void put_be32(bytes &out, std::uint32_t number)
{
    for (int shift = 24; shift >= 0; shift -= 8) {
        out.push_back(static_cast<std::uint8_t>(number >> shift));
    }
}

void put_text(bytes &out, std::string_view text)
{
    out.insert(out.end(), text.begin(), text.end());
}

void put_field(bytes &out, std::string_view text, std::size_t size)
{
    put_text(out, text.substr(0, size));
    out.resize(out.size() + size - std::min(size, text.size()));
}

std::string field_text(std::span<const std::uint8_t> field)
{
    return {field.begin(), std::find(field.begin(), field.end(), 0)};
}

std::uint8_t sum_of(std::span<const std::uint8_t> data)
{
    return std::accumulate(
        data.begin(), data.end(), std::uint8_t{0},
        [](std::uint8_t sum, std::uint8_t byte) { return static_cast<std::uint8_t>(sum + byte); });
}

std::uint32_t crc32_mpeg2(std::span<const std::uint8_t> data)
{
    std::uint32_t crc = 0xFFFFFFFFU;
    for (const std::uint8_t byte : data) {
        crc = crc_table[(crc >> 24) ^ byte] ^ (crc << 8);
    }
    return crc;
}

bytes with_crc(std::span<const std::uint8_t> data)
{
    bytes out(data.begin(), data.end());
    put_be32(out, crc32_mpeg2(data));
    return out;
}

std::string to_hex(std::span<const std::uint8_t> data, std::string_view separator)
{
    std::string out;
    for (const std::uint8_t byte : data) {
        if (!out.empty()) {
            out += separator;
        }
        put_hex(out, byte);
    }
    return out;
}

std::string hex_number(std::uint8_t byte)
{
    return "0x" + to_hex({&byte, 1});
}

std::optional<bytes> bytes_of_hex(std::string_view text)
{
    bytes out;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == ' ' || text[at] == ':') {
            ++at;
            continue;
        }
        const auto high = digit(text[at]);
        const auto low = at + 1 < text.size() ? digit(text[at + 1]) : std::nullopt;
        if (!high || !low) {
            return std::nullopt;
        }
        out.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
        at += 2;
    }
    return out;
}

std::string printable(std::string_view text)
{
    std::string out;
    for (const char character : text) {
        if (character >= ' ' && character <= '~') {
            out += character;
        } else {
            out += "\\x";
            put_hex(out, static_cast<std::uint8_t>(character));
        }
    }
    return out;
}

std::string printable(std::span<const std::uint8_t> data)
{
    return printable(std::string(data.begin(), data.end()));
}

} // namespace station
