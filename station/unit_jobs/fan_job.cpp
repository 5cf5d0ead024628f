#include "station/unit_jobs/fan_job.h"

#include <cctype>

#include "station/unit_jobs/record_job.h"

namespace station {

namespace {

// The switch has a field of 14 characters, of which it writes 13.
constexpr std::size_t serial_field = 14;
constexpr std::size_t most_of_serial = 13;
constexpr std::size_t hardware_field = 5;
constexpr std::size_t flag_at = 3; // in the element

bool is_hex_digit(char character)
{
    return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

/** "1.23": the switch keeps it as three digits. */
bool is_version(const std::string &text)
{
    return text.size() == 4 && is_hex_digit(text[0]) && text[1] == '.' && is_hex_digit(text[2]) &&
           is_hex_digit(text[3]);
}

std::string read_version(unit_reader &unit)
{
    auto version = unit.text("hardware", hardware_field - 1);
    if (!version.empty() && !is_version(version)) {
        unit.complain("hardware", "\"hardware\" is \"" + version +
                                      "\": expected a hexadecimal digit, a point and two more "
                                      "digits, as in hardware = \"1.23\"");
    }
    return version;
}

record_unit read_fan(unit_reader &unit, unit_places &places)
{
    unit.allow_only({"index", "type", "channel", "serial", "hardware"});
    const auto index = unit.byte("index");
    const auto type = unit.byte("type");
    const auto channel = unit.byte("channel");
    const auto serial = unit.text("serial", most_of_serial);
    const auto hardware = read_version(unit);
    places.add("channel " + std::to_string(channel), unit);
    bytes record{index, 0, type, channel};
    put_field(record, serial, serial_field);
    put_field(record, hardware, hardware_field);
    return {record,
            {std::to_string(index), std::to_string(channel), hex_number(type), serial, hardware}};
}

unit_result judge_fan(unit_bytes sent, unit_bytes back)
{
    if (!same_unit(sent, back, {{flag_at, 1}})) {
        return sent_back_changed();
    }
    switch (back[flag_at]) {
    case 0:
        return {true, "written"};
    case 1:
        return {false, "not written: the transfer to it failed"};
    default:
        return {false,
                "not written: the transfer to it did not end, status " + hex_number(back[flag_at])};
    }
}

record_kind kind_of(std::string_view name, std::string_view banner)
{
    return {.name = name,
            .banner = banner,
            .element_type = 4,
            .most = 9, // in the switch's 250 bytes
            .columns = {std::string(name), "channel", "type", "serial", "hardware"},
            .read = read_fan,
            .judge = judge_fan};
}

} // namespace

unit_job read_fan_job(const job_table &job, mistakes &wrong)
{
    return read_record_job(kind_of("fan", unit_banner::fans), job, wrong);
}

unit_job read_poe_job(const job_table &job, mistakes &wrong)
{
    return read_record_job(kind_of("poe", unit_banner::poe), job, wrong);
}

} // namespace station
