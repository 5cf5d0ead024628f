#include "units/set_fan_sn.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "base/text.h"
#include "base/trace.h"
#include "base/uninterrupted.h"
#include "console/com_data_provider.h"
#include "units/common_bridge.h"
#include "units/common_list.h"

namespace {

constexpr unit_list_kind fan_list = {.start = unit_request, .counted = false, .max_length = 250};
constexpr uint8_t fan_list_mark = 3;
constexpr uint8_t fan_element = 4;
constexpr size_t max_fans = 10;

// The units on the bridge. The EEPROMs of fans have a write protection of their own beside them.
constexpr uint8_t fan_bus = 3;
constexpr uint8_t fan_address = 0x56;
constexpr uint8_t poe_bus = 4;
constexpr uint8_t poe_address = 0x52;
constexpr uint8_t protect_address = 0x68;
constexpr uint8_t protect_offset = 0x0E;
constexpr uint8_t protect_lifted = 0;
constexpr uint8_t protect_set = 1;

// Writes of EEPROMs, and all other transfers.
constexpr bridge_timing write_timing = {
    .first_pause_us = 0, .polls = 600, .pause_us = 1000, .ends_on_failure = true};
constexpr bridge_timing read_and_protect_timing = {
    .first_pause_us = 0, .polls = 5000, .pause_us = 100, .ends_on_failure = true};

// The image of an identity EEPROM, written in two transfers.
constexpr size_t identity_size = 16;
constexpr uint8_t identity_half = 8;
constexpr size_t serial_at = 1;
constexpr size_t serial_size = 13;
constexpr size_t version_at = 14;

using identity = std::array<uint8_t, identity_size>;

std::array<fan_record, max_fans> fan_info;

bridge_target unit_target(int32_t mode, uint8_t channel)
{
    if (mode == mode_poe) {
        return {.bus = poe_bus, .channel = channel, .address = poe_address};
    }
    return {.bus = fan_bus, .channel = channel, .address = fan_address};
}

uint8_t swap_nibbles(uint8_t byte)
{
    return static_cast<uint8_t>(byte << 4 | byte >> 4);
}

identity build_identity(const fan_record &record)
{
    identity image{};
    image[0] = record.type;
    std::copy_n(record.sn, serial_size, image.begin() + serial_at);
    const char digits[] = {record.hw[0], record.hw[2], record.hw[3], '\0'};
    const auto version = static_cast<uint16_t>(strtol(digits, nullptr, 16));
    image[version_at] = static_cast<uint8_t>(version >> 8);
    image[version_at + 1] = swap_nibbles(static_cast<uint8_t>(version));
    return image;
}

/** Programs a unit and keeps the outcome in its record. */
void program_unit(int32_t mode, fan_record *record)
{
    const identity image = build_identity(*record);
    const uninterrupted writing;
    int32_t status = _write_fan_serial(mode, record->channel, 0, image.data(), identity_half);
    if (status == 0) {
        status = _write_fan_serial(mode, record->channel, identity_half,
                                   image.data() + identity_half, identity_half);
    }
    record->flag = static_cast<uint8_t>(status);
}

void trace_unit(const fan_record &record)
{
    SETMAC_TRACE_AS("set_fanpoe_info", __LINE__, "Fan index %d\r\n", record.index);
    SETMAC_TRACE_AS("set_fanpoe_info", __LINE__, "Fan flag %d\r\n", record.flag);
    SETMAC_TRACE_AS("set_fanpoe_info", __LINE__, "Fan type %d\r\n", record.type);
    SETMAC_TRACE_AS("set_fanpoe_info", __LINE__, "Fan channel %d\r\n", record.channel);
    SETMAC_TRACE_AS("set_fanpoe_info", __LINE__, "Fan sn %.*s\r\n",
                    static_cast<int>(sizeof(record.sn)), record.sn);
    SETMAC_TRACE_AS("set_fanpoe_info", __LINE__, "Fan hw %.*s\r\n",
                    static_cast<int>(sizeof(record.hw)), record.hw);
}

/** The records that are there, which may be fewer than the list says. */
size_t unit_count(const unit_list &list)
{
    const size_t received = list.length < unit_list_header_size
                                ? 0
                                : (list.length - unit_list_header_size) / unit_element_size;
    return std::min({size_t{list.bytes[0]}, received, max_fans});
}

/** Copies the records into their slots; false at the first that is none. */
bool take_records(const unit_list &list, size_t count)
{
    for (size_t k = 0; k < count; ++k) {
        fan_info[k] = {};
        const auto element = unit_element(list, k, fan_element);
        if (element.empty()) {
            return false;
        }
        memcpy(&fan_info[k], element.data(), sizeof(fan_record));
    }
    return true;
}

void print_banner(int32_t mode)
{
    com_write_text("Disconnect your console terminal first\r\n");
    com_write_text(mode == mode_poe
                       ? " Using your PC SetPOESn program to perform SetPOESn Operation ......"
                       : " Using your PC SetFanSn program to perform SetFanSn Operation ......");
}

bool read_identity(int32_t mode, uint8_t channel, identity *image)
{
    return _read_fan_serial(mode, channel, 0, image->data(), identity_half) == 0 &&
           _read_fan_serial(mode, channel, identity_half, image->data() + identity_half,
                            identity_half) == 0;
}

} // namespace

