#include "sim/board/board.h"
#include "sim/board/process_board.h"
#include "sim/interpose/interpose.h"
#include "sim/parts/driver_units.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

// The simulated board behind the stand-in of the maker's driver library, which calls these when
// they are there.

namespace {

constexpr int32_t done = 0;
constexpr int32_t refused = -1;
constexpr int32_t not_present = 0;
constexpr int32_t is_present = 1;
constexpr int32_t system_eeprom = 0;
constexpr std::size_t card_buffer_size = 32;

using sim::unit_kind;

/** What an operation does on the board; it may add to the words of the log. */
using operation_body = std::function<int32_t(sim::board &board, sim::operation &log)>;

/**
 * Does and logs one call on the board of this process: the answer of a fault or of the board, and
 * otherwise where there is no board, no power, or a fault with an error.
 */
int32_t call(const char *name, const std::string &arguments, int32_t otherwise,
             const operation_body &act)
{
    sim::board *board = sim::process_board();
    if (board == nullptr) {
        return otherwise;
    }
    int32_t answer = 0;
    const auto logged = [&](sim::operation &log, std::size_t) {
        answer = log.answer ? *log.answer : act(*board, log);
        log.answer = answer;
        log.arguments += (log.arguments.empty() ? "answer=" : " answer=") + std::to_string(answer);
        return int64_t{0};
    };
    const int64_t result =
        board->operate({.name = name, .path = "libdev_drv", .arguments = arguments},
                       sim::board::call_kind::plain, logged);
    return result < 0 ? otherwise : answer;
}

/** A text in a field of that size, which it may fill without a NUL. */
std::string_view text_in(const char *field, std::size_t size)
{
    return field != nullptr ? std::string_view(field, ::strnlen(field, size)) : std::string_view();
}

/** As the log has it: in quotes, and what is not to be printed as \xNN. */
std::string quoted(std::string_view text)
{
    std::string quote = "\"";
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte >= 0x20 && byte < 0x7F && letter != '"' && letter != '\\') {
            quote += letter;
            continue;
        }
        char code[sizeof "\\xNN"];
        std::snprintf(code, sizeof code, "\\x%02x", byte);
        quote += code;
    }
    return quote + "\"";
}

std::string index_text(int32_t index)
{
    return "index=" + std::to_string(index);
}

std::string identity_text(const char *sn, const char *hw)
{
    return " sn=" + quoted(text_in(sn, sim::sn_size)) + " hw=" + quoted(text_in(hw, sim::hw_size));
}

/** Hands a text out into a field, with NULs after it, and its length. */
int32_t hand_out(std::string_view text, char *field, std::size_t size, uint32_t *length,
                 sim::operation &log)
{
    if (field == nullptr || length == nullptr || text.size() > size) {
        return refused;
    }
    std::fill_n(field, size, '\0');
    text.copy(field, size);
    *length = static_cast<uint32_t>(text.size());
    log.arguments += " text=" + quoted(text);
    return done;
}

int32_t presence(const char *name, unit_kind kind, int32_t index)
{
    return call(name, index_text(index), not_present, [&](sim::board &board, sim::operation &) {
        return board.units().find_present(kind, index) != nullptr ? is_present : not_present;
    });
}

/** An operation on a unit that is present; it is refused where none is. */
template <typename operation_on_unit>
int32_t on_unit(const char *name, unit_kind kind, int32_t index, const std::string &arguments,
                const operation_on_unit &act)
{
    return call(name, index_text(index) + arguments, refused,
                [&](sim::board &board, sim::operation &log) {
                    sim::driver_unit *unit = board.units().find_present(kind, index);
                    return unit != nullptr ? act(*unit, log) : refused;
                });
}

int32_t store(sim::driver_unit &unit, const char *sn, const char *hw)
{
    unit.identity.sn(text_in(sn, sim::sn_size));
    unit.identity.hw(text_in(hw, sim::hw_size));
    return done;
}

int32_t read_sn(const char *name, unit_kind kind, int32_t index, char *sn, uint32_t *length,
                uint32_t size)
{
    return on_unit(name, kind, index, "", [&](sim::driver_unit &unit, sim::operation &log) {
        return hand_out(unit.identity.sn(), sn, size, length, log);
    });
}

int32_t read_hw(const char *name, unit_kind kind, int32_t index, char *hw, uint32_t *length,
                uint32_t size)
{
    return on_unit(name, kind, index, "", [&](sim::driver_unit &unit, sim::operation &log) {
        return hand_out(unit.identity.hw(), hw, size, length, log);
    });
}

} // namespace

