#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "floor/model/floor_file.h"
#include "floor/model/slot_view.h"
#include "floor/slots/print_queue.h"

namespace shopfloor {

/**
 * What is shown of a floor: its state, and the events that tell how it changes. All functions may
 * be called from any thread.
 */
class showing {
public:
    showing(const floor_description &floor, const std::string &version);

    /** The whole state, with the number of the last event that it holds. */
    json whole() const;
    event_log &events() { return events_; }

    bool has(int number) const { return slots_.contains(number); }
    json slot(int number) const;

    /** Takes an idle slot for a run, or says why not. The slot then is preparing. */
    std::optional<refusal> claim(int number, const run_view &run);
    /** Gives it back as it was before. */
    void release(int number);

    enum class telling { now, with_the_next };
    /** Changes a slot. how must not wait, nor use this. */
    void change(int number, const std::function<void(slot_view &)> &how,
                telling when = telling::now);

    /** The adapter of a slot is there, or is not. */
    void show_adapter(int number, bool present);
    /** A run from before this start of the floor, where the slot has none since. */
    void show_earlier(int number, const run_view &run);

    void change_printer(const printer_view &printer);
    void change_ledger(bool usable, const std::string &reason);
    std::string operator_badge() const;
    json change_operator(const std::string &badge);

private:
    struct shown_slot {
        slot_view view = {};
        std::optional<run_view> run_before = {};
        slot_state state_before = slot_state::idle;
    };

    void tell(const slot_view &slot);
    std::optional<refusal> why_not(const slot_view &slot, const std::string &label) const;

    json head_; // what stays
    mutable std::mutex guard_;
    event_log events_;
    std::map<int, shown_slot> slots_;
    bool ledger_usable_ = true;
    std::string ledger_reason_;
    std::string operator_;
    std::optional<printer_view> printer_; // none: there is no printer
};

} // namespace shopfloor
