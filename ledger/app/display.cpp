#include "ledger/app/display.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace ledger {

namespace {

std::string object_line(const json &value)
{
    std::string line;
    for (const auto &[key, each] : value.items()) {
        line += (line.empty() ? "" : ", ") + json(key).dump() + ": " + one_line(each);
    }
    return "{" + line + "}";
}

std::string array_line(const json &value)
{
    std::string line;
    for (const auto &each : value) {
        line += (line.empty() ? "" : ", ") + one_line(each);
    }
    return "[" + line + "]";
}

json or_null(const std::optional<std::string> &text)
{
    return text ? json(*text) : json(nullptr);
}

json attempt_json(const attempt &one)
{
    const auto outcome = one.outcome ? json(state_text(state_after(*one.outcome))) : nullptr;
    return {{"number", one.number},
            {"station", one.start.station},
            {"slot", one.start.slot},
            {"operator", one.start.operator_name},
            {"product_file", one.start.product_file},
            {"product_sha256", one.start.product_sha256},
            {"program_version", one.start.program_version},
            {"started_at", one.started_at},
            {"stored_at", or_null(one.stored_at)},
            {"ended_at", or_null(one.ended_at)},
            {"outcome", outcome},
            {"reason", one.reason},
            {"sent", one.evidence.sent},
            {"read_back", one.evidence.read_back},
            {"transcript", one.evidence.transcript}};
}

} // namespace

std::string one_line(const json &value)
{
    if (value.is_object()) {
        return object_line(value);
    }
    return value.is_array() ? array_line(value) : value.dump();
}

void print(const json &shown)
{
    std::printf("%s\n", one_line(shown).c_str());
}

void print(const table &shown)
{
    std::vector<std::vector<std::string>> lines{shown.columns};
    lines.insert(lines.end(), shown.rows.begin(), shown.rows.end());
    std::vector<std::size_t> widths(shown.columns.size());
    for (const auto &line : lines) {
        for (std::size_t at = 0; at < line.size(); ++at) {
            widths[at] = std::max(widths[at], line[at].size());
        }
    }
    for (const auto &line : lines) {
        std::string text;
        for (std::size_t at = 0; at < line.size(); ++at) {
            text += line[at] + std::string(widths[at] - line[at].size() + 2, ' ');
        }
        text.resize(text.find_last_not_of(' ') + 1);
        std::printf("%s\n", text.c_str());
    }
}

json identity_json(const unit &of)
{
    return {{"label", of.label},
            {"product", of.product},
            {"serial", or_null(of.serial)},
            {"mac", of.mac ? json(mac_text(*of.mac)) : json(nullptr)},
            {"mac_count", of.mac_count},
            {"state", state_text(of.state)}};
}

json identity_json(const unit &of, const std::vector<attempt> &attempts)
{
    auto form = identity_json(of);
    if (of.state == unit_state::voided) {
        form["void"] = {{"reason", or_null(of.void_reason)}, {"by", or_null(of.void_by)}};
    }
    form["attempts"] = json::array();
    for (const auto &each : attempts) {
        form["attempts"].push_back(attempt_json(each));
    }
    return form;
}

std::string addresses_text(const unit &of)
{
    if (!of.mac) {
        return "-";
    }
    return of.mac_count == 1 ? mac_text(*of.mac)
                             : mac_text(*of.mac) + " to " + mac_text(of.mac_last());
}

} // namespace ledger
