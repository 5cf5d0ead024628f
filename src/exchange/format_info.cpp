#include "exchange/format_info.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <string_view>

#include "base/byte_reader.h"
#include "base/text.h"
#include "base/trace.h"
#include "console/com_data_provider.h"
#include "exchange/protocol.h"
#include "store/productinfo.h"

namespace {

constexpr int32_t malformed = -2;
constexpr int32_t empty_skipped_part = 1;

constexpr uint32_t part_header_size = 5;

enum part_flag : uint8_t {
    part_skipped = 1,
    part_of_properties = 2,
};

enum property_type : uint8_t {
    property_text = 1,
    property_binary = 2,
};

constexpr size_t value_text_length = 128;
constexpr size_t binary_bytes_kept = value_text_length / 2;
constexpr size_t serial_length = 63;

/** The marker of the store: while a payload is being applied, and once it has been. */
constexpr std::string_view marker_name = "ProductInfo";
constexpr std::string_view marker_started = "0A0A0A0A";
constexpr std::string_view marker_applied = "0B0EFACE";

struct property {
    std::string_view name;
    uint8_t type;
    std::span<const uint8_t> value;
};

/** The bytes of a payload; a negative length is an empty one. */
std::span<const uint8_t> payload_bytes(const uint8_t *data, int32_t len)
{
    return {data, static_cast<size_t>(std::max(len, 0))};
}

int32_t store_text(const property &entry)
{
    return set_product_info(
        entry.name, text_of(entry.value.first(std::min(entry.value.size(), value_text_length))));
}

int32_t store_hexadecimal(const property &entry)
{
    std::array<char, value_text_length + 1> text{};
    const size_t count = std::min(entry.value.size(), binary_bytes_kept);
    for (size_t i = 0; i < count; ++i) {
        snprintf(text.data() + 2 * i, 3, "%02X", entry.value[i]);
    }
    return set_product_info(entry.name, text.data());
}

int32_t store_mac_address(const property &entry)
{
    std::array<uint8_t, 6> mac{};
    std::copy_n(entry.value.begin(), std::min(entry.value.size(), mac.size()), mac.begin());
    std::array<char, 18> text{};
    snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2],
             mac[3], mac[4], mac[5]);
    return set_product_info("ethaddr", text.data());
}

int32_t store_binary(const property &entry)
{
    if (entry.name == "MacAddress") {
        return store_mac_address(entry);
    }
    return store_hexadecimal(entry);
}

bool is_for_another_board(const property &entry)
{
    return entry.type == property_binary && entry.name == "e2type" &&
           setmac_check_eeprom_type(entry.value.data(),
                                    static_cast<uint32_t>(entry.value.size())) != 0;
}

/** Applies the property nodes of a part. */
int32_t apply_property(std::span<const uint8_t> content)
{
    byte_reader in(content);
    int32_t stored = 0;
    bool met_unknown_type = false;
    // A store that failed stops the walk only in a part that held an unknown type.
    while (!in.at_end() && (stored == 0 || !met_unknown_type)) {
        property entry{};
        entry.name = in.text();
        entry.type = in.u8();
        const uint32_t length = in.be32();
        entry.value = in.bytes(length);
        if (!in) {
            return malformed;
        }
        SETMAC_TRACE_AT(127, "\r\nName:%.*s,Type:%d,Len:%d,Value:%p", TEXT_ARGS(entry.name),
                        entry.type, static_cast<int>(length),
                        static_cast<const void *>(entry.value.data()));
        if (is_for_another_board(entry)) {
            return payload_refused;
        }
        if (entry.type == property_text) {
            stored = store_text(entry);
        } else if (entry.type == property_binary) {
            stored = store_binary(entry);
        } else {
            met_unknown_type = true;
        }
    }
    return in.at_end() ? 0 : malformed;
}

/** Applies the part at the front of `in`. */
int32_t apply_part(byte_reader &in)
{
    const uint8_t flag = in.u8();
    const uint32_t part_length = in.be32();
    if (!in) {
        return malformed;
    }
    const uint32_t content_length = part_length - part_header_size;
    SETMAC_TRACE_AS("apply_data", 490, "\r\nnPartLen:%d", static_cast<int>(content_length));
    const auto content = in.bytes(content_length);
    if (!in || part_length < part_header_size) {
        return malformed;
    }
    if (flag == part_skipped) {
        return content.empty() ? empty_skipped_part : 0;
    }
    if (flag == part_of_properties) {
        return apply_property(content);
    }
    SETMAC_TRACE_AS("apply_data", 501, "\r\nflag error:%d", flag);
    return malformed;
}

/** Sends what is stored of a serial number, filled up with zeros to the `count` bytes that came. */
void echo_serial(std::string_view serial, size_t count)
{
    serial_putc_raw(0x06);
    serial_putc_raw(static_cast<uint8_t>(count));
    serial = first_part(serial, count);
    com_write_complete(reinterpret_cast<const uint8_t *>(serial.data()), serial.size());
    for (size_t sent = serial.size(); sent < count; ++sent) {
        serial_putc_raw(0);
    }
}

} // namespace

int32_t apply_data(const uint8_t *data, int32_t len)
{
    set_product_info(marker_name, marker_started);
    const auto payload = payload_bytes(data, len);
    byte_reader in(payload);
    while (!in.at_end()) {
        SETMAC_TRACE_AT(479, "\r\nFlag at %d Bytes",
                        static_cast<int>(payload.size() - in.remaining()));
        const int32_t result = apply_part(in);
        if (result != 0) {
            return result;
        }
    }
    set_product_info(marker_name, marker_applied);
    const int32_t result = save_product_info();
    if (result != 0) {
        SETMAC_TRACE_AT(511, "\r\nSave product informat to flash error:%d", result);
    }
    return result;
}

int32_t do_set_sn(const uint8_t *data, int32_t len)
{
    const auto payload = payload_bytes(data, len);
    const auto serial = text_of(payload.first(std::min(payload.size(), serial_length)));
    if (set_product_info("SerialNO", serial) != 0) {
        return -2;
    }
    if (save_product_info() != 0) {
        return -3;
    }
    const char *stored = get_product_info("SerialNO");
    if (stored == nullptr) {
        return -4;
    }
    echo_serial(stored, payload.size());
    return 0;
}
