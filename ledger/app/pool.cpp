#include <array>
#include <cmath>

#include <nlohmann/json.hpp>

#include "ledger/app/commands.h"
#include "ledger/app/display.h"
#include "ledger/model/texts.h"

namespace ledger {

namespace {

mac_address address_of(const std::string &text)
{
    const auto address = read_mac(text);
    if (!address) {
        refuse("\"" + shown(text) + "\" is no MAC address, as in 00:1A:2B:3C:4D:5E");
    }
    return *address;
}

json days_left(const pool_state &each)
{
    constexpr double tenths = 10;
    if (each.units_a_day <= 0) {
        return nullptr;
    }
    return std::round(static_cast<double>(each.units_left) / each.units_a_day * tenths) / tenths;
}

json pool_json(const pool_state &each)
{
    json form{{"name", each.of.name}, {"kind", each.of.of_macs ? "mac" : "serial"}};
    if (each.of.of_macs) {
        form["first"] = mac_text(each.of.first);
        form["last"] = mac_text(each.of.last);
        form["count"] = each.of.count;
        form["align"] = each.of.align;
    } else {
        form["pattern"] = each.of.pattern;
    }
    form["state"] = each.of.open ? "open" : "closed";
    form["issued"] = each.of.issued;
    form["void"] = each.voided;
    form["units_left"] = each.units_left;
    form["used_percent"] = each.used_percent;
    form["units_a_day"] = each.units_a_day;
    form["days_left"] = days_left(each);
    form["warning"] = each.warning.empty() ? json(nullptr) : json(each.warning);
    return form;
}

std::string lasts_text(const pool_state &each)
{
    const auto days = days_left(each);
    if (!each.of.open) {
        return "closed";
    }
    if (days.is_null()) {
        return "none issued in 7 days";
    }
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.1f days at %.1f a day", days.get<double>(),
                  each.units_a_day);
    return text.data();
}

std::string numbers_text(const pool &of)
{
    return of.of_macs ? mac_text(of.first) + " to " + mac_text(of.last) + ", " +
                            std::to_string(of.count) + " a unit"
                      : of.pattern;
}

} // namespace

int pool_add_mac_command(const choices &chosen)
{
    pool wanted;
    wanted.name = chosen.name;
    wanted.of_macs = true;
    wanted.first = address_of(chosen.first);
    wanted.last = address_of(chosen.last);
    wanted.count = chosen.count;
    wanted.align = chosen.align;
    book(chosen.place).add_pool(wanted);
    return 0;
}

int pool_add_serial_command(const choices &chosen)
{
    pool wanted;
    wanted.name = chosen.name;
    wanted.pattern = chosen.pattern;
    wanted.first = chosen.start;
    book(chosen.place).add_pool(wanted);
    return 0;
}

int pool_close_command(const choices &chosen)
{
    book(chosen.place).close_pool(chosen.name);
    return 0;
}

int pool_list_command(const choices &chosen)
{
    const auto pools = book(chosen.place).pools();
    table shown{{"Pool", "Numbers", "Issued", "Void", "Left", "Used", "Lasts"}, {}};
    auto forms = json::array();
    for (const auto &each : pools) {
        forms.push_back(pool_json(each));
        shown.rows.push_back({each.of.name, numbers_text(each.of), std::to_string(each.of.issued),
                              std::to_string(each.voided), std::to_string(each.units_left),
                              std::to_string(each.used_percent) + " %", lasts_text(each)});
    }
    if (chosen.as_json) {
        print(forms);
        return 0;
    }
    print(shown);
    for (const auto &each : pools) {
        if (!each.warning.empty()) {
            std::printf("Warning: %s\n", each.warning.c_str());
        }
    }
    return 0;
}

} // namespace ledger
