#include "sim/board_file.h"

#include "sim/operation.h"

#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <limits>
#include <set>
#include <sstream>

namespace sim {
namespace {

constexpr int highest_errno = 133;

/** A table of the file, which is asked for its keys one by one. */
class table_reader {
public:
    table_reader(const toml::table &table, const std::string &file) : table_(table), file_(file) {}

    [[noreturn]] void fail(const toml::node &where, const std::string &text) const
    {
        throw board_file_error(file_ + ":" + std::to_string(where.source().begin.line) + ": " +
                               text);
    }

    template <typename number>
    void take(const char *key, number &into, number least, number most)
    {
        if (const toml::node *node = find(key)) {
            into = number_of(*node, key, least, most);
        }
    }

    template <typename number>
    void take(const char *key, std::optional<number> &into, number least, number most)
    {
        if (const toml::node *node = find(key)) {
            into = number_of(*node, key, least, most);
        }
    }

    void take(const char *key, std::string &into)
    {
        const toml::node *node = find(key);
        if (node == nullptr) {
            return;
        }
        if (!node->is_string()) {
            fail(*node, std::string(key) + " must be a text in quotes");
        }
        into = node->as_string()->get();
    }

    void take(const char *key, std::vector<uint32_t> &into)
    {
        const toml::node *node = find(key);
        if (node == nullptr) {
            return;
        }
        const auto expect = std::string("each entry of ") + key;
        if (!node->is_array()) {
            fail(*node, std::string(key) + " must be a list of numbers, as [0, 5]");
        }
        for (const toml::node &entry : *node->as_array()) {
            into.push_back(
                number_of(entry, expect, uint32_t{0}, std::numeric_limits<uint32_t>::max()));
        }
    }

    void require(const char *key)
    {
        if (!table_.contains(key)) {
            fail(table_, std::string(key) + " is missing");
        }
    }

    /** The node of a key that is taken by other means, or null. */
    const toml::node *find(const char *key)
    {
        known_.insert(key);
        return table_.get(key);
    }

    /** A table inside this one, or null. */
    const toml::table *find_table(const char *key)
    {
        const toml::node *node = find(key);
        if (node != nullptr && !node->is_table()) {
            fail(*node, std::string(key) + " must be one table, headed [" + key + "]");
        }
        return node != nullptr ? node->as_table() : nullptr;
    }

    /** The tables of a list, headed [[key]]. */
    std::vector<const toml::table *> find_tables(const char *key)
    {
        std::vector<const toml::table *> tables;
        const toml::node *node = find(key);
        if (node == nullptr) {
            return tables;
        }
        const auto headed =
            std::string(key) + " must be a list of tables, each headed [[" + key + "]]";
        if (!node->is_array()) {
            fail(*node, headed);
        }
        for (const toml::node &entry : *node->as_array()) {
            if (!entry.is_table()) {
                fail(entry, headed);
            }
            tables.push_back(entry.as_table());
        }
        return tables;
    }

    /** To be called last: refuses the keys that nobody asked for. */
    void finish() const
    {
        for (const auto &[key, node] : table_) {
            if (!known_.contains(key.str())) {
                std::string text(key.str());
                text += " is not known here; known are";
                for (const std::string &name : known_) {
                    text.append(" ").append(name);
                }
                fail(node, text);
            }
        }
    }

private:
    template <typename number>
    number number_of(const toml::node &node, const std::string &key, number least,
                     number most) const
    {
        const auto *integer = node.as_integer();
        if (integer == nullptr || std::cmp_less(integer->get(), least) ||
            std::cmp_greater(integer->get(), most)) {
            fail(node, key + " must be a whole number from " + std::to_string(least) + " to " +
                           std::to_string(most));
        }
        return static_cast<number>(integer->get());
    }

