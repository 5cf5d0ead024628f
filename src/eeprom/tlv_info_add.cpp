#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/byte_order.h"
#include "base/text.h"
#include "base/trace.h"
#include "eeprom/tlv_info.h"

namespace {

constexpr size_t mac_size = 6;
constexpr size_t mac_text_length = 17;
constexpr size_t value_buffer_size = 256;

/** One more than a record holds: a length that no image has room for. */
constexpr uint32_t too_long = tlv_max_value_length + 1;

// A date comes with one character behind it, and the record holds the 19 characters of the date
// with their NUL: both are 20.
constexpr size_t date_length = 20;

/** The value of a record being built. */
struct tlv_value {
    std::array<uint8_t, value_buffer_size> bytes;
    uint32_t length;
};

/**
 * Reads a number as strtoul does with an automatic base, and keeps its low 32 bits. The base is
 * told by hand, because newer C libraries also take "0b" for a prefix.
 */
uint32_t read_number(const char *text, char **end)
{
    const char *digits = text + strspn(text, " \t\n\v\f\r");
    digits += *digits == '+' || *digits == '-' ? 1 : 0;
    int base = 10;
    if (digits[0] == '0') {
        base = (digits[1] | 0x20) == 'x' ? 16 : 8;
    }
    return static_cast<uint32_t>(strtoul(text, end, base));
}

tlv_add_status put_string(tlv_value &value, const char *text)
{
    const size_t length = strnlen(text, too_long);
    value.length = static_cast<uint32_t>(length);
    memcpy(value.bytes.data(), text, std::min(length, tlv_max_value_length));
    SETMAC_TRACE_AS("tlvinfo_add_tlv", __LINE__, "new_tlv_len is:%d\r\n",
                    static_cast<int>(value.length));
    return tlv_added;
}

tlv_add_status put_raw(tlv_value &value, const char *bytes, int32_t count)
{
    value.length = static_cast<uint32_t>(std::clamp<int32_t>(count, 0, value_buffer_size));
    SETMAC_TRACE_AS("tlvinfo_add_tlv", __LINE__, "new_tlv_len is:%d\r\n",
                    static_cast<int>(value.length));
    memcpy(value.bytes.data(), bytes, value.length);
    return tlv_added;
}

tlv_add_status put_device_version(tlv_value &value, const char *text)
{
    const uint32_t version = read_number(text, nullptr);
    if (version > 255) {
        SETMAC_TRACE_AS("tlvinfo_add_tlv", __LINE__,
                        "ERROR: Device version must be 255 or less. Value supplied: %u\r\n",
                        version);
        return tlv_no_room;
    }
    value.bytes[0] = static_cast<uint8_t>(version);
    value.length = 1;
    return tlv_added;
}

tlv_add_status put_mac_size(tlv_value &value, const char *text)
{
    const auto size = static_cast<uint32_t>(strtoul(text, nullptr, 16));
    if (size > 65535) {
        SETMAC_TRACE_AS("tlvinfo_add_tlv", __LINE__,
                        "ERROR: MAC Size must be 65535 or less. Value supplied: %u\n", size);
        return tlv_refused;
    }
    store_be16(value.bytes.data(), static_cast<uint16_t>(size));
    value.length = 2;
    return tlv_added;
}

tlv_add_status put_mac_address(tlv_value &value, const char *text)
{
    if (macaddr_str_to_hex(value.bytes.data(), text) != 0) {
        return tlv_refused;
    }
    value.length = mac_size;
    return tlv_added;
}

/** Whether a date is one of "MM/DD/YYYY hh:mm:ss". */
bool date_is_regular(const char *text)
{
    for (size_t i = 0; text[i] != '\0'; ++i) {
        if (i == 2 || i == 5 || i == 10) {
            if (text[i] != (i == 10 ? ' ' : '/')) {
                SETMAC_TRACE_AS("set_date", __LINE__,
                                "\r\nERROR: Bad date format (MM/DD/YYYY hh:mm:ss): %s", text);
                return false;
            }
        } else if (i == 13 || i == 16 ? text[i] != ':' : !is_digit(text[i])) {
            SETMAC_TRACE_AS("set_date", __LINE__,
                            "\r\nERROR: Bad date format (MM/DD/YYYY hh:mm:ss): %s\n", text);
            return false;
        }
    }
    return true;
}

tlv_add_status set_date(tlv_value &value, const char *text)
{
    if (text == nullptr) {
        SETMAC_TRACE_AS("set_date", __LINE__, "\r\nERROR: NULL date string passed in.");
        return tlv_refused;
    }
    const size_t length = strlen(text);
    if (length != date_length) {
        SETMAC_TRACE_AS("set_date", __LINE__, "\r\nERROR: Date strlen() != %d -- %d",
                        static_cast<int>(date_length), static_cast<int>(length));
        SETMAC_TRACE_AS("set_date", __LINE__,
                        "\r\nERROR: Bad date format (MM/DD/YYYY hh:mm:ss): %s", text);
        return tlv_refused;
    }
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (sscanf(text, "%d-%d-%d %d:%d:%d", &year, &month, &day, &hour, &minute, &second) != 6) {
        SETMAC_TRACE_AS("set_date", __LINE__, "\r\nERROR: Time format wrong.");
        return tlv_refused;
    }
    std::array<char, 96> date{};
    snprintf(date.data(), date.size(), "%02d/%02d/%d %02d:%02d:%02d", month, day, year, hour,
             minute, second);
    SETMAC_TRACE_AS("set_date", __LINE__, "\r\nstr new is: %s", date.data());
    if (!date_is_regular(date.data())) {
        return tlv_refused;
    }
    memcpy(value.bytes.data(), date.data(), date_length);
    value.length = date_length;
    return tlv_added;
}

bool is_separator(char c)
{
    return c != '\0' && strchr("\t ,;", c) != nullptr;
}

/**
 * Takes one byte of a list at `text` into `value` and leaves `text` behind it. A list that ends in
 * separators counts one more byte: the one that the copied text left at that place of the value.
 * That is deliberate, and stays.
 */
bool take_byte(tlv_value &value, const char *&text, const char *list)
{
    while (is_separator(*text)) {
        ++text;
    }
    if (*text == '\0') {
        ++value.length;
        return true;
    }
    if (!is_digit(*text)) {
        SETMAC_TRACE_AS("set_bytes", __LINE__, "ERROR: Non-digit found in byte string: (%s)\n",
                        list);
        return false;
    }
    char *end = nullptr;
    const uint32_t number = read_number(text, &end);
    if (number > 255) {
        SETMAC_TRACE_AS("set_bytes", __LINE__,
                        "ERROR: The value specified is greater than 255: (%u) in string: %s\n",
                        number, list);
        return false;
    }
    value.bytes[value.length++] = static_cast<uint8_t>(number);
    text = end;
    return true;
}

tlv_add_status set_bytes(tlv_value &value, const char *list)
{
    memcpy(value.bytes.data(), list, strnlen(list, value.bytes.size()));
    const char *text = list;
    while (*text != '\0') {
        if (!take_byte(value, text, list)) {
            return tlv_refused;
        }
        if (value.length < tlv_max_value_length) {
            continue;
        }
        if (*text != '\0') {
            SETMAC_TRACE_AS("set_bytes", __LINE__,
                            "ERROR: Trying to assign too many bytes (max: %d) in string: %s\n",
                            static_cast<int>(tlv_max_value_length), list);
            return tlv_refused;
        }
        SETMAC_TRACE_AS("set_bytes", __LINE__,
                        "ERROR: There is not enough room in the EERPOM to save data.\n");
        return tlv_no_room;
    }
    return tlv_added;
}

tlv_add_status build_value(tlv_value &value, int32_t code, const char *text, int32_t count)
{
    if (is_text_tlv(code)) {
        return put_string(value, text);
    }
    switch (code) {
    case tlv_mac_address:
        return put_mac_address(value, text);
    case tlv_manufacture_date:
        return set_date(value, text);
    case tlv_device_version:
        return put_device_version(value, text);
    case tlv_mac_size:
        return put_mac_size(value, text);
    case tlv_vendor_extension:
        return put_raw(value, text, count);
    case tlv_crc:
        SETMAC_TRACE_AS("tlvinfo_add_tlv", __LINE__,
                        "WARNING: The CRC TLV is set automatically and cannot be set manually.\n");
        return tlv_refused;
    default:
        return set_bytes(value, text);
    }
}

/** Puts the record in the place of the CRC record, which then follows it again. */
void append_record(uint8_t *image, uint8_t code, const tlv_value &value)
{
    int32_t offset = 0;
    uint32_t total_length = tlv_total_length(image);
    if (tlvinfo_find_tlv(image, tlv_crc, &offset)) {
        total_length -= std::min(total_length, tlv_crc_record_size);
    } else {
        offset = static_cast<int32_t>(tlv_header_size + total_length);
    }
    uint8_t *record = image + offset;
    record[0] = code;
    record[1] = static_cast<uint8_t>(value.length);
    memcpy(record + tlv_record_header_size, value.bytes.data(), value.length);
    total_length += static_cast<uint32_t>(tlv_record_header_size) + value.length;
    tlv_set_total_length(image, total_length);
    update_crc(image);
}

int32_t bad_mac(const char *text)
{
    printf("ERROR: Bad MAC address format: %s\n", text);
    return -1;
}

/** Whether a text of the right length has its digits and colons where they belong. */
bool mac_text_is_regular(const char *text)
{
    for (int i = 0; i < static_cast<int>(mac_text_length); ++i) {
        if (i % 3 == 2) {
            if (text[i] != ':') {
                printf("ERROR: mac: p[%i] != :, found: `%c'\n", i, text[i]);
                return false;
            }
        } else if (!is_hex_digit(text[i])) {
            printf("ERROR: mac: p[%i] != hex digit, found: `%c'\n", i, text[i]);
            return false;
        }
    }
    return true;
}

} // namespace

