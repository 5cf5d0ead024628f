#include <array>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <span>

#include "base/byte_order.h"
#include "base/byte_reader.h"
#include "base/trace.h"
#include "eeprom/e2prom.h"

int32_t sdd_my_type = 0;

namespace {

// The head of a card-type record.
constexpr size_t format_at = 0;
constexpr size_t flag_at = 1;
constexpr size_t type_at = 3;
constexpr size_t format_1_length_at = 4;
constexpr size_t other_length_at = 8;
constexpr uint32_t format_1_header = 6;
constexpr uint32_t other_header = 10;
constexpr uint16_t head_size = 10;

constexpr uint8_t record_flag = 0x7E;
constexpr uint8_t type_in_tlv_area = 0xF1;
constexpr uint8_t tlv_card_type = 6;

constexpr uint16_t min_tlv_length = 3;
constexpr uint16_t max_tlv_length = 244;

constexpr int32_t out_of_memory = -12;
constexpr int32_t invalid_argument = -22;

// Cards from before the flag: where their type hides, and the types of the two ambiguous codes.
constexpr uint16_t legacy_size = 128;
constexpr size_t legacy_addend_at = 7;
constexpr size_t legacy_sub_type_at = 64;

struct card_record {
    uint8_t format;
    uint8_t flag;
    uint8_t type;
    uint32_t header;     // bytes before the TLV area
    uint16_t tlv_length; // bytes of the TLV area
};

int32_t read_card_e2prom(uint16_t offset, std::span<uint8_t> buffer)
{
    return dfd_read_e2prom(e2prom_bus, card_e2prom_address, offset, buffer.data(),
                           static_cast<uint16_t>(buffer.size()));
}

int32_t dfd_get_e2prom_info(card_record *record)
{
    std::array<uint8_t, head_size> head{};
    const int32_t result = read_card_e2prom(0, head);
    if (result < 0) {
        SETMAC_TRACE_AS("dfd_get_e2prom_info", __LINE__,
                        "Read eeprom error(dev: %s, addr: %02x).\n", e2prom_bus,
                        card_e2prom_address);
        return result;
    }
    const bool format_1 = head[format_at] == 1;
    record->format = head[format_at];
    record->flag = head[flag_at];
    record->type = head[type_at];
    record->header = format_1 ? format_1_header : other_header;
    record->tlv_length = load_be16(&head[format_1 ? format_1_length_at : other_length_at]);
    return 0;
}

bool checksum_is_right(const card_record &record, std::span<const uint8_t> content)
{
    const size_t length = record.header + record.tlv_length;
    const auto summed = content.first(length);
    const uint8_t *end = &content[length];
    const uint16_t stored = load_be16(end);
    const auto computed =
        std::accumulate(summed.begin(), summed.end(), uint16_t{0}, [](uint16_t sum, uint8_t byte) {
            return static_cast<uint16_t>(sum + byte);
        });
    SETMAC_TRACE_AS("dfd_check_e2prom_info", __LINE__,
                    "Len:%d, chechsum_low:0x%x, high:0x%x, checksum:0x%x.\n",
                    static_cast<int>(length), end[0], end[1], stored);
    if (stored != computed) {
        SETMAC_TRACE_AS("dfd_check_e2prom_info", __LINE__,
                        "ERROR:old checksum:%d, new checksum:%d.\n", stored, computed);
        return false;
    }
    return true;
}

int32_t dfd_check_e2prom_info(const card_record &record)
{
    if (record.format == 2) {
        return 0;
    }
    if (record.flag != record_flag) {
        SETMAC_TRACE_AS("dfd_check_e2prom_info", __LINE__, "E2prom flag ERROR, flag:%x.\n",
                        record.flag);
        return -1;
    }
    if (record.tlv_length < min_tlv_length || record.tlv_length > max_tlv_length) {
        SETMAC_TRACE_AS("dfd_check_e2prom_info", __LINE__, "E2prom TLV LEN error, LEN:%d.\n",
                        record.tlv_length);
        return -1;
    }
    std::array<uint8_t, 256> content{};
    if (read_card_e2prom(0, content) < 0) {
        SETMAC_TRACE_AS("dfd_check_e2prom_info", __LINE__,
                        "Read eeprom error(dev name:%s, addr: 0x%02x).\n", e2prom_bus,
                        card_e2prom_address);
        return -1;
    }
    return checksum_is_right(record, content) ? 0 : -1;
}

/** Looks the card type up in a TLV area. Bytes of an entry that the area's end cuts off are 0. */
int32_t find_card_type(std::span<const uint8_t> area, uint32_t *value, uint32_t *capacity)
{
    byte_reader in(area);
    while (!in.at_end()) {
        const void *entry = area.data() + (area.size() - in.remaining());
        const uint8_t type = in.u8();
        const uint8_t length = in.at_end() ? uint8_t{0} : in.u8();
        SETMAC_TRACE_AS("dfd_get_tlv_data", __LINE__,
                        "tlv: %p, tlv->type: 0x%x, tlv->len: 0x%x tlv_len: 0x%x\n", entry, type,
                        length, static_cast<unsigned>(area.size()));
        if (type == tlv_card_type && length <= *capacity) {
            std::array<uint8_t, sizeof(uint32_t)> number{};
            const auto bytes = in.bytes(std::min(number.size(), in.remaining()));
            std::copy(bytes.begin(), bytes.end(), number.begin());
            const uint32_t card_type = load_be32(number.data());
            memcpy(value, &card_type, std::min<size_t>(length, sizeof(card_type)));
            *capacity = length;
            return 0;
        }
        in.bytes(std::min<size_t>(length, in.remaining()));
    }
    SETMAC_TRACE_AS("dfd_get_tlv_data", __LINE__, "Not support to get info: %d.\n", tlv_card_type);
    return -1;
}

int32_t dfd_get_tlv_data(const card_record &record, uint32_t *value, uint32_t *capacity)
{
    if (*capacity == 0) {
        SETMAC_TRACE_AS("dfd_get_tlv_data", __LINE__, "Invalid parameter!\n");
        return invalid_argument;
    }
    if (record.tlv_length == 0) {
        SETMAC_TRACE_AS("dfd_get_tlv_data", __LINE__, "No TVL data.\n");
        return invalid_argument;
    }
    auto *area = static_cast<uint8_t *>(calloc(1, record.tlv_length));
    if (area == nullptr) {
        SETMAC_TRACE_AS("dfd_get_tlv_data", __LINE__, "Allocate buffer(len:%d) error!\n",
                        record.tlv_length);
        return out_of_memory;
    }
    int32_t result =
        read_card_e2prom(static_cast<uint16_t>(record.header), {area, record.tlv_length});
    if (result < 0) {
        SETMAC_TRACE_AS("dfd_get_tlv_data", __LINE__, "Get TLV data error.\n");
    } else {
        SETMAC_TRACE_AS("dfd_get_tlv_data", __LINE__, "TLV Len:%d\n", 2);
        result = find_card_type({area, record.tlv_length}, value, capacity);
    }
    free(area);
    return result;
}

/** The card type by a record in the current layout, 0 where the lookup delivers nothing. */
int32_t looked_up_type(int32_t *lookup_result)
{
    uint32_t value = 0;
    uint32_t capacity = sizeof(value);
    *lookup_result = setmac_get_e2prom_info_by_type(&value, &capacity);
    return static_cast<int32_t>(value);
}

int32_t legacy_format_1_type(std::span<const uint8_t> content)
{
    const uint8_t code = content[type_at];
    if (code == 0x9C) {
        const uint8_t sub_type = content[legacy_sub_type_at];
        return sub_type == 0x11 ? 14 : sub_type == 0x01 ? 15 : 41;
    }
    return code == 0x9E ? 42 : code;
}

int32_t legacy_format_2_type(std::span<const uint8_t> content)
{
    const int32_t type = content[type_at] + content[legacy_addend_at];
    SETMAC_TRACE_AS("setmac_get_dev_type", __LINE__, "CA type is%d\r\n", type);
    return type;
}

int32_t type_of(std::span<const uint8_t> content)
{
    const bool flagged = content[flag_at] == record_flag;
    const uint8_t format = content[format_at];
    if (format != 1 && format != 2) {
        return -1;
    }
    if (!flagged) {
        return format == 1 ? legacy_format_1_type(content) : legacy_format_2_type(content);
    }
    int32_t lookup_result = 0;
    const int32_t type = looked_up_type(&lookup_result);
    // Of format 2 the lookup's result is not looked at.
    return format == 1 && lookup_result < 0 ? lookup_result : type;
}

} // namespace

int32_t setmac_get_e2prom_info_by_type(uint32_t *value, uint32_t *capacity)
{
    card_record record{};
    int32_t result = dfd_get_e2prom_info(&record);
    if (result == 0) {
        result = dfd_check_e2prom_info(record);
    }
    if (result != 0) {
        return result;
    }
    if (record.type == type_in_tlv_area) {
        return dfd_get_tlv_data(record, value, capacity);
    }
    if (*capacity < sizeof(*value)) {
        return -1;
    }
    *value = record.type;
    *capacity = sizeof(*value);
    return 0;
}

int32_t setmac_get_my_card_type()
{
    if (sdd_my_type != 0) {
        return sdd_my_type;
    }
    std::array<uint8_t, legacy_size> content{};
    if (sdd_read_i2c(e2prom_bus, card_e2prom_address, 0, content.data(), legacy_size) < 0) {
        return 0;
    }
    const int32_t type = type_of(content);
    if (type != -1) {
        sdd_my_type = type;
    }
    return type;
}
