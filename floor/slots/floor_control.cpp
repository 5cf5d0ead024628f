#include "floor/slots/floor_control.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "floor/ports/port_line.h"
#include "floor/slots/slot_news.h"
#include "ledger/model/texts.h"
#include "station/lines/pty_line.h"

namespace shopfloor {

namespace {

using namespace std::chrono_literals;

// How long runs that were cancelled may take to bring their consoles to a prompt.
constexpr auto stopping_limit = 30s;

// What the page has for it. "Compare only" and F9 are offered once the slot is chosen.
constexpr station::next_steps on_the_page{
    .compare = "scan the slot, choose \"Compare only\", scan the label",
    .write = "scan the slot and the label, without \"Compare only\"",
    .replace = "if it shall get this label's identity, scan the slot and press F9"};

} // namespace

floor_control::floor_control(floor_description floor, port_watch &ports, std::string version,
                             line_of_slot open, ledger_looks looks)
    : floor_(std::move(floor)), ports_(ports), version_(std::move(version)), open_(std::move(open)),
      shown_(floor_, version_)
{
    for (const auto &each : floor_.slots) {
        const int number = each.number;
        slots_[number].described = each;
        slots_[number].worker =
            std::make_unique<slot_worker>([this, number] { return open_line(number); });
    }
    ports_.call_on_change([this] { look_at_ports(); });
    look_at_ports(); // behind that, so that no change in between is missed
    desk_ = std::make_unique<desk>(
        ledger::ledger_place{floor_.ledger, floor_.witness},
        [this](bool usable, const std::string &reason) { shown_.change_ledger(usable, reason); },
        looks);
    desk_->do_surely([this](ledger::book &in) { restore(in); }, [](const ledger::error &) {});
    start_printing();
}

floor_control::~floor_control()
{
    stop();
}

void floor_control::stop()
{
    ports_.call_on_change({});
    {
        std::unique_lock lock(guard_);
        stopping_ = true;
        for (auto &[number, each] : slots_) {
            each.stop.request_stop();
        }
        ended_.wait_for(lock, stopping_limit, [this] { return active_ == 0; });
    }
    std::vector<std::unique_ptr<slot_worker>> last;
    {
        const std::lock_guard lock(guard_);
        for (auto &[number, each] : slots_) {
            last.push_back(std::move(each.worker));
        }
    }
    last.clear();
    if (prints_) {
        prints_->stop(); // the desk enters what was printed last
    }
    desk_->end();
}

refusal floor_control::no_such_slot(int slot)
{
    return {"no_such_slot", "there is no slot " + std::to_string(slot), "FLOOR.toml has the slots"};
}

std::optional<refusal> floor_control::check(const start_request &wanted) const
{
    if (!shown_.has(wanted.slot)) {
        return no_such_slot(wanted.slot);
    }
    for (const auto &code : {floor_.slot_code, floor_.operator_code}) {
        if (wanted.label.starts_with(code)) {
            return refusal{"bad_label", "a code that begins with " + code + " is no label",
                           "scan the label of the switch"};
        }
    }
    try {
        ledger::check_label(wanted.label);
    } catch (const ledger::error &why) {
        return refusal{"bad_label", why.what(), "scan the label again"};
    }
    try {
        if (!wanted.operator_badge.empty()) {
            ledger::check_remark("operator", wanted.operator_badge);
        }
    } catch (const ledger::error &why) {
        return refusal{"bad_request", why.what(), "scan the badge again"};
    }
    const auto &products = slots_.at(wanted.slot).described.products;
    if (!wanted.product.empty() && std::ranges::find(products, wanted.product) == products.end()) {
        return refusal{"wrong_product",
                       "slot " + std::to_string(wanted.slot) + " is not for that product",
                       "put the switch into a slot that is"};
    }
    return std::nullopt;
}

std::optional<refusal> floor_control::claim(const start_request &wanted, std::stop_token &stop)
{
    const std::lock_guard lock(guard_);
    if (stopping_) {
        return refusal{"refused", "the floor is ending", "start it again"};
    }
    run_view run;
    run.label = wanted.label;
    run.product = wanted.product;
    run.operator_badge = wanted.operator_badge;
    run.only_check = wanted.only_check;
    run.phase = "asks the ledger";
    if (auto refused = shown_.claim(wanted.slot, run)) {
        return refused;
    }
    auto &source = slots_.at(wanted.slot).stop;
    source = std::stop_source();
    stop = source.get_token();
    ++active_;
    return std::nullopt;
}

void floor_control::one_less_is_active()
{
    {
        const std::lock_guard lock(guard_);
        --active_;
    }
    ended_.notify_all();
}

void floor_control::give_back(int slot, const refusal &why, const reply &to)
{
    shown_.release(slot);
    one_less_is_active();
    look_at_ports();
    to({{}, why});
}

void floor_control::start(const start_request &given, reply to)
{
    auto wanted = given;
    if (wanted.operator_badge.empty()) {
        wanted.operator_badge = shown_.operator_badge();
    }
    std::stop_token stop;
    auto refused = check(wanted);
    if (!refused) {
        refused = claim(wanted, stop);
    }
    if (refused) {
        to({{}, refused});
        return;
    }
    desk_->do_once([this, wanted, stop, to](ledger::book &in) { enter(in, wanted, stop, to); },
                   [this, wanted, to](const ledger::error &why) {
                       give_back(wanted.slot,
                                 {"ledger_away", why.what(),
                                  "nothing was sent; scan the label again once the ledger is back"},
                                 to);
                   });
}

/** The product that was asked for, the only one of the slot, or that of the label. */
const floor_product &floor_control::product_for(ledger::book &in, const start_request &wanted) const
{
    const auto &of_slot = slots_.at(wanted.slot).described.products;
    auto name = of_slot.size() == 1 ? of_slot.front() : wanted.product;
    if (name.empty()) {
        const auto known = in.find(wanted.label, ledger::search::label);
        name = known ? known->product : "";
    }
    if (std::ranges::find(of_slot, name) == of_slot.end()) {
        ledger::refuse(name.empty() ? "the slot is for several products: say which it is"
                                    : "the label is a " + name + ", and the slot is not for those");
    }
    return *product_named(name);
}

floor_control::shared_run floor_control::enter_run(ledger::book &in, const start_request &wanted,
                                                   const floor_product &product)
{
    const ledger::reservation label{wanted.label, product.what.name, wanted.serial, wanted.mac};
    const auto today = station::date_of_today();
    if (wanted.only_check) {
        auto unit = station::find_unit(in, product.what, label, {}, today);
        return std::make_shared<begun_run>(
            begun_run{wanted.slot, std::move(unit), std::nullopt, wanted.operator_badge});
    }
    auto unit = station::reserve_unit(in, product.what, label, {}, today);
    const auto attempt = station::begin_run(in, unit,
                                            {.station = floor_.station,
                                             .slot = std::to_string(wanted.slot),
                                             .operator_name = wanted.operator_badge,
                                             .program_version = program + version_,
                                             .again = wanted.again,
                                             .take_over = wanted.take_over});
    return std::make_shared<begun_run>(
        begun_run{wanted.slot, std::move(unit), attempt, wanted.operator_badge});
}

/** On the desk's thread. */
void floor_control::enter(ledger::book &in, const start_request &wanted, std::stop_token stop,
                          const reply &to)
{
    restore(in);
    try {
        const auto &product = product_for(in, wanted);
        const auto run = enter_run(in, wanted, product);
        begin(run, wanted, product, std::move(stop));
        to({shown_.slot(wanted.slot), {}});
    } catch (const ledger::error &why) {
        if (why.kind() != ledger::trouble::refused) {
            throw;
        }
        give_back(wanted.slot, why_refused(in, wanted, why.what()), to);
    } catch (const station::job_error &why) {
        give_back(wanted.slot,
                  {"refused", why.what(), "correct the product file, or the product of the ledger"},
                  to);
    }
}

/** Which of the reasons it is; the ledger's own words otherwise. */
refusal floor_control::why_refused(ledger::book &in, const start_request &wanted,
                                   const std::string &reason) const
{
    const auto of = in.find(wanted.label, ledger::search::label);
    if (!of) {
        return wanted.only_check ? refusal{"not_found", reason, "scan the label again"}
                                 : refusal{"refused", reason, "look at the label and the pools"};
    }
    if (of->state == ledger::unit_state::voided) {
        return {"void", reason, "give the switch a new label"};
    }
    const auto &of_slot = slots_.at(wanted.slot).described.products;
    const bool is_wanted = wanted.product.empty() || wanted.product == of->product;
    if (!is_wanted || std::ranges::find(of_slot, of->product) == of_slot.end()) {
        return {"wrong_product", "label " + of->label + " is a " + of->product,
                "put the switch into a slot for that product"};
    }
    const auto open = in.open_attempt(wanted.label);
    if (open && !wanted.take_over) {
        return {"attempt_open", reason,
                "look whether slot " + open->of.start.slot + " of station " +
                    open->of.start.station + " works on it; if not, take it over"};
    }
    if (of->state == ledger::unit_state::verified && !wanted.again) {
        return {"already_verified", reason, "look at the label; if it is right, do it again"};
    }
    return {"refused", reason, "look at the label"};
}

void floor_control::begin(const shared_run &run, const start_request &wanted,
                          const floor_product &product, std::stop_token stop)
{
    const auto &unit = run->unit.from.identity;
    shown_.change(run->slot, [&](slot_view &slot) {
        auto &shown = *slot.run;
        shown.attempt = run->attempt;
        shown.product = unit.product;
        shown.serial = unit.serial;
        shown.mac = unit.mac ? std::optional(ledger::mac_text(*unit.mac)) : std::nullopt;
        shown.mac_count = unit.mac_count;
        shown.started = ledger::time_text(std::chrono::system_clock::now());
        shown.begun = run_view::clock::now();
        shown.phase = "opens the line";
        shown.steps = steps_of(run->unit.what);
        slot.state = slot_state::running;
    });
    slot_order order;
    order.what = run->unit.what;
    order.options.password = product.password;
    order.options.replace = wanted.replace;
    order.options.only_check = wanted.only_check;
    order.options.next = on_the_page;
    order.options.log_ending = "floor-" + std::to_string(run->attempt.value_or(0)) + "-";
    order.stop = std::move(stop);
    order.afterwards = [this, run, stop = order.stop](station::run_result &result) {
        await_label(*run, stop, result);
    };
    order.observer = std::make_shared<slot_news>(shown_, run->slot, [this, run] {
        if (run->attempt) {
            desk_->do_surely(
                [attempt = *run->attempt](ledger::book &in) { in.record_stored(attempt, ""); },
                [](const ledger::error &) {});
        }
    });
    order.done = [this, run](station::run_result result) {
        enter_end(run, std::move(result));
        one_less_is_active();
    };
    const std::lock_guard lock(guard_);
    if (const auto &worker = slots_.at(run->slot).worker) {
        worker->begin(std::move(order));
    }
}

/** On the slot's thread. What came of the run is shown once it is in the ledger. */
void floor_control::enter_end(const shared_run &run, station::run_result result)
{
    const auto ended = std::make_shared<const station::run_result>(std::move(result));
    if (!run->attempt) {
        show_end(*run, *ended);
        return;
    }
    shown_.change(run->slot,
                  [](slot_view &slot) { slot.run->phase = "enters the end into the ledger"; });
    desk_->do_surely(
        [this, run, ended](ledger::book &in) {
            station::finish_run(in, *run->attempt, run->unit, *ended);
            show_end(*run, *ended);
        },
        [this, run, ended](const ledger::error &why) {
            // Somebody else has ended the attempt: another station that took it over.
            auto refused = *ended;
            refused.end = station::run_end::failed;
            refused.reason = why.what();
            refused.advice = "look the label up: the ledger tells what became of it";
            show_end(*run, refused);
        });
}

void floor_control::show_end(const begun_run &run, const station::run_result &result)
{
    const bool in_doubt =
        run.attempt && station::outcome_of(result) == ledger::attempt_outcome::in_doubt;
    // An adapter that is pulled meanwhile is shown behind this.
    const std::lock_guard lock(guard_);
    const bool present = slots_.at(run.slot).present;
    shown_.change(run.slot, [&](slot_view &slot) {
        auto &shown = *slot.run;
        shown.phase = "";
        shown.label_code.reset();
        shown.outcome = in_doubt ? "in_doubt" : station::name_of(result.end);
        shown.reason = ledger::kept_text(result.reason);
        shown.advice = ledger::kept_text(result.advice);
        shown.ended = ledger::time_text(std::chrono::system_clock::now());
        shown.seconds = result.seconds;
        ++slot.health.runs;
        if (result.end == station::run_end::verified) {
            ++slot.health.verified;
            slot.health.seconds += result.seconds;
        }
        slot.state = present ? slot_state::ended : slot_state::unplugged;
    });
}

void floor_control::cancel(int slot, reply to)
{
    if (!shown_.has(slot)) {
        to({{}, no_such_slot(slot)});
        return;
    }
    {
        const std::lock_guard lock(guard_);
        slots_.at(slot).stop.request_stop();
    }
    to({shown_.slot(slot), {}});
}

void floor_control::change_operator(const std::string &given, reply to)
{
    auto badge = given;
    if (badge.starts_with(floor_.operator_code)) {
        badge.erase(0, floor_.operator_code.size());
    }
    try {
        if (!badge.empty()) {
            ledger::check_remark("badge", badge);
        }
    } catch (const ledger::error &why) {
        to({{}, refusal{"bad_request", why.what(), "scan the badge again"}});
        return;
    }
    to({shown_.change_operator(badge), {}});
}

std::unique_ptr<station::line> floor_control::open_line(int slot)
{
    const auto &described = slots_.at(slot).described;
    if (open_) {
        return open_(described);
    }
    if (!described.exec.empty()) {
        // A program that had the lines of other slots, or the server's connections, would keep them
        // open.
        return std::make_unique<station::pty_line>(command_of(slot), station::open_files::none);
    }
    return open_port(ports_, described.place, described.baud);
}

/** On a thread of the watch, or another one. What one has seen is shown before another looks. */
void floor_control::look_at_ports()
{
    const std::lock_guard one_looks(looking_);
    for (auto &[number, each] : slots_) {
        if (each.described.place.empty()) {
            continue;
        }
        const bool present = port_at(ports_, each.described.place).has_value();
        {
            const std::lock_guard lock(guard_);
            each.present = present;
        }
        shown_.show_adapter(number, present);
    }
}

} // namespace shopfloor
