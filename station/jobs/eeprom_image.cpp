#include "station/jobs/eeprom_image.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>

namespace station {

namespace {

constexpr std::size_t record_header_size = 2;
constexpr std::size_t crc_record_size = 6;

struct default_record {
    std::uint8_t code;
    std::string_view value;
};

constexpr default_record default_records[] = {
    {0x2B, "talvex"},
    {0x2C, "cn"},
    {0x2D, "talvex"},
    {0x2E, "0"},
    {0x2F, "0"},
    {0x22, "0000"},
    {0x29, "0000000"},
    {record_code::device_version, "\x01"},
    {record_code::label_revision, "00"},
    {record_code::platform_name, "x86-64"},
};

std::string listed_text(const bytes &value)
{
    return {value.begin(), std::find(value.begin(), value.end(), 0)};
}

std::string mac_text(const bytes &value)
{
    return to_hex(value, ":");
}

/** A number in as many digits as a MAC address has. */
std::string count_text(const bytes &value)
{
    return "00000000" + to_hex(value, "");
}

/** A record that is listed. */
struct listed_record {
    std::uint8_t code;
    std::string_view name;
    std::string (*text)(const bytes &value);
};

constexpr listed_record listed_records[] = {
    {record_code::serial_number, "SerialNO", listed_text},
    {record_code::mac_address, "ethaddr", mac_text},
    {record_code::mac_count, "ethaddr_scale", count_text},
    {record_code::product_model, "ProductModel", listed_text},
    {record_code::setmac_time, "setmac_time", listed_text},
};

constexpr std::array<std::string_view, 11> extension_names = {
    "ProductID", "HardwareVersion", "MainFile",  "fdtname",    "serial0", "serial1",
    "serial2",   "serial3",         "projectid", "setmac_ver", "e2type",
};

/** The switch takes two and four bytes with the most significant first, but one and three not. */
std::string board_type_text(bytes value)
{
    if (value.size() != 2 && value.size() != 4) {
        value.resize(4);
        std::reverse(value.begin(), value.end());
    }
    std::uint32_t number = 0;
    for (const auto byte : value) {
        number = number << 8 | byte;
    }
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%x", number);
    return text.data();
}

std::string extension_line(std::uint8_t code, const bytes &value)
{
    const auto text =
        code == extension_code::board_type ? board_type_text(value) : listed_text(value);
    return std::string(extension_names[code - extension_code::first]) + "=" + text;
}

/** Visits the values of a vendor extension; false where they do not fill it exactly. */
bool walk_extension(const bytes &value,
                    const std::function<void(std::uint8_t code, const bytes &value)> &visit)
{
    auto rest = std::span(value);
    if (rest.size() < enterprise_size) {
        return false;
    }
    rest = rest.subspan(enterprise_size);
    while (rest.size() >= record_header_size && rest.size() - record_header_size >= rest[1]) {
        const auto content = rest.subspan(record_header_size, rest[1]);
        visit(rest[0], bytes(content.begin(), content.end()));
        rest = rest.subspan(record_header_size + rest[1]);
    }
    return rest.empty();
}

} // namespace

eeprom_image::eeprom_image()
{
    for (const auto &[code, value] : default_records) {
        records_.emplace(code, bytes(value.begin(), value.end()));
    }
}

std::size_t eeprom_image::used() const
{
    std::size_t size = crc_record_size;
    for (const auto &[code, value] : records_) {
        size += record_header_size + value.size();
    }
    return size;
}

std::optional<shortage> eeprom_image::put(std::uint8_t code, bytes value)
{
    erase(code);
    const auto left = eeprom_room - used();
    const auto needed = record_header_size + value.size();
    if (needed > left) {
        return shortage{needed, left};
    }
    records_.emplace(code, std::move(value));
    return std::nullopt;
}

std::optional<shortage> eeprom_image::extend(std::uint8_t code, const bytes &value)
{
    const auto *before = find(record_code::vendor_extension);
    auto extension = before ? *before : bytes(enterprise_size);
    extension.push_back(code);
    extension.push_back(static_cast<std::uint8_t>(value.size()));
    extension.insert(extension.end(), value.begin(), value.end());
    return put(record_code::vendor_extension, std::move(extension));
}

const bytes *eeprom_image::find(std::uint8_t code) const
{
    const auto found = records_.find(code);
    return found == records_.end() ? nullptr : &found->second;
}

std::vector<std::string> eeprom_image::listing() const
{
    std::vector<std::string> lines;
    const auto *extension = find(record_code::vendor_extension);
    if (extension == nullptr) {
        return lines;
    }
    for (const auto &each : listed_records) {
        const auto *value = find(each.code);
        if (value == nullptr) {
            break;
        }
        lines.push_back(std::string(each.name) + "=" + each.text(*value));
    }
    walk_extension(*extension, [&](std::uint8_t code, const bytes &value) {
        if (code >= extension_code::first &&
            code < extension_code::first + extension_names.size()) {
            lines.push_back(extension_line(code, value));
        }
    });
    return lines;
}

std::string eeprom_image::not_listed() const
{
    if (find(record_code::vendor_extension) == nullptr) {
        return "the switch lists nothing of it: it has no value of the vendor extension";
    }
    const auto *missing =
        std::find_if(std::begin(listed_records), std::end(listed_records),
                     [this](const listed_record &each) { return find(each.code) == nullptr; });
    std::string lost;
    for (const auto *each = missing; each != std::end(listed_records); ++each) {
        if (find(each->code) != nullptr) {
            lost.append(lost.empty() ? "" : ", ").append(each->name);
        }
    }
    if (lost.empty()) {
        return "";
    }
    return "without " + std::string(missing->name) + " the switch does not list " + lost;
}

bool extension_is_whole(const bytes &value)
{
    return walk_extension(value, [](std::uint8_t, const bytes &) {});
}

} // namespace station
