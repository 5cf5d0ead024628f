#include <nlohmann/json.hpp>

#include "ledger/book/book.h"
#include "ledger/book/rows.h"
#include "ledger/model/serial_pattern.h"
#include "ledger/model/texts.h"

namespace ledger {

namespace {

/** Refuses where a label that is there asks for something else than it has. */
void check_same(const unit &is, const reservation &wanted)
{
    if (is.state == unit_state::voided) {
        refuse("label " + is.label + " is void: " + is.void_reason.value_or("") + " (" +
               is.void_by.value_or("") + ")");
    }
    if (is.product != wanted.product) {
        refuse("label " + is.label + " is a " + is.product + ", not a " + wanted.product);
    }
    if (!wanted.serial.empty() && wanted.serial != is.serial) {
        refuse("label " + is.label + " has the serial number " + is.serial.value_or("(none)") +
               ", not " + wanted.serial);
    }
    const auto mac = read_mac(wanted.mac);
    if (!wanted.mac.empty() && (!mac || mac != is.mac)) {
        refuse("label " + is.label + " has the MAC address " +
               (is.mac ? mac_text(*is.mac) : "(none)") + ", not " + shown(wanted.mac));
    }
}

void check_source(const number_source &source, const std::string &scanned, const std::string &what)
{
    if (!source.scanned && !scanned.empty()) {
        refuse("the product's " + what + " is not scanned: it comes from " + source_text(source));
    }
}

/** One unit more has numbers of a pool, which goes on behind these. */
void advance(pool &source, std::int64_t next)
{
    source.next = next;
    ++source.issued;
}

void note(drawn &used, const pool &source, std::int64_t units_left)
{
    const auto warning = warning_of(source, units_left);
    if (!warning.empty()) {
        used.warnings.push_back(warning);
    }
    used.pools.push_back(source);
}

json pool_positions(const std::vector<pool> &used)
{
    auto positions = json::array();
    for (const auto &each : used) {
        positions.push_back({{"name", each.name}, {"next", each.next}, {"issued", each.issued}});
    }
    return positions;
}

} // namespace

reserved book::reserve(const reservation &wanted)
{
    check_label(wanted.label);
    check_name("product", wanted.product);
    reserved result;
    write([&] {
        result = {};
        if (const auto found = database_->first("unit_by_label", {wanted.label})) {
            result.identity = unit_of_row(*found);
            check_same(result.identity, wanted);
            confirms_ = true;
            return;
        }
        drawn used;
        result.identity = make_unit(wanted, used);
        result.is_new = true;
        insert_unit(result.identity, "reserve", used.pools);
        result.warnings = used.warnings;
    });
    return result;
}

unit book::make_unit(const reservation &wanted, drawn &used)
{
    const auto of = product_named(wanted.product);
    check_source(of.mac, wanted.mac, "MAC address");
    check_source(of.serial, wanted.serial, "serial number");
    unit made;
    made.label = wanted.label;
    made.product = of.name;
    made.mac_count = of.mac_count;
    made.reserved_at = made.changed_at = now();
    if (of.mac.scanned) {
        take_scanned_mac(made, of.mac, wanted.mac.empty() ? wanted.label : wanted.mac);
    } else if (!of.mac.none()) {
        issue_mac(made, of.mac.pool, used);
    }
    if (of.serial.scanned) {
        take_scanned_serial(made, of.serial, wanted.serial.empty() ? wanted.label : wanted.serial);
    } else if (!of.serial.none()) {
        issue_serial(made, of.serial.pool, used);
    }
    return made;
}

std::optional<unit> book::overlapping(mac_address first, mac_address last)
{
    const auto nearest = database_->first("unit_beginning_before", {last});
    if (!nearest || unit_of_row(*nearest).mac_last() < first) {
        return std::nullopt;
    }
    return unit_of_row(*nearest);
}

/** The next block of the pool that no unit touches: labels may have brought addresses out of it. */
void book::issue_mac(unit &made, const std::string &from, drawn &used)
{
    auto source = pool_named(from);
    if (!source.open) {
        refuse("the pool " + from + " is closed");
    }
    const bool all_are_free = !overlapping(source.next, source.last); // as mostly: one look will do
    auto first = aligned(source.next, source.align);
    auto last = first + source.count - 1;
    while (!all_are_free && last <= source.last) {
        const auto other = overlapping(first, last);
        if (!other) {
            break;
        }
        first = aligned(other->mac_last() + 1, source.align);
        last = first + source.count - 1;
    }
    if (last > source.last) {
        refuse("the pool " + from + " is used up: no " + std::to_string(source.count) +
               " addresses are left up to " + mac_text(source.last));
    }
    made.mac = first;
    made.mac_count = source.count;
    made.mac_pool = from;
    advance(source, last + 1);
    note(used, source, all_are_free ? room_from(source, source.next) : units_left_in(source));
}

/** The next serial number that no unit has: labels may have brought some that fit the pattern. */
void book::issue_serial(unit &made, const std::string &from, drawn &used)
{
    auto source = pool_named(from);
    if (!source.open) {
        refuse("the pool " + from + " is closed");
    }
    const serial_pattern pattern(source.pattern);
    const auto day = day_of(place_.clock());
    while (source.next <= source.last &&
           database_->first("unit_by_serial", {pattern.serial(source.next, day)})) {
        ++source.next;
    }
    if (source.next > source.last) {
        refuse("the pool " + from + " is used up: its counter ends with " +
               std::to_string(source.last));
    }
    made.serial = pattern.serial(source.next, day);
    made.serial_pool = from;
    advance(source, source.next + 1);
    note(used, source, room_from(source, source.next));
}

void book::take_scanned_mac(unit &made, const number_source &source, const std::string &scanned)
{
    made.mac = read_mac(scanned);
    if (!made.mac) {
        refuse("\"" + shown(scanned) + "\" is no MAC address, as in 00:1A:2B:3C:4D:5E");
    }
    check_addresses(*made.mac, made.mac_last());
    check_free(made);
    const auto found = database_->first("pool_of_address", {*made.mac, made.mac_last()});
    if (source.pool.empty()) {
        if (found) {
            refuse(mac_text(*made.mac) + " is of the pool " + pool_of_row(*found).name +
                   ": only a product with --mac scanned:" + pool_of_row(*found).name +
                   " may bring it");
        }
        return;
    }
    const auto within = pool_named(source.pool);
    if (*made.mac < within.first || made.mac_last() > within.last) {
        refuse(mac_text(*made.mac) + " is outside of the pool " + within.name);
    }
    if (*made.mac % within.align != 0) {
        refuse(mac_text(*made.mac) + " is no multiple of " + std::to_string(within.align) +
               ", as the pool " + within.name + " demands");
    }
}

void book::take_scanned_serial(unit &made, const number_source &source, const std::string &scanned)
{
    check_serial(scanned);
    made.serial = scanned;
    check_free(made);
    if (source.pool.empty()) {
        return;
    }
    const auto within = pool_named(source.pool);
    const auto counter = serial_pattern(within.pattern).counter_of(scanned);
    if (!counter || *counter < within.first) {
        refuse("the serial number " + scanned + " is none of the pool " + within.name + ", " +
               within.pattern);
    }
}

/** Refuses numbers that another unit has. */
void book::check_free(const unit &wanted)
{
    if (wanted.serial) {
        if (const auto other = database_->first("unit_by_serial", {*wanted.serial})) {
            refuse("the serial number " + *wanted.serial + " belongs to label " + other->text(1));
        }
    }
    if (!wanted.mac) {
        return;
    }
    if (const auto other = overlapping(*wanted.mac, wanted.mac_last())) {
        refuse("the MAC addresses from " + mac_text(*wanted.mac) + " to " +
               mac_text(wanted.mac_last()) + " overlap those of label " + other->label + ", from " +
               mac_text(*other->mac) + " to " + mac_text(other->mac_last()));
    }
}

void book::insert_unit(unit &made, const std::string &kind, const std::vector<pool> &used)
{
    made.id = made.entry = next_entry();
    json content{{"unit", journal_form(made)}};
    if (!used.empty()) {
        content["pools"] = pool_positions(used);
    }
    add_entry("unit", made.label, kind, content);
    for (const auto &each : used) {
        database_->run("pool_advance", {each.name, each.next, std::int64_t{1}, made.entry});
    }
    database_->run("unit_add", row_of(made));
}

} // namespace ledger
