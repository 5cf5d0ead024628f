#include "units/set_power_sn.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "base/text.h"
#include "base/trace.h"
#include "base/uninterrupted.h"
#include "console/com_data_provider.h"
#include "units/common.h"
#include "units/common_bridge.h"
#include "units/common_list.h"

namespace {

constexpr unit_list_kind power_list = {.start = unit_request, .counted = false, .max_length = 250};
constexpr uint8_t power_element = 5;
constexpr size_t max_powers = 8;

constexpr uint8_t power_bus = 4;

// Of supplies a failed status does not end the wait. Why is not known: we assume that one can show
// while a supply takes a block.
constexpr bridge_timing power_timing = {
    .first_pause_us = 0, .polls = 5000, .pause_us = 100, .ends_on_failure = false};

// Presence: a register for each channel, a bit for each address.
constexpr uint32_t presence_register = 0x1B;
constexpr uint8_t first_address = 0x58;

constexpr uint8_t mfr_revision = 0x9B;
constexpr uint8_t mfr_serial = 0x9E;
constexpr uint8_t revision_size = 4;
constexpr uint8_t serial_size = 15;
constexpr size_t serial_kept = 13;

std::array<power_record, max_powers> power_info;

bool is_present(const power_record &power)
{
    uint8_t present = 0;
    fpga_read(presence_register + power.channel, &present);
    const uint32_t bit = static_cast<uint32_t>(power.dev_addr - first_address) % 32;
    return (present >> bit & 1U) != 0;
}

/** A block of `size` bytes behind its count, for a supply. */
power_command block_for(const power_record &power, uint8_t command, uint8_t size)
{
    power_command block{};
    block.command = command;
    block.channel = power.channel;
    block.address = power.dev_addr;
    block.length = static_cast<uint8_t>(size + 1);
    return block;
}

bool write_revision(const power_record &power)
{
    power_command block = block_for(power, mfr_revision, revision_size);
    block.data[0] = revision_size;
    memcpy(block.data + 1, power.hw, revision_size);
    return pwr_cmd_write(&block) == 0;
}

/**
 * The serial block is a text that begins at the serial field: one of 14 characters, which fills the
 * field, goes on with the first character of the revision behind it.
 */
bool write_serial(const power_record &power)
{
    power_command block = block_for(power, mfr_serial, serial_size);
    block.data[0] = serial_size;
    std::array<uint8_t, serial_size> field{};
    std::copy(std::begin(power.sn), std::end(power.sn), field.begin());
    field.back() = static_cast<uint8_t>(power.hw[0]);
    const auto text = text_of(field);
    std::copy(text.begin(), text.end(), block.data + 1);
    return pwr_cmd_write(&block) == 0;
}

bool read_revision(power_record *power)
{
    power_command block = block_for(*power, mfr_revision, revision_size);
    if (pwr_cmd_read(&block) != 0) {
        return false;
    }
    memcpy(power->hw, block.data + 1, revision_size);
    return true;
}

bool read_serial(power_record *power)
{
    power_command block = block_for(*power, mfr_serial, serial_size);
    if (pwr_cmd_read(&block) != 0) {
        return false;
    }
    memset(power->sn, 0, sizeof(power->sn));
    const auto text = text_of(std::span(block.data).subspan(1, serial_kept));
    std::copy(text.begin(), text.end(), power->sn);
    return true;
}

bool write_identity(const power_record &power)
{
    const uninterrupted writing;
    return write_revision(power) && write_serial(power);
}

/** Logs the fields of a record; `step` is "set" or "get". */
void trace_power(const power_record &power, const char *step)
{
    SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power %s index %d. \r\n", step, power.index);
    SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power %s channel %d. \r\n", step, power.channel);
    SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power %s dev addr %d. \r\n", step, power.dev_addr);
    SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power %s sn %.*s. \r\n", step,
                    static_cast<int>(sizeof(power.sn)), power.sn);
    SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power %s hw %.*s. \r\n", step,
                    static_cast<int>(sizeof(power.hw)), power.hw);
    SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power %s flag %d. \r\n", step, power.flag);
}

/** Programs a supply and keeps the outcome in its record; `number` counts from 1. */
void program_power(power_record *power, int number)
{
    if (!is_present(*power)) {
        power->flag = power_absent;
        SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power %d is not present. \r\n", number);
        return;
    }
    if (!write_identity(*power)) {
        SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power %d set info fail. \r\n", number);
        power->flag = power_write_failed;
        return;
    }
    const bool revision_read = read_revision(power);
    const bool serial_read = read_serial(power);
    if (!revision_read || !serial_read) {
        SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power %d get info fail. \r\n", number);
        power->flag = power_read_failed;
    }
    trace_power(*power, "get");
}

/** Copies the records into their slots; false at the first that is missing or none. */
bool take_records(const unit_list &list, size_t count)
{
    for (size_t k = 0; k < count; ++k) {
        power_info[k] = {};
        const auto element = unit_element(list, k, power_element);
        if (element.empty()) {
            SETMAC_TRACE_AS("set_pwr_info", __LINE__, "Power has invalid data in %d. \r\n",
                            static_cast<int>(k));
            return false;
        }
        memcpy(&power_info[k], element.data(), sizeof(power_record));
    }
    return true;
}

int32_t refuse(unit_reply error)
{
    serial_putc_raw(error);
    return error;
}

/** Sets the registers of a command. */
void address_command(const power_command &block)
{
    bridge_address({.bus = power_bus, .channel = block.channel, .address = block.address},
                   block.command, block.length);
}

} // namespace

int32_t set_pwr_info()
{
    com_write_text("Disconnect your console terminal first\r\n"
                   " Using your PC SetPowerSn program to perform SetPowerSn Operation ......");
    unit_list list{};
    const unit_list_outcome outcome = receive_unit_list(power_list, &list);
    if (outcome != unit_list_outcome::received) {
        return outcome == unit_list_outcome::console_gone ? -1 : unit_bad_length;
    }
    const size_t count = list.bytes[0];
    if (count > max_powers) {
        return refuse(unit_too_many);
    }
    SETMAC_TRACE("Set %d powers. \r\n", static_cast<int>(count));
    if (!take_records(list, count)) {
        return refuse(unit_bad_power_element);
    }
    const std::span powers = std::span(power_info).first(count);
    for (const power_record &power : powers) {
        trace_power(power, "set");
    }
    int number = 0;
    for (power_record &power : powers) {
        program_power(&power, ++number);
    }
    send_unit_records(power_element, reinterpret_cast<const uint8_t *>(power_info.data()), count);
    return 0;
}

int32_t pwr_cmd_write(const power_command *block)
{
    address_command(*block);
    bridge_put(std::span(block->data).first(std::min<size_t>(block->length, sizeof(block->data))));
    return bridge_run(bridge_write, power_timing) == bridge_done ? 0 : 1;
}

int32_t pwr_cmd_read(power_command *block)
{
    address_command(*block);
    if (bridge_run(bridge_read, power_timing) != bridge_done) {
        return 1;
    }
    bridge_get(std::span(block->data).first(std::min<size_t>(block->length, sizeof(block->data))));
    return 0;
}
