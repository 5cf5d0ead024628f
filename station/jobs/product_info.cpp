#include "station/jobs/product_info.h"

#include <algorithm>
#include <map>

#include "station/jobs/entry_reader.h"

namespace station {

namespace {

constexpr std::size_t largest_name = 63;
constexpr std::size_t largest_text = 128;
constexpr std::size_t largest_binary = 64;
constexpr std::size_t largest_serial = 63;
constexpr std::uint8_t property_part = 2;

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

/** Reads one [[property]]. Every mistake is told; the result then does not matter. */
class property_reader {
public:
    property_reader(const job_table &table, mistakes &wrong)
        : table_(table), wrong_(wrong), entry_(table, "property", wrong)
    {
    }

    property read()
    {
        table_.allow_only({"name", "text", "hex", "type"}, wrong_);
        read_name();
        if (auto value = entry_.read_value()) {
            read_.value = std::move(*value);
            read_.type = entry_.has_text() ? node_type::text : node_type::binary;
            read_type();
            check_value();
        }
        return std::move(read_);
    }

private:
    void read_name()
    {
        const auto name = entry_.read_name("SerialNO");
        if (!name) {
            return;
        }
        read_.name = *name;
        if (name->empty()) {
            entry_.complain("name", "the name is empty: expected 1 to 63 bytes");
        } else if (name->size() > largest_name) {
            entry_.complain("name", "the name has " + std::to_string(name->size()) +
                                        " bytes: expected at most 63, the switch would cut it");
        }
        if (name->find('\0') != std::string::npos) {
            entry_.complain("name", "a NUL in the name: the switch would end it there");
        }
        if (name->find('=') != std::string::npos) {
            entry_.complain("name", "a \"=\" in the name: the switch would end it there");
        }
        if (*name == progress_mark) {
            entry_.complain("name", "the switch keeps its own mark under this name");
        }
    }

    void read_type()
    {
        if (!table_.has("type")) {
            return;
        }
        constexpr auto expected = "1 (text) or 2 (binary)";
        const auto type = table_.number("type", expected, wrong_);
        if (type && (*type == 1 || *type == 2)) {
            read_.type = static_cast<node_type>(*type);
        } else if (type) {
            entry_.complain("type", "type " + std::to_string(*type) + ": expected " + expected);
        }
    }

    void check_value()
    {
        const bool binary = read_.type == node_type::binary;
        const auto largest = binary ? largest_binary : largest_text;
        for (const auto &known : binary_properties) {
            const auto size = read_.value.size();
            if (known.name == read_.name &&
                (!binary || size < known.smallest || size > known.largest)) {
                entry_.complain_of_value((binary ? size_of(read_.value) : std::string("a text")) +
                                         ": expected " + known.expected);
                return;
            }
        }
        if (read_.value.size() > largest) {
            entry_.complain_of_value("the value has " + size_of(read_.value) +
                                     ": expected at most " + std::to_string(largest) +
                                     " for type " + (binary ? "2" : "1") +
                                     ", the switch would cut it");
        }
        if (!binary && std::find(read_.value.begin(), read_.value.end(), 0) != read_.value.end()) {
            entry_.complain_of_value("a NUL in a value of type 1: the switch would end it there");
        }
    }

    const job_table &table_;
    mistakes &wrong_;
    entry_reader entry_;
    property read_;
};

} // namespace

stored_property stored_form(const property &given)
{
    if (given.type == node_type::text) {
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
        put_node(nodes, each.name, each.type, each.value);
    }
    bytes payload;
    put_part(payload, property_part, nodes);
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
    if (const auto excess = excess_of(product_info_payload(properties))) {
        wrong.add(job.line_of("property"), "the properties make " + *excess);
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
