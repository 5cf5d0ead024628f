#include <array>
#include <cstring>

#include "base/byte_order.h"
#include "base/trace.h"
#include "platform/dev_drv.h"
#include "units/setsn_device.h"

// What differs between the kinds of devices: how the driver library tells of, takes and gives back
// the identity of each.

int32_t setdevice_zk80chassis = 0;

namespace {

constexpr uint32_t type_not_asked = 0xFFFFFFFF;

uint32_t expected_type(const device_entry &entry)
{
    return load_be32(entry.tlv_data.type);
}

int32_t outcome_of(int32_t library_result)
{
    return library_result == 0 ? device_set : device_refused;
}

int32_t device_fan_set_info(const device_entry &entry)
{
    const auto &data = entry.tlv_data;
    const bool typed_by_pc = setdevice_zk80chassis != 0;
    const uint32_t fitted =
        typed_by_pc ? type_not_asked : static_cast<uint32_t>(drv_get_fan_type(data.index));
    uint32_t expected = expected_type(entry);
    if (expected == 0) {
        SETMAC_TRACE_AS("device_fan_set_info", __LINE__,
                        "Fan has no dev_type, try legacy fan_type.\r\n");
        expected = data.fan_type;
    }
    SETMAC_TRACE_AS("device_fan_set_info", __LINE__, "Fan device type: 0x%x set type: 0x%x \r\n",
                    fitted, expected);
    if (typed_by_pc) {
        return outcome_of(drv_set_fan_info_with_type(data.index, &expected, data.sn, data.hw));
    }
    if (fitted != expected) {
        return device_other_type;
    }
    return outcome_of(drv_set_fan_info(data.index, data.sn, data.hw));
}

int32_t device_power_set_info(const device_entry &entry)
{
    const auto &data = entry.tlv_data;
    std::array<char, sizeof(data.name)> name{};
    uint32_t length = 0;
    const int32_t result = drv_get_power_name(data.index, name.data(), &length);
    if (result < 0) {
        SETMAC_TRACE_AS("device_power_set_info", __LINE__, "get power name fail!\r\n");
        return result;
    }
    SETMAC_TRACE_AS(
        "device_power_set_info", __LINE__, "Power device name: '%.*s' set name: '%.*s' \r\n",
        static_cast<int>(name.size()), name.data(), static_cast<int>(sizeof(data.name)), data.name);
    if (strncmp(name.data(), data.name, name.size()) != 0) {
        return device_other_type;
    }
    // The driver library has no operation for the serial number of a supply.
    return outcome_of(drv_set_power_hw_version(data.index, data.hw));
}

int32_t device_sub_unintlg_setinfo(const device_entry &entry)
{
    const auto &data = entry.tlv_data;
    std::array<char, 32> buffer{};
    uint32_t fitted = 0;
    const int32_t result =
        drv_get_sub_unintlg_lc_info(drv_get_my_card_type(), data.index, &fitted, buffer.data());
    if (result < 0) {
        SETMAC_TRACE_AS("device_sub_unintlg_setinfo", __LINE__, "get card type fail!\r\n");
        return result;
    }
    const uint32_t expected = expected_type(entry);
    SETMAC_TRACE_AS("device_sub_unintlg_setinfo", __LINE__, "card type: 0x%x set type: 0x%x \r\n",
                    fitted, expected);
    if (fitted != expected) {
        return device_other_type;
    }
    return outcome_of(drv_set_sub_unintlg_info(data.index, data.sn, data.hw));
}

using field_reader = int32_t (*)(int32_t index, char *field, uint32_t *length, uint32_t size);

/** Reads a field back into its place, where the PC had set it: 0, or the library's failure. */
template <size_t size>
int32_t read_back(field_reader read, uint8_t index, char (&field)[size])
{
    if (field[0] == '\0') {
        return 0;
    }
    uint32_t length = size;
    return read(index, field, &length, size);
}

/** The readers of a kind of device; a serial number that is not the PC's to set has none. */
int32_t read_fields(device_entry *entry, field_reader read_sn, field_reader read_hw)
{
    auto &data = entry->tlv_data;
    if (read_sn != nullptr && read_back(read_sn, data.index, data.sn) != 0) {
        return device_unread;
    }
    return read_back(read_hw, data.index, data.hw) == 0 ? device_set : device_unread;
}

} // namespace

int32_t setsn_device_present(const device_entry *entry)
{
    if (entry == nullptr) {
        return 0;
    }
    const int32_t index = entry->tlv_data.index;
    switch (entry->tlv_type) {
    case device_fan:
        return drv_get_fan_status(index) == 1 ? 1 : 0;
    case device_power:
        return drv_get_power_status(index) == 1 ? 1 : 0;
    case device_card:
        return (drv_get_sslot_state(index) & 0xFF) == 1 ? 1 : 0;
    default:
        return 0;
    }
}

int32_t setsn_device_set_info(const device_entry *entry)
{
    if (entry == nullptr) {
        return device_refused;
    }
    switch (entry->tlv_type) {
    case device_fan:
        return device_fan_set_info(*entry);
    case device_power:
        return device_power_set_info(*entry);
    case device_card:
        return device_sub_unintlg_setinfo(*entry);
    default:
        return device_refused;
    }
}

int32_t setsn_device_get_info(device_entry *entry)
{
    if (entry == nullptr) {
        return device_unread;
    }
    switch (entry->tlv_type) {
    case device_fan:
        return read_fields(entry, drv_get_fan_sn, drv_get_fan_hw_version);
    case device_power:
        return read_fields(entry, nullptr, drv_get_power_hw_version);
    case device_card:
        return read_fields(entry, drv_get_sub_unintlg_sn, drv_get_sub_unintlg_hw_ver);
    default:
        return device_unread;
    }
}
