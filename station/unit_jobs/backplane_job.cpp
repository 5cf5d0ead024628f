#include "station/unit_jobs/backplane_job.h"

#include <algorithm>
#include <limits>

#include "station/unit_jobs/unit_reader.h"

namespace station {

namespace {

constexpr std::uint8_t start_byte = 0x15;
constexpr std::size_t eeproms = 2;
constexpr std::size_t mac_size = 6;
constexpr std::size_t most_of_serial = 18;
constexpr std::size_t most_of_version = 8;

enum element_type : std::uint8_t {
    element_mac = 1,
    element_serial = 2,
    element_type_byte = 3,
    element_version = 4,
    element_serial_0 = 5, // to 8, for serial_3
    element_type9_value = 9,
};

constexpr std::string_view serial_settings[] = {"serial_0", "serial_1", "serial_2", "serial_3"};

/** Gathers the elements of a list: a type, a length and a text with its NUL for each. */
class element_list {
public:
    void add(std::uint8_t type, std::string_view text)
    {
        ++count_;
        payload_.push_back(type);
        payload_.push_back(static_cast<std::uint8_t>(text.size()));
        put_text(payload_, text);
        payload_.push_back(0);
    }

    unit_list list() const
    {
        return {{static_cast<std::uint8_t>(payload_.size()), count_}, payload_, eeproms};
    }

private:
    bytes payload_;
    std::uint8_t count_ = 0;
};

/** Its hexadecimal digits, which is all that the switch takes. */
std::string read_mac(unit_reader &unit)
{
    const auto text = unit.text("mac", 3 * mac_size);
    const auto mac = bytes_of_hex(text);
    if (!text.empty() && (!mac || mac->size() != mac_size)) {
        unit.complain("mac", "\"mac\" is \"" + text +
                                 "\": expected six bytes in hexadecimal, as in mac = \"00 1A 2B 3C "
                                 "4D 5E\"");
    }
    return mac ? to_hex(*mac, "") : "";
}

/** A number in hexadecimal digits. */
std::string hex_text(std::uint32_t number)
{
    bytes all;
    put_be32(all, number);
    const auto digits = to_hex(all, "");
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 2));
}

void read_settings(unit_reader &unit, element_list &elements, logged_job &logged)
{
    auto type = static_cast<std::uint8_t>(element_serial_0);
    for (const auto key : serial_settings) {
        const auto value = unit.has(key) ? unit.byte(key) : std::uint8_t(0);
        if (unit.has(key)) {
            elements.add(type, hex_text(value));
        }
        logged.lines.push_back("BP " + std::string(key) + " " + std::to_string(value) + " .");
        ++type;
    }
    if (unit.has("type9_value")) {
        logged.not_logged = "type9_value";
        elements.add(
            element_type9_value,
            hex_text(unit.number("type9_value", 0, std::numeric_limits<std::uint32_t>::max())));
    }
}

/** None where the switch has not come to its end. */
std::vector<unit_result> judge_backplane(const outcome &result)
{
    if (result.echo.empty()) {
        return {};
    }
    switch (result.echo.size() - 1) {
    case 0:
        return {eeproms, {true, "written"}};
    case 1:
        return {eeproms,
                {false,
                 "not known: one of the two is not written, status " + hex_number(result.echo[0])}};
    default:
        return {{false, "not written, status " + hex_number(result.echo[0])},
                {false, "not written, status " + hex_number(result.echo[1])}};
    }
}

} // namespace

unit_job read_backplane_job(const job_table &job, mistakes &wrong)
{
    job.allow_only({"backplane"}, wrong);
    unit_job found;
    const auto *table = job.table("backplane", wrong);
    if (table == nullptr) {
        return found;
    }
    unit_reader unit(*table, wrong);
    unit.allow_only({"mac", "serial", "type", "version", "serial_0", "serial_1", "serial_2",
                     "serial_3", "type9_value"});
    const auto mac = read_mac(unit);
    const auto serial = unit.text("serial", most_of_serial);
    const auto type = unit.byte("type");
    const auto version = unit.text("version", most_of_version);
    element_list elements;
    elements.add(element_mac, mac);
    elements.add(element_serial, serial);
    elements.add(element_type_byte, hex_text(type));
    elements.add(element_version, version);
    const auto mac_bytes = bytes_of_hex(mac).value_or(bytes());
    found.logged.lines = {
        "BP type " + std::to_string(type) + " .",
        // a version that fills its field runs on into the serial number
        "BP version " + version + (version.size() == most_of_version ? serial : "") + " .",
        "BP serial_no " + serial + " .", "BP mac_addr " + to_hex(mac_bytes, ":") + " ."};
    read_settings(unit, elements, found.logged);

    found.operation.banner = unit_banner::backplane;
    found.operation.start = start_byte;
    found.operation.report = unit_report::statuses;
    found.operation.lists = {elements.list()};
    found.units.columns = {"eeprom", "mac", "serial", "type", "version"};
    for (std::size_t eeprom = 1; eeprom <= eeproms; ++eeprom) {
        found.units.rows.push_back(
            {std::to_string(eeprom), mac, serial, hex_number(type), version});
    }
    found.judge = judge_backplane;
    return found;
}

} // namespace station
