#include "eeprom/tlv_info.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <zlib.h>

#include "base/byte_order.h"
#include "base/trace.h"
#include "eeprom/e2prom.h"

uint8_t g_data_eeprom[tlv_image_size];

namespace {

// The header: id string, version, total length.
constexpr char id_string[8] = "TlvInfo";
constexpr uint8_t tlv_version = 1;
constexpr size_t total_length_at = 9;

/** A byte of the image, zero past its end: records may claim more than there is. */
uint8_t byte_at(const uint8_t *image, size_t offset)
{
    return offset < tlv_image_size ? image[offset] : uint8_t{0};
}

size_t records_end(const uint8_t *image)
{
    return tlv_header_size + tlv_total_length(image);
}

/** The CRC covers everything up to its own record's type and length. */
uint32_t computed_crc(const uint8_t *image)
{
    const size_t covered = records_end(image) - tlv_crc_length;
    return static_cast<uint32_t>(crc32(0, image, static_cast<uInt>(covered)));
}

} // namespace

uint32_t tlv_total_length(const uint8_t *image)
{
    return load_be16(image + total_length_at);
}

void tlv_set_total_length(uint8_t *image, uint32_t length)
{
    store_be16(image + total_length_at, static_cast<uint16_t>(length));
}

tlv_record tlv_record_at(const uint8_t *image, size_t offset)
{
    tlv_record record{
        .type = byte_at(image, offset), .length = byte_at(image, offset + 1), .value = {}};
    for (size_t i = 0; i < record.length; ++i) {
        record.value[i] = byte_at(image, offset + tlv_record_header_size + i);
    }
    return record;
}

bool is_text_tlv(int32_t code)
{
    return (code >= tlv_product_model && code <= tlv_serial_number) ||
           (code >= tlv_label_revision && code <= tlv_onie_version) ||
           (code >= tlv_manufacturer && code <= tlv_service_tag);
}

bool is_valid_tlv(const uint8_t *record)
{
    return record[0] != 0x00 && record[0] != 0xFF;
}

bool is_valid_tlvinfo_header(const uint8_t *image)
{
    return memcmp(image, id_string, sizeof(id_string)) == 0 &&
           image[tlv_version_at] == tlv_version && tlv_total_length(image) <= tlv_max_total_length;
}

bool is_checksum_valid(const uint8_t *image)
{
    if (!is_valid_tlvinfo_header(image)) {
        return false;
    }
    // The last bytes of the records, which begin inside the header where there are fewer.
    const uint8_t *record = image + records_end(image) - tlv_crc_record_size;
    return record[0] == tlv_crc && record[1] == tlv_crc_length &&
           load_be32(record + tlv_record_header_size) == computed_crc(image);
}

bool tlvinfo_find_tlv(const uint8_t *image, uint8_t code, int32_t *offset)
{
    const size_t end = std::min(records_end(image), tlv_image_size);
    size_t at = tlv_header_size;
    bool found = false;
    while (at < end && is_valid_tlv(image + at)) {
        found = image[at] == code;
        if (found) {
            break;
        }
        at += tlv_record_header_size + byte_at(image, at + 1);
    }
    *offset = static_cast<int32_t>(at);
    return found;
}

void update_crc(uint8_t *image)
{
    int32_t offset = 0;
    uint32_t total_length = tlv_total_length(image);
    if (!tlvinfo_find_tlv(image, tlv_crc, &offset)) {
        if (total_length + tlv_crc_record_size > tlv_max_total_length) {
            return;
        }
        offset = static_cast<int32_t>(records_end(image));
        total_length += tlv_crc_record_size;
        tlv_set_total_length(image, total_length);
    }
    if (static_cast<uint32_t>(offset) + tlv_crc_record_size > tlv_image_size ||
        total_length > tlv_max_total_length) {
        return;
    }
    uint8_t *record = image + offset;
    record[0] = tlv_crc;
    record[1] = tlv_crc_length;
    store_be32(record + tlv_record_header_size, computed_crc(image));
}

void update_eeprom_header(uint8_t *image)
{
    memcpy(image, id_string, sizeof(id_string));
    image[tlv_version_at] = tlv_version;
    tlv_set_total_length(image, 0);
    update_crc(image);
}

bool tlvinfo_delete_tlv(uint8_t *image, uint8_t code)
{
    int32_t offset = 0;
    if (!tlvinfo_find_tlv(image, code, &offset)) {
        return false;
    }
    const size_t end = std::min(records_end(image), tlv_image_size);
    const auto at = static_cast<size_t>(offset);
    // A record that claims more than there is ends with the records.
    const size_t size = std::min<size_t>(tlv_record_header_size + byte_at(image, at + 1), end - at);
    memmove(image + at, image + at + size, end - at - size);
    tlv_set_total_length(image, static_cast<uint32_t>(end - size - tlv_header_size));
    update_crc(image);
    return true;
}

bool tlvinfo_multiple_tcode_allowed(uint8_t)
{
    return false;
}

int32_t read_sys_eeprom(uint8_t *buffer, uint16_t offset, uint16_t length)
{
    return dfd_read_e2prom(e2prom_bus, system_e2prom_address, offset, buffer, length);
}

int32_t write_sys_eeprom(const uint8_t *data, int32_t length)
{
    return dfd_write_e2prom(e2prom_bus, system_e2prom_address, 0, data, length);
}

int32_t read_eeprom(uint8_t *image)
{
    int32_t result = read_sys_eeprom(image, 0, tlv_header_size);
    if (result == 0 && is_valid_tlvinfo_header(image)) {
        result = read_sys_eeprom(image + tlv_header_size, tlv_header_size,
                                 static_cast<uint16_t>(tlv_total_length(image)));
    }
    bool good = true;
    if (!is_valid_tlvinfo_header(image)) {
        printf("%s: can't find productinfo.\r\n", __func__);
        good = false;
    }
    if (!is_checksum_valid(image)) {
        puts("!!!Warning: CRC check failed.\r");
        good = false;
        update_eeprom_header(image);
    }
    return good ? 0 : result;
}

int32_t prog_eeprom(const uint8_t *image)
{
    if (write_sys_eeprom(image, tlv_image_size) != 0) {
        SETMAC_TRACE("Save product info failed.\n");
        return -1;
    }
    SETMAC_TRACE("Save product info success.\n");
    return 0;
}
