#include "sim/description/board_file.h"

#include "sim/base/operation.h"
#include "sim/description/console_file.h"
#include "sim/description/table_reader.h"
#include "sim/formats/card_type.h"
#include "sim/formats/tlv_info.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>

namespace sim {
namespace {

constexpr int highest_errno = 133;

constexpr std::pair<std::string_view, flash_type> flash_types[] = {
    {"nor", nor}, {"nand", nand}, {"ram", ram}, {"ubi", ubi}};

constexpr std::pair<std::string_view, bridge_eeprom::kinds> eeprom_kinds[] = {
    {"plain", bridge_eeprom::plain},
    {"backplane", bridge_eeprom::backplane},
    {"fan", bridge_eeprom::fan}};

constexpr std::pair<std::string_view, bridge_trouble::kinds> trouble_kinds[] = {
    {"busy", bridge_trouble::busy},
    {"fail", bridge_trouble::fail},
    {"stick", bridge_trouble::stick}};

partition read_partition(table_reader table)
{
    constexpr uint32_t most = std::numeric_limits<uint32_t>::max();
    partition part;
    table.require("name");
    table.take("name", part.name);
    table.take_word("type", part.type, flash_types);
    table.take("erase_size", part.erase_size, uint32_t{1}, most);
    table.take("blocks", part.blocks, uint32_t{1}, most);
    table.take("page_size", part.page_size, uint32_t{1}, most);
    table.take("bad", part.bad);
    table.take("no_erase", part.no_erase);
    table.take("no_write", part.no_write);
    table.take("no_read", part.no_read);
    table.take("read_only", part.read_only);
    table.take("index", part.index, 0, 999);
    table.finish();
    return part;
}

std::vector<uint8_t> read_content(table_reader &table, const std::filesystem::path &)
{
    std::vector<uint8_t> bytes;
    table.take_bytes("content", bytes);
    return bytes;
}

std::vector<uint8_t> read_content_file(table_reader &table, const std::filesystem::path &folder)
{
    std::string name;
    table.take("content_file", name);
    const std::filesystem::path path = folder / name;
    std::ifstream file(path, std::ios::binary);
    std::vector<char> bytes(eeprom_size + 1);
    if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size())) && !file.eof()) {
        table.fail("content_file", path.string() + " cannot be read");
    }
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    if (bytes.size() > eeprom_size) {
        table.fail("content_file", path.string() + " holds more than 256 bytes");
    }
    return {bytes.begin(), bytes.end()};
}

tlv_record read_tlv_record(table_reader table)
{
    tlv_record one;
    std::string text;
    table.require("code");
    table.take("code", one.code, uint8_t{0}, uint8_t{0xFF});
    table.take("text", text);
    table.take_bytes("hex", one.value);
    table.finish();
    if (table.has("text") == table.has("hex")) {
        table.fail("hex", "either text or hex must be given, and not both");
    }
    if (table.has("text")) {
        one.value.assign(text.begin(), text.end());
    }
    if (const auto wrong = find_mistake({one})) {
        table.fail("code", *wrong);
    }
    return one;
}

std::vector<uint8_t> read_tlv_info(table_reader &table, const std::filesystem::path &)
{
    std::vector<tlv_record> records;
    for (const toml::table *one : table.find_tables("tlv", "eeprom.tlv")) {
        records.push_back(read_tlv_record({*one, table.file()}));
    }
    if (const auto wrong = find_mistake(records)) {
        table.fail("tlv", *wrong);
    }
    return encode_tlv_info(records);
}

std::vector<uint8_t> read_card_type(table_reader &table, const std::filesystem::path &)
{
    uint32_t type = 0;
    std::string name = "tlv";
    table.take("card_type", type, uint32_t{0}, std::numeric_limits<uint32_t>::max());
    table.take("form", name);
    const auto form = card_form_named(name);
    if (!form) {
        table.fail("form",
                   "form must be \"tlv\", \"direct\", \"format2\", \"legacy\" or \"legacy2\"");
    }
    auto record = encode_card_type(*form, type);
    if (!record) {
        table.fail("card_type",
                   "form \"" + name + "\" cannot hold card type " + std::to_string(type));
    }
    return *record;
}

/** One way to say what an EEPROM is delivered with. */
struct content_way {
    const char *key;
    std::vector<uint8_t> (*read)(table_reader &table, const std::filesystem::path &folder);
};

constexpr content_way content_ways[] = {
    {"content", read_content},
    {"content_file", read_content_file},
    {"tlv", read_tlv_info},
    {"card_type", read_card_type},
};

std::vector<uint8_t> read_eeprom_content(table_reader &table, const std::filesystem::path &folder)
{
    const content_way *given = nullptr;
    for (const content_way &way : content_ways) {
        if (table.find(way.key) == nullptr) {
            continue;
        }
        if (given != nullptr) {
            table.fail(way.key, std::string("either ") + given->key + " or " + way.key +
                                    " must be given, and not both");
        }
        given = &way;
    }
    if (table.find("form") != nullptr && !table.has("card_type")) {
        table.fail("form", "form belongs to a card_type, which is missing");
    }
    return given != nullptr ? given->read(table, folder) : std::vector<uint8_t>();
}