int32_t set_fan_info()
{
    return set_fanpoe_info(mode_fans);
}

int32_t set_poe_info()
{
    return set_fanpoe_info(mode_poe);
}

int32_t set_fanpoe_info(int32_t mode)
{
    print_banner(mode);
    unit_list list{};
    const unit_list_outcome outcome = receive_unit_list(fan_list, &list);
    if (outcome != unit_list_outcome::received) {
        return outcome == unit_list_outcome::console_gone ? -1 : 0;
    }
    if (list.bytes[1] != fan_list_mark) {
        serial_putc_raw(unit_bad_mark);
        return 0;
    }
    const size_t count = unit_count(list);
    if (!take_records(list, count)) {
        serial_putc_raw(unit_bad_fan_element);
        return 0;
    }
    const std::span units = std::span(fan_info).first(count);
    for (const fan_record &unit : units) {
        trace_unit(unit);
    }
    for (fan_record &unit : units) {
        program_unit(mode, &unit);
    }
    send_unit_records(fan_element, reinterpret_cast<const uint8_t *>(fan_info.data()), count);
    return 0;
}

int32_t _write_fan_serial(int32_t mode, uint8_t channel, uint8_t offset, const uint8_t *data,
                          uint8_t length)
{
    const bool has_protection = mode == mode_fans;
    if (has_protection) {
        write_protect(protect_lifted, channel);
    }
    bridge_address(unit_target(mode, channel), offset, length);
    bridge_put({data, length});
    const uint8_t status = bridge_run(bridge_write, write_timing);
    if (status == bridge_done) {
        bridge_settle();
    }
    if (has_protection) {
        write_protect(protect_set, channel);
    }
    return status;
}

int32_t _read_fan_serial(int32_t mode, uint8_t channel, uint8_t offset, uint8_t *buffer,
                         uint8_t length)
{
    bridge_address(unit_target(mode, channel), offset, length);
    if (bridge_run(bridge_read, read_and_protect_timing) != bridge_done) {
        return 1;
    }
    bridge_get({buffer, length});
    return 0;
}

int32_t write_protect(uint8_t value, uint8_t channel)
{
    bridge_address({.bus = fan_bus, .channel = channel, .address = protect_address}, protect_offset,
                   sizeof(value));
    bridge_put({&value, sizeof(value)});
    return bridge_run(bridge_write, read_and_protect_timing) == bridge_done ? 0 : 1;
}

int32_t print_fan_sn_info(int32_t mode)
{
    for (uint8_t unit = 0; unit < max_fans; ++unit) {
        identity image{};
        read_identity(mode, unit, &image);
        const auto serial = text_of(std::span(image).subspan(serial_at, serial_size));
        SETMAC_TRACE("%s%d information...\r\n", mode == mode_poe ? "POE" : "FAN", unit + 1);
        SETMAC_TRACE("  Model            : 0x%x\r\n", image[0]);
        SETMAC_TRACE("  Serial Nummber   : %.*s\r\n", TEXT_ARGS(serial));
        SETMAC_TRACE("  Hardware Version : %x%s%x\r\n\r\n", image[version_at], ".",
                     swap_nibbles(image[version_at + 1]));
    }
    return 0;
}
