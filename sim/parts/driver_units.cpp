#include "sim/parts/driver_units.h"

#include <algorithm>
#include <array>
#include <utility>

namespace sim {
namespace {

constexpr std::size_t type_size = sizeof(uint32_t);
constexpr std::size_t sn_offset = type_size;
constexpr std::size_t hw_offset = sn_offset + sn_size;

std::array<uint8_t, type_size> bytes_of(uint32_t type)
{
    std::array<uint8_t, type_size> bytes = {};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(type >> (8 * i));
    }
    return bytes;
}

std::string text_of(std::span<const uint8_t> field)
{
    return {field.begin(), std::ranges::find(field, 0)};
}

std::string file_of(const char *kind, int32_t index)
{
    return std::string(kind) + "-" + std::to_string(index) + ".bin";
}

} // namespace

std::vector<uint8_t> unit_identity::delivered(uint32_t type, std::string_view sn,
                                              std::string_view hw)
{
    std::vector<uint8_t> cells(memory_size, 0);
    std::ranges::copy(bytes_of(type), cells.begin());
    std::ranges::copy(sn, cells.begin() + sn_offset);
    std::ranges::copy(hw, cells.begin() + hw_offset);
    return cells;
}

std::span<uint8_t> unit_identity::field(std::size_t offset, std::size_t size) const
{
    return cells_->bytes().subspan(offset, size);
}

uint32_t unit_identity::type() const
{
    uint32_t type = 0;
    const auto bytes = field(0, type_size);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        type |= uint32_t{bytes[i]} << (8 * i);
    }
    return type;
}

std::string unit_identity::sn() const
{
    return text_of(field(sn_offset, sn_size));
}

std::string unit_identity::hw() const
{
    return text_of(field(hw_offset, hw_size));
}

void unit_identity::type(uint32_t now)
{
    program(field(0, type_size), bytes_of(now));
}

void unit_identity::sn(std::string_view now)
{
    program_text(field(sn_offset, sn_size), now);
}

void unit_identity::hw(std::string_view now)
{
    program_text(field(hw_offset, hw_size), now);
}

void unit_identity::program(std::span<uint8_t> cells, std::span<const uint8_t> now)
{
    for (std::size_t i = 0; i < cells.size() && supply_.step(); ++i) {
        cells[i] = now[i];
    }
}

void unit_identity::program_text(std::span<uint8_t> cells, std::string_view now)
{
    if (now.empty()) {
        return;
    }
    std::vector<uint8_t> padded(now.begin(), now.end());
    padded.resize(cells.size(), 0);
    program(cells, padded);
}

driver_units::driver_units(const board_description &what, const memory_maker &make, power &supply)
    : supply_(supply)
{
    const auto fit = [&](unit_kind kind, int32_t index, bool present, const std::string &name,
                         std::vector<uint8_t> delivered) {
        constexpr const char *names[] = {"fan", "supply", "card"};
        auto cells = make(file_of(names[static_cast<std::size_t>(kind)], index),
                          unit_identity::memory_size, std::move(delivered));
        units_.emplace(std::pair(kind, index),
                       driver_unit{present, name, unit_identity(std::move(cells), supply)});
    };
    const auto fan_indexes = indexes_of(what.fans);
    for (std::size_t i = 0; i < what.fans.size(); ++i) {
        const fan_unit &one = what.fans[i];
        fit(unit_kind::fan, fan_indexes[i], one.present, {},
            unit_identity::delivered(one.type, one.sn, one.hw));
    }
    const auto supply_indexes = indexes_of(what.supplies);
    for (std::size_t i = 0; i < what.supplies.size(); ++i) {
        const supply_unit &one = what.supplies[i];
        fit(unit_kind::supply, supply_indexes[i], one.present, one.name,
            unit_identity::delivered(0, {}, one.hw));
    }
    const auto card_indexes = indexes_of(what.cards);
    for (std::size_t i = 0; i < what.cards.size(); ++i) {
        const card_unit &one = what.cards[i];
        fit(unit_kind::card, card_indexes[i], one.present, {},
            unit_identity::delivered(one.card_type, one.sn, one.hw));
    }
    for (int32_t index = 1; index <= backplane_count; ++index) {
        backplanes_[index] = make(file_of("backplane", index), backplane_size, {});
    }
}

const driver_unit *driver_units::find(unit_kind kind, int32_t index) const
{
    const auto found = units_.find({kind, index});
    return found != units_.end() ? &found->second : nullptr;
}

driver_unit *driver_units::find_present(unit_kind kind, int32_t index)
{
    const auto found = units_.find({kind, index});
    return found != units_.end() && found->second.present ? &found->second : nullptr;
}

fan_unit driver_units::fan(int32_t index) const
{
    const driver_unit &unit = units_.at({unit_kind::fan, index});
    return {.index = index,
            .present = unit.present,
            .type = unit.identity.type(),
            .sn = unit.identity.sn(),
            .hw = unit.identity.hw()};
}

supply_unit driver_units::supply(int32_t index) const
{
    const driver_unit &unit = units_.at({unit_kind::supply, index});
    return {.index = index, .present = unit.present, .name = unit.name, .hw = unit.identity.hw()};
}

card_unit driver_units::card(int32_t index) const
{
    const driver_unit &unit = units_.at({unit_kind::card, index});
    return {.index = index,
            .present = unit.present,
            .card_type = unit.identity.type(),
            .sn = unit.identity.sn(),
            .hw = unit.identity.hw()};
}

bool driver_units::store_backplane(int32_t index, std::span<const uint8_t> record)
{
    const auto found = backplanes_.find(index);
    if (found == backplanes_.end()) {
        return false;
    }
    const auto cells = found->second->bytes();
    for (std::size_t i = 0; i < cells.size() && supply_.step(); ++i) {
        cells[i] = record[i];
    }
    return true;
}

} // namespace sim
