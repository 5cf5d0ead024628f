// What follows a run: the unit's label, printed and scanned again. And the faults of drills.

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <utility>

#include "floor/model/record_forms.h"
#include "floor/slots/floor_control.h"

namespace shopfloor {

namespace {

constexpr std::size_t most_prints = 1000;
constexpr auto unprintable_advice = "give the unit a label that can be printed";

label_values values_of(const station::registered_unit &unit)
{
    return {unit.from.identity.label, unit.what.values, station::date_of_today()};
}

/** The values of a unit that was provisioned before, under the names that product files use. */
label_values values_of(const ledger::unit &of)
{
    label_values values{of.label, {}, station::date_of_today()};
    if (of.serial) {
        values.of_product["serial"] = *of.serial;
    }
    if (of.mac) {
        values.of_product["mac"] = ledger::mac_text(*of.mac);
    }
    return values;
}

std::string replaced(std::string text, std::string_view place, const std::string &by)
{
    const auto at = text.find(place);
    return at == std::string::npos ? text : text.replace(at, place.size(), by);
}

/** A label as a word of the shell that names a file: other than letters and digits as "%20". */
std::string file_name_of(std::string_view label)
{
    std::string name;
    for (const char each : label) {
        const bool is_plain = std::isalnum(static_cast<unsigned char>(each)) != 0 || each == '-';
        char code[4] = "";
        std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned char>(each));
        name += is_plain ? std::string(1, each) : code;
    }
    return name;
}

} // namespace

void floor_control::start_printing()
{
    if (!floor_.has_printer()) {
        return;
    }
    prints_ = std::make_unique<print_queue>(
        floor_.printer_command.empty() ? network_printer(floor_.printer_host, floor_.printer_port)
                                       : command_printer(floor_.printer_command),
        *desk_, floor_.station, [this](const printer_view &now) { shown_.change_printer(now); });
}

const floor_product *floor_control::product_named(const std::string &name) const
{
    const auto found = std::ranges::find(floor_.products, name,
                                         [](const floor_product &each) { return each.what.name; });
    return found == floor_.products.end() ? nullptr : &*found;
}

/** Asks for the label of a unit that was verified; the result tells where it cannot be printed. */
void floor_control::print_label(const begun_run &run, station::run_result &result)
{
    const auto *product = product_named(run.unit.what.what.name);
    if (!product->label || !prints_) {
        return;
    }
    ledger::print_request wanted{
        run.unit.from.identity.label, floor_.station, run.operator_badge, {}};
    try {
        wanted.content = product->label->filled(values_of(run.unit));
    } catch (const station::job_error &why) {
        result.reason = std::string("its label is not printed: ") + why.what();
        result.advice = unprintable_advice;
        return;
    }
    desk_->do_surely(
        [this, wanted, attempt = run.attempt](ledger::book &in) {
            in.ask_print(wanted, attempt); // may be told twice, and one label is enough for a run
            prints_->look();
        },
        [](const ledger::error &) {}); // the unit was made void since
}

/**
 * On the slot's thread, after a run: a unit that is verified gets its label, and where that is
 * scanned again, the run goes on until what was scanned equals what was read from the switch.
 */
void floor_control::await_label(const begun_run &run, const std::stop_token &stop,
                                station::run_result &result)
{
    if (!run.attempt || result.end != station::run_end::verified) {
        return;
    }
    print_label(run, result);
    const auto *product = product_named(run.unit.what.what.name);
    if (!product->scan_back()) {
        return;
    }
    std::string code;
    try {
        code = product->label_code->filled(values_of(run.unit));
    } catch (const station::job_error &why) {
        result.end = station::run_end::failed;
        result.reason = why.what();
        result.advice = unprintable_advice;
        return;
    }
    if (!wait_for_code(run.slot, code, stop)) {
        result.end = station::run_end::cancelled;
        result.reason = "the switch holds all of it, but its label was not scanned back";
        result.advice = "scan the label of the switch again to begin anew";
    }
}

bool floor_control::wait_for_code(int slot, const std::string &code, const std::stop_token &stop)
{
    // Behind what the ledger is told of the run so far: that the switch holds all of it.
    desk_->do_surely([this, slot, code, stop](ledger::book &) { ask_for_code(slot, code, stop); },
                     [](const ledger::error &) {});
    std::unique_lock lock(guard_);
    auto &own = slots_.at(slot);
    scanned_.wait(lock, stop, [&own] { return own.confirmed; });
    own.code.clear();
    return std::exchange(own.confirmed, false);
}

