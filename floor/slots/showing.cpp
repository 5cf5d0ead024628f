#include "floor/slots/showing.h"

#include "ledger/model/time.h"

namespace shopfloor {

namespace {

/** JSON in one line. Texts come from consoles, too: what is none of UTF-8 is replaced. */
std::string line_of(const json &content)
{
    return content.dump(-1, ' ', false, json::error_handler_t::replace);
}

json products_of(const floor_description &floor)
{
    auto all = json::array();
    for (const auto &each : floor.products) {
        auto steps = json::array();
        for (const auto &step : each.what.steps) {
            steps.push_back(step.operation);
        }
        all.push_back(
            {{"name", each.what.name}, {"steps", steps}, {"scan_back", each.scan_back()}});
    }
    return all;
}

json faults_of(const floor_description &floor)
{
    auto all = json::array();
    for (const auto &each : floor.faults) {
        all.push_back({{"fault", each.name}, {"text", each.text}});
    }
    return all;
}

json printer_json(const std::optional<printer_view> &printer)
{
    return printer ? json{{"usable", printer->trouble.empty()},
                          {"reason", printer->trouble},
                          {"waiting", printer->waiting}}
                   : json(nullptr);
}

json ledger_json(bool usable, const std::string &reason)
{
    return {{"usable", usable}, {"reason", reason}};
}

json operator_json(const std::string &badge)
{
    return badge.empty() ? json(nullptr) : json(badge);
}

} // namespace

showing::showing(const floor_description &floor, const std::string &version)
{
    head_ = {{"floor", floor.name},
             {"station", floor.station},
             {"drill", floor.drill},
             {"version", version},
             {"started", ledger::time_text(std::chrono::system_clock::now())}};
    head_["event"] = 0;
    head_["ledger"] = nullptr;
    head_["operator"] = nullptr;
    head_["codes"] = {
        {"slot", floor.slot_code}, {"operator", floor.operator_code}, {"prefix", floor.prefix}};
    head_["printer"] = nullptr;
    head_["drill_faults"] = faults_of(floor);
    head_["products"] = products_of(floor);
    head_["slots"] = json::array();
    if (floor.has_printer()) {
        printer_.emplace();
    }
    for (const auto &each : floor.slots) {
        auto &view = slots_[each.number].view;
        view.number = each.number;
        view.place = each.place.empty() ? "simulated" : each.place;
        view.products = each.products;
    }
}

json showing::whole() const
{
    const std::lock_guard lock(guard_);
    auto state = head_;
    state["event"] = events_.last();
    state["ledger"] = ledger_json(ledger_usable_, ledger_reason_);
    state["operator"] = operator_json(operator_);
    state["printer"] = printer_json(printer_);
    for (const auto &[number, each] : slots_) {
        state["slots"].push_back(json_of(each.view));
    }
    return state;
}

json showing::slot(int number) const
{
    const std::lock_guard lock(guard_);
    return json_of(slots_.at(number).view);
}

std::optional<refusal> showing::why_not(const slot_view &slot, const std::string &label) const
{
    if (slot.busy()) {
        return refusal{"slot_busy",
                       "slot " + std::to_string(slot.number) + " works on label " + slot.run->label,
                       "wait for its end, or cancel it"};
    }
    if (slot.state == slot_state::unplugged) {
        return refusal{"slot_unplugged", slot.trouble, "plug the adapter in"};
    }
    for (const auto &[number, other] : slots_) {
        if (!other.view.busy()) {
            continue;
        }
        if (other.view.run->label == label) {
            return refusal{"label_in_work",
                           "slot " + std::to_string(number) + " works on label " + label,
                           "look which switch the label is of"};
        }
        // Where it holds a serial number, the ledger would make a new unit of it.
        if (other.view.run->label_code == label) {
            return refusal{"label_in_work",
                           "slot " + std::to_string(number) + " waits for its printed label " +
                               label,
                           "put it on the switch there, and scan it for that slot"};
        }
    }
    return std::nullopt;
}

std::optional<refusal> showing::claim(int number, const run_view &run)
{
    const std::lock_guard lock(guard_);
    auto &slot = slots_.at(number);
    if (auto refused = why_not(slot.view, run.label)) {
        return refused;
    }
    slot.run_before = std::move(slot.view.run);
    slot.state_before = slot.view.state;
    slot.view.run = run;
    slot.view.state = slot_state::preparing;
    tell(slot.view);
    return std::nullopt;
}

void showing::release(int number)
{
    const std::lock_guard lock(guard_);
    auto &slot = slots_.at(number);
    slot.view.run = std::move(slot.run_before);
    slot.view.state = slot.state_before;
    tell(slot.view);
}

void showing::change(int number, const std::function<void(slot_view &)> &how, telling when)
{
    const std::lock_guard lock(guard_);
    auto &slot = slots_.at(number).view;
    how(slot);
    if (when == telling::now) {
        tell(slot);
    }
}

void showing::show_adapter(int number, bool present)
{
    const std::lock_guard lock(guard_);
    auto &slot = slots_.at(number).view;
    const auto trouble = present ? "" : "no adapter at " + slot.place;
    const bool is_shown = slot.trouble == trouble &&
                          (slot.busy() || present == (slot.state != slot_state::unplugged));
    if (is_shown) {
        return;
    }
    slot.trouble = trouble;
    if (!slot.busy()) {
        slot.state = !present   ? slot_state::unplugged
                     : slot.run ? slot_state::ended
                                : slot_state::idle;
    }
    tell(slot);
}

void showing::show_earlier(int number, const run_view &run)
{
    const std::lock_guard lock(guard_);
    auto &slot = slots_.at(number);
    // A slot that is preparing goes back to this, should its label be refused.
    auto &state = slot.view.busy() ? slot.state_before : slot.view.state;
    auto &shown = slot.view.busy() ? slot.run_before : slot.view.run;
    if (shown) {
        return;
    }
    shown = run;
    state = state == slot_state::unplugged ? state : slot_state::ended;
    if (!slot.view.busy()) {
        tell(slot.view);
    }
}

void showing::tell(const slot_view &slot)
{
    events_.add("slot", line_of(json_of(slot)));
}

void showing::change_ledger(bool usable, const std::string &reason)
{
    const std::lock_guard lock(guard_);
    ledger_usable_ = usable;
    ledger_reason_ = reason;
    events_.add("ledger", line_of(ledger_json(usable, reason)));
}

void showing::change_printer(const printer_view &printer)
{
    const std::lock_guard lock(guard_);
    printer_ = printer;
    events_.add("printer", line_of({{"printer", printer_json(printer_)}}));
}

std::string showing::operator_badge() const
{
    const std::lock_guard lock(guard_);
    return operator_;
}

json showing::change_operator(const std::string &badge)
{
    const std::lock_guard lock(guard_);
    operator_ = badge;
    json told{{"operator", operator_json(badge)}};
    events_.add("operator", line_of(told));
    return told;
}

} // namespace shopfloor
