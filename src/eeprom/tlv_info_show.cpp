#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/byte_order.h"
#include "base/trace.h"
#include "eeprom/tlv_info.h"

const std::array<tlv_code_name, 17> tlv_code_list = {{
    {tlv_product_model, "ProductModel"},
    {tlv_part_number, "Part Number"},
    {tlv_serial_number, "Serial Number"},
    {tlv_mac_address, "MacAddress"},
    {tlv_manufacture_date, "setmac_time"},
    {tlv_device_version, "Device Version"},
    {tlv_label_revision, "Label Revision"},
    {tlv_platform_name, "Platform Name"},
    {tlv_onie_version, "ONIE Version"},
    {tlv_mac_size, "ethaddr_scale"},
    {tlv_manufacturer, "Manufacturer"},
    {tlv_country_code, "Country Code"},
    {tlv_vendor_name, "Vendor Name"},
    {tlv_diag_version, "Diag Version"},
    {tlv_service_tag, "Service Tag"},
    {tlv_vendor_extension, "Vendor Extension"},
    {tlv_crc, "CRC-32"},
}};

namespace {

/** The values that the factory tools read back, under the names they know. */
constexpr std::array<tlv_code_name, 5> tlv_code_show_list = {{
    {tlv_serial_number, "SerialNO"},
    {tlv_mac_address, "ethaddr"},
    {tlv_mac_size, "ethaddr_scale"},
    {tlv_product_model, "ProductModel"},
    {tlv_manufacture_date, "setmac_time"},
}};

constexpr size_t shown_name_length = 19;

template <typename list>
const tlv_code_name *find_code(const list &names, uint8_t code)
{
    const auto found = std::find_if(names.begin(), names.end(), [code](const tlv_code_name &entry) {
        return entry.code == code;
    });
    return found == names.end() ? nullptr : &*found;
}

template <typename list>
uint8_t find_name(const list &names, std::string_view name)
{
    const auto found = std::find_if(names.begin(), names.end(), [name](const tlv_code_name &entry) {
        return name == entry.name;
    });
    return found == names.end() ? uint8_t{0} : found->code;
}

/** Every byte as " 0xNN", so the text begins with a space. */
void list_bytes(const tlv_record &record, char (&text)[tlv_text_size])
{
    size_t at = 0;
    text[0] = '\0';
    for (const uint8_t byte : record.content()) {
        at += static_cast<size_t>(snprintf(text + at, tlv_text_size - at, " 0x%02X", byte));
    }
}

} // namespace

void decode_tlv_value(const tlv_record &record, char (&text)[tlv_text_size])
{
    const auto &value = record.value;
    if (is_text_tlv(record.type) || record.type == tlv_manufacture_date) {
        memcpy(text, value.data(), record.length);
        text[record.length] = '\0';
        return;
    }
    switch (record.type) {
    case tlv_mac_address:
        snprintf(text, tlv_text_size, "%02X:%02X:%02X:%02X:%02X:%02X", value[0], value[1], value[2],
                 value[3], value[4], value[5]);
        break;
    case tlv_device_version:
        snprintf(text, tlv_text_size, "%u", value[0]);
        break;
    case tlv_mac_size:
        snprintf(text, tlv_text_size, "%012X", load_be16(value.data()));
        break;
    case tlv_crc:
        snprintf(text, tlv_text_size, "0x%02X%02X%02X%02X", value[0], value[1], value[2], value[3]);
        break;
    default:
        list_bytes(record, text);
        break;
    }
}

bool tlvinfo_decode_tlv(const uint8_t *image, uint8_t code, char (&text)[tlv_text_size])
{
    int32_t offset = 0;
    if (!tlvinfo_find_tlv(image, code, &offset)) {
        return false;
    }
    decode_tlv_value(tlv_record_at(image, static_cast<size_t>(offset)), text);
    return true;
}

void decode_tlv(const tlv_record &record)
{
    char text[tlv_text_size];
    decode_tlv_value(record, text);
    const tlv_code_name *entry = find_code(tlv_code_list, record.type);
    printf("%-20.*s 0x%02X %3d %s\n", static_cast<int>(shown_name_length),
           entry == nullptr ? "Unknown" : entry->name, record.type, record.length, text);
}

void show_eeprom(const uint8_t *image)
{
    if (!is_valid_tlvinfo_header(image)) {
        SETMAC_TRACE("EEPROM does not contain data in a valid TlvInfo format.\n");
        return;
    }
    const uint32_t total_length = tlv_total_length(image);
    SETMAC_TRACE("TlvInfo Header:\r\n");
    SETMAC_TRACE("   Id String:    %s\r\n", reinterpret_cast<const char *>(image));
    SETMAC_TRACE("   Version:      %d\r\n", image[tlv_version_at]);
    SETMAC_TRACE("   Total Length: %d\r\n", static_cast<int>(total_length));
    SETMAC_TRACE("TLV Name             Code Len Value\r\n");
    SETMAC_TRACE("-------------------- ---- --- -----\r\n");
    const size_t end = tlv_header_size + total_length;
    for (size_t offset = tlv_header_size; offset < end;) {
        if (!is_valid_tlv(image + offset)) {
            SETMAC_TRACE("Invalid TLV field starting at EEPROM offset %d\r\n",
                         static_cast<int>(offset));
            return;
        }
        const tlv_record record = tlv_record_at(image, offset);
        decode_tlv(record);
        offset += tlv_record_header_size + record.length;
    }
    SETMAC_TRACE("Checksum is %s.\n", is_checksum_valid(image) ? "valid" : "invalid");
}

uint8_t name_to_type(std::string_view name)
{
    const uint8_t code = find_name(tlv_code_list, name);
    return code != 0 ? code : find_name(tlv_vx_code_list, name);
}

int32_t show_tlv_code_list(const uint8_t *image)
{
    char text[tlv_text_size];
    for (const tlv_code_name &entry : tlv_code_show_list) {
        if (!tlvinfo_decode_tlv(image, entry.code, text)) {
            return -1;
        }
        printf("%s=%s\n", entry.name, text);
    }
    return 0;
}
