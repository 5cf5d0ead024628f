#pragma once

#include <string>
#include <string_view>

#include "units_session.h"

namespace e2e {

// The exchange of "setdevice": records of up to 16 devices of the driver library.

constexpr std::string_view device_greeting =
    "Disconnect your console terminal first\r\n"
    " Using your PC Setmac program to perform Set device info Operation ......";

constexpr int device_fan = 1;
constexpr int device_supply = 2;
constexpr int device_card = 3;

/** What of an entry differs from zero. */
struct device {
    int kind = device_fan;
    int index = 0;
    int flag = 0;
    int fan_type = 0;
    std::string_view sn = {};
    std::string_view hw = {};
    std::string_view name = {};
    std::string type = bytes({0, 0, 0, 0}); // most significant byte first
};

/** An entry of 131 bytes, with bytes of the PC's own in the rest of it. */
std::string device_entry(const device &what);
/** A record: its head, which says `count`, and these entries. */
std::string device_record(int count, std::string_view entries);
/** A record as it crosses the line: header, length, bytes and a sum that goes on from `before`. */
std::string device_message(std::string_view record, int before = 0);

/** A record that is all right, and its way back. */
void exchange_devices(unit_session &pc, std::string_view sent, std::string_view answered);

/** What the driver library holds of a unit: type, serial number and hardware version. */
std::string device_memory(std::string_view type_backwards, std::string_view sn,
                          std::string_view hw);

} // namespace e2e
