#include "sim/board_file.h"

#include "sim/card_type.h"
#include "sim/operation.h"
#include "sim/table_reader.h"
#include "sim/tlv_info.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace sim {
namespace {

constexpr int highest_errno = 133;

flash_type type_of(const std::string &name, table_reader &table)
{
    constexpr std::pair<std::string_view, flash_type> types[] = {
        {"nor", nor}, {"nand", nand}, {"ram", ram}, {"ubi", ubi}};
    for (const auto &[text, type] : types) {
        if (name == text) {
            return type;
        }
    }
    table.fail("type", "type must be \"nor\", \"nand\", \"ram\" or \"ubi\"");
}

partition read_partition(table_reader table)
{
    constexpr uint32_t most = std::numeric_limits<uint32_t>::max();
    partition part;
    std::string type = "nor";
    table.require("name");
    table.take("name", part.name);
    table.take("type", type);
    part.type = type_of(type, table);
    table.take("erase_size", part.erase_size, uint32_t{1}, most);
    table.take("blocks", part.blocks, uint32_t{1}, most);
    table.take("page_size", part.page_size, uint32_t{1}, most);
    table.take("bad", part.bad);
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

driver read_driver(table_reader table)
{
    constexpr int32_t least = std::numeric_limits<int32_t>::min();
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    driver answers;
    table.take("init_result", answers.init_result, least, most);
    table.take("e2_wr_pro_result", answers.e2_wr_pro_result, least, most);
    table.finish();
    return answers;
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

fault read_fault(table_reader table)
{
    constexpr unsigned most = std::numeric_limits<int32_t>::max();
    fault one;
    std::string error;
    table.require("operation");
    table.take("operation", one.operation);
    table.take("path", one.path);
    table.take("call", one.call, 1U, most);
    table.take("times", one.times, 0U, most);
    table.take("error", error);
    table.take("short", one.short_to, std::size_t{0}, std::size_t{most});
    table.finish();
    if (table.has("error")) {
        one.error = error_number(error, table);
    }
    return one;
}

/** The tables of the lists that can hold a mistake found later. */
using sources = std::map<mistake::list, std::vector<const toml::table *>>;

board_description read_board(const toml::table &root, const std::string &file,
                             const std::filesystem::path &folder)
{
    using enum mistake::list;
    board_description board;
    table_reader top(root, file);
    sources lists = {{partitions, top.find_tables("partition", "partition")},
                     {eeproms, top.find_tables("eeprom", "eeprom")},
                     {faults, top.find_tables("fault", "fault")}};
    for (const toml::table *table : lists[partitions]) {
        board.partitions.push_back(read_partition({*table, file}));
    }
    for (const toml::table *table : lists[eeproms]) {
        board.eeproms.push_back(read_eeprom({*table, file}, folder));
    }
    for (const toml::table *table : lists[faults]) {
        board.faults.push_back(read_fault({*table, file}));
    }
    top.take("i2c_bus", board.i2c_bus);
    if (!board.i2c_bus.starts_with("/dev/i2c-")) {
        top.fail("i2c_bus", "i2c_bus must begin with \"/dev/i2c-\"");
    }
    if (const toml::table *table = top.find_table("cpld")) {
        board.cpld = read_cpld({*table, file});
    }
    if (const toml::table *table = top.find_table("driver")) {
        board.driver = read_driver({*table, file});
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