extern "C" {

SIMBOARD_EXPORT int32_t simboard_dev_drv_init()
{
    if (sim::process_board() == nullptr) {
        return done;
    }
    return call("dev_drv_init", "", refused, [](sim::board &board, sim::operation &) {
        return board.description().driver.init_result;
    });
}

SIMBOARD_EXPORT int32_t simboard_drv_set_e2_wr_pro(int32_t index, int32_t protect)
{
    const auto set = [&](sim::board &board, sim::operation &) {
        if (index != system_eeprom) {
            return refused;
        }
        const int32_t answer = board.description().driver.e2_wr_pro_result;
        if (answer == 0) {
            board.protect_by_driver(protect != 0);
        }
        return answer;
    };
    return call("drv_set_e2_wr_pro", index_text(index) + " protect=" + std::to_string(protect),
                refused, set);
}

SIMBOARD_EXPORT int32_t simboard_drv_set_backplane_info(int32_t index, const void *record)
{
    if (record == nullptr) {
        return refused;
    }
    const std::span bytes(static_cast<const uint8_t *>(record), sim::backplane_size);
    return call("drv_set_backplane_info", index_text(index) + " record=" + sim::hex_digits(bytes),
                refused, [&](sim::board &board, sim::operation &log) {
                    log.data.assign(bytes.begin(), bytes.end());
                    return board.units().store_backplane(index, bytes) ? done : refused;
                });
}

SIMBOARD_EXPORT int32_t simboard_drv_get_fan_status(int32_t index)
{
    return presence("drv_get_fan_status", unit_kind::fan, index);
}

SIMBOARD_EXPORT int32_t simboard_drv_get_power_status(int32_t index)
{
    return presence("drv_get_power_status", unit_kind::supply, index);
}

SIMBOARD_EXPORT int32_t simboard_drv_get_sslot_state(int32_t index)
{
    return presence("drv_get_sslot_state", unit_kind::card, index);
}

SIMBOARD_EXPORT int32_t simboard_drv_get_fan_type(int32_t index)
{
    return on_unit("drv_get_fan_type", unit_kind::fan, index, "",
                   [](sim::driver_unit &unit, sim::operation &) {
                       return static_cast<int32_t>(unit.identity.type());
                   });
}

SIMBOARD_EXPORT int32_t simboard_drv_set_fan_info(int32_t index, const char *sn, const char *hw)
{
    return on_unit("drv_set_fan_info", unit_kind::fan, index, identity_text(sn, hw),
                   [&](sim::driver_unit &unit, sim::operation &) { return store(unit, sn, hw); });
}

SIMBOARD_EXPORT int32_t simboard_drv_set_fan_info_with_type(int32_t index, const uint32_t *type,
                                                            const char *sn, const char *hw)
{
    if (type == nullptr) {
        return refused;
    }
    return on_unit("drv_set_fan_info_with_type", unit_kind::fan, index,
                   " type=" + sim::hex(*type) + identity_text(sn, hw),
                   [&](sim::driver_unit &unit, sim::operation &) {
                       unit.identity.type(*type);
                       return store(unit, sn, hw);
                   });
}

SIMBOARD_EXPORT int32_t simboard_drv_get_fan_sn(int32_t index, char *sn, uint32_t *length,
                                                uint32_t size)
{
    return read_sn("drv_get_fan_sn", unit_kind::fan, index, sn, length, size);
}

SIMBOARD_EXPORT int32_t simboard_drv_get_fan_hw_version(int32_t index, char *hw, uint32_t *length,
                                                        uint32_t size)
{
    return read_hw("drv_get_fan_hw_version", unit_kind::fan, index, hw, length, size);
}

SIMBOARD_EXPORT int32_t simboard_drv_get_power_name(int32_t index, char *name, uint32_t *length)
{
    return on_unit("drv_get_power_name", unit_kind::supply, index, "",
                   [&](sim::driver_unit &unit, sim::operation &log) {
                       return hand_out(unit.name, name, sim::supply_name_size, length, log);
                   });
}

SIMBOARD_EXPORT int32_t simboard_drv_set_power_hw_version(int32_t index, const char *hw)
{
    return on_unit(
        "drv_set_power_hw_version", unit_kind::supply, index,
        " hw=" + quoted(text_in(hw, sim::hw_size)),
        [&](sim::driver_unit &unit, sim::operation &) { return store(unit, nullptr, hw); });
}

SIMBOARD_EXPORT int32_t simboard_drv_get_power_hw_version(int32_t index, char *hw, uint32_t *length,
                                                          uint32_t size)
{
    return read_hw("drv_get_power_hw_version", unit_kind::supply, index, hw, length, size);
}

SIMBOARD_EXPORT int32_t simboard_drv_get_my_card_type()
{
    return call("drv_get_my_card_type", "", refused, [](sim::board &board, sim::operation &) {
        return board.description().own_card_type;
    });
}

SIMBOARD_EXPORT int32_t simboard_drv_get_sub_unintlg_lc_info(int32_t own_card_type, int32_t index,
                                                             uint32_t *card_type, char *buffer)
{
    const auto read = [&](sim::board &board, sim::operation &log) {
        const sim::driver_unit *unit = board.units().find_present(unit_kind::card, index);
        const bool knows_itself = own_card_type == board.description().own_card_type;
        if (unit == nullptr || !knows_itself || card_type == nullptr || buffer == nullptr) {
            return refused;
        }
        std::fill_n(buffer, card_buffer_size, '\0');
        *card_type = unit->identity.type();
        log.arguments += " card_type=" + sim::hex(*card_type);
        return done;
    };
    return call("drv_get_sub_unintlg_lc_info",
                "own_card_type=" + std::to_string(own_card_type) + " " + index_text(index), refused,
                read);
}

SIMBOARD_EXPORT int32_t simboard_drv_set_sub_unintlg_info(int32_t index, const char *sn,
                                                          const char *hw)
{
    return on_unit("drv_set_sub_unintlg_info", unit_kind::card, index, identity_text(sn, hw),
                   [&](sim::driver_unit &unit, sim::operation &) { return store(unit, sn, hw); });
}

SIMBOARD_EXPORT int32_t simboard_drv_get_sub_unintlg_sn(int32_t index, char *sn, uint32_t *length,
                                                        uint32_t size)
{
    return read_sn("drv_get_sub_unintlg_sn", unit_kind::card, index, sn, length, size);
}

SIMBOARD_EXPORT int32_t simboard_drv_get_sub_unintlg_hw_ver(int32_t index, char *hw,
                                                            uint32_t *length, uint32_t size)
{
    return read_hw("drv_get_sub_unintlg_hw_ver", unit_kind::card, index, hw, length, size);
}
}