eeprom read_eeprom(table_reader table, const std::filesystem::path &folder)
{
    eeprom chip;
    table.require("address");
    table.take("address", chip.address, uint8_t{0x08}, uint8_t{0x77});
    table.take("page_size", chip.page_size, 1U, unsigned{eeprom_size});
    table.take("write_cycle_ms", chip.write_cycle_ms, 0U, 60000U);
    table.take("lifted_by_cpld", chip.lifted_by_cpld);
    table.take("lifted_by_driver", chip.lifted_by_driver);
    table.take("answered_writes", chip.answered_writes, 0U, 1000000U);
    chip.content = read_eeprom_content(table, folder);
    table.finish();
    return chip;
}

cpld read_cpld(table_reader table)
{
    cpld registers;
    table.take("registers", registers.registers);
    table.finish();
    return registers;
}

constexpr int32_t least_result = std::numeric_limits<int32_t>::min();
constexpr int32_t most_result = std::numeric_limits<int32_t>::max();

void read_driver(table_reader table, board_description &board)
{
    table.take("init_result", board.driver.init_result, least_result, most_result);
    table.take("e2_wr_pro_result", board.driver.e2_wr_pro_result, least_result, most_result);
    table.take("own_card_type", board.own_card_type, least_result, most_result);
    table.finish();
}

constexpr int32_t highest_index = std::numeric_limits<int32_t>::max();
constexpr uint32_t highest_type = std::numeric_limits<uint32_t>::max();

fan_unit read_fan(table_reader table)
{
    fan_unit unit;
    table.take("index", unit.index, 0, highest_index);
    table.take("present", unit.present);
    table.take("type", unit.type, uint32_t{0}, highest_type);
    table.take("sn", unit.sn);
    table.take("hw", unit.hw);
    table.finish();
    return unit;
}

supply_unit read_supply(table_reader table)
{
    supply_unit unit;
    table.take("index", unit.index, 0, highest_index);
    table.take("present", unit.present);
    table.take("name", unit.name);
    table.take("hw", unit.hw);
    table.finish();
    return unit;
}

card_unit read_card(table_reader table)
{
    card_unit unit;
    table.take("index", unit.index, 0, highest_index);
    table.take("present", unit.present);
    table.take("card_type", unit.card_type, uint32_t{0}, highest_type);
    table.take("sn", unit.sn);
    table.take("hw", unit.hw);
    table.finish();
    return unit;
}

/** Where it is behind the bridge: bus, channel and address. */
template <typename part>
void take_place(table_reader &table, part &what)
{
    for (const char *key : {"bus", "channel", "address"}) {
        table.require(key);
    }
    table.take("bus", what.bus, uint8_t{0}, uint8_t{0xFF});
    table.take("channel", what.channel, uint8_t{0}, uint8_t{0xFF});
    table.take("address", what.address, uint8_t{0x08}, uint8_t{0x77});
}

bridge_eeprom read_bridge_eeprom(table_reader table)
{
    bridge_eeprom chip;
    take_place(table, chip);
    table.take_word("kind", chip.kind, eeprom_kinds);
    table.take_bytes("content", chip.content);
    table.take("write_cycle_ms", chip.write_cycle_ms, 0U, 60000U);
    table.finish();
    return chip;
}

bridge_supply read_bridge_supply(table_reader table)
{
    bridge_supply supply;
    table.require("channel");
    table.require("address");
    table.take("channel", supply.channel, uint8_t{0}, uint8_t{0xFF});
    table.take("address", supply.address, uint8_t{0}, uint8_t{0xFF});
    table.take("present", supply.present);
    table.take("serial", supply.serial);
    table.take("revision", supply.revision);
    table.finish();
    return supply;
}

bridge_trouble read_bridge_trouble(table_reader table)
{
    constexpr unsigned most = std::numeric_limits<int32_t>::max();
    bridge_trouble trouble;
    take_place(table, trouble);
    table.require("what");
    table.take_word("what", trouble.what, trouble_kinds);
    table.take("call", trouble.call, 1U, most);
    table.take("times", trouble.times, 0U, most);
    table.take("polls", trouble.polls, 0U, most);
    table.finish();
    return trouble;
}

int error_number(const std::string &name, table_reader &table)
{
    for (int number = 1; number <= highest_errno; ++number) {
        if (error_name(number) == name) {
            return number;
        }
    }
    table.fail("error", "error must be the symbol of an error, as \"EIO\"");
}

int signal_number(const std::string &name, table_reader &table)
{
    for (int number = 1; number < SIGRTMIN; ++number) {
        const char *symbol = sigabbrev_np(number);
        if (symbol != nullptr && name == std::string("SIG") + symbol) {
            return number;
        }
    }
    table.fail("signal", "signal must be the symbol of a signal, as \"SIGTERM\"");
}