uint8_t tlvinfo_add_tlv(uint8_t *image, int32_t code, const char *text, int32_t count)
{
    tlv_value value{};
    const tlv_add_status built = build_value(value, code, text, count);
    if (built != tlv_added) {
        return built;
    }
    // The total length counts the CRC record, so its 6 bytes stay in reserve.
    const uint32_t total_length = tlv_total_length(image);
    if (total_length + tlv_record_header_size + value.length > tlv_max_total_length) {
        SETMAC_TRACE("ERROR: There is not enough room in the EERPOM to save data.\n");
        return tlv_no_room;
    }
    append_record(image, static_cast<uint8_t>(code), value);
    return tlv_added;
}

int32_t macaddr_str_to_hex(uint8_t *mac, const char *text)
{
    if (text == nullptr) {
        puts("ERROR: NULL mac addr string passed in.");
        return -1;
    }
    const size_t length = strlen(text);
    if (length != mac_text_length) {
        printf("ERROR: MAC address strlen() != 17 -- %d\n", static_cast<int>(length));
        return bad_mac(text);
    }
    if (!mac_text_is_regular(text)) {
        return bad_mac(text);
    }
    for (size_t i = 0; i < mac_size; ++i) {
        mac[i] = static_cast<uint8_t>(strtoul(text + 3 * i, nullptr, 16));
    }
    if (!is_valid_ether_addr(mac)) {
        puts("ERROR: MAC address must not be 00:00:00:00:00:00, a multicast address or "
             "FF:FF:FF:FF:FF:FF.");
        return bad_mac(text);
    }
    return 0;
}

bool is_valid_ether_addr(const uint8_t *mac)
{
    const bool multicast = (mac[0] & 1) != 0;
    return !multicast && std::any_of(mac, mac + mac_size, [](uint8_t byte) { return byte != 0; });
}
