#include "units/setsn_device.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/byte_order.h"
#include "base/trace.h"
#include "base/uninterrupted.h"
#include "console/com_data_provider.h"
#include "units/common_list.h"

device_list dev_setsn;

namespace {

constexpr uint8_t end_request = 0x03;
constexpr int32_t byte_limit_ms = 100;
constexpr int32_t header_limit_ms = 500;

/** What receiving a list leads to. */
struct received_list {
    bool over;      // the PC has ended the command, or is gone
    int32_t length; // as announced, which may be too long or negative
};

/** Waits for the PC to begin a list; false when it ends the command instead, or is gone. */
bool wait_for_start()
{
    while (!console_is_gone()) {
        const int32_t request = serial_recv(byte_limit_ms);
        if (request == end_request) {
            return false;
        }
        if (request != unit_request) {
            continue;
        }
        SETMAC_TRACE_AS("recv_setsn_info", __LINE__, "Get NAK \r\n");
        serial_putc_raw(unit_acknowledge);
        const int32_t key = serial_recv(header_limit_ms);
        SETMAC_TRACE_AS("recv_setsn_info", __LINE__, "Get key:0x%x 0x%x\r\n",
                        static_cast<unsigned>(key), unit_header);
        if (key == unit_header) {
            return true;
        }
    }
    return false;
}

/** Reads single bytes, each within its limit; false on a time-out, the bytes before it are there.
 */
bool receive_bytes(uint8_t *buffer, int32_t count, uint8_t *sum)
{
    for (int32_t i = 0; i < count; ++i) {
        const int32_t byte = serial_recv(byte_limit_ms);
        if (byte < 0) {
            return false;
        }
        buffer[i] = static_cast<uint8_t>(byte);
        *sum = static_cast<uint8_t>(*sum + byte);
    }
    return true;
}

bool receive_length(int32_t *length)
{
    std::array<uint8_t, 4> bytes{};
    uint8_t not_summed = 0;
    if (!receive_bytes(bytes.data(), bytes.size(), &not_summed)) {
        return false;
    }
    *length = static_cast<int32_t>(load_be32(bytes.data()));
    SETMAC_TRACE_AS("recv_setsn_info", __LINE__, "len:%d %d\r\n", *length,
                    static_cast<int>(sizeof(dev_setsn)));
    return true;
}

/** Receives a list into dev_setsn, again until its checksum, which goes on over them, is right. */
received_list recv_setsn_info()
{
    uint8_t sum = 0;
    while (wait_for_start()) {
        int32_t length = 0;
        if (!receive_length(&length)) {
            continue;
        }
        if (length > static_cast<int32_t>(sizeof(dev_setsn))) {
            return {false, length};
        }
        if (!receive_bytes(reinterpret_cast<uint8_t *>(&dev_setsn), length, &sum)) {
            continue;
        }
        const int32_t checksum = serial_recv(byte_limit_ms);
        SETMAC_TRACE_AS("recv_setsn_info", __LINE__, "chesum:0x%x read:0x%x\r\n", sum,
                        static_cast<unsigned>(checksum));
        if (checksum == sum) {
            return {length == 0, length};
        }
        serial_putc_raw(unit_request);
    }
    return {true, 0};
}

/** Logs one field of an entry, "Tlv set 0 tlv_type 1 ." */
#define TRACE_ENTRY(step, i, field, format, ...)                                                   \
    SETMAC_TRACE_AS("set_device_sn_info", __LINE__, "Tlv %s %d " field " " format " .\r\n", step,  \
                    i, __VA_ARGS__)

void trace_entry(const device_entry &entry, const char *step, int i)
{
    const auto &data = entry.tlv_data;
    TRACE_ENTRY(step, i, "tlv_type", "%d", entry.tlv_type);
    TRACE_ENTRY(step, i, "tlv_len", "%d", entry.tlv_len);
    TRACE_ENTRY(step, i, "tlv_data.index", "%d", data.index);
    TRACE_ENTRY(step, i, "tlv_data.flag", "%d", data.flag);
    TRACE_ENTRY(step, i, "tlv_data.fan_type", "%d", data.fan_type);
    TRACE_ENTRY(step, i, "tlv_data.channel", "%d", data.channel);
    TRACE_ENTRY(step, i, "tlv_data.dev_addr", "%d", data.dev_addr);
    TRACE_ENTRY(step, i, "tlv_data.sn", "%.*s", static_cast<int>(sizeof(data.sn)), data.sn);
    TRACE_ENTRY(step, i, "tlv_data.hw", "%.*s", static_cast<int>(sizeof(data.hw)), data.hw);
    TRACE_ENTRY(step, i, "tlv_data.name", "%.*s", static_cast<int>(sizeof(data.name)), data.name);
    TRACE_ENTRY(step, i, "tlv_data.type", "%02X %02X %02X %02X", data.type[0], data.type[1],
                data.type[2], data.type[3]);
}

/** Logs the list; one that claims more entries than it has is logged up to its last. */
void trace_list(const char *step)
{
    SETMAC_TRACE_AS("set_device_sn_info", __LINE__, "device %s tlv_num %d .\r\n", step,
                    dev_setsn.tlv_num);
    SETMAC_TRACE_AS("set_device_sn_info", __LINE__, "device %s type %d .\r\n", step,
                    dev_setsn.type);
    SETMAC_TRACE_AS("set_device_sn_info", __LINE__, "device %s len %d .\r\n", step, dev_setsn.len);
    for (int i = 0; i < std::min(dev_setsn.tlv_num, max_devices); ++i) {
        trace_entry(dev_setsn.entries[i], step, i);
    }
}

void apply_entry(device_entry *entry)
{
    auto &data = entry->tlv_data;
    if (setsn_device_present(entry) == 0) {
        data.flag = device_absent;
        SETMAC_TRACE_AS("set_device_sn_info", __LINE__, "Device %d is not present. \r\n",
                        data.index);
        return;
    }
    {
        const uninterrupted writing;
        data.flag = static_cast<uint8_t>(setsn_device_set_info(entry));
    }
    if (data.flag != device_set) {
        SETMAC_TRACE_AS("set_device_sn_info", __LINE__, " Device %d set info fail. \r\n",
                        data.index);
        return;
    }
    data.flag = static_cast<uint8_t>(setsn_device_get_info(entry));
    if (data.flag != device_set) {
        SETMAC_TRACE_AS("set_device_sn_info", __LINE__, " Device %d get info fail. \r\n",
                        data.index);
    }
}

/** Applies the received list: 0, or the error byte for the PC. */
uint8_t apply_list(int32_t length)
{
    if (length < 0 || length > static_cast<int32_t>(sizeof(dev_setsn))) {
        return unit_bad_length;
    }
    if (dev_setsn.tlv_num > max_devices) {
        return unit_too_many;
    }
    trace_list("set");
    for (uint8_t i = 0; i < dev_setsn.tlv_num; ++i) {
        apply_entry(&dev_setsn.entries[i]);
    }
    return 0;
}

void answer(uint8_t error, int32_t length)
{
    trace_list("get");
    SETMAC_TRACE_AS("set_device_sn_info", __LINE__, " Send ret:%d \r\n", error);
    if (error != 0) {
        serial_putc_raw(error);
        return;
    }
    std::array<uint8_t, 4> length_bytes{};
    store_be32(length_bytes.data(), static_cast<uint32_t>(length));
    send_unit_list(length_bytes,
                   {reinterpret_cast<const uint8_t *>(&dev_setsn), static_cast<size_t>(length)});
}

} // namespace

int32_t set_device_sn_info()
{
    com_write_text("Disconnect your console terminal first\r\n"
                   " Using your PC Setmac program to perform Set device info Operation ......");
    while (true) {
        dev_setsn = {};
        const received_list received = recv_setsn_info();
        if (received.over) {
            return console_is_gone() ? -1 : 0;
        }
        const uint8_t error = apply_list(received.length);
        answer(error, received.length);
    }
}
