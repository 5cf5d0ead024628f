#include "units/common_bridge.h"

#include <unistd.h>

#include "units/common.h"

namespace {

enum bridge_register : uint32_t {
    bus_register = 0x100,
    channel_register = 0x101,
    address_register = 0x102,
    offset_register = 0x103,
    length_register = 0x104,
    command_register = 0x105,
    status_register = 0x106,
    data_out_register = 0x140,
    data_in_register = 0x180,
};

constexpr uint8_t status_unread = 0xFF;

constexpr int settle_steps = 10;
constexpr useconds_t settle_step_us = 1000;

uint8_t read_status()
{
    uint8_t status = status_unread;
    return fpga_read(status_register, &status) == 0 ? status : status_unread;
}

} // namespace

void bridge_address(const bridge_target &target, uint8_t offset, uint8_t length)
{
    fpga_write(bus_register, target.bus);
    fpga_write(channel_register, target.channel);
    fpga_write(address_register, target.address);
    fpga_write(offset_register, offset);
    fpga_write(length_register, length);
}

void bridge_put(std::span<const uint8_t> data)
{
    uint32_t reg = data_out_register;
    for (const uint8_t byte : data) {
        fpga_write(reg++, byte);
    }
}

void bridge_get(std::span<uint8_t> buffer)
{
    uint32_t reg = data_in_register;
    for (uint8_t &byte : buffer) {
        fpga_read(reg++, &byte);
    }
}

uint8_t bridge_run(bridge_command command, const bridge_timing &timing)
{
    fpga_write(command_register, command);
    if (timing.first_pause_us != 0) {
        usleep(timing.first_pause_us);
    }
    uint8_t status = status_unread;
    for (int32_t poll = 0; poll < timing.polls; ++poll) {
        status = read_status();
        if (status == bridge_done) {
            break;
        }
        usleep(timing.pause_us);
        if (status == bridge_failed && timing.ends_on_failure) {
            break;
        }
    }
    return status;
}

void bridge_settle()
{
    for (int step = 0; step < settle_steps; ++step) {
        usleep(settle_step_us);
    }
}
