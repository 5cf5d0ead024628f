#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>

#include "floor/model/control.h"
#include "floor/model/floor_file.h"
#include "floor/ports/port_watch.h"
#include "floor/slots/desk.h"
#include "floor/slots/print_queue.h"
#include "floor/slots/showing.h"
#include "floor/slots/slot_worker.h"
#include "station/registered/registered_run.h"

namespace shopfloor {

/** The floor that FLOOR.toml describes. */
class floor_control : public control {
public:
    /** Opens the line of a slot in the stead of its port or program; for tests. */
    using line_of_slot = std::function<std::unique_ptr<station::line>(const floor_slot &)>;

    /** The watch must outlive the floor; version is that of the program; looks are for tests. */
    floor_control(floor_description floor, port_watch &ports, std::string version,
                  line_of_slot open = {}, ledger_looks looks = {});
    /** As stop(). */
    ~floor_control() override;

    /**
     * Starts nothing more, cancels what runs, and returns once all of it is in the ledger, or the
     * ledger is away.
     */
    void stop();

    json state() const override { return shown_.whole(); }
    event_log &events() override { return shown_.events(); }
    void start(const start_request &wanted, reply to) override;
    void cancel(int slot, reply to) override;
    void change_operator(const std::string &badge, reply to) override;
    void find_unit(const std::string &text, reply to) override;
    void find_attempt(std::int64_t id, reply to) override;
    void pools(reply to) override;
    void units(const list_request &wanted, reply to) override;
    void attempts(const list_request &wanted, reply to) override;
    void confirm(int slot, const std::string &code, reply to) override;
    void print(const std::string &label, const std::string &operator_badge, reply to) override;
    void prints(const list_request &wanted, reply to) override;
    void order_fault(int slot, const std::string &fault, reply to) override;

private:
    /** Ahead of the version in attempts: other programs of the station may number their places. */
    static constexpr auto program = "setmac-floor ";

    struct one_slot {
        floor_slot described;
        std::unique_ptr<slot_worker> worker;
        std::stop_source stop = {}; // of its run; guarded
        bool present = true;        // its adapter is there; guarded
        std::string code = {};      // that its label must hold, while that is waited for; guarded
        bool confirmed = false;     // that was scanned; guarded
        std::string fault = {};     // options for its program in the next run; guarded
    };
    /** A run whose begin is in the ledger. */
    struct begun_run {
        int slot = 0;
        station::registered_unit unit;
        std::optional<std::int64_t> attempt; // none: nothing is written
        std::string operator_badge;
    };
    using shared_run = std::shared_ptr<const begun_run>;

    static refusal no_such_slot(int slot);
    std::optional<refusal> check(const start_request &wanted) const;
    std::optional<refusal> claim(const start_request &wanted, std::stop_token &stop);
    void give_back(int slot, const refusal &why, const reply &to);
    void enter(ledger::book &in, const start_request &wanted, std::stop_token stop,
               const reply &to);
    const floor_product &product_for(ledger::book &in, const start_request &wanted) const;
    shared_run enter_run(ledger::book &in, const start_request &wanted,
                         const floor_product &product);
    void begin(const shared_run &run, const start_request &wanted, const floor_product &product,
               std::stop_token stop);
    void enter_end(const shared_run &run, station::run_result result);
    void show_end(const begun_run &run, const station::run_result &result);
    void one_less_is_active();
    refusal why_refused(ledger::book &in, const start_request &wanted,
                        const std::string &reason) const;

    // labels.cpp
    const floor_product *product_named(const std::string &name) const;
    void print_label(const begun_run &run, station::run_result &result);
    void await_label(const begun_run &run, const std::stop_token &stop,
                     station::run_result &result);
    void start_printing();
    std::string command_of(int slot);
    bool wait_for_code(int slot, const std::string &code, const std::stop_token &stop);
    /** Shows that the code is waited for, unless the run was cancelled. */
    void ask_for_code(int slot, const std::string &code, const std::stop_token &stop);

    // restore.cpp
    void restore(ledger::book &in);
    void show_last_attempt(ledger::book &in, int slot);

    std::unique_ptr<station::line> open_line(int slot);
    void look_at_ports();

    const floor_description floor_;
    port_watch &ports_;
    const std::string version_;
    const line_of_slot open_;
    showing shown_;
    std::mutex looking_; // at the ports, and showing that; comes before the guard
    mutable std::mutex guard_;
    std::condition_variable ended_;
    std::condition_variable_any scanned_;
    bool stopping_ = false; // guarded
    int active_ = 0;        // slots that were claimed, up to the end of their run; guarded
    std::map<int, one_slot> slots_;
    bool restored_ = false; // only for the desk's thread
    std::unique_ptr<desk> desk_;
    std::unique_ptr<print_queue> prints_; // none: there is no printer
};

} // namespace shopfloor
