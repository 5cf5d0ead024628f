#include "station/product/operations.h"

#include <algorithm>
#include <iterator>

#include "station/exchanges/setmac.h"
#include "station/exchanges/setsn.h"
#include "station/jobs/eeprom_job.h"
#include "station/jobs/product_info.h"
#include "station/unit_jobs/backplane_job.h"
#include "station/unit_jobs/device_job.h"
#include "station/unit_jobs/fan_job.h"
#include "station/unit_jobs/supply_job.h"

namespace station {

namespace {

std::string shown(const property &each)
{
    if (each.type == node_type::binary) {
        return to_hex(each.value);
    }
    return printable(each.value);
}

table property_table(const std::vector<property> &properties, const outcome &result)
{
    table items{{"property", "type", "value", "result"}, {}};
    for (const auto &each : properties) {
        const auto *type = each.type == node_type::text ? "text" : "binary";
        items.rows.push_back(
            {printable(each.name), type, shown(each), std::string(word_for_items(result))});
    }
    return items;
}

prepared_job prepare_setmac(const job_table &job, mistakes &wrong)
{
    const auto properties = read_properties(job, wrong);
    const auto run = [=](conversation &talk, const exchange_options &options) {
        return run_framed(talk, setmac_exchange(product_info_payload(properties)), options);
    };
    const auto items = [=](const outcome &result) { return property_table(properties, result); };
    return {run, items, {}, {}};
}

table node_table(const std::vector<eeprom_part> &parts, const outcome &result)
{
    table items{{"name", "type", "value", "result"}, {}};
    for (const auto &part : parts) {
        const auto word = part.flag == 0 ? "skipped" : word_for_items(result);
        for (const auto &each : part.nodes) {
            const auto *type = each.type == node_type::text ? "text" : "binary";
            items.rows.push_back({each.name, type, each.shown(), std::string(word)});
        }
    }
    return items;
}

prepared_job prepare_setmac_tlv(const job_table &job, mistakes &wrong)
{
    const auto parts = read_eeprom_job(job, wrong).parts;
    const auto run = [=](conversation &talk, const exchange_options &options) {
        return run_framed(talk, setmac_eeprom_exchange(eeprom_payload(parts)), options);
    };
    const auto items = [=](const outcome &result) { return node_table(parts, result); };
    return {run, items, {}, {}};
}

prepared_job prepared_serial(const job_table &job, mistakes &wrong,
                             framed_kind (*exchange)(bytes serial))
{
    const auto serial = read_serial(job, wrong);
    const auto run = [=](conversation &talk, const exchange_options &options) {
        return run_framed(talk, exchange(serial), options);
    };
    const auto items = [=](const outcome &result) {
        return table{
            {"serial", "sent back", "result"},
            {{printable(serial), printable(result.echo), std::string(word_for_items(result))}}};
    };
    return {run, items, {}, {}};
}

prepared_job prepare_setsn(const job_table &job, mistakes &wrong)
{
    return prepared_serial(job, wrong, setsn_exchange);
}

prepared_job prepare_setsn_tlv(const job_table &job, mistakes &wrong)
{
    return prepared_serial(job, wrong, setsn_eeprom_exchange);
}

prepared_job prepared_units(unit_job job)
{
    const auto shared = std::make_shared<const unit_job>(std::move(job));
    const auto run = [=](conversation &talk, const exchange_options &options) {
        return run_unit_job(talk, *shared, options);
    };
    const auto items = [=](const outcome &result) { return unit_table(*shared, result); };
    prepared_job prepared{run, items, {}, shared->logged};
    if (!shared->logged.lines.empty()) {
        prepared.run_blindly = [=](conversation &talk, const exchange_options &options) {
            auto guessing = shared->operation;
            guessing.guess = 1;
            return run_units(talk, guessing, options);
        };
    }
    return prepared;
}

template <unit_job (*read)(const job_table &, mistakes &)>
prepared_job prepare_units(const job_table &job, mistakes &wrong)
{
    return prepared_units(read(job, wrong));
}

constexpr command commands[] = {
    {"setmac", "store a switch's identity, value by value", 3, prepare_setmac, prepare_setmac_tlv},
    {"setsn", "store a switch's serial number", 1, prepare_setsn, prepare_setsn_tlv},
    {"setbackplane", "store the identity of the backplane", 3, prepare_units<read_backplane_job>,
     nullptr},
    {"setfansn", "store the identity of each fan", 3, prepare_units<read_fan_job>, nullptr},
    {"setpoesn", "store the identity of each PoE unit", 3, prepare_units<read_poe_job>, nullptr},
    {"setpwrsn", "store the identity of each power supply", 3, prepare_units<read_supply_job>,
     nullptr},
    {"setdevice", "store the identity of each fan, power supply and card of a chassis", 3,
     prepare_units<read_device_job>, nullptr},
};

} // namespace

std::span<const command> all_commands()
{
    return commands;
}

std::map<std::string_view, const command *> operations_of(bool tlv)
{
    constexpr std::string_view legacy_only[] = {"setpoesn", "setpwrsn"};
    std::map<std::string_view, const command *> found;
    for (const auto &each : commands) {
        const bool missing = std::find(std::begin(legacy_only), std::end(legacy_only),
                                       std::string_view(each.name)) != std::end(legacy_only);
        if (!tlv || !missing) {
            found.emplace(each.name, &each);
        }
    }
    if (!tlv) {
        found.emplace("setdevice_zk80chassis", found.at("setdevice"));
    }
    return found;
}

preview preview_of(const job_table &job, mistakes &wrong)
{
    preview shown;
    for (const auto &each : read_properties(job, wrong)) {
        const auto kept = stored_form(each);
        shown.lines.push_back(kept.name + "=" + kept.value);
    }
    return shown;
}

preview preview_of_tlv(const job_table &job, mistakes &wrong)
{
    const auto image = read_eeprom_job(job, wrong).image;
    return {image.listing(), image.not_listed()};
}

} // namespace station
