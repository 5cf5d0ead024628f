#include "station/unit_jobs/record_job.h"

namespace station {

namespace {

constexpr std::size_t list_head = 3;
constexpr std::size_t record_size = 23;
constexpr std::size_t element_size = record_size + 2;

// Stands behind the count of units.
constexpr std::uint8_t list_mark = 3;

unit_list list_of(const record_kind &kind, const std::vector<record_unit> &units)
{
    const auto count = static_cast<std::uint8_t>(units.size());
    unit_list list;
    list.units = units.size();
    list.payload = {count, list_mark, static_cast<std::uint8_t>(count * element_size)};
    for (const auto &[record, cells] : units) {
        list.payload.push_back(kind.element_type);
        list.payload.push_back(static_cast<std::uint8_t>(record_size));
        list.payload.insert(list.payload.end(), record.begin(), record.end());
    }
    list.length = {static_cast<std::uint8_t>(list.payload.size())};
    return list;
}

std::vector<record_unit> read_units(const record_kind &kind, const job_table &job, mistakes &wrong)
{
    std::vector<record_unit> units;
    unit_places places;
    for (const auto &each : job.tables(kind.name, wrong)) {
        unit_reader unit(each, wrong);
        units.push_back(kind.read(unit, places));
        if (units.size() == kind.most + 1) {
            wrong.add(each.line, "one too many: expected at most " + std::to_string(kind.most) +
                                     ", which is what the switch takes");
        }
    }
    return units;
}

} // namespace

unit_job read_record_job(const record_kind &kind, const job_table &job, mistakes &wrong)
{
    job.allow_only({kind.name}, wrong);
    const auto units = read_units(kind, job, wrong);
    unit_job found;
    found.operation.banner = kind.banner;
    found.operation.lists = {list_of(kind, units)};
    found.units.columns = kind.columns;
    for (const auto &each : units) {
        found.units.rows.push_back(each.cells);
    }
    found.judge = judge_of_lists(found.operation, list_head, element_size, kind.judge);
    return found;
}

} // namespace station
