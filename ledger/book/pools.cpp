#include "ledger/book/book.h"

#include <algorithm>
#include <array>

#include <nlohmann/json.hpp>

#include "ledger/book/rows.h"
#include "ledger/model/serial_pattern.h"
#include "ledger/model/texts.h"

namespace ledger {

namespace {

/** Units that find room in a part of a pool. */
std::int64_t room_between(const pool &of, std::int64_t from, std::int64_t last)
{
    const auto first = aligned(from, of.align);
    const auto step = aligned(of.count, of.align);
    return first + of.count - 1 > last ? 0 : (last - first - of.count + 1) / step + 1;
}

void check_mac_pool(const pool &wanted)
{
    check_addresses(wanted.first, wanted.last);
    const auto is_possible = [](std::int64_t each) { return each >= 1 && each <= most_addresses; };
    if (!is_possible(wanted.count) || !is_possible(wanted.align)) {
        const auto most = std::to_string(most_addresses);
        refuse("a unit takes 1 to " + most + " addresses, and begins with a multiple of 1 to " +
               most);
    }
    if (room_from(wanted, wanted.first) == 0) {
        refuse("the range from " + mac_text(wanted.first) + " to " + mac_text(wanted.last) +
               " has no room for a unit");
    }
}

int used_percent(const pool &of, std::int64_t units_left)
{
    const auto units = room_from(of, of.first);
    return static_cast<int>(static_cast<double>(units - units_left) * 100 /
                            static_cast<double>(units));
}

} // namespace

std::int64_t room_from(const pool &of, std::int64_t next)
{
    return room_between(of, next, of.last);
}

std::string warning_of(const pool &of, std::int64_t units_left)
{
    constexpr std::array levels{95, 90, 80};
    const int used = used_percent(of, units_left);
    for (const int level : levels) {
        if (used >= level) {
            return "the pool " + of.name + " is used to " + std::to_string(level) +
                   " per cent or more: " + std::to_string(used) + " per cent";
        }
    }
    return {};
}

/** None, too, where the name is a text that no database can hold. */
std::optional<row> book::named_by(std::string_view statement, const std::string &name)
{
    return is_utf8(name) ? database_->first(statement, {name}) : std::nullopt;
}

pool book::pool_named(const std::string &name)
{
    const auto found = named_by("pool_by_name", name);
    if (!found) {
        refuse("there is no pool " + shown(name));
    }
    return pool_of_row(*found);
}

product book::product_named(const std::string &name)
{
    const auto found = named_by("product_by_name", name);
    if (!found) {
        refuse("there is no product " + shown(name));
    }
    return product_of_row(*found);
}

void book::add_pool(pool wanted)
{
    check_name("name of the pool", wanted.name);
    if (wanted.name == "scanned" || wanted.name == "none") {
        refuse("a pool cannot have the name " + wanted.name +
               ", which says where numbers come from");
    }
    if (wanted.of_macs) {
        check_mac_pool(wanted);
    } else {
        wanted.last = serial_pattern(wanted.pattern).last_counter();
        if (wanted.first < 0 || wanted.first > wanted.last) {
            refuse("the counter begins with a number from 0 to " + std::to_string(wanted.last));
        }
    }
    wanted.next = wanted.first;
    write([&] {
        if (database_->first("pool_by_name", {wanted.name})) {
            refuse("there is a pool " + wanted.name + " already");
        }
        if (wanted.of_macs) {
            if (const auto other =
                    database_->first("pool_overlapping", {wanted.first, wanted.last})) {
                refuse("the range overlaps that of the pool " + other->text(0));
            }
        }
        wanted.entry = next_entry();
        add_entry("pool", wanted.name, "add", {{"pool", journal_form(wanted)}});
        database_->run("pool_add", row_of(wanted));
    });
}

void book::close_pool(const std::string &name)
{
    write([&] {
        auto closed = pool_named(name);
        if (!closed.open) {
            confirms_ = true;
            return;
        }
        closed.open = false;
        closed.entry = next_entry();
        add_entry("pool", name, "close", {{"pool", journal_form(closed)}});
        database_->run("pool_close", {name, closed.entry});
    });
}

/** Counts the gaps between the addresses that units have ahead of the next one. */
std::int64_t book::units_left_in(const pool &of)
{
    if (!of.of_macs) {
        return room_from(of, of.next);
    }
    auto from = of.next;
    if (const auto other = overlapping(from, from)) {
        from = other->mac_last() + 1;
    }
    std::int64_t left = 0;
    database_->each("addresses_between", {from, of.last}, [&](const row &one) {
        left += room_between(of, from, one.number(0) - 1);
        from = one.number(1) + 1;
    });
    return left + room_from(of, from);
}

pool_state book::state_of(const pool &of)
{
    using days = std::chrono::duration<double, std::ratio<86400>>;
    constexpr std::chrono::hours week{7 * 24};
    constexpr double shortest_look = 1.0 / 24; // days: less says nothing about a rate
    pool_state state;
    state.of = of;
    state.units = room_from(of, of.first);
    const auto left = units_left_in(of);
    state.units_left = of.open ? left : 0;
    state.used_percent = used_percent(of, left);
    state.warning = of.open ? warning_of(of, left) : "";
    const auto now = place_.clock();
    const auto all = database_->first("pool_use", {of.name, ""});
    state.voided = all->number(2);
    const auto recent = database_->first("pool_use", {of.name, time_text(now - week)});
    if (recent->number(0) > 0) {
        const auto first_unit = read_time(all->text(1)).value_or(now);
        const auto since = std::max<time_point>(now - week, first_unit);
        const auto looked = std::max(days(now - since).count(), shortest_look);
        state.units_a_day = static_cast<double>(recent->number(0)) / looked;
    }
    return state;
}

std::vector<pool_state> book::pools()
{
    std::vector<pool_state> states;
    read([&] {
        std::vector<pool> all;
        database_->each("pools", {}, [&](const row &one) { all.push_back(pool_of_row(one)); });
        for (const auto &each : all) {
            states.push_back(state_of(each));
        }
    });
    return states;
}

void book::add_product(product wanted)
{
    check_name("name of the product", wanted.name);
    if (wanted.mac.none() && wanted.serial.none()) {
        refuse("a product needs a MAC address, a serial number or both");
    }
    write([&] {
        if (database_->first("product_by_name", {wanted.name})) {
            refuse("there is a product " + wanted.name + " already");
        }
        if (!wanted.mac.pool.empty()) {
            const auto source = pool_named(wanted.mac.pool);
            if (!source.of_macs) {
                refuse("the pool " + source.name + " is one of serial numbers");
            }
            wanted.mac_count = wanted.mac_count == 0 ? source.count : wanted.mac_count;
            if (wanted.mac_count != source.count) {
                refuse("a unit of the pool " + source.name + " takes " +
                       std::to_string(source.count) + " addresses");
            }
        }
        if (!wanted.serial.pool.empty() && pool_named(wanted.serial.pool).of_macs) {
            refuse("the pool " + wanted.serial.pool + " is one of MAC addresses");
        }
        if (wanted.mac.none() != (wanted.mac_count == 0)) {
            wanted.mac_count = wanted.mac.none() ? 0 : 1;
        }
        enter_product(wanted);
    });
}

void book::enter_product(product &added)
{
    added.entry = next_entry();
    add_entry("product", added.name, "add", {{"product", journal_form(added)}});
    database_->run("product_add", row_of(added));
}

std::vector<product> book::products()
{
    std::vector<product> all;
    read([&] {
        database_->each("products", {},
                        [&](const row &one) { all.push_back(product_of_row(one)); });
    });
    return all;
}

} // namespace ledger
