#include "units/common_backplane.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "console/com_data_provider.h"
#include "units/common.h"
#include "units/common_bridge.h"

int32_t debug = 0;

namespace {

// Write control of the backplane EEPROMs: the one value before a write, the other after it.
constexpr uint32_t backplane_write_register = 0x00C;
constexpr uint8_t backplane_writable = 0;
constexpr uint8_t backplane_protected = 3;

constexpr uint8_t backplane_bus = 4;
constexpr int32_t backplane_transfer_size = 8;

constexpr bridge_timing backplane_timing = {
    .first_pause_us = 80, .polls = 5000, .pause_us = 100, .ends_on_failure = true};

bridge_target backplane_target(uint8_t address)
{
    const uint8_t channel = address == backplane_addresses[0] ? 0 : 1;
    return {.bus = backplane_bus, .channel = channel, .address = address};
}

bool is_one_transfer(int32_t length)
{
    return length >= 0 && length <= backplane_transfer_size;
}

/** Does `transfer` (offset, length) for each 8 bytes of `length`, until one gives a status. */
template <typename operation>
int32_t in_transfers(int32_t length, operation transfer)
{
    if (length < 0) {
        return -1;
    }
    int32_t offset = 0;
    int32_t status = 0;
    do {
        const int32_t chunk = std::min(length - offset, backplane_transfer_size);
        status = transfer(offset, chunk);
        offset += chunk;
    } while (status == 0 && offset < length);
    return status;
}

/** Prints while debugging, to a console that is raw and may be stalled. */
[[gnu::format(printf, 1, 2)]] void show(const char *format, ...)
{
    if (debug == 0) {
        return;
    }
    const waiting_output output;
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
}

} // namespace

int32_t _write_blckplane_info(uint8_t address, uint8_t offset, const uint8_t *data, int32_t length)
{
    if (!is_one_transfer(length)) {
        return -1;
    }
    const bridge_target target = backplane_target(address);
    fpga_write(backplane_write_register, backplane_writable);
    bridge_address(target, offset, static_cast<uint8_t>(length));
    show("<Writing...>channel:[0x%x], eeprom_addr:[0x%x], offset:[0x%x],len:[0x%x]\n",
         target.channel, address, offset, static_cast<unsigned>(length));
    bridge_put({data, static_cast<size_t>(length)});
    const uint8_t status = bridge_run(bridge_write, backplane_timing);
    if (status == bridge_done) {
        bridge_settle();
    }
    fpga_write(backplane_write_register, backplane_protected);
    return status;
}

int32_t _read_blckplane_info(uint8_t address, uint8_t offset, uint8_t *buffer, int32_t length)
{
    if (!is_one_transfer(length)) {
        return -1;
    }
    const bridge_target target = backplane_target(address);
    const std::span bytes(buffer, static_cast<size_t>(length));
    bridge_address(target, offset, static_cast<uint8_t>(length));
    show("<read...>channel:[0x%x], eeprom_addr:[0x%x], offset:[0x%x],len:[0x%x]", target.channel,
         address, offset, static_cast<unsigned>(length));
    const uint8_t status = bridge_run(bridge_read, backplane_timing);
    bridge_get(bytes);
    for (const uint8_t byte : bytes) {
        show("get:0x%02x ", byte);
    }
    show("\n");
    return status;
}

int32_t write_backplane_info(uint8_t address, const uint8_t *data, int32_t length)
{
    return in_transfers(length, [=](int32_t offset, int32_t chunk) {
        return _write_blckplane_info(address, static_cast<uint8_t>(offset), data + offset, chunk);
    });
}

int32_t read_backplane_info(uint8_t address, uint8_t *buffer, int32_t length)
{
    return in_transfers(length, [=](int32_t offset, int32_t chunk) {
        return _read_blckplane_info(address, static_cast<uint8_t>(offset), buffer + offset, chunk);
    });
}
