#include <algorithm>
#include <array>

#include "base/byte_order.h"
#include "base/text.h"
#include "base/trace.h"
#include "base/uninterrupted.h"
#include "eeprom/tlv_info.h"
#include "exchange/format_info.h"
#include "exchange/format_info_payload.h"
#include "platform/dev_drv.h"
#include "store/productinfo.h"
#include "units/common.h"

#ifndef SETMAC_ENTERPRISE_NUMBER
#error "the build gives the maker's enterprise number"
#endif

namespace {

constexpr uint8_t part_skipped = 0;

// The CPLD register that write-enables the system EEPROM. The values are given: that of the default
// register to enable leaves all bits but one set, that of a register which a payload names none.
constexpr const char *cpld_device = "/dev/cpld0";
constexpr uint8_t default_enable_register = 0x25;
constexpr uint8_t default_enable = 0xFB;
constexpr uint8_t named_enable = 0x00;
constexpr uint8_t disable = 0xFF;

constexpr int32_t system_eeprom_index = 0;
constexpr int32_t unprotected = 0;
constexpr int32_t write_protected = 1;

/** Bytes of a value being assembled for a record; what does not fit no image has room for either.
 */
class value_builder {
public:
    void add(uint8_t byte) { add(std::span(&byte, 1)); }

    void add(std::span<const uint8_t> more)
    {
        const size_t kept = std::min(more.size(), bytes_.size() - kept_);
        std::copy_n(more.begin(), kept, bytes_.begin() + kept_);
        kept_ += kept;
        size_ += more.size();
    }

    /** The bytes that were kept. */
    std::span<const uint8_t> bytes() const { return std::span(bytes_).first(kept_); }

