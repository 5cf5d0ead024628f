#include "station/jobs/eeprom_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <string>

#include "station/jobs/eeprom_image.h"

namespace station {

namespace {

using std::optional;

constexpr std::size_t largest_model = 18;
constexpr std::size_t largest_board_type = 4;
constexpr std::size_t hardware_version_head = 2; // a character and the point
constexpr int smallest_year = 1000;              // the switch keeps dates with four digits only

std::string text_of(const bytes &value)
{
    return {value.begin(), value.end()};
}

bytes bytes_of(std::string_view text)
{
    return {text.begin(), text.end()};
}

bool is_digit(char character)
{
    return character >= '0' && character <= '9';
}

bool is_alphanumeric(std::uint8_t byte)
{
    const auto lower = byte | 0x20;
    return is_digit(static_cast<char>(byte)) || (lower >= 'a' && lower <= 'z');
}

/** A whole text as a number; none where it is something else. */
optional<unsigned> number_in(std::string_view text, int base)
{
    unsigned number = 0;
    const auto *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && stop == end ? optional(number) : std::nullopt;
}

optional<bytes> any_text(const bytes &value)
{
    return value;
}

optional<bytes> model(const bytes &value)
{
    return value.size() <= largest_model ? optional(value) : std::nullopt;
}

optional<bytes> hardware_version(const bytes &value)
{
    const bool right =
        (value.size() == 3 || value.size() == 4) && value[1] == '.' && is_alphanumeric(value[0]) &&
        std::all_of(value.begin() + hardware_version_head, value.end(), is_alphanumeric);
    return right ? optional(value) : std::nullopt;
}

optional<bytes> mac_address(const bytes &value)
{
    const bool right = value.size() == 6 && (value[0] & 1) == 0 &&
                       std::any_of(value.begin(), value.end(), [](auto byte) { return byte != 0; });
    return right ? optional(value) : std::nullopt;
}

/** Whether a text has the digits and signs of a pattern, where "0" stands for any digit. */
bool has_form(std::string_view text, std::string_view pattern)
{
    return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(),
                      [](char character, char wanted) {
                          return wanted == '0' ? is_digit(character) : character == wanted;
                      });
}

optional<bytes> date(const bytes &value)
{
    const auto text = text_of(value);
    if (!has_form(text, "0000-00-00 00:00:00") && !has_form(text, "0000-00-00 00:00:00 ")) {
        return std::nullopt;
    }
    const auto part = [&](std::size_t at, std::size_t size) {
        return number_in(std::string_view(text).substr(at, size), 10).value_or(0);
    };
    const auto year = static_cast<int>(part(0, 4));
    const std::chrono::year_month_day day(std::chrono::year(year), std::chrono::month(part(5, 2)),
                                          std::chrono::day(part(8, 2)));
    if (!day.ok() || year < smallest_year || part(11, 2) > 23 || part(14, 2) > 59 ||
        part(17, 2) > 59) {
        return std::nullopt;
    }
    auto kept = bytes_of(text.substr(5, 2) + "/" + text.substr(8, 2) + "/" + text.substr(0, 4) +
                         text.substr(10, 9));
    kept.push_back(0);
    return kept;
}

/** The switch takes a leading zero for an octal number, which is hardly what is meant. */
optional<bytes> device_version(const bytes &value)
{
    const auto text = text_of(value);
    const bool hexadecimal = text.starts_with("0x");
    const bool octal = !hexadecimal && text.size() > 1 && text[0] == '0';
    const auto number =
        hexadecimal ? number_in(std::string_view(text).substr(2), 16) : number_in(text, 10);
    if (octal || !number || *number > 255) {
        return std::nullopt;
    }
    return bytes{static_cast<std::uint8_t>(*number)};
}

optional<bytes> mac_count(const bytes &value)
{
    const auto number = number_in(text_of(value), 16);
    if (!number || *number > 0xFFFF) {
        return std::nullopt;
    }
    return bytes{static_cast<std::uint8_t>(*number >> 8), static_cast<std::uint8_t>(*number)};
}

optional<bytes> board_type(const bytes &value)
{
    return !value.empty() && value.size() <= largest_board_type ? optional(value) : std::nullopt;
}

optional<bytes> whole_extension(const bytes &value)
{
    return extension_is_whole(value) ? optional(value) : std::nullopt;
}

optional<bytes> one_byte(const bytes &value)
{
    return value.size() == 1 ? optional(value) : std::nullopt;
}

optional<bytes> nothing(const bytes & /*value*/)
{
    return std::nullopt;
}

using enum destination;

constexpr std::string_view a_text = "a text, as in text = \"A1\"";

constexpr eeprom_value known[] = {
    {"ProductModel", record, record_code::product_model, false, model,
     "at most 18 bytes of text: the switch also makes the platform name of them"},
    {"Part Number", record, 0x22, false, any_text, a_text},
    {"Serial Number", record, record_code::serial_number, false, any_text, a_text},
    {"MacAddress", record, record_code::mac_address, true, mac_address,
     "the 6 bytes of a single station, as in hex = \"00 1A 2B 3C 4D 5E\""},
    {"setmac_time", record, record_code::setmac_time, false, date,
     "a date and time, as in text = \"2024-01-02 03:04:05\""},
    {"Device Version", record, record_code::device_version, false, device_version,
     "a number from 0 to 255, as in text = \"100\" or text = \"0x64\""},
    {"Label Revision", record, record_code::label_revision, false, any_text, a_text},
    {"Platform Name", record, record_code::platform_name, false, any_text, a_text},
    {"ONIE Version", record, 0x29, false, any_text, a_text},
    {"ethaddr_scale", record, record_code::mac_count, false, mac_count,
     "a hexadecimal number from 0 to ffff, as in text = \"80\""},
    {"Manufacturer", record, 0x2B, false, any_text, a_text},
    {"Country Code", record, 0x2C, false, any_text, a_text},
    {"Vendor Name", record, 0x2D, false, any_text, a_text},
    {"Diag Version", record, 0x2E, false, any_text, a_text},
    {"Service Tag", record, 0x2F, false, any_text, a_text},
    {"Vendor Extension", record, record_code::vendor_extension, true, whole_extension,
     "4 bytes of enterprise number, then values that fill it, each a code, a length and its bytes"},
    {"CRC-32", computed, 0xFE, false, nothing, "none: the switch computes it"},
    {"ProductID", extension, 0x40, false, any_text, a_text},
    {"HardwareVersion", extension, extension_code::hardware_version, false, hardware_version,
     "a letter or digit, a point and one or two more, as in text = \"1.02\""},
    {"MainFile", extension, 0x42, false, any_text, a_text},
    {"fdtname", extension, 0x43, false, any_text, a_text},
    {"serial0", extension, 0x44, false, any_text, a_text},
    {"serial1", extension, 0x45, false, any_text, a_text},
    {"serial2", extension, 0x46, false, any_text, a_text},
    {"serial3", extension, 0x47, false, any_text, a_text},
    {"projectid", extension, 0x48, false, any_text, a_text},
    {"setmac_ver", extension, 0x49, false, any_text, a_text},
    {"e2type", extension, extension_code::board_type, true, board_type,
     "1 to 4 bytes, as in hex = \"00 05\""},
    {"e2_write_en_reg", write_enable, 0, true, one_byte, "1 byte, as in hex = \"31\""},
};

} // namespace

std::span<const eeprom_value> eeprom_values()
{
    return known;
}

unsigned derived_device_version(const bytes &hardware_version)
{
    // The switch reads both sides of the point as one number, in the base that it seems to have.
    auto digits = text_of(hardware_version);
    digits.erase(1, 1);
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        digits.erase(0, 2);
        base = 16;
    } else if (digits.starts_with("0")) {
        base = 8;
    }
    unsigned number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    return number;
}

bytes derived_label_revision(const bytes &hardware_version)
{
    return {hardware_version.begin() + hardware_version_head, hardware_version.end()};
}

bytes derived_platform_name(const bytes &product_model)
{
    return bytes_of("x86-64-" + text_of(product_model) + "-v1");
}

} // namespace station
