#include "units/set_backplane.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "base/byte_reader.h"
#include "base/text.h"
#include "base/trace.h"
#include "base/uninterrupted.h"
#include "console/com_data_provider.h"
#include "platform/dev_drv.h"
#include "units/common.h"
#include "units/common_backplane.h"
#include "units/common_list.h"

namespace {

constexpr unit_list_kind backplane_list = {.start = 0x15, .counted = true, .max_length = 0xFF};

/** The numbers of the backplane EEPROMs in the driver library. */
constexpr int32_t backplane_indexes[] = {1, 2};

enum backplane_element : uint8_t {
    element_mac = 1,
    element_serial = 2,
    element_type = 3,
    element_version = 4,
    element_serial_0 = 5,
    element_serial_1 = 6,
    element_serial_2 = 7,
    element_serial_3 = 8,
    element_type9_value = 9,
};

constexpr size_t mac_digits = 12;

using element_data = std::span<const uint8_t>;

/** A hexadecimal text, as far as it is one; what does not fit a field is cut off by it. */
uint32_t hex_number(element_data data)
{
    std::array<char, 256> text{};
    std::copy(data.begin(), data.end(), text.begin());
    return static_cast<uint32_t>(strtol(text.data(), nullptr, 16));
}

template <size_t size>
void copy_field(char (&field)[size], element_data data)
{
    const auto kept = first_part(text_of(data), size);
    memset(field, 0, size);
    std::copy(kept.begin(), kept.end(), field);
}

uint8_t digit_value(char digit)
{
    if (is_digit(digit)) {
        return static_cast<uint8_t>(digit - '0');
    }
    return static_cast<uint8_t>((digit & ~0x20) - 55);
}

/** From the first pair on that is not hexadecimal, the address is zero. */
void convert_mac(uint8_t (&mac)[6], element_data data)
{
    memset(mac, 0, sizeof(mac));
    for (size_t i = 0; i < sizeof(mac); ++i) {
        const auto high = static_cast<char>(data[2 * i]);
        const auto low = static_cast<char>(data[2 * i + 1]);
        if (!is_hex_digit(high) || !is_hex_digit(low)) {
            return;
        }
        mac[i] = static_cast<uint8_t>(digit_value(high) * 16 + digit_value(low));
    }
}

void apply_element(backplane_record *record, uint8_t type, element_data data)
{
    switch (type) {
    case element_mac:
        if (data.size() == mac_digits) {
            convert_mac(record->mac_addr, data);
        }
        break;
    case element_serial:
        copy_field(record->serial_no, data);
        break;
    case element_type:
        record->type = static_cast<uint8_t>(hex_number(data));
        break;
    case element_version:
        copy_field(record->version, data);
        break;
    case element_serial_0:
        record->serial_0 = static_cast<uint8_t>(hex_number(data));
        break;
    case element_serial_1:
        record->serial_1 = static_cast<uint8_t>(hex_number(data));
        break;
    case element_serial_2:
        record->serial_2 = static_cast<uint8_t>(hex_number(data));
        break;
    case element_serial_3:
        record->serial_3 = static_cast<uint8_t>(hex_number(data));
        break;
    case element_type9_value:
        record->type9_value = hex_number(data);
        break;
    default:
        break;
    }
}

/** Builds the record from the elements that are there; missing ones are skipped. */
backplane_record build_record(const unit_list &list)
{
    backplane_record record{};
    byte_reader in(list.payload());
    for (int element = 0; element < list.count; ++element) {
        const uint8_t type = in.u8();
        const auto data = in.bytes(in.u8());
        if (!in) {
            break;
        }
        apply_element(&record, type, data);
        in.u8(); // the NUL behind the text
    }
    return record;
}

void trace_record(const backplane_record &record)
{
    // The readers of the log know that a version of 8 characters runs on into the serial number.
    const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
    const auto version = text_of({bytes + offsetof(backplane_record, version),
                                  sizeof(record.version) + sizeof(record.serial_no)});
    SETMAC_TRACE_AS("set_backplane_info", __LINE__, "BP type %d .\r\n", record.type);
    SETMAC_TRACE_AS("set_backplane_info", __LINE__, "BP version %.*s .\r\n", TEXT_ARGS(version));
    SETMAC_TRACE_AS("set_backplane_info", __LINE__, "BP serial_no %.*s .\r\n",
                    static_cast<int>(sizeof(record.serial_no)), record.serial_no);
    SETMAC_TRACE_AS("set_backplane_info", __LINE__,
                    "BP mac_addr %02X:%02X:%02X:%02X:%02X:%02X .\r\n", record.mac_addr[0],
                    record.mac_addr[1], record.mac_addr[2], record.mac_addr[3], record.mac_addr[4],
                    record.mac_addr[5]);
    SETMAC_TRACE_AS("set_backplane_info", __LINE__, "BP serial_0 %d .\r\n", record.serial_0);
    SETMAC_TRACE_AS("set_backplane_info", __LINE__, "BP serial_1 %d .\r\n", record.serial_1);
    SETMAC_TRACE_AS("set_backplane_info", __LINE__, "BP serial_2 %d .\r\n", record.serial_2);
    SETMAC_TRACE_AS("set_backplane_info", __LINE__, "BP serial_3 %d .\r\n", record.serial_3);
}

void report(int32_t status)
{
    if (status != 0) {
        serial_putc_raw(static_cast<uint8_t>(status));
    }
}

void write_record(const backplane_record &record)
{
    const uninterrupted writing;
    if (fpga_exist() != 0) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
        for (const uint8_t address : backplane_addresses) {
            report(write_backplane_info(address, bytes, sizeof(record)));
        }
        return;
    }
    SETMAC_TRACE_AS("set_backplane_info", __LINE__, "Set backplane by dfd!\r\n");
    for (const int32_t index : backplane_indexes) {
        report(drv_set_backplane_info(index, &record));
    }
}

} // namespace

int32_t set_backplane_info()
{
    com_write_text("Disconnect your console terminal first ...\r\n");
    unit_list list{};
    if (receive_unit_list(backplane_list, &list) == unit_list_outcome::console_gone) {
        return -1;
    }
    const backplane_record record = build_record(list);
    trace_record(record);
    write_record(record);
    serial_putc_raw(unit_acknowledge);
    return 0;
}