    /** How many there were to keep. */
    size_t size() const { return size_; }

private:
    std::array<uint8_t, tlv_max_value_length> bytes_{};
    size_t kept_ = 0;
    size_t size_ = 0;
};

/** The vendor extension of the image so far with one more sub-record behind it. */
value_builder extended(uint8_t sub_code, std::span<const uint8_t> value)
{
    value_builder extension;
    int32_t offset = 0;
    if (tlvinfo_find_tlv(g_data_eeprom, tlv_vendor_extension, &offset)) {
        extension.add(tlv_record_at(g_data_eeprom, static_cast<size_t>(offset)).content());
    } else {
        std::array<uint8_t, tlv_enterprise_size> enterprise{};
        store_be32(enterprise.data(), SETMAC_ENTERPRISE_NUMBER);
        extension.add(enterprise);
    }
    // The PC counts the NUL of a text, which is not kept; the bytes of a card type have none.
    if (sub_code != tlv_vx_e2type && !value.empty()) {
        value = value.first(value.size() - 1);
    }
    extension.add(sub_code);
    extension.add(static_cast<uint8_t>(value.size()));
    extension.add(value);
    return extension;
}

/** Puts a record into the image in place of one of its code: 0 or -1. `count` may exceed `value`.
 */
int32_t replace_record(uint8_t code, std::string_view name, std::span<const uint8_t> value,
                       size_t count)
{
    // No code is allowed twice, but the rule is the image's.
    if (!tlvinfo_multiple_tcode_allowed(code) && tlvinfo_delete_tlv(g_data_eeprom, code)) {
        SETMAC_TRACE_AS("tlv_insight_node", __LINE__, "Deleting TLV 0x%x: %.*s\r\n", code,
                        TEXT_ARGS(name));
    }
    std::array<char, tlv_max_value_length + 1> scratch{};
    std::copy_n(value.begin(), std::min(value.size(), tlv_max_value_length), scratch.begin());
    const auto counted = static_cast<int32_t>(std::min(count, scratch.size()));
    if (tlvinfo_add_tlv(g_data_eeprom, code, scratch.data(), counted) == tlv_refused) {
        SETMAC_TRACE_AS("tlv_insight_node", __LINE__, "\r\ntlv info add err");
        return -1;
    }
    SETMAC_TRACE_AS("tlv_insight_node", __LINE__, "Adding   TLV 0x%x: %.*s\r\n", code,
                    TEXT_ARGS(name));
    return 0;
}

int32_t apply_record(uint8_t code, std::string_view name, std::span<const uint8_t> value)
{
    SETMAC_TRACE_AS("tlv_insight_node", __LINE__, "\r\nName:%.*s,Type:%d,Len:%d,Value:%.*s\r\n",
                    TEXT_ARGS(name), code, static_cast<int>(value.size()),
                    TEXT_ARGS(text_of(value)));
    if (!is_pesnl_tlv(code)) {
        return replace_record(code, name, value, value.size());
    }
    const value_builder extension = extended(code, value);
    SETMAC_TRACE_AS("tlv_insight_node", __LINE__, "\r\next node:Value:%.*s",
                    TEXT_ARGS(text_of(extension.bytes())));
    return replace_record(tlv_vendor_extension, name, extension.bytes(), extension.size());
}

/** A MAC address comes as six raw bytes and goes into the image by its text, which is checked. */
int32_t apply_mac_address(const payload_node &node)
{
    const mac_text mac = format_mac(node.value);
    SETMAC_TRACE_AS("tlv_insight_node", __LINE__, "\r\n~~~~%s~~~~", mac.text);
    SETMAC_TRACE_AS("tlv_insight_node", __LINE__, "\r\nmacaddr_tmp is:%s", mac.text);
    const auto *bytes = reinterpret_cast<const uint8_t *>(mac.text);
    return apply_record(tlv_mac_address, node.name, {bytes, sizeof(mac.text)});
}

int32_t apply_node(const payload_node &node)
{
    const uint8_t code = name_to_type(node.name);
    if (code == 0) {
        get_eeprom_writeable_reg(node.name, node.value);
        SETMAC_TRACE_AS("tlv_insight_node", __LINE__,
                        "\r\nThis is invalid node:Name:%.*s,Type:%d,Len:%d,Value:%.*s",
                        TEXT_ARGS(node.name), code, static_cast<int>(node.value.size()),
                        TEXT_ARGS(text_of(node.value)));
        return 0;
    }
    if (code == tlv_vx_e2type) {
        const int32_t checked =
            setmac_check_eeprom_type(node.value.data(), static_cast<uint32_t>(node.value.size()));
        if (checked != 0) {
            return checked;
        }
    }
    if (code == tlv_mac_address) {
        return apply_mac_address(node);
    }
    analy_private_to_onie_code(code, text_of(node.value));
    return apply_record(code, node.name, node.value);
}

int32_t refuse_part_length()
{
    SETMAC_TRACE_AS("tlv_data_apply", __LINE__, "\r\n length err---2\r\n");
    return payload_malformed;
}

/** Applies the part at the front of `in`. */
int32_t apply_tlv_part(byte_reader &in)
{
    const uint8_t flag = in.u8();
    const uint32_t part_length = in.be32();
    if (!in) {
        return refuse_part_length();
    }
    const auto content_length = static_cast<int32_t>(part_length - part_header_size);
    SETMAC_TRACE_AS("tlv_data_apply", __LINE__, "\r\nnPartLen:%d", content_length);
    // A part that runs past the payload is applied as far as it goes, and refused then. The nodes
    // of a part that is shorter than its header are refused for their count.
    const auto content =
        in.bytes(std::min(static_cast<size_t>(std::max(content_length, 0)), in.remaining()));
    const int32_t count = std::min(content_length, static_cast<int32_t>(content.size()));
    if (flag != part_skipped) {
        const int32_t result = tlv_insight_node(content.data(), count);
        if (result != 0) {
            return result;
        }
    }
    return count == content_length && count >= 0 ? 0 : refuse_part_length();
}

void write_cpld(uint8_t enable_register, uint8_t value)
{
    drv_device_write(cpld_device, enable_register, &value, sizeof(value));
}

/**
 * Whether the next start would take the image for a valid one. An EEPROM can hold several CRC
 * records: every edit updates the first of them, and a start looks at the last.
 */
bool image_may_be_programmed(const char *handler)
{
    const bool valid = is_checksum_valid(g_data_eeprom);
    if (!valid) {
        SETMAC_TRACE_AS(handler, __LINE__, "\r\nThe image has no valid CRC record!\r\n");
    }
    return valid;
}

/** Programs the image with the EEPROM's write enable around it; left enabled after a failure. */
int32_t program_enabled()
{
    if (!image_may_be_programmed("tlv_data_apply")) {
        return -1;
    }
    const bool named = eeprom_writeable != 0;
    const uint8_t enable_register = named ? eeprom_writeable : default_enable_register;
    SETMAC_TRACE_AS("tlv_data_apply", __LINE__, "\r\nwrite enable reg:[0x%x]!\r\n",
                    eeprom_writeable);
    if (named) {
        SETMAC_TRACE_AS("tlv_data_apply", __LINE__, "\r\nwrite enable:[0x%x]!\r\n",
                        enable_register);
    } else {
        SETMAC_TRACE_AS("tlv_data_apply", __LINE__, "\r\nwrite enable[0x%x]!\r\n", enable_register);
    }
    const uninterrupted writing;
    write_cpld(enable_register, named ? named_enable : default_enable);
    if (prog_eeprom(g_data_eeprom) != 0) {
        SETMAC_TRACE_AS("tlv_data_apply", __LINE__, "\r\nprog err!\r\n");
        return -1;
    }
    SETMAC_TRACE_AS("tlv_data_apply", __LINE__, "\r\nSave to ram OK\r\n");
    write_cpld(enable_register, disable);
    return 0;
}

/**
 * Echoes the serial number that the image holds, byte by byte: the record of an EEPROM that has two
 * of them may hold a NUL.
 */
void echo_stored_serial(size_t count)
{
    int32_t offset = 0;
    tlv_record record{};
    if (tlvinfo_find_tlv(g_data_eeprom, tlv_serial_number, &offset)) {
        record = tlv_record_at(g_data_eeprom, static_cast<size_t>(offset));
    }
    const auto serial = record.content();
    echo_serial({reinterpret_cast<const char *>(serial.data()), serial.size()}, count);
}

/** Programs the image with the driver library's protection lifted; it stays so after a failure. */
int32_t program_unprotected()
{
    const uninterrupted writing;
    drv_set_e2_wr_pro(system_eeprom_index, unprotected);
    if (prog_eeprom(g_data_eeprom) != 0) {
        return -1;
    }
    drv_set_e2_wr_pro(system_eeprom_index, write_protected);
    return 0;
}

} // namespace

