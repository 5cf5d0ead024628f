#include "eeprom/e2prom.h"

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/descriptor.h"
#include "base/trace.h"

namespace {

constexpr int transfer_attempts = 5;
constexpr int32_t e2prom_size = 256;
constexpr int32_t page_size = 8;

/** The EEPROM's write cycle, and the pause before a transfer is tried again. */
constexpr useconds_t settle_us = 10000;

int32_t transfer(int bus, i2c_msg (&messages)[2])
{
    i2c_rdwr_ioctl_data request{.msgs = messages, .nmsgs = 2};
    return ioctl(bus, I2C_RDWR, &request);
}

/** Repeats `attempt` until its result is not negative, five times at most. The last result. */
template <typename operation>
int32_t with_retries(operation attempt)
{
    int32_t result = -1;
    for (int i = 0; i < transfer_attempts && result < 0; ++i) {
        result = attempt();
        if (result < 0) {
            usleep(settle_us);
        }
    }
    return result;
}

} // namespace

int32_t sdd_read_i2c_one_time(const char *device, uint16_t address, uint16_t offset,
                              uint8_t *buffer, uint16_t length, int32_t two_byte_offset)
{
    if (device == nullptr || buffer == nullptr) {
        return -1;
    }
    const descriptor bus(open(device, O_RDWR));
    if (!bus) {
        return bus.get();
    }
    const auto low = static_cast<uint8_t>(offset);
    uint8_t word_address[2] = {low, 0};
    i2c_msg messages[2] = {
        {.addr = address, .flags = 0, .len = 1, .buf = word_address},
        {.addr = address, .flags = I2C_M_RD, .len = length, .buf = buffer},
    };
    if (two_byte_offset != 0) {
        word_address[0] = static_cast<uint8_t>(offset >> 8);
        word_address[1] = low;
        messages[0].len = 2;
        messages[0].flags = I2C_M_TEN;
    }
    return transfer(bus.get(), messages);
}

int32_t sdd_read_i2c(const char *device, uint16_t address, uint16_t offset, uint8_t *buffer,
                     uint16_t length)
{
    return with_retries(
        [=] { return sdd_read_i2c_one_time(device, address, offset, buffer, length, 0); });
}

int32_t sdd_write_i2c_one_time(const char *device, uint16_t address, uint16_t offset,
                               const uint8_t *data, int32_t length)
{
    if (device == nullptr || data == nullptr || length > e2prom_size) {
        return -1;
    }
    if (length <= 0) {
        return length;
    }
    const descriptor bus(open(device, O_RDWR | O_SYNC));
    if (!bus) {
        return bus.get();
    }
    uint8_t word_address = static_cast<uint8_t>(offset);
    uint8_t content[e2prom_size] = {};
    memcpy(content, data, static_cast<size_t>(length));
    // The second message goes on without a new start: on the bus both are one write.
    i2c_msg messages[2] = {
        {.addr = address, .flags = 0, .len = 1, .buf = &word_address},
        {.addr = address,
         .flags = I2C_M_NOSTART,
         .len = static_cast<uint16_t>(length),
         .buf = content},
    };
    return transfer(bus.get(), messages);
}

int32_t dfd_read_e2prom(const char *device, uint16_t address, uint16_t offset, uint8_t *buffer,
                        uint16_t length)
{
    if (length == 0) {
        return 0;
    }
    const int32_t result = sdd_read_i2c(device, address, offset, buffer, length);
    if (result < 0) {
        SETMAC_TRACE("Failed to get e2prom info: dev %s 0x%02x, offset: %d(ret %d)\r\n", device,
                     address, offset, result);
        return result;
    }
    return 0;
}

int32_t dfd_write_e2prom(const char *device, uint16_t address, uint16_t offset, const uint8_t *data,
                         int32_t length)
{
    while (length > 0) {
        // A write that ran over the end of a page would go on at the page's start.
        const int32_t chunk = std::min(length, page_size - offset % page_size);
        const int32_t result = with_retries(
            [=] { return sdd_write_i2c_one_time(device, address, offset, data, chunk); });
        if (result < 0) {
            SETMAC_TRACE("Failed to get e2prom info: dev %s 0x%02x, offset: %d(ret %d)\r\n", device,
                         address, offset, result);
            return result;
        }
        offset = static_cast<uint16_t>(offset + chunk);
        data += chunk;
        length -= chunk;
        usleep(settle_us);
    }
    return 0;
}