    const toml::table &table_;
    const std::string &file_;
    std::set<std::string, std::less<>> known_;
};

flash_type type_of(const std::string &name, table_reader &table)
{
    constexpr std::pair<std::string_view, flash_type> types[] = {
        {"nor", nor}, {"nand", nand}, {"ram", ram}, {"ubi", ubi}};
    for (const auto &[text, type] : types) {
        if (name == text) {
            return type;
        }
    }
    table.fail(*table.find("type"), "type must be \"nor\", \"nand\", \"ram\" or \"ubi\"");
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

/** Bytes of pairs of hexadecimal digits, with or without blanks between them. */
std::optional<std::vector<uint8_t>> bytes_of(std::string text)
{
    std::erase_if(text, [](unsigned char letter) { return std::isspace(letter) != 0; });
    std::vector<uint8_t> bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        uint8_t byte = 0;
        const char *end = text.data() + std::min(i + 2, text.size());
        const auto [stop, error] = std::from_chars(text.data() + i, end, byte, 16);
        if (error != std::errc() || stop != text.data() + i + 2) {
            return std::nullopt;
        }
        bytes.push_back(byte);
    }
    return bytes;
}

eeprom read_eeprom(table_reader table)
{
    eeprom chip;
    std::string content;
    table.require("address");
    table.take("address", chip.address, uint8_t{0x08}, uint8_t{0x77});
    table.take("content", content);
    table.take("page_size", chip.page_size, 1U, unsigned{eeprom_size});
    table.take("write_cycle_ms", chip.write_cycle_ms, 0U, 60000U);
    table.finish();
    const auto bytes = bytes_of(content);
    if (!bytes) {
        table.fail(*table.find("content"), "content must be pairs of hexadecimal digits");
    }
    chip.content = *bytes;
    return chip;
}

int error_number(const std::string &name, table_reader &table)
{
    for (int number = 1; number <= highest_errno; ++number) {
        if (error_name(number) == name) {
            return number;
        }
    }
    table.fail(*table.find("error"), "error must be the symbol of an error, as \"EIO\"");
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
    if (table.find("error") != nullptr) {
        one.error = error_number(error, table);
    }
    return one;
}

/** The tables of the lists that can hold a mistake found later. */
struct sources {
    std::vector<const toml::table *> partitions;
    std::vector<const toml::table *> eeproms;
    std::vector<const toml::table *> faults;

    const toml::table &of(const mistake &wrong) const
    {
        switch (wrong.where) {
        case mistake::list::partitions:
            return *partitions[wrong.entry];
        case mistake::list::eeproms:
            return *eeproms[wrong.entry];
        case mistake::list::faults:
            break;
        }
        return *faults[wrong.entry];
    }
};

board_description read_board(const toml::table &root, const std::string &file)
{
    board_description board;
    table_reader top(root, file);
    const sources lists = {top.find_tables("partition"), top.find_tables("eeprom"),
                           top.find_tables("fault")};
    for (const toml::table *table : lists.partitions) {
        board.partitions.push_back(read_partition({*table, file}));
    }
    for (const toml::table *table : lists.eeproms) {
        board.eeproms.push_back(read_eeprom({*table, file}));
    }
    for (const toml::table *table : lists.faults) {
        board.faults.push_back(read_fault({*table, file}));
    }
    top.take("i2c_bus", board.i2c_bus);
    if (!board.i2c_bus.starts_with("/dev/i2c-")) {
        top.fail(*top.find("i2c_bus"), "i2c_bus must begin with \"/dev/i2c-\"");
    }
    if (const toml::table *table = top.find_table("driver")) {
        table_reader driver(*table, file);
        driver.take("init_result", board.driver_init_result, std::numeric_limits<int32_t>::min(),
                    std::numeric_limits<int32_t>::max());
        driver.finish();
    }
    if (const toml::table *table = top.find_table("power")) {
        table_reader supply(*table, file);
        supply.take("cut_after", board.cut_after, uint64_t{0},
                    uint64_t{std::numeric_limits<int64_t>::max()});
        supply.finish();
    }
    top.finish();
    if (const auto wrong = find_mistake(board)) {
        top.fail(lists.of(*wrong), wrong->text);
    }
    return board;
}

} // namespace

board_description parse_board_file(std::string_view text, const std::string &name)
{
    try {
        return read_board(toml::parse(text, name), name);
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
    return parse_board_file(text.str(), path.string());
}

} // namespace sim
