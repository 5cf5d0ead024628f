#include "exchange/format_info.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/text.h"
#include "base/trace.h"
#include "eeprom/e2prom.h"
#include "eeprom/tlv_info.h"

uint8_t eeprom_writeable = 0;

namespace {

// "1.00" at the longest: a device version of one character, a label revision of two.
constexpr size_t hardware_version_length = 4;

// With "x86-64-" before it and "-v1" behind it, 28 characters.
constexpr size_t product_model_length = 18;
constexpr size_t platform_name_size = 32;
constexpr int platform_version = 1;

void delete_record(uint8_t code, const char *name)
{
    if (tlvinfo_delete_tlv(g_data_eeprom, code)) {
        SETMAC_TRACE_AS("analy_private_to_onie_code", __LINE__, "\r\nDeleting TLV 0x%x: %s", code,
                        name);
    }
}

/** Adds a record, false when it is refused. One for which there is no room counts as added. */
bool add_record(uint8_t code, const char *name, const char *text)
{
    if (tlvinfo_add_tlv(g_data_eeprom, code, text, 0) == tlv_refused) {
        SETMAC_TRACE_AS("analy_private_to_onie_code", __LINE__, "\r\n%s tlv info add err", name);
        return false;
    }
    SETMAC_TRACE_AS("analy_private_to_onie_code", __LINE__, "\r\nAdding   TLV 0x%x: %s", code,
                    name);
    return true;
}

void derive_from_hardware_version(std::string_view value)
{
    if (value.size() > hardware_version_length) {
        SETMAC_TRACE_AS("analy_private_to_onie_code", __LINE__,
                        "\r\nHardware Version length misfit.");
        return;
    }
    std::array<char, hardware_version_length + 1> text{};
    std::copy(value.begin(), value.end(), text.begin());
    // The version character and behind it, in one text, the label. The device version is the number
    // of both on purpose: 1.00 is 100.
    std::array<char, 4> version_and_label{};
    char *label = version_and_label.data() + 1;
    if (sscanf(text.data(), "%c.%2s", version_and_label.data(), label) != 2) {
        SETMAC_TRACE_AS("analy_private_to_onie_code", __LINE__,
                        "\r\nHardware Version format wrong.");
        return;
    }
    SETMAC_TRACE_AS("analy_private_to_onie_code", __LINE__,
                    "\r\ndevice version is:%d, label revision is:%s.", version_and_label[0], label);
    delete_record(tlv_device_version, "device version");
    delete_record(tlv_label_revision, "label revision");
    if (add_record(tlv_device_version, "device version", version_and_label.data())) {
        add_record(tlv_label_revision, "label revision", label);
    }
}

void derive_from_product_model(std::string_view value)
{
    if (value.size() > product_model_length) {
        SETMAC_TRACE_AS("analy_private_to_onie_code", __LINE__, "\r\nproduct name length misfit.");
        return;
    }
    delete_record(tlv_platform_name, "platform name");
    std::array<char, platform_name_size> text{};
    snprintf(text.data(), text.size(), "x86-64-%.*s-v%d", TEXT_ARGS(value), platform_version);
    add_record(tlv_platform_name, "platform name", text.data());
}

} // namespace

void analy_private_to_onie_code(uint8_t code, std::string_view value)
{
    if (code == tlv_vx_hardware_version) {
        derive_from_hardware_version(value);
    } else if (code == tlv_product_model) {
        derive_from_product_model(value);
    }
}

void get_eeprom_writeable_reg(std::string_view name, std::span<const uint8_t> value)
{
    if (name == "e2_write_en_reg" && !value.empty()) {
        eeprom_writeable = value.front();
        SETMAC_TRACE("\r\nget e2 write writeable reg:0x%x", eeprom_writeable);
    }
}

int32_t setmac_check_eeprom_type(const uint8_t *bytes, uint32_t count)
{
    if (count > sizeof(uint32_t)) {
        return -1;
    }
    const int32_t card_type = setmac_get_my_card_type();
    if (card_type < 0) {
        SETMAC_TRACE("\r\nError eeprom read type:%d", card_type);
        return -1;
    }
    if (card_type == 0) {
        SETMAC_TRACE("\r\nSkip eeprom check.");
        return 0;
    }
    uint32_t wanted = 0;
    for (uint32_t i = 0; i < count; ++i) {
        wanted = wanted << 8 | bytes[i];
    }
    SETMAC_TRACE("\r\nCheck eeprom type, read:%u, check:%u ", static_cast<uint32_t>(card_type),
                 wanted);
    return static_cast<uint32_t>(card_type) == wanted ? 0 : -1;
}