int32_t tlv_insight_node(const uint8_t *nodes, int32_t count)
{
    byte_reader in(payload_bytes(nodes, count));
    while (!in.at_end()) {
        payload_node node{};
        if (!take_node(in, &node)) {
            break;
        }
        const int32_t result = apply_node(node);
        if (result != 0) {
            return result;
        }
    }
    if (!in || count < 0) {
        SETMAC_TRACE("\r\n length err\r\n");
        return payload_malformed;
    }
    return 0;
}

int32_t tlv_data_apply(const uint8_t *data, int32_t len)
{
    set_product_info(product_info_marker, product_info_incomplete);
    e2prom_value_default_init(g_data_eeprom);
    const auto payload = payload_bytes(data, len);
    byte_reader in(payload);
    while (!in.at_end()) {
        SETMAC_TRACE("\r\nFlag at %d Bytes", static_cast<int>(payload.size() - in.remaining()));
        const int32_t result = apply_tlv_part(in);
        if (result != 0) {
            return result;
        }
    }
    set_product_info(product_info_marker, product_info_complete);
    show_eeprom(g_data_eeprom);
    return program_enabled();
}

int32_t tlv_set_sn(const uint8_t *data, int32_t len)
{
    const auto payload = payload_bytes(data, len);
    std::array<char, serial_length + 1> serial{};
    const auto kept = payload.first(std::min(payload.size(), serial_length));
    std::copy(kept.begin(), kept.end(), serial.begin());
    if (!tlvinfo_delete_tlv(g_data_eeprom, tlv_serial_number)) {
        return -1;
    }
    if (tlvinfo_add_tlv(g_data_eeprom, tlv_serial_number, serial.data(),
                        static_cast<int32_t>(kept.size())) == tlv_refused) {
        return -2;
    }
    if (!image_may_be_programmed("tlv_set_sn")) {
        return -3;
    }
    dev_drv_init();
    if (program_unprotected() != 0) {
        return -3;
    }
    echo_stored_serial(payload.size());
    return 0;
}
