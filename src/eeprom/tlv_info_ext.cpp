#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/byte_order.h"
#include "base/byte_reader.h"
#include "base/text.h"
#include "base/trace.h"
#include "eeprom/tlv_info.h"

const std::array<tlv_code_name, 11> tlv_vx_code_list = {{
    {0x40, "ProductID"},
    {tlv_vx_hardware_version, "HardwareVersion"},
    {0x42, "MainFile"},
    {0x43, "fdtname"},
    {0x44, "serial0"},
    {0x45, "serial1"},
    {0x46, "serial2"},
    {0x47, "serial3"},
    {0x48, "projectid"},
    {0x49, "setmac_ver"},
    {tlv_vx_e2type, "e2type"},
}};

namespace {

struct default_record {
    uint8_t code;
    const char *text;
};

/** What every EEPROM holds before a payload says otherwise. */
constexpr std::array<default_record, 10> tlv_code_default_val = {{
    {tlv_manufacturer, "talvex"},
    {tlv_country_code, "cn"},
    {tlv_vendor_name, "talvex"},
    {tlv_diag_version, "0"},
    {tlv_service_tag, "0"},
    {tlv_part_number, "0000"},
    {tlv_onie_version, "0000000"},
    {tlv_device_version, "1"},
    {tlv_label_revision, "00"},
    {tlv_platform_name, "x86-64"},
}};

/** The vendor extension of an image: false when it has none. */
bool find_extension(const uint8_t *image, tlv_record *record)
{
    int32_t offset = 0;
    if (!tlvinfo_find_tlv(image, tlv_vendor_extension, &offset)) {
        return false;
    }
    *record = tlv_record_at(image, static_cast<size_t>(offset));
    return true;
}

/**
 * Hands the sub-records behind the enterprise number to `visit`, until it returns true. Says
 * whether it did, or else whether the sub-records filled the value exactly.
 */
enum class walk_end { visited, exact, malformed };

template <typename visitor>
walk_end walk_sub_records(const tlv_record &extension, visitor visit)
{
    byte_reader in(extension.content());
    in.bytes(tlv_enterprise_size);
    while (in && !in.at_end()) {
        tlv_sub_record record{};
        record.code = in.u8();
        record.value = in.bytes(in.u8());
        if (in && visit(record)) {
            return walk_end::visited;
        }
    }
    if (!in) {
        return walk_end::malformed;
    }
    return walk_end::exact;
}

/** The number of an "e2type", which the PC sends in two bytes or in four. */
uint32_t e2type_number(std::span<const uint8_t> value)
{
    std::array<uint8_t, 4> bytes{};
    std::copy_n(value.begin(), std::min(value.size(), bytes.size()), bytes.begin());
    if (value.size() == 2) {
        return load_be16(bytes.data());
    }
    if (value.size() == 4) {
        return load_be32(bytes.data());
    }
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

} // namespace

bool is_pesnl_tlv(int32_t code)
{
    return code >= tlv_vx_first && code <= tlv_vx_last;
}

void show_ext_tlv(const tlv_sub_record &record)
{
    for (const tlv_code_name &entry : tlv_vx_code_list) {
        if (entry.code != record.code) {
            continue;
        }
        if (record.code == tlv_vx_e2type) {
            printf("%s=%x\n", entry.name, e2type_number(record.value));
        } else {
            printf("%s=%.*s\n", entry.name, TEXT_ARGS(text_of(record.value)));
        }
        return;
    }
}

int32_t list_ext_tlv_info(const uint8_t *image)
{
    tlv_record extension{};
    if (!is_checksum_valid(image) || !find_extension(image, &extension)) {
        return -1;
    }
    show_tlv_code_list(image);
    const walk_end end = walk_sub_records(extension, [](const tlv_sub_record &record) {
        if (is_pesnl_tlv(record.code)) {
            show_ext_tlv(record);
        }
        return false;
    });
    if (end == walk_end::malformed) {
        puts("length err!");
        return -1;
    }
    return 0;
}

int32_t decode_ext_tlv_value(const uint8_t *image, uint8_t sub_code, uint8_t *out)
{
    tlv_record extension{};
    if (!is_pesnl_tlv(sub_code) || !find_extension(image, &extension)) {
        return -1;
    }
    const walk_end end = walk_sub_records(extension, [=](const tlv_sub_record &record) {
        if (record.code != sub_code) {
            return false;
        }
        std::copy(record.value.begin(), record.value.end(), out);
        return true;
    });
    if (end == walk_end::malformed) {
        puts("length err!");
    }
    return end == walk_end::visited ? 0 : -1;
}

int32_t e2prom_value_default_init(uint8_t *image)
{
    memset(image, 0, tlv_image_size);
    update_eeprom_header(image);
    for (const default_record &record : tlv_code_default_val) {
        if (tlvinfo_add_tlv(image, record.code, record.text, 0) == tlv_refused) {
            SETMAC_TRACE("\r\ntlv default info init err");
            return -1;
        }
        SETMAC_TRACE("\r\nAdding TLV 0x%x: %s\r\n", record.code, record.text);
    }
    return 0;
}
