#include "floor/model/record_forms.h"

#include <algorithm>

#include "floor/model/tenths.h"

namespace shopfloor {

namespace {

json or_null(const std::optional<std::string> &text)
{
    return text ? json(*text) : json(nullptr);
}

/** JSON where it is that, and otherwise the text. */
json parsed(const std::string &text)
{
    const auto content = json::parse(text, nullptr, false);
    return content.is_discarded() ? json(text) : content;
}

std::string with(char replaced, char by, std::string_view text)
{
    std::string out(text);
    std::ranges::replace(out, replaced, by);
    return out;
}

} // namespace

std::string one_word(std::string_view text)
{
    return with(' ', '_', text);
}

std::string ledger_text(std::string_view word)
{
    return with('_', ' ', word);
}

json form_of(const ledger::unit &of)
{
    return {{"label", of.label},
            {"product", of.product},
            {"serial", or_null(of.serial)},
            {"mac", of.mac ? json(ledger::mac_text(*of.mac)) : json(nullptr)},
            {"mac_count", of.mac_count},
            {"state", one_word(ledger::state_text(of.state))},
            {"reserved_at", of.reserved_at},
            {"changed_at", of.changed_at},
            {"void_reason", or_null(of.void_reason)},
            {"void_by", or_null(of.void_by)}};
}

json form_of(const ledger::listed_attempt &of)
{
    const auto &each = of.of;
    const auto outcome =
        each.outcome ? json(one_word(ledger::state_text(ledger::state_after(*each.outcome))))
                     : json(nullptr);
    return {{"id", each.id},
            {"label", of.label},
            {"product", of.product},
            {"number", each.number},
            {"station", each.start.station},
            {"slot", each.start.slot},
            {"operator", each.start.operator_name},
            {"product_file", each.start.product_file},
            {"product_sha256", each.start.product_sha256},
            {"program_version", each.start.program_version},
            {"started_at", each.started_at},
            {"stored_at", or_null(each.stored_at)},
            {"ended_at", or_null(each.ended_at)},
            {"outcome", outcome},
            {"reason", each.reason}};
}

json form_with_evidence(const ledger::listed_attempt &of)
{
    auto form = form_of(of);
    form["sent"] = of.of.evidence.sent;
    form["read_back"] = of.of.evidence.read_back;
    form["console"] = of.of.evidence.transcript;
    return form;
}

json form_of(const ledger::journal_entry &entry)
{
    return {{"number", entry.number},
            {"at", entry.at},
            {"kind", entry.kind},
            {"content", parsed(entry.content)}};
}

json form_of(const ledger::pool_state &of)
{
    const bool of_macs = of.of.of_macs;
    const auto number = [&](std::int64_t each) {
        return of_macs ? ledger::mac_text(each) : std::to_string(each);
    };
    return {{"name", of.of.name},
            {"kind", of_macs ? "mac" : "serial"},
            {"first", number(of.of.first)},
            {"last", number(of.of.last)},
            {"pattern", of.of.pattern},
            {"units", of.units},
            {"units_left", of.units_left},
            {"voided", of.voided},
            {"used_percent", of.used_percent},
            {"units_a_day", in_tenths(of.units_a_day)},
            {"days_left", of.units_a_day > 0
                              ? json(in_tenths(static_cast<double>(of.units_left) / of.units_a_day))
                              : json(nullptr)},
            {"open", of.of.open},
            {"warning", of.warning}};
}

json form_of(const ledger::label_print &of)
{
    return {{"id", of.id},
            {"label", of.asked.label},
            {"number", of.number},
            {"at", of.asked_at},
            {"operator", of.asked.operator_name},
            {"state", ledger::state_text(of.state)},
            {"reason", of.reason}};
}

} // namespace shopfloor
