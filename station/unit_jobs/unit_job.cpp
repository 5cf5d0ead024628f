#include "station/unit_jobs/unit_job.h"

#include <algorithm>

namespace station {

namespace {

std::string unconfirmed(std::size_t count, std::size_t all)
{
    if (all == 1) {
        return "the unit is not confirmed";
    }
    return std::to_string(count) + " of " + std::to_string(all) +
           (count == 1 ? " units is" : " units are") + " not confirmed";
}

/** How many units had been answered for when the next list was answered for, too. */
std::size_t end_of_next_list(const unit_operation &operation, std::size_t answered)
{
    std::size_t units = 0;
    for (const auto &list : operation.lists) {
        units += list.units;
        if (units > answered) {
            break;
        }
    }
    return units;
}

/** Adds the results of the units of a list. */
void judge_list(std::vector<unit_result> &results, unit_bytes sent, unit_bytes back,
                std::size_t head_size, std::size_t unit_size, unit_judge judge)
{
    const bool same_head = std::equal(
        sent.begin(), sent.begin() + static_cast<std::ptrdiff_t>(head_size), back.begin());
    for (auto at = head_size; at + unit_size <= sent.size(); at += unit_size) {
        results.push_back(same_head
                              ? judge(sent.subspan(at, unit_size), back.subspan(at, unit_size))
                              : sent_back_changed());
    }
}

} // namespace

outcome run_unit_job(conversation &talk, const unit_job &job, const exchange_options &options)
{
    auto result = run_units(talk, job.operation, options);
    if (!result.ok()) {
        return result;
    }
    const auto results = job.judge(result);
    const auto ill = std::count_if(results.begin(), results.end(),
                                   [](const unit_result &each) { return !each.well; });
    if (ill != 0) {
        result.end = ending::failed;
        result.reason = unconfirmed(static_cast<std::size_t>(ill), results.size());
    }
    return result;
}

table unit_table(const unit_job &job, const outcome &result)
{
    const auto results = job.judge(result);
    const auto in_doubt = result.taken ? end_of_next_list(job.operation, results.size()) : 0;
    auto units = job.units;
    units.columns.emplace_back("result");
    for (std::size_t at = 0; at < units.rows.size(); ++at) {
        units.rows[at].push_back(at < results.size() ? results[at].words
                                 : at < in_doubt     ? "not known"
                                                     : "not written");
    }
    return units;
}

std::function<std::vector<unit_result>(const outcome &)>
judge_of_lists(const unit_operation &operation, std::size_t head_size, std::size_t unit_size,
               unit_judge judge)
{
    return [=, lists = operation.lists](const outcome &result) {
        std::vector<unit_result> results;
        auto back = std::span(result.echo);
        for (const auto &[length, payload, units] : lists) {
            if (back.size() < payload.size()) {
                break;
            }
            judge_list(results, payload, back, head_size, unit_size, judge);
            back = back.subspan(payload.size());
        }
        return results;
    };
}

bool same_unit(unit_bytes sent, unit_bytes back, std::initializer_list<unit_part> outside)
{
    bytes expected(sent.begin(), sent.end());
    for (const auto &[at, size] : outside) {
        std::copy_n(back.begin() + static_cast<std::ptrdiff_t>(at), size,
                    expected.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return std::equal(back.begin(), back.end(), expected.begin(), expected.end());
}

std::string difference(std::string_view name, unit_bytes sent, unit_bytes back,
                       const unit_part &where)
{
    const auto held = field_text(back.subspan(where.first, where.second));
    if (held == field_text(sent.subspan(where.first, where.second))) {
        return "";
    }
    return " " + std::string(name) + " \"" + printable(held) + "\"";
}

unit_result sent_back_changed()
{
    return {false, "not known: comes back as another unit"};
}

unit_result read_back_with(const std::string &differences)
{
    if (differences.empty()) {
        return {true, "written and read back"};
    }
    return {false, "differs: holds" + differences};
}

} // namespace station
