#include "product_info.h"

#include <algorithm>
#include <map>
#include <optional>

#include "framed.h"

namespace station {

namespace {

constexpr std::size_t largest_name = 63;
constexpr std::size_t largest_text = 128;
constexpr std::size_t largest_binary = 64;
constexpr std::size_t largest_serial = 63;
constexpr std::size_t crc_size = 4;
constexpr std::uint8_t property_part = 2;
constexpr std::uint32_t part_header_size = 5;

/** Properties that the switch interprets, and only does so in binary form. */
struct binary_property {
    std::string_view name;
    std::size_t smallest;
    std::size_t largest;
    const char *expected;
};

constexpr binary_property binary_properties[] = {
    {"MacAddress", 6, 6, "6 bytes, as in hex = \"00 1A 2B 3C 4D 5E\""},
    {"e2type", 1, 4, "1 to 4 bytes, as in hex = \"00 05\""},
};

/** The switch itself keeps a mark of its progress under this name. */
constexpr std::string_view progress_mark = "ProductInfo";

std::optional<std::uint8_t> digit(char character)
{
    if (character >= '0' && character <= '9') {
        return static_cast<std::uint8_t>(character - '0');
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<std::uint8_t>(character - 'A' + 10);
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<std::uint8_t>(character - 'a' + 10);
    }
    return std::nullopt;
}

/** The bytes of "00 1A 2B", "00:1A:2B" or "001A2B"; none where it is something else. */
std::optional<bytes> from_hex(std::string_view text)
{
    bytes out;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == ' ' || text[at] == ':') {
            ++at;
            continue;
        }
        const auto high = digit(text[at]);
        const auto low = at + 1 < text.size() ? digit(text[at + 1]) : std::nullopt;
        if (!high || !low) {
            return std::nullopt;
        }
        out.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
        at += 2;
    }
    return out;
}

std::string size_of(const bytes &value)
{
    return std::to_string(value.size()) + (value.size() == 1 ? " byte" : " bytes");
}

/** Reads one [[property]]. Every mistake is told; the result then does not matter. */
class property_reader {
public:
    property_reader(const job_table &table, mistakes &wrong) : table_(table), wrong_(wrong) {}

    property read()
    {
        table_.allow_only({"name", "text", "hex", "type"}, wrong_);
        read_name();
        if (read_value()) {
            read_type();
            check_value();
        }
        return std::move(read_);
    }

private:
    void complain(std::string_view key, const std::string &what)
    {
        wrong_.add(table_.line_of(key),
                   read_.name.empty() ? what
                                      : "property \"" + printable(read_.name) + "\": " + what);
    }

    void read_name()
    {
        const auto name = table_.text("name", "a text, as in name = \"SerialNO\"", wrong_);
        if (!name) {
            return;
        }
        read_.name = *name;
        if (name->empty()) {
            complain("name", "the name is empty: expected 1 to 63 bytes");
        } else if (name->size() > largest_name) {
            complain("name", "the name has " + std::to_string(name->size()) +
                                 " bytes: expected at most 63, the switch would cut it");
        }
        if (name->find('\0') != std::string::npos) {
            complain("name", "a NUL in the name: the switch would end it there");
        }
        if (name->find('=') != std::string::npos) {
            complain("name", "a \"=\" in the name: the switch would end it there");
        }
        if (*name == progress_mark) {
            complain("name", "the switch keeps its own mark under this name");
        }
    }

    bool read_value()
    {
        const bool text = table_.has("text");
        const bool hex = table_.has("hex");
        if (text == hex) {
            complain(text ? "hex" : "name",
                     std::string(text ? "both \"text\" and \"hex\"" : "no value") +
                         ": expected either text = \"...\" or hex = \"00 1A 2B\"");
            return false;
        }
        return text ? read_text() : read_hex();
    }

    bool read_text()
    {
        const auto text = table_.text("text", "a text, as in text = \"CN\"", wrong_);
        if (!text) {
            return false;
        }
        put_text(read_.value, *text);
        read_.type = property_type::text;
        return true;
    }

    bool read_hex()
    {
        const auto text = table_.text("hex", "a text, as in hex = \"00 1A 2B\"", wrong_);
        if (!text) {
            return false;
        }
        const auto value = from_hex(*text);
        if (!value) {
            complain("hex", "\"" + printable(*text) +
                                "\" is not hexadecimal: expected pairs of digits, as in "
                                "hex = \"00 1A 2B\"");
            return false;
        }
        read_.value = *value;
        read_.type = property_type::binary;
        return true;
    }

