#pragma once

#include <cstdint>

// Fans, power supplies and sub-cards that the maker's driver library manages.

constexpr uint8_t max_devices = 16;

enum device_kind : uint8_t {
    device_fan = 1,
    device_power = 2,
    device_card = 3,
};

/** What became of an entry; other values are the low byte of a negative result of the library. */
enum device_outcome : uint8_t {
    device_set = 0,
    device_absent = 1,
    device_refused = 2, // also an unknown kind
    device_unread = 3,
    device_other_type = 4,
};

/** A device as the PC sends it, and as it goes back with its outcome. */
struct [[gnu::packed]] device_entry {
    uint8_t tlv_type; // a device_kind
    uint8_t tlv_len;  // only logged
    struct [[gnu::packed]] {
        uint8_t index;    // slot
        uint8_t flag;     // a device_outcome
        uint8_t fan_type; // legacy fan type, where `type` is zero
        uint8_t channel;  // only logged
        uint8_t dev_addr; // only logged
        char sn[24];      // replaced by what is read back, as is `hw`
        char hw[6];
        char name[32];   // expected name of a power supply
        uint8_t type[4]; // expected type, most significant byte first
        uint8_t reserved[58];
    } tlv_data;
};
static_assert(sizeof(device_entry) == 131);

/** What the PC sends in one go. Numbers are in the byte order of the processor. */
struct [[gnu::packed]] device_list {
    uint8_t tlv_num;
    uint8_t type; // only logged, as is `len`
    int32_t len;
    device_entry entries[max_devices];
};
static_assert(sizeof(device_list) == 2102);

/** The list being worked on. */
extern device_list dev_setsn;

/** Non-zero for a chassis whose fans take their type from the PC instead of being checked by it. */
extern int32_t setdevice_zk80chassis;

/**
 * "setdevice": receives lists of devices, checks, writes and reads back each device and sends the
 * list back with the outcomes, until the PC ends it. Always 0.
 */
int32_t set_device_sn_info();

/** Whether the unit of an entry is in its slot: 1 or 0. */
int32_t setsn_device_present(const device_entry *entry);

/** Checks that the unit is of the expected type and writes it: an outcome, or a library result. */
int32_t setsn_device_set_info(const device_entry *entry);

/** Reads back the fields that the PC had set: device_set or device_unread. */
int32_t setsn_device_get_info(device_entry *entry);