fault read_fault(table_reader table)
{
    constexpr unsigned most = std::numeric_limits<int32_t>::max();
    fault one;
    std::string error;
    std::string signal;
    table.require("operation");
    table.take("operation", one.operation);
    table.take("path", one.path);
    table.take("call", one.call, 1U, most);
    table.take("times", one.times, 0U, most);
    table.take("error", error);
    table.take("short", one.short_to, std::size_t{0}, std::size_t{most});
    table.take("result", one.result, least_result, most_result);
    table.take("signal", signal);
    table.finish();
    if (table.has("error")) {
        one.error = error_number(error, table);
    }
    if (table.has("signal")) {
        one.signal = signal_number(signal, table);
    }
    return one;
}

/** The tables of the lists that can hold a mistake found later. */
using sources = std::map<mistake::list, std::vector<const toml::table *>>;

/** Reads the tables of a list, and remembers them. */
template <typename reader, typename entry>
void read_list(table_reader &parent, const char *key, const std::string &heading,
               std::vector<const toml::table *> &source, const reader &read_entry,
               std::vector<entry> &into)
{
    source = parent.find_tables(key, heading);
    for (const toml::table *table : source) {
        into.push_back(read_entry({*table, parent.file()}));
    }
}

fpga read_fpga(table_reader table, sources &lists)
{
    using list = mistake::list;
    fpga what;
    table.take("registers", what.registers);
    read_list(table, "eeprom", "fpga.eeprom", lists[list::bridge_eeproms], read_bridge_eeprom,
              what.eeproms);
    read_list(table, "supply", "fpga.supply", lists[list::bridge_supplies], read_bridge_supply,
              what.supplies);
    read_list(table, "trouble", "fpga.trouble", lists[list::bridge_troubles], read_bridge_trouble,
              what.troubles);
    table.finish();
    return what;
}

void read_lists(table_reader &top, sources &lists, const std::filesystem::path &folder,
                board_description &board)
{
    using list = mistake::list;
    const auto read_eeprom_here = [&](table_reader table) {
        return read_eeprom(std::move(table), folder);
    };
    read_list(top, "partition", "partition", lists[list::partitions], read_partition,
              board.partitions);
    read_list(top, "eeprom", "eeprom", lists[list::eeproms], read_eeprom_here, board.eeproms);
    read_list(top, "fault", "fault", lists[list::faults], read_fault, board.faults);
    read_list(top, "fan", "fan", lists[list::fans], read_fan, board.fans);
    read_list(top, "supply", "supply", lists[list::supplies], read_supply, board.supplies);
    read_list(top, "card", "card", lists[list::cards], read_card, board.cards);
}

board_description read_board(const toml::table &root, const std::string &file,
                             const std::filesystem::path &folder)
{
    board_description board;
    sources lists;
    table_reader top(root, file);
    read_lists(top, lists, folder, board);
    top.take("i2c_bus", board.i2c_bus);
    if (!board.i2c_bus.starts_with("/dev/i2c-")) {
        top.fail("i2c_bus", "i2c_bus must begin with \"/dev/i2c-\"");
    }
    if (const toml::table *table = top.find_table("cpld")) {
        board.cpld = read_cpld({*table, file});
    }
    if (const toml::table *table = top.find_table("fpga")) {
        lists[mistake::list::fpga] = {table};
        board.fpga = read_fpga({*table, file}, lists);
    }
    if (const toml::table *table = top.find_table("driver")) {
        read_driver({*table, file}, board);
    }
    if (const toml::table *table = top.find_table("console")) {
        read_console({*table, file}, board.console);
        if (const auto wrong = find_mistake(board.console)) {
            top.fail(*table, *wrong);
        }
    }
    if (const toml::table *table = top.find_table("power")) {
        table_reader supply(*table, file);
        supply.take("cut_after", board.cut_after, uint64_t{0},
                    uint64_t{std::numeric_limits<int64_t>::max()});
        supply.finish();
    }
    top.finish();
    if (const auto wrong = find_mistake(board)) {
        top.fail(*lists.at(wrong->where)[wrong->entry], wrong->text);
    }
    return board;
}

} // namespace

board_description parse_board_file(std::string_view text, const std::string &name,
                                   const std::filesystem::path &folder)
{
    try {
        return read_board(toml::parse(text, name), name, folder);
    } catch (const toml::parse_error &wrong) {
        throw board_file_error(name + ":" + std::to_string(wrong.source().begin.line) + ": " +
                               std::string(wrong.description()));
    }
}

board_description read_board_file(const std::filesystem::path &folder)
{
    const std::filesystem::path path = folder / board_file_name;
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf())) {
        throw board_file_error(path.string() + ": cannot be read; \"simboard new " +
                               folder.string() + "\" makes a board");
    }
    return parse_board_file(text.str(), path.string(), folder);
}

} // namespace sim
