#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "station/base/bytes.h"

namespace station {

/** Where a value of a name goes to on the switch. */
enum class destination {
    record,       // a record of its own
    extension,    // a value of the vendor extension
    write_enable, // the register that write-enables the EEPROM: nothing is stored
    computed      // a record that the switch fills in itself
};

/** A name that the switch knows in a job for its system EEPROM. */
struct eeprom_value {
    std::string_view name;
    destination where;
    std::uint8_t code; // of the record or of the value in the vendor extension
    bool binary;       // given in hexadecimal and sent as it is, not a text with its NUL

    /** What the switch keeps of a value; none where it would not keep it as it is given. */
    std::optional<bytes> (*kept)(const bytes &value);
    std::string_view expected; // in words
};

/** All of them. */
std::span<const eeprom_value> eeprom_values();

/** The device version that the switch makes of a hardware version, as in 102 of "1.02". */
unsigned derived_device_version(const bytes &hardware_version);

/** The label revision that the switch makes of it, as in "02" of "1.02". */
bytes derived_label_revision(const bytes &hardware_version);

/** The platform name that the switch makes of a product model. */
bytes derived_platform_name(const bytes &product_model);

} // namespace station
