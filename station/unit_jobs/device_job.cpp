#include "station/unit_jobs/device_job.h"

#include <limits>

#include "station/unit_jobs/unit_reader.h"

namespace station {

namespace {

// A list: its head, then an entry for each device.
constexpr std::size_t list_head = 6;
constexpr std::size_t entry_size = 131;
constexpr std::size_t most_in_list = 16;

// An entry.
constexpr std::size_t serial_field = 24;
constexpr std::size_t hardware_field = 6;
constexpr std::size_t name_field = 32;
constexpr std::size_t reserved_size = 58;
constexpr std::size_t flag_at = 3;
constexpr unit_part serial_part{7, serial_field};
constexpr unit_part hardware_part{31, hardware_field};

constexpr auto most_of_type = std::numeric_limits<std::uint32_t>::max();

enum device_kind : std::uint8_t {
    fan = 1,
    supply = 2,
    card = 3,
};

struct device {
    device_kind kind = fan;
    std::uint8_t index = 0;
    std::uint8_t fan_type = 0; // counts where the type is 0
    std::uint32_t type = 0;
    std::string serial;
    std::string hardware;
    std::string name;
    std::string kind_name;
};

/** The texts that the switch writes. */
void read_identity(unit_reader &unit, device &found)
{
    if (unit.has("serial")) {
        found.serial = unit.text("serial", serial_field);
    }
    if (unit.has("hardware")) {
        found.hardware = unit.text("hardware", hardware_field);
    }
    if (!unit.has("serial") && !unit.has("hardware")) {
        unit.complain("", "nothing to write: expected \"serial\", \"hardware\" or both");
    }
}

void read_fan(unit_reader &unit, device &found)
{
    unit.allow_only({"kind", "index", "serial", "hardware", "type", "fan_type"});
    read_identity(unit, found);
    if (unit.has("type") == unit.has("fan_type")) {
        unit.complain("fan_type",
                      std::string(unit.has("type") ? "both \"type\" and" : "neither \"type\" nor") +
                          " \"fan_type\": expected one of them, which is "
                          "the type of fan that is in the slot");
    } else if (unit.has("type")) {
        found.type = unit.number("type", 1, most_of_type);
    } else {
        found.fan_type = unit.byte("fan_type");
    }
}

void read_supply(unit_reader &unit, device &found)
{
    unit.allow_only({"kind", "index", "hardware", "name"});
    found.hardware = unit.text("hardware", hardware_field);
    found.name = unit.text("name", name_field);
}

void read_card(unit_reader &unit, device &found)
{
    unit.allow_only({"kind", "index", "serial", "hardware", "type"});
    read_identity(unit, found);
    found.type = unit.number("type", 0, most_of_type);
}

struct known_kind {
    std::string_view name;
    device_kind kind;
    void (*read)(unit_reader &unit, device &found);
};

// Each takes those keys only which the switch makes something of for that kind.
constexpr known_kind known_kinds[] = {
    {"fan", fan, read_fan},
    {"supply", supply, read_supply},
    {"card", card, read_card},
};

device read_device(unit_reader &unit, unit_places &places)
{
    device found;
    found.kind_name = unit.text("kind", name_field);
    found.index = unit.byte("index");
    for (const auto &known : known_kinds) {
        if (known.name == found.kind_name) {
            found.kind = known.kind;
            known.read(unit, found);
            places.add(found.kind_name + " " + std::to_string(found.index), unit);
            return found;
        }
    }
    if (!found.kind_name.empty()) {
        unit.complain("kind",
                      "\"kind\" is \"" + found.kind_name + "\": expected fan, supply or card");
    }
    return found;
}

void put_entry(bytes &out, const device &unit)
{
    out.push_back(unit.kind);
    out.push_back(entry_size - 2);
    out.push_back(unit.index);
    out.push_back(0);
    out.push_back(unit.fan_type);
    out.push_back(0); // channel and address, which the switch only logs
    out.push_back(0);
    put_field(out, unit.serial, serial_field);
    put_field(out, unit.hardware, hardware_field);
    put_field(out, unit.name, name_field);
    put_be32(out, unit.type);
    out.resize(out.size() + reserved_size);
}

unit_list list_of(std::span<const device> devices)
{
    const auto size = list_head + devices.size() * entry_size;
    unit_list list;
    list.units = devices.size();
    put_be32(list.length, static_cast<std::uint32_t>(size));
    // Its type and, least significant byte first, the size of the entries, which the switch only
    // logs.
    const auto entries = size - list_head;
    list.payload = {
        static_cast<std::uint8_t>(devices.size()), 0, static_cast<std::uint8_t>(entries),
        static_cast<std::uint8_t>(entries >> 8),   0, 0};
    for (const auto &each : devices) {
        put_entry(list.payload, each);
    }
    return list;
}

std::string expected_of(const device &unit)
{
    if (unit.kind == supply) {
        return unit.name;
    }
    bytes type;
    put_be32(type, unit.type);
    return unit.kind == fan && unit.type == 0 ? "fan type " + hex_number(unit.fan_type)
                                              : "type 0x" + to_hex(type, "");
}

/** Only what was set is read back; a text that was not set comes back as it was sent: empty. */
unit_result judge_device(unit_bytes sent, unit_bytes back)
{
    if (!same_unit(sent, back, {serial_part, hardware_part, {flag_at, 1}})) {
        return sent_back_changed();
    }
    switch (back[flag_at]) {
    case 0:
        return read_back_with(difference("serial", sent, back, serial_part) +
                              difference("hardware", sent, back, hardware_part));
    case 1:
        return {false, "not present"};
    case 2:
        return {false, "not written"};
    case 3:
        return {false, "written, but it cannot be read back"};
    case 4:
        return {false, "not written: another type in the slot"};
    default:
        return {false, "not written: its type cannot be read, result " + hex_number(back[flag_at])};
    }
}

/** Puts devices into lists, as many into each as it takes. */
void add_lists(unit_job &found, const std::vector<device> &devices)
{
    for (std::size_t at = 0; at < devices.size(); at += most_in_list) {
        const auto count = std::min(most_in_list, devices.size() - at);
        found.operation.lists.push_back(list_of(std::span(devices).subspan(at, count)));
    }
    for (const auto &each : devices) {
        found.units.rows.push_back({each.kind_name + " " + std::to_string(each.index), each.serial,
                                    each.hardware, expected_of(each)});
    }
}

std::vector<device> read_devices(const job_table &table, unit_places &places, mistakes &wrong)
{
    std::vector<device> devices;
    for (const auto &each : table.tables("device", wrong)) {
        unit_reader unit(each, wrong);
        devices.push_back(read_device(unit, places));
    }
    return devices;
}

void read_records(unit_job &found, const job_table &job, unit_places &places, mistakes &wrong)
{
    for (const auto &record : job.tables("record", wrong)) {
        record.allow_only({"device"}, wrong);
        const auto devices = read_devices(record, places, wrong);
        if (devices.size() > most_in_list) {
            wrong.add(record.line,
                      std::to_string(devices.size()) + " devices: expected at most 16 in a record");
        }
        add_lists(found, devices);
    }
}

} // namespace

unit_job read_device_job(const job_table &job, mistakes &wrong)
{
    unit_job found;
    unit_places places;
    found.units.columns = {"device", "serial", "hardware", "expected"};
    if (job.has("record")) {
        job.allow_only({"record"}, wrong);
        read_records(found, job, places, wrong);
    } else {
        job.allow_only({"device"}, wrong);
        add_lists(found, read_devices(job, places, wrong));
    }
    found.operation.banner = unit_banner::devices;
    found.operation.ended_by_station = true;
    found.judge = judge_of_lists(found.operation, list_head, entry_size, judge_device);
    return found;
}

} // namespace station
