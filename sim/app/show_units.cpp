#include "sim/app/show_units.h"

#include "sim/app/show_text.h"

#include <algorithm>
#include <iomanip>
#include <string>
#include <string_view>

namespace sim {
namespace {

using bytes = std::span<const uint8_t>;

void show_value(std::string_view name, const std::string &value, std::ostream &out)
{
    out << "  " << std::left << std::setw(18) << name << (value.empty() ? "(empty)" : value)
        << "\n";
}

bool is_blank(bytes content)
{
    return std::ranges::all_of(content, [](uint8_t byte) { return byte == 0xFF; });
}

/** The text of a field, which it may fill without a NUL. */
std::string text_of(bytes field)
{
    return printable({field.begin(), std::ranges::find(field, 0)});
}

std::string bytes_text(bytes content, const char *separator)
{
    std::string text;
    for (const uint8_t byte : content) {
        text.append(text.empty() ? "" : separator).append(digits(byte, 2));
    }
    return text;
}

void show_backplane_record(bytes record, std::ostream &out)
{
    if (is_blank(record)) {
        out << "  blank\n";
        return;
    }
    uint32_t type_9 = 0;
    for (const uint8_t byte : {record[43], record[42], record[41], record[40]}) {
        type_9 = type_9 << 8 | byte;
    }
    show_value("type", "0x" + digits(record[0], 2), out);
    show_value("version", text_of(record.subspan(1, 8)), out);
    show_value("serial number", text_of(record.subspan(9, 18)), out);
    show_value("MAC address", bytes_text(record.subspan(28, 6), ":"), out);
    show_value("serial settings", bytes_text(record.subspan(34, 4), " "), out);
    show_value("type 9 value", "0x" + digits(type_9, 8), out);
}

/** The identity of a fan or of the PoE unit. */
void show_identity(bytes content, std::ostream &out)
{
    const bytes image = content.first(16);
    if (is_blank(image)) {
        out << "  blank\n";
        return;
    }
    const std::string low = digits(image[15], 2);
    show_value("model", "0x" + digits(image[0], 2), out);
    show_value("serial number", text_of(image.subspan(1, 13)), out);
    show_value("hardware version", digits(image[14], 1) + "." + low[1] + low[0], out);
}

/** Whether an EEPROM without protection is where that of the PoE unit is. */
bool may_be_poe(const bridge_eeprom &chip)
{
    return chip.kind == bridge_eeprom::plain && chip.bus == 4 && chip.address == 0x52;
}

std::string kind_name(const bridge_eeprom &chip)
{
    switch (chip.kind) {
    case bridge_eeprom::backplane:
        return "Backplane EEPROM";
    case bridge_eeprom::fan:
        return "Fan EEPROM";
    case bridge_eeprom::plain:
        break;
    }
    return may_be_poe(chip) ? "PoE EEPROM" : "EEPROM";
}

void show_bridge_eeprom(board &what, const bridge_eeprom &chip, std::ostream &out)
{
    const auto content = what.bridge_eeprom(chip.bus, chip.channel, chip.address);
    out << "\n"
        << kind_name(chip) << " on the FPGA's bus " << int{chip.bus} << ", channel "
        << int{chip.channel} << ", address " << hex(chip.address);
    if (chip.kind != bridge_eeprom::plain) {
        const bool is_protected = what.is_protected(chip.bus, chip.channel, chip.address);
        out << (is_protected ? ", write-protected" : ", write protection lifted");
    }
    out << "\n";
    if (chip.kind == bridge_eeprom::backplane) {
        show_backplane_record(content.first(backplane_size), out);
    } else if (chip.kind == bridge_eeprom::fan || may_be_poe(chip)) {
        show_identity(content, out);
    } else {
        dump(content, out);
    }
}

void show_bridge_supply(board &what, const bridge_supply &fitted, std::ostream &out)
{
    out << "\nPower supply on the FPGA's bus " << int{supply_bus} << ", channel "
        << int{fitted.channel} << ", address " << hex(fitted.address) << "\n";
    if (!fitted.present) {
        out << "  not present\n";
        return;
    }
    const auto now = what.bridge_supply(fitted.channel, fitted.address);
    show_value("serial number", printable(now.serial), out);
    show_value("revision", printable(now.revision), out);
}

/** The head of a unit: whether it is present. */
bool show_unit(const char *kind, int32_t index, bool present, std::ostream &out)
{
    out << "\n" << kind << " " << index << " of the driver library\n";
    if (!present) {
        out << "  not present\n";
    }
    return present;
}

void show_fan(const fan_unit &unit, std::ostream &out)
{
    if (show_unit("Fan", *unit.index, unit.present, out)) {
        show_value("type", hex(unit.type), out);
        show_value("serial number", printable(unit.sn), out);
        show_value("hardware version", printable(unit.hw), out);
    }
}

void show_supply(const supply_unit &unit, std::ostream &out)
{
    if (show_unit("Power supply", *unit.index, unit.present, out)) {
        show_value("name", printable(unit.name), out);
        show_value("hardware version", printable(unit.hw), out);
    }
}

void show_card(const card_unit &unit, std::ostream &out)
{
    if (show_unit("Sub-card", *unit.index, unit.present, out)) {
        show_value("card type", hex(unit.card_type), out);
        show_value("serial number", printable(unit.sn), out);
        show_value("hardware version", printable(unit.hw), out);
    }
}

} // namespace

void show_fpga(board &what, std::ostream &out)
{
    const auto &fitted = what.description().fpga;
    if (!fitted) {
        return;
    }
    for (const bridge_eeprom &chip : fitted->eeproms) {
        show_bridge_eeprom(what, chip, out);
    }
    for (const bridge_supply &one : fitted->supplies) {
        show_bridge_supply(what, one, out);
    }
}

void show_driver_units(board &what, std::ostream &out)
{
    const board_description &fitted = what.description();
    for (const int32_t index : indexes_of(fitted.fans)) {
        show_fan(what.fan(index), out);
    }
    for (const int32_t index : indexes_of(fitted.supplies)) {
        show_supply(what.supply(index), out);
    }
    for (const int32_t index : indexes_of(fitted.cards)) {
        show_card(what.card(index), out);
    }
    for (int32_t index = 1; index <= backplane_count; ++index) {
        // Every library has the EEPROMs; they matter once something was put into them.
        if (!is_blank(what.backplane(index))) {
            out << "\nBackplane EEPROM " << index << " of the driver library\n";
            show_backplane_record(what.backplane(index), out);
        }
    }
}

} // namespace sim
