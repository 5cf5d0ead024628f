#include "ledger/book/rows.h"

namespace ledger {

value or_null(const std::optional<std::string> &text)
{
    return text ? value(*text) : value();
}

value null_if_empty(const std::string &text)
{
    return text.empty() ? value() : value(text);
}

journal_entry entry_of_row(const row &from)
{
    return {from.number(0), from.text(1), from.text(2), from.text(3),
            from.text(4),   from.text(5), from.text(6), from.text(7)};
}

values row_of(const journal_entry &each)
{
    return {each.number, each.at,      each.topic,    each.subject,
            each.kind,   each.content, each.previous, each.hash};
}

pool pool_of_row(const row &from)
{
    return {.name = from.text(0),
            .of_macs = from.text(1) == "mac",
            .first = from.number(2),
            .last = from.number(3),
            .count = from.number(4),
            .align = from.number(5),
            .pattern = from.text(6),
            .next = from.number(7),
            .issued = from.number(8),
            .open = from.number(9) != 0,
            .entry = from.number(10)};
}

values row_of(const pool &each)
{
    return {each.name,    each.of_macs ? "mac" : "serial",
            each.first,   each.last,
            each.count,   each.align,
            each.pattern, each.next,
            each.issued,  std::int64_t{each.open},
            each.entry};
}

product product_of_row(const row &from)
{
    return {.name = from.text(0),
            .mac = read_source(from.text(1)),
            .serial = read_source(from.text(2)),
            .mac_count = from.number(3),
            .entry = from.number(4)};
}

values row_of(const product &each)
{
    return {each.name, source_text(each.mac), source_text(each.serial), each.mac_count, each.entry};
}

unit unit_of_row(const row &from)
{
    unit each;
    each.id = from.number(0);
    each.label = from.text(1);
    each.product = from.text(2);
    each.serial = from.optional_text(3);
    if (!from.is_null(4)) {
        each.mac = from.number(4);
        each.mac_count = from.number(5) - from.number(4) + 1;
    }
    each.state = read_state(from.text(6)).value_or(unit_state::in_doubt);
    each.mac_pool = from.optional_text(7);
    each.serial_pool = from.optional_text(8);
    each.reserved_at = from.text(9);
    each.changed_at = from.text(10);
    each.void_reason = from.optional_text(11);
    each.void_by = from.optional_text(12);
    each.entry = from.number(13);
    return each;
}

values row_of(const unit &each)
{
    return {each.id,
            each.label,
            each.product,
            or_null(each.serial),
            each.mac ? value(*each.mac) : value(),
            each.mac ? value(each.mac_last()) : value(),
            std::string(state_text(each.state)),
            or_null(each.mac_pool),
            or_null(each.serial_pool),
            each.reserved_at,
            each.changed_at,
            or_null(each.void_reason),
            or_null(each.void_by),
            each.entry};
}

attempt attempt_of_row(const row &from)
{
    attempt each;
    each.id = from.number(0);
    each.unit = from.number(1);
    each.number = from.number(2);
    each.start = {from.text(3), from.text(4), from.text(5),
                  from.text(6), from.text(7), from.text(8)};
    each.started_at = from.text(9);
    each.stored_at = from.optional_text(10);
    each.ended_at = from.optional_text(11);
    each.outcome = read_outcome(from.text(12));
    each.reason = from.text(13);
    each.evidence = {from.text(14), from.text(15), from.text(16)};
    each.entry = from.number(17);
    return each;
}

values row_of(const attempt &each)
{
    const auto outcome =
        each.outcome ? value(std::string(state_text(state_after(*each.outcome)))) : value();
    return {each.id,
            each.unit,
            each.number,
            each.start.station,
            each.start.slot,
            each.start.operator_name,
            each.start.product_file,
            each.start.product_sha256,
            each.start.program_version,
            each.started_at,
            or_null(each.stored_at),
            or_null(each.ended_at),
            outcome,
            each.reason,
            each.evidence.sent,
            each.evidence.read_back,
            each.evidence.transcript,
            each.entry};
}

label_print print_of_row(const row &from)
{
    return {.id = from.number(0),
            .unit = from.number(1),
            .number = from.number(3),
            .asked = {from.text(2), from.text(4), from.text(5), from.text(6)},
            .asked_at = from.text(7),
            .ended_at = from.optional_text(8),
            .state = read_print_state(from.text(9)).value_or(print_state::waiting),
            .reason = from.text(10),
            .entry = from.number(11)};
}

values row_of(const label_print &each)
{
    return {each.id,
            each.unit,
            each.number,
            each.asked.station,
            each.asked.operator_name,
            each.asked.content,
            each.asked_at,
            or_null(each.ended_at),
            std::string(state_text(each.state)),
            each.reason,
            each.entry};
}

} // namespace ledger
