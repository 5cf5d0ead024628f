#include "ledger/model/records.h"

#include <array>

#include <nlohmann/json.hpp>

#include "ledger/model/journal_entry.h"

namespace ledger {

namespace {

struct named_state {
    unit_state state;
    std::string_view name;
};

constexpr std::array state_names{
    named_state{unit_state::reserved, "reserved"}, named_state{unit_state::writing, "writing"},
    named_state{unit_state::stored, "stored"},     named_state{unit_state::verified, "verified"},
    named_state{unit_state::failed, "failed"},     named_state{unit_state::in_doubt, "in doubt"},
    named_state{unit_state::voided, "void"},
};

constexpr std::array<std::string_view, 3> print_state_names{"waiting", "printed", "failed"};

template <class Value>
json json_or_null(const std::optional<Value> &value)
{
    return value ? json(*value) : json(nullptr);
}

template <class Value>
std::optional<Value> optional_of(const json &form, const char *key)
{
    const auto &value = form.at(key);
    return value.is_null() ? std::nullopt : std::optional<Value>(value.get<Value>());
}

} // namespace

std::string_view state_text(unit_state state)
{
    for (const auto &each : state_names) {
        if (each.state == state) {
            return each.name;
        }
    }
    return {};
}

std::optional<unit_state> read_state(std::string_view text)
{
    for (const auto &each : state_names) {
        if (each.name == text) {
            return each.state;
        }
    }
    return std::nullopt;
}

std::string_view state_text(print_state state)
{
    return print_state_names[static_cast<std::size_t>(state)];
}

std::optional<print_state> read_print_state(std::string_view text)
{
    for (const auto state : {print_state::waiting, print_state::printed, print_state::failed}) {
        if (state_text(state) == text) {
            return state;
        }
    }
    return std::nullopt;
}

unit_state state_after(attempt_outcome outcome)
{
    switch (outcome) {
    case attempt_outcome::stored:
        return unit_state::stored;
    case attempt_outcome::verified:
        return unit_state::verified;
    case attempt_outcome::failed:
        return unit_state::failed;
    default:
        return unit_state::in_doubt;
    }
}

std::optional<attempt_outcome> read_outcome(std::string_view text)
{
    for (const auto each : {attempt_outcome::stored, attempt_outcome::verified,
                            attempt_outcome::failed, attempt_outcome::in_doubt}) {
        if (state_text(state_after(each)) == text) {
            return each;
        }
    }
    return std::nullopt;
}

std::string source_text(const number_source &source)
{
    if (source.none()) {
        return "none";
    }
    if (!source.scanned) {
        return source.pool;
    }
    return source.pool.empty() ? "scanned" : "scanned:" + source.pool;
}

number_source read_source(std::string_view text)
{
    constexpr std::string_view scanned = "scanned";
    if (text == "none") {
        return {};
    }
    if (text == scanned) {
        return {true, ""};
    }
    if (text.starts_with("scanned:")) {
        return {true, std::string(text.substr(scanned.size() + 1))};
    }
    return {false, std::string(text)};
}

json journal_form(const pool &each)
{
    return {{"name", each.name},       {"kind", each.of_macs ? "mac" : "serial"},
            {"first", each.first},     {"last", each.last},
            {"count", each.count},     {"align", each.align},
            {"pattern", each.pattern}, {"next", each.next},
            {"issued", each.issued},   {"open", each.open}};
}

pool pool_of(const json &form)
{
    pool each;
    each.name = form.at("name").get<std::string>();
    each.of_macs = form.at("kind") == "mac";
    each.first = form.at("first").get<std::int64_t>();
    each.last = form.at("last").get<std::int64_t>();
    each.count = form.at("count").get<std::int64_t>();
    each.align = form.at("align").get<std::int64_t>();
    each.pattern = form.at("pattern").get<std::string>();
    each.next = form.at("next").get<std::int64_t>();
    each.issued = form.at("issued").get<std::int64_t>();
    each.open = form.at("open").get<bool>();
    return each;
}

json journal_form(const product &each)
{
    return {{"name", each.name},
            {"mac", source_text(each.mac)},
            {"serial", source_text(each.serial)},
            {"mac_count", each.mac_count}};
}

product product_of(const json &form)
{
    product each;
    each.name = form.at("name").get<std::string>();
    each.mac = read_source(form.at("mac").get<std::string>());
    each.serial = read_source(form.at("serial").get<std::string>());
    each.mac_count = form.at("mac_count").get<std::int64_t>();
    return each;
}

json journal_form(const unit &each)
{
    return {{"label", each.label},
            {"product", each.product},
            {"serial", json_or_null(each.serial)},
            {"mac", each.mac ? json(mac_text(*each.mac)) : json(nullptr)},
            {"mac_count", each.mac_count},
            {"state", state_text(each.state)},
            {"mac_pool", json_or_null(each.mac_pool)},
            {"serial_pool", json_or_null(each.serial_pool)},
            {"reserved_at", each.reserved_at},
            {"changed_at", each.changed_at},
            {"void_reason", json_or_null(each.void_reason)},
            {"void_by", json_or_null(each.void_by)}};
}

unit unit_of(const json &form)
{
    unit each;
    each.label = form.at("label").get<std::string>();
    each.product = form.at("product").get<std::string>();
    each.serial = optional_of<std::string>(form, "serial");
    const auto mac = optional_of<std::string>(form, "mac");
    each.mac = mac ? read_mac(*mac) : std::nullopt;
    each.mac_count = form.at("mac_count").get<std::int64_t>();
    each.mac_pool = optional_of<std::string>(form, "mac_pool");
    each.serial_pool = optional_of<std::string>(form, "serial_pool");
    return each;
}

json journal_form(const attempt &each)
{
    const auto outcome = each.outcome ? json(state_text(state_after(*each.outcome))) : nullptr;
    return {{"number", each.number},
            {"station", each.start.station},
            {"slot", each.start.slot},
            {"operator", each.start.operator_name},
            {"product_file", each.start.product_file},
            {"product_sha256", each.start.product_sha256},
            {"program_version", each.start.program_version},
            {"started_at", each.started_at},
            {"stored_at", json_or_null(each.stored_at)},
            {"ended_at", json_or_null(each.ended_at)},
            {"outcome", outcome},
            {"reason", each.reason},
            {"sent_sha256", sha256_of(each.evidence.sent)},
            {"read_back_sha256", sha256_of(each.evidence.read_back)},
            {"transcript_sha256", sha256_of(each.evidence.transcript)}};
}

json journal_form(const label_print &each)
{
    return {{"number", each.number},
            {"station", each.asked.station},
            {"operator", each.asked.operator_name},
            {"content_sha256", sha256_of(each.asked.content)},
            {"asked_at", each.asked_at},
            {"ended_at", json_or_null(each.ended_at)},
            {"state", state_text(each.state)},
            {"reason", each.reason}};
}

} // namespace ledger
