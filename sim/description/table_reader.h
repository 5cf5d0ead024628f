#pragma once

#include "sim/base/operation.h"
#include "sim/description/board_file.h"

#include "sim/description/toml.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

/** A number as board files have them, decimal or hexadecimal ("0x25"), of all of the text. */
template <typename number>
std::optional<number> number_in(std::string_view text)
{
    const bool is_hex = text.starts_with("0x");
    text.remove_prefix(is_hex ? 2 : 0);
    number value = 0;
    const auto [stop, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, is_hex ? 16 : 10);
    const bool whole = error == std::errc() && stop == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

/** Bytes of pairs of hexadecimal digits, with or without blanks between them. */
inline std::optional<std::vector<uint8_t>> bytes_of(std::string text)
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

/** A table of a board file, which is asked for its keys one by one. */
class table_reader {
public:
    table_reader(const toml::table &table, const std::string &file) : table_(table), file_(file) {}

    const std::string &file() const { return file_; }

    [[noreturn]] void fail(const toml::node &where, const std::string &text) const
    {
        throw board_file_error(file_ + ":" + std::to_string(where.source().begin.line) + ": " +
                               text);
    }

    /** Of a key that is there, and of the whole table otherwise. */
    [[noreturn]] void fail(const char *key, const std::string &text) const
    {
        const toml::node *node = table_.get(key);
        fail(node != nullptr ? *node : table_, text);
    }

    bool has(const char *key) const { return table_.contains(key); }

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

    void take(const char *key, bool &into)
    {
        const toml::node *node = find(key);
        if (node == nullptr) {
            return;
        }
        if (!node->is_boolean()) {
            fail(*node, std::string(key) + " must be true or false");
        }
        into = node->as_boolean()->get();
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

    /** Bytes in the form of bytes_of. */
    void take_bytes(const char *key, std::vector<uint8_t> &into)
    {
        std::string digits;
        take(key, digits);
        auto bytes = bytes_of(std::move(digits));
        if (!bytes) {
            fail(key, std::string(key) + " must be pairs of hexadecimal digits");
        }
        into = std::move(*bytes);
    }

    /** A value that is written as one of a few words. */
    template <typename target, typename value, std::size_t count>
    void take_word(const char *key, target &into,
                   const std::pair<std::string_view, value> (&words)[count])
    {
        std::string given;
        take(key, given);
        if (!has(key)) {
            return;
        }
        std::string expected;
        for (std::size_t i = 0; i < count; ++i) {
            if (given == words[i].first) {
                into = words[i].second;
                return;
            }
            expected += i == 0 ? "" : i + 1 == count ? " or " : ", ";
            expected.append("\"").append(words[i].first).append("\"");
        }
        fail(key, std::string(key) + " must be " + expected);
    }

    template <typename number>
    void take(const char *key, std::vector<number> &into)
    {
        if (const toml::node *node = find(key)) {
            into = numbers_of<number>(*node, key);
        }
    }

    /** Registers with a value each: { 0x25 = 0xFF }. */
    template <typename index>
    void take(const char *key, std::map<index, uint8_t> &into)
    {
        take_registers<index>(key, "{ 0x25 = 0xFF }", [&](index number, const toml::node &node) {
            const auto name = std::string("each value of ") + key;
            into[number] = number_of(node, name, uint8_t{0}, uint8_t{0xFF});
        });
    }

    /** Registers with a list of values each: { 0x25 = [0xFB] }. */
    void take(const char *key, std::map<uint8_t, std::vector<uint8_t>> &into)
    {
        take_registers<uint8_t>(key, "{ 0x25 = [0xFB] }",
                                [&](uint8_t number, const toml::node &node) {
                                    into[number] = numbers_of<uint8_t>(node, key);
                                });
    }

    void require(const char *key) const
    {
        if (!has(key)) {
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

    /** The tables of a list, headed [[key]] or, inside a table, [[table.key]]. */
    std::vector<const toml::table *> find_tables(const char *key, const std::string &heading)
    {
        std::vector<const toml::table *> tables;
        const toml::node *node = find(key);
        if (node == nullptr) {
            return tables;
        }
        const auto headed =
            std::string(key) + " must be a list of tables, each headed [[" + heading + "]]";
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
    number number_of(const toml::node &node, const std::string &name, number least,
                     number most) const
    {
        const auto *integer = node.as_integer();
        if (integer == nullptr || std::cmp_less(integer->get(), least) ||
            std::cmp_greater(integer->get(), most)) {
            fail(node, name + " must be a whole number from " + std::to_string(least) + " to " +
                           std::to_string(most));
        }
        return static_cast<number>(integer->get());
    }

    template <typename number>
    std::vector<number> numbers_of(const toml::node &node, const std::string &name) const
    {
        if (!node.is_array()) {
            fail(node, name + " must be a list of numbers, as [0, 5]");
        }
        std::vector<number> numbers;
        for (const toml::node &entry : *node.as_array()) {
            numbers.push_back(number_of(entry, "each entry of " + name, number{0},
                                        std::numeric_limits<number>::max()));
        }
        return numbers;
    }

    template <typename index, typename taker>
    void take_registers(const char *key, const char *example, const taker &take_one)
    {
        const toml::node *node = find(key);
        if (node == nullptr) {
            return;
        }
        if (!node->is_table()) {
            fail(*node, std::string(key) + " must be registers with values, as " + example);
        }
        for (const auto &[name, value] : *node->as_table()) {
            const auto number = number_in<index>(name.str());
            if (!number) {
                fail(value, std::string(name.str()) + " is not the number of a register: 0 to " +
                                hex(std::numeric_limits<index>::max()));
            }
            take_one(*number, value);
        }
    }

    const toml::table &table_;
    const std::string &file_;
    std::set<std::string, std::less<>> known_;
};

} // namespace sim
