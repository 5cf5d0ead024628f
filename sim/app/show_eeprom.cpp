#include "sim/app/show_eeprom.h"

#include "sim/app/show_text.h"
#include "sim/base/operation.h"
#include "sim/formats/card_type.h"
#include "sim/formats/tlv_info.h"

#include <algorithm>
#include <iomanip>
#include <string>
#include <string_view>

namespace sim {
namespace {

enum class value_form { bytes, text, number };

struct known_code {
    uint8_t code;
    std::string_view name; // as the published format has it
    value_form form;
};

constexpr known_code known_codes[] = {
    {0x21, "Product Name", value_form::text},     {0x22, "Part Number", value_form::text},
    {0x23, "Serial Number", value_form::text},    {0x24, "Base MAC Address", value_form::bytes},
    {0x25, "Manufacture Date", value_form::text}, {0x26, "Device Version", value_form::number},
    {0x27, "Label Revision", value_form::text},   {0x28, "Platform Name", value_form::text},
    {0x29, "ONIE Version", value_form::text},     {0x2A, "MAC Addresses", value_form::number},
    {0x2B, "Manufacturer", value_form::text},     {0x2C, "Country Code", value_form::text},
    {0x2D, "Vendor Name", value_form::text},      {0x2E, "Diag Version", value_form::text},
    {0x2F, "Service Tag", value_form::text},      {0xFD, "Vendor Extension", value_form::bytes},
};

known_code look_up(uint8_t code)
{
    const auto *found = std::ranges::find(known_codes, code, &known_code::code);
    return found != std::end(known_codes) ? *found
                                          : known_code{code, "(unnamed)", value_form::bytes};
}

std::string bytes_text(const std::vector<uint8_t> &bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        text.append(text.empty() ? "" : " ").append(digits(byte, 2));
    }
    return text;
}

std::string value_text(const std::vector<uint8_t> &value, value_form form)
{
    const bool is_number = form == value_form::number && !value.empty() && value.size() <= 4;
    if (is_number) {
        uint32_t number = 0;
        for (const uint8_t byte : value) {
            number = number << 8 | byte;
        }
        return std::to_string(number);
    }
    return form == value_form::text ? printable({value.begin(), value.end()}) : bytes_text(value);
}

/** The maker's own values are texts as a rule; what is none is shown as bytes. */
value_form likely_form(const std::vector<uint8_t> &value)
{
    const bool is_text = !value.empty() && std::ranges::all_of(value, [](uint8_t byte) {
        return byte >= 0x20 && byte < 0x7F;
    });
    return is_text ? value_form::text : value_form::bytes;
}

void show_record(const tlv_record &one, std::string_view name, value_form form, std::ostream &out)
{
    out << "0x" << digits(one.code, 2) << " " << std::right << std::setw(3) << one.value.size()
        << " ";
    if (!name.empty()) {
        out << std::left << std::setw(17) << name;
    }
    out << " " << value_text(one.value, form) << "\n";
}

void show_extension(const tlv_record &one, std::ostream &out)
{
    const vendor_extension extension = decode_vendor_extension(one.value);
    if (!extension.enterprise) {
        out << "    no room for an enterprise number\n";
        return;
    }
    out << "    enterprise number " << *extension.enterprise << "\n";
    for (const tlv_record &inner : extension.records) {
        out << "    ";
        show_record(inner, "", likely_form(inner.value), out);
    }
    if (!extension.whole) {
        out << "    the rest is no whole record\n";
    }
}

} // namespace

void show_tlv_info(std::span<const uint8_t> image, std::ostream &out)
{
    const tlv_info info = decode_tlv_info(image);
    out << "  TlvInfo image, " << (info.problems.empty() ? "valid" : "invalid") << "\n";
    for (const std::string &problem : info.problems) {
        out << "  ! " << problem << "\n";
    }
    for (const tlv_record &one : info.records) {
        const known_code code = look_up(one.code);
        out << "  ";
        show_record(one, code.name, code.form, out);
        if (one.code == tlv_vendor_extension) {
            show_extension(one, out);
        }
    }
    if (info.stored_crc) {
        out << "  0x" << digits(tlv_crc, 2) << "   4 CRC-32            0x"
            << digits(*info.stored_crc, 8) << "\n";
    }
}

void show_card_type(std::span<const uint8_t> content, std::ostream &out)
{
    const card_record record = decode_card_type(content);
    if (record.type) {
        out << "  Card type " << *record.type << " (" << record.text << ")\n";
    } else {
        out << "  Card type unknown: " << record.text << "\n";
    }
}

} // namespace sim