    void read_type()
    {
        if (!table_.has("type")) {
            return;
        }
        constexpr auto expected = "1 (text) or 2 (binary)";
        const auto type = table_.number("type", expected, wrong_);
        if (type && (*type == 1 || *type == 2)) {
            read_.type = static_cast<property_type>(*type);
        } else if (type) {
            complain("type", "type " + std::to_string(*type) + ": expected " + expected);
        }
    }

    void check_value()
    {
        const auto *key = table_.has("text") ? "text" : "hex";
        const bool binary = read_.type == property_type::binary;
        const auto largest = binary ? largest_binary : largest_text;
        for (const auto &known : binary_properties) {
            const auto size = read_.value.size();
            if (known.name == read_.name &&
                (!binary || size < known.smallest || size > known.largest)) {
                complain(key, (binary ? size_of(read_.value) : std::string("a text")) +
                                  ": expected " + known.expected);
                return;
            }
        }
        if (read_.value.size() > largest) {
            complain(key, "the value has " + size_of(read_.value) + ": expected at most " +
                              std::to_string(largest) + " for type " + (binary ? "2" : "1") +
                              ", the switch would cut it");
        }
        if (!binary && std::find(read_.value.begin(), read_.value.end(), 0) != read_.value.end()) {
            complain(key, "a NUL in a value of type 1: the switch would end it there");
        }
    }

    const job_table &table_;
    mistakes &wrong_;
    property read_;
};

} // namespace

stored_property stored_form(const property &given)
{
    if (given.type == property_type::text) {
        return {given.name, std::string(given.value.begin(), given.value.end())};
    }
    if (given.name == "MacAddress") {
        return {"ethaddr", to_hex(given.value, ":")};
    }
    return {given.name, to_hex(given.value, "")};
}

bytes product_info_payload(std::span<const property> properties)
{
    bytes nodes;
    for (const auto &each : properties) {
        put_text(nodes, each.name);
        nodes.push_back(0);
        nodes.push_back(static_cast<std::uint8_t>(each.type));
        put_be32(nodes, static_cast<std::uint32_t>(each.value.size()));
        nodes.insert(nodes.end(), each.value.begin(), each.value.end());
    }
    bytes payload{property_part};
    put_be32(payload, static_cast<std::uint32_t>(nodes.size()) + part_header_size);
    payload.insert(payload.end(), nodes.begin(), nodes.end());
    return payload;
}

std::vector<property> read_properties(const job_table &job, mistakes &wrong)
{
    job.allow_only({"property"}, wrong);
    std::vector<property> properties;
    std::map<std::string, int> lines;
    for (const auto &table : job.tables("property", wrong)) {
        properties.push_back(property_reader(table, wrong).read());
        const auto name = stored_form(properties.back()).name;
        const auto [earlier, added] = lines.emplace(name, table.line_of("name"));
        if (!added && !name.empty()) {
            wrong.add(table.line_of("name"), "property \"" + printable(properties.back().name) +
                                                 "\": the switch stores it as \"" +
                                                 printable(name) + "\", as it does that of line " +
                                                 std::to_string(earlier->second));
        }
    }
    const auto size = product_info_payload(properties).size() + crc_size;
    if (size > largest_value) {
        wrong.add(job.line_of("property"), "the properties make " + std::to_string(size) +
                                               " bytes: the switch takes at most " +
                                               std::to_string(largest_value));
    }
    return properties;
}

bytes read_serial(const job_table &job, mistakes &wrong)
{
    job.allow_only({"serial"}, wrong);
    const auto text = job.text("serial", "a text, as in serial = \"ABCDEFGHJ1234\"", wrong);
    bytes serial;
    if (!text) {
        return serial;
    }
    put_text(serial, *text);
    if (serial.empty() || serial.size() > largest_serial) {
        wrong.add(job.line_of("serial"),
                  "the serial number has " + size_of(serial) + ": expected 1 to 63");
    }
    if (text->find('\0') != std::string::npos) {
        wrong.add(job.line_of("serial"),
                  "a NUL in the serial number: the switch would end it there");
    }
    return serial;
}

} // namespace station
