#include "exchange/format_info_payload.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/text.h"
#include "console/com_data_provider.h"

namespace {

constexpr uint8_t echo_follows = 0x06;

} // namespace

bool take_node(byte_reader &in, payload_node *node)
{
    node->name = in.text();
    node->type = in.u8();
    node->value = in.bytes(in.be32());
    return static_cast<bool>(in);
}

std::span<const uint8_t> payload_bytes(const uint8_t *data, int32_t len)
{
    return {data, static_cast<size_t>(std::max(len, 0))};
}

std::string_view serial_text(std::span<const uint8_t> payload)
{
    return text_of(payload.first(std::min(payload.size(), serial_length)));
}

mac_text format_mac(std::span<const uint8_t> value)
{
    std::array<uint8_t, 6> mac{};
    std::copy_n(value.begin(), std::min(value.size(), mac.size()), mac.begin());
    mac_text result{};
    snprintf(result.text, sizeof(result.text), "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1],
             mac[2], mac[3], mac[4], mac[5]);
    return result;
}

void echo_serial(std::string_view serial, size_t count)
{
    serial_putc_raw(echo_follows);
    serial_putc_raw(static_cast<uint8_t>(count));
    serial = first_part(serial, count);
    com_write_text(serial);
    for (size_t sent = serial.size(); sent < count; ++sent) {
        serial_putc_raw(0);
    }
}
