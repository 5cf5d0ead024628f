#include "sim/description/units.h"

#include "sim/description/description.h"

namespace sim {
namespace {

constexpr std::size_t longest_block = 32;    // of SMBus
constexpr unsigned presence_register = 0x1B; // of channel 0
constexpr unsigned first_bridge_register = 0x100;

std::optional<std::string> too_long(const char *name, const std::string &text, std::size_t most)
{
    if (text.size() <= most) {
        return std::nullopt;
    }
    return std::string(name) + " must not be longer than " + std::to_string(most) + " bytes";
}

std::optional<std::string> too_long(const std::string &sn, const std::string &hw)
{
    const auto text = too_long("sn", sn, sn_size);
    return text ? text : too_long("hw", hw, hw_size);
}

bool is_device_address(uint8_t address)
{
    return address >= 0x08 && address <= 0x77;
}

} // namespace

std::optional<std::string> find_mistake(const fan_unit &what)
{
    return too_long(what.sn, what.hw);
}

std::optional<std::string> find_mistake(const supply_unit &what)
{
    const auto text = too_long("name", what.name, supply_name_size);
    return text ? text : too_long("hw", what.hw, hw_size);
}

std::optional<std::string> find_mistake(const card_unit &what)
{
    return too_long(what.sn, what.hw);
}

std::optional<std::string> find_mistake(const bridge_eeprom &what)
{
    if (!is_device_address(what.address)) {
        return "the address must lie in 0x08 to 0x77";
    }
    if (what.content.size() > eeprom_size) {
        return "the content must not be longer than 256 bytes";
    }
    return std::nullopt;
}

std::optional<std::string> find_mistake(const bridge_supply &what)
{
    if (what.address < 0x58 || what.address > 0x5F) {
        return "the address of a supply must lie in 0x58 to 0x5F";
    }
    if (presence_register + what.channel >= first_bridge_register) {
        return "the channel of a supply must lie in 0 to 0xE4";
    }
    const auto text = too_long("serial", what.serial, longest_block);
    return text ? text : too_long("revision", what.revision, longest_block);
}

std::optional<std::string> find_mistake(const bridge_trouble &what)
{
    if (what.call == 0) {
        return "calls are counted from 1";
    }
    if (what.what == bridge_trouble::busy && what.polls == 0) {
        return "busy needs polls: how often it is";
    }
    return std::nullopt;
}

} // namespace sim
