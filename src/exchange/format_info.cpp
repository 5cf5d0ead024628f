#include "exchange/format_info.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>

#include "base/text.h"
#include "base/trace.h"
#include "exchange/format_info_payload.h"
#include "exchange/protocol.h"
#include "store/productinfo.h"

namespace {

constexpr int32_t empty_skipped_part = 1;

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

int32_t store_text(const payload_node &entry)
{
    return set_product_info(
        entry.name, text_of(entry.value.first(std::min(entry.value.size(), value_text_length))));
}

int32_t store_hexadecimal(const payload_node &entry)
{
    std::array<char, value_text_length + 1> text{};
    const size_t count = std::min(entry.value.size(), binary_bytes_kept);
    for (size_t i = 0; i < count; ++i) {
        snprintf(text.data() + 2 * i, 3, "%02X", entry.value[i]);
    }
    return set_product_info(entry.name, text.data());
}

int32_t store_binary(const payload_node &entry)
{
    if (entry.name == "MacAddress") {
        return set_product_info("ethaddr", format_mac(entry.value).text);
    }
    return store_hexadecimal(entry);
}

bool is_for_another_board(const payload_node &entry)
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
        payload_node entry{};
        if (!take_node(in, &entry)) {
            return payload_malformed;
        }
        SETMAC_TRACE_AS("apply_property", 127, "\r\nName:%.*s,Type:%d,Len:%d,Value:%p",
                        TEXT_ARGS(entry.name), entry.type, static_cast<int>(entry.value.size()),
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
    return in.at_end() ? 0 : payload_malformed;
}

/** Applies the part at the front of `in`. */
int32_t apply_part(byte_reader &in)
{
    const uint8_t flag = in.u8();
    const uint32_t part_length = in.be32();
    const uint32_t content_length = part_length - part_header_size;
    if (in) {
        SETMAC_TRACE_AS("apply_data", 490, "\r\nnPartLen:%d", static_cast<int>(content_length));
    }
    if (flag != part_skipped && flag != part_of_properties) {
        SETMAC_TRACE_AS("apply_data", 501, "\r\nflag error:%d", flag);
        return payload_malformed;
    }
    const auto content = in.bytes(content_length);
    if (!in || part_length < part_header_size) {
        return payload_malformed;
    }
    if (flag == part_skipped) {
        return content.empty() ? empty_skipped_part : 0;
    }
    return apply_property(content);
}

} // namespace

int32_t apply_data(const uint8_t *data, int32_t len)
{
    set_product_info(product_info_marker, product_info_incomplete);
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
    set_product_info(product_info_marker, product_info_complete);
    const int32_t result = save_product_info();
    if (result != 0) {
        SETMAC_TRACE_AT(511, "\r\nSave product informat to flash error:%d", result);
    }
    return result;
}

int32_t do_set_sn(const uint8_t *data, int32_t len)
{
    const auto payload = payload_bytes(data, len);
    if (set_product_info("SerialNO", serial_text(payload)) != 0) {
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