void floor_control::ask_for_code(int slot, const std::string &code, const std::stop_token &stop)
{
    const std::lock_guard lock(guard_);
    if (stop.stop_requested()) {
        return;
    }
    slots_.at(slot).code = code;
    shown_.change(slot, [&code](slot_view &view) {
        view.run->label_back = "waiting";
        view.run->label_code = code;
        view.run->phase = "waits for its printed label to be scanned";
    });
}

void floor_control::confirm(int slot, const std::string &code, reply to)
{
    if (!shown_.has(slot)) {
        to({{}, no_such_slot(slot)});
        return;
    }
    {
        const std::lock_guard lock(guard_);
        auto &own = slots_.at(slot);
        if (own.code.empty() || own.confirmed) {
            to({{},
                refusal{"not_waiting",
                        "slot " + std::to_string(slot) + " does not wait for a printed label",
                        "scan the label of a switch to begin"}});
            return;
        }
        own.confirmed = own.code == code;
        shown_.change(slot, [&](slot_view &view) {
            view.run->label_back = own.confirmed ? "matches" : "differs";
            if (own.confirmed) {
                view.run->label_code.reset();
            }
        });
    }
    scanned_.notify_all();
    to({shown_.slot(slot), {}});
}

void floor_control::print(const std::string &label, const std::string &operator_badge, reply to)
{
    const auto refuse = [to](const std::string &code, const std::string &reason) {
        to({{}, refusal{code, reason, "look at the label, and at FLOOR.toml"}});
    };
    const auto work = [=, this](ledger::book &in) {
        const auto of = in.find(label, ledger::search::label);
        if (!of) {
            refuse("not_found", "there is no such label");
            return;
        }
        const auto *product = product_named(of->product);
        if (!prints_ || product == nullptr || !product->label) {
            refuse("no_printer", "there is no printer here, or no label for a " + of->product);
            return;
        }
        try {
            const auto by = operator_badge.empty() ? shown_.operator_badge() : operator_badge;
            const auto content = product->label->filled(values_of(*of));
            const auto asked = in.ask_print({of->label, floor_.station, by, content});
            prints_->look();
            to({form_of(asked), {}});
        } catch (const station::job_error &why) {
            refuse("refused", why.what());
        }
    };
    desk_->do_once(work, [refuse](const ledger::error &why) {
        const bool is_void = why.kind() == ledger::trouble::refused;
        refuse(is_void ? "void" : "ledger_away", why.what());
    });
}

void floor_control::prints(const list_request &wanted, reply to)
{
    const auto limit = std::clamp<std::size_t>(wanted.limit, 1, most_prints);
    desk_->ask(
        [=](ledger::book &in) {
            const auto found = in.prints({wanted.label, wanted.state, wanted.since, wanted.until},
                                         std::max<std::int64_t>(wanted.after, 0), limit);
            auto rows = json::array();
            for (const auto &each : found) {
                rows.push_back(form_of(each));
            }
            const bool more = found.size() == limit;
            to({{{"rows", rows}, {"after", more ? json(found.back().id) : json(nullptr)}}, {}});
            return false;
        },
        [to](const ledger::error &why) {
            to({{}, refusal{"ledger_away", why.what(), "try again once the ledger is back"}});
        });
}

void floor_control::order_fault(int slot, const std::string &fault, reply to)
{
    const auto found = std::ranges::find(floor_.faults, fault, &drill_fault::name);
    if (!shown_.has(slot)) {
        to({{}, no_such_slot(slot)});
        return;
    }
    if (!floor_.drill || (found == floor_.faults.end() && !fault.empty())) {
        const auto *reason = floor_.drill ? "there is no such fault" : "this is no drill";
        to({{},
            refusal{floor_.drill ? "bad_request" : "no_drill", reason, "look at drill_faults"}});
        return;
    }
    {
        const std::lock_guard lock(guard_);
        slots_.at(slot).fault = fault.empty() ? "" : found->options;
    }
    shown_.change(slot, [&](slot_view &view) {
        view.fault = fault.empty() ? std::nullopt : std::optional(fault);
    });
    to({shown_.slot(slot), {}});
}

/**
 * The program of a slot: {label} in it is the label of the run, as a name of a file, and {fault}
 * what was ordered for this run.
 */
std::string floor_control::command_of(int slot)
{
    std::string fault;
    {
        const std::lock_guard lock(guard_);
        fault = std::exchange(slots_.at(slot).fault, "");
    }
    std::string label;
    shown_.change(slot, [&](slot_view &view) {
        view.fault.reset();
        label = view.run->label;
    });
    const auto &command = slots_.at(slot).described.exec;
    return replaced(replaced(command, "{label}", file_name_of(label)), "{fault}", fault);
}

} // namespace shopfloor
