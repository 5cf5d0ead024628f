#include "commands.h"

#include "product_info.h"
#include "setmac.h"
#include "setsn.h"

namespace station {

namespace {

std::string shown(const property &each)
{
    if (each.type == property_type::binary) {
        return to_hex(each.value);
    }
    return printable(each.value);
}

table property_table(const std::vector<property> &properties, const outcome &result)
{
    table items{{"property", "type", "value", "result"}, {}};
    for (const auto &each : properties) {
        const auto *type = each.type == property_type::text ? "text" : "binary";
        items.rows.push_back(
            {printable(each.name), type, shown(each), std::string(word_for_items(result))});
    }
    return items;
}

prepared_job prepare_setmac(const job_table &job, mistakes &wrong)
{
    const auto properties = read_properties(job, wrong);
    const auto run = [=](conversation &talk, const framed_options &options) {
        return run_framed(talk, setmac_exchange(product_info_payload(properties)), options);
    };
    const auto items = [=](const outcome &result) { return property_table(properties, result); };
    return {run, items};
}

prepared_job prepare_setsn(const job_table &job, mistakes &wrong)
{
    const auto serial = read_serial(job, wrong);
    const auto run = [=](conversation &talk, const framed_options &options) {
        return run_framed(talk, setsn_exchange(serial), options);
    };
    const auto items = [=](const outcome &result) {
        return table{
            {"serial", "sent back", "result"},
            {{printable(serial), printable(result.echo), std::string(word_for_items(result))}}};
    };
    return {run, items};
}

constexpr command commands[] = {
    {"setmac", "store a switch's identity, property by property", 3, prepare_setmac},
    {"setsn", "store a switch's serial number", 1, prepare_setsn},
};

} // namespace

std::span<const command> all_commands()
{
    return commands;
}

std::vector<std::string> preview(const job_table &job, mistakes &wrong)
{
    std::vector<std::string> lines;
    for (const auto &each : read_properties(job, wrong)) {
        const auto kept = stored_form(each);
        lines.push_back(kept.name + "=" + kept.value);
    }
    return lines;
}

} // namespace station
