#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

// The TlvInfo image of the system EEPROM: a header, records of type, length and value one after the
// other, and a CRC record that closes them. All operations work on an image of 256 bytes.

constexpr size_t tlv_image_size = 256;
constexpr size_t tlv_header_size = 11;
constexpr size_t tlv_version_at = 8; // in the header
constexpr size_t tlv_record_header_size = 2;
constexpr uint8_t tlv_crc_length = 4;
constexpr uint32_t tlv_crc_record_size = tlv_record_header_size + tlv_crc_length;
constexpr uint32_t tlv_max_total_length = tlv_image_size - tlv_header_size;
constexpr size_t tlv_max_value_length = 255;

/** A decoded text is at longest 255 values of five characters each, and a NUL. */
constexpr size_t tlv_text_size = 255 * 5 + 1;

enum tlv_code : uint8_t {
    tlv_product_model = 0x21,
    tlv_part_number = 0x22,
    tlv_serial_number = 0x23,
    tlv_mac_address = 0x24,
    tlv_manufacture_date = 0x25,
    tlv_device_version = 0x26,
    tlv_label_revision = 0x27,
    tlv_platform_name = 0x28,
    tlv_onie_version = 0x29,
    tlv_mac_size = 0x2A,
    tlv_manufacturer = 0x2B,
    tlv_country_code = 0x2C,
    tlv_vendor_name = 0x2D,
    tlv_diag_version = 0x2E,
    tlv_service_tag = 0x2F,
    tlv_vendor_extension = 0xFD,
    tlv_crc = 0xFE,
};

/** The sub-codes of a vendor-extension record that this program looks at by number. */
enum tlv_vx_code : uint8_t {
    tlv_vx_first = 0x40,
    tlv_vx_hardware_version = 0x41,
    tlv_vx_e2type = 0x4A,
    tlv_vx_last = tlv_vx_e2type,
};

/** Bytes of the maker's enterprise number, with which a vendor-extension value begins. */
constexpr size_t tlv_enterprise_size = 4;

/** The status of tlvinfo_add_tlv. Its callers take "no room" for success: the record is just
 * absent. */
enum tlv_add_status : uint8_t {
    tlv_refused = 0,
    tlv_added = 1,
    tlv_no_room = 255,
};

struct tlv_code_name {
    uint8_t code;
    const char *name;
};

/** The records by the names that the PC and the display know them under. */
extern const std::array<tlv_code_name, 17> tlv_code_list;

/** The sub-records of the vendor extension, likewise. */
extern const std::array<tlv_code_name, 11> tlv_vx_code_list;

/** The image of this board's system EEPROM. */
extern uint8_t g_data_eeprom[tlv_image_size];

/** A record taken out of an image; bytes that the image does not hold are zero. */
struct tlv_record {
    uint8_t type;
    uint8_t length;
    std::array<uint8_t, tlv_max_value_length> value;

    std::span<const uint8_t> content() const { return std::span(value).first(length); }
};

// Image and records: tlv_info.cpp.

/** Total length: bytes of all records, the CRC record included. */
uint32_t tlv_total_length(const uint8_t *image);
void tlv_set_total_length(uint8_t *image, uint32_t length);

/** The record at `offset` of the image. */
tlv_record tlv_record_at(const uint8_t *image, size_t offset);

/** Whether the value of a code's records is the text that they are added from. */
bool is_text_tlv(int32_t code);

/** Whether a record's type may stand in an image: neither 0x00 nor 0xFF. */
bool is_valid_tlv(const uint8_t *record);

/** Whether id string, version and total length are those of an image. */
bool is_valid_tlvinfo_header(const uint8_t *image);

/** Whether header, closing CRC record and CRC are right. */
bool is_checksum_valid(const uint8_t *image);

/** Whether there is a record of that code; `offset` is left at it, or where the search stopped. */
bool tlvinfo_find_tlv(const uint8_t *image, uint8_t code, int32_t *offset);

/** Brings the CRC record up to date, or appends it; without room for it the image stays as it is.
 */
void update_crc(uint8_t *image);

/** Makes the image an empty one: a header and the CRC record. */
void update_eeprom_header(uint8_t *image);

/** Removes the first record of that code; false when there is none. */
bool tlvinfo_delete_tlv(uint8_t *image, uint8_t code);

/** No code may stand twice: callers delete before they add. */
bool tlvinfo_multiple_tcode_allowed(uint8_t code);

int32_t read_sys_eeprom(uint8_t *buffer, uint16_t offset, uint16_t length);
int32_t write_sys_eeprom(const uint8_t *data, int32_t length);

/**
 * Loads the image. It is valid afterwards in every case: a blank or damaged EEPROM gives an empty
 * one and 0, told on standard output. Non-zero only when the EEPROM could not be read.
 */
int32_t read_eeprom(uint8_t *image);

/** Writes all 256 bytes: 0 or -1. */
int32_t prog_eeprom(const uint8_t *image);

// Records from texts: tlv_info_add.cpp.

/**
 * Appends a record whose value is built from `text` as its code wants it; `count` bytes as they are
 * for the vendor extension, a NUL-terminated text for all others. A tlv_add_status; an image is
 * changed only by tlv_added.
 */
uint8_t tlvinfo_add_tlv(uint8_t *image, int32_t code, const char *text, int32_t count);

/** Reads "00:11:22:33:44:55" into six bytes: 0, or -1 with a message on standard output. */
int32_t macaddr_str_to_hex(uint8_t *mac, const char *text);

/** Whether six bytes may be a board's address: not multicast and not all zero. */
bool is_valid_ether_addr(const uint8_t *mac);

// Display: tlv_info_show.cpp.

/** The text of a record's value. */
void decode_tlv_value(const tlv_record &record, char (&text)[tlv_text_size]);

/** The text of the first record of that code; false when there is none. */
bool tlvinfo_decode_tlv(const uint8_t *image, uint8_t code, char (&text)[tlv_text_size]);

/** Prints one row: name, code, length and text of a record. */
void decode_tlv(const tlv_record &record);

/** Prints the rows of an image; its header and checksum go to the debug log. */
void show_eeprom(const uint8_t *image);

/** The record or sub-record code of a name, 0 when it is unknown. */
uint8_t name_to_type(std::string_view name);

/** Prints the values that factory tools read, "name=value": 0, or -1 at the first that is missing.
 */
int32_t show_tlv_code_list(const uint8_t *image);

// Vendor extension and defaults: tlv_info_ext.cpp.

/** A sub-record of the vendor extension. */
struct tlv_sub_record {
    uint8_t code;
    std::span<const uint8_t> value;
};

/** Whether a code is that of a sub-record of the vendor extension. */
bool is_pesnl_tlv(int32_t code);

/** Prints a sub-record, "name=value"; nothing where its code has no name. */
void show_ext_tlv(const tlv_sub_record &record);

/** Prints the values and sub-records of an image: 0, or -1 without a valid vendor extension. */
int32_t list_ext_tlv_info(const uint8_t *image);

/** Copies the value of a sub-record (at most 255 bytes) into `out`: 0, or -1 when it is not there.
 */
int32_t decode_ext_tlv_value(const uint8_t *image, uint8_t sub_code, uint8_t *out);

/** Rebuilds the image from the default records: 0, or -1 when one was refused. */
int32_t e2prom_value_default_init(uint8_t *image);
