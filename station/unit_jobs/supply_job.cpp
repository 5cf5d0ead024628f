#include "station/unit_jobs/supply_job.h"

#include "station/unit_jobs/record_job.h"

namespace station {

namespace {

// The switch has a field of 14 characters, of which it reads 13 back.
constexpr std::size_t serial_field = 14;
constexpr std::size_t most_of_serial = 13;

// And one of 5, of which it writes 4.
constexpr std::size_t hardware_field = 5;
constexpr std::size_t most_of_hardware = 4;

// In the element.
constexpr unit_part serial_part{5, serial_field};
constexpr unit_part hardware_part{19, hardware_field};
constexpr std::size_t flag_at = 24;

// The switch looks up in a register of eight bits which supplies are there.
constexpr int first_address = 0x58;
constexpr int highest_address = 0x7F;
constexpr unsigned presence_bits = 8;

/** Whether the address has a presence bit; the switch takes its number modulo 32. */
bool can_be_present(std::uint8_t address)
{
    return static_cast<unsigned>(address - first_address) % 32 < presence_bits;
}

std::uint8_t read_address(unit_reader &unit)
{
    const auto address = static_cast<std::uint8_t>(unit.number("address", 1, highest_address));
    if (address != 0 && !can_be_present(address)) {
        unit.complain("address", "\"address\" is " + hex_number(address) +
                                     ", where the switch sees no supply: expected 0x58 to 0x5F");
    }
    return address;
}

record_unit read_supply(unit_reader &unit, unit_places &places)
{
    unit.allow_only({"index", "channel", "address", "serial", "hardware"});
    const auto index = unit.byte("index");
    const auto channel = unit.byte("channel");
    const auto address = read_address(unit);
    const auto serial = unit.text("serial", most_of_serial);
    const auto hardware = unit.text("hardware", most_of_hardware);
    places.add("channel " + std::to_string(channel) + ", address " + hex_number(address), unit);
    bytes record{index, channel, address};
    put_field(record, serial, serial_field);
    put_field(record, hardware, hardware_field);
    record.push_back(0);
    return {
        record,
        {std::to_string(index), std::to_string(channel), hex_number(address), serial, hardware}};
}

unit_result judge_supply(unit_bytes sent, unit_bytes back)
{
    if (!same_unit(sent, back, {serial_part, hardware_part, {flag_at, 1}})) {
        return sent_back_changed();
    }
    switch (back[flag_at]) {
    case 0:
        return read_back_with(difference("serial", sent, back, serial_part) +
                              difference("hardware", sent, back, hardware_part));
    case 1:
        return {false, "not written"};
    case 2:
        return {false, "written, but it cannot be read back"};
    case 3:
        return {false, "not present"};
    default:
        return {false, "not known: outcome " + hex_number(back[flag_at])};
    }
}

} // namespace

unit_job read_supply_job(const job_table &job, mistakes &wrong)
{
    const record_kind kind{.name = "supply",
                           .banner = unit_banner::supplies,
                           .element_type = 5,
                           .most = 8,
                           .columns = {"supply", "channel", "address", "serial", "hardware"},
                           .read = read_supply,
                           .judge = judge_supply};
    return read_record_job(kind, job, wrong);
}

} // namespace station
