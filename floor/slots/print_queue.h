#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "floor/printing/printer.h"
#include "floor/slots/desk.h"

namespace shopfloor {

/** How the printer is. */
struct printer_view {
    std::string trouble = {}; // why it does not print, in words; empty where it does
    std::int64_t waiting = 0; // labels
    bool operator==(const printer_view &) const = default;
};

/**
 * Prints what waits in the ledger for this station, one label after the other, on a thread of its
 * own. A printer that is off holds up nobody: its labels wait. Where the floor is killed between a
 * label and its record, that label is printed twice.
 */
class print_queue {
public:
    using on_change = std::function<void(const printer_view &)>;

    /** The desk must outlive this; tell is called on the queue's thread. */
    print_queue(std::unique_ptr<printer> to, desk &of, std::string station, on_change tell);
    /** As stop(). */
    ~print_queue();
    print_queue(const print_queue &) = delete;
    print_queue &operator=(const print_queue &) = delete;

    /** There may be something to print. */
    void look();

    /** Waits for the label that is being printed, and begins no other. */
    void stop();

private:
    /** Rings where there may be something to print; outlives the queue where the desk needs it. */
    struct bell {
        std::mutex guard = {};
        std::condition_variable_any news = {};
        bool rung = true;

        void ring();
        void wait(const std::stop_token &stop, bool not_long);
    };

    /** What the ledger knows of the labels that wait. */
    struct waiting_labels {
        std::optional<ledger::label_print> next = {};
        std::int64_t count = 0;
    };

    void run(const std::stop_token &stop);
    bool print_all(const std::stop_token &stop);
    waiting_labels ask_ledger(const std::stop_token &stop);
    bool print(const ledger::label_print &next);
    void enter_end(std::int64_t id);
    void show(const printer_view &now);

    const std::unique_ptr<printer> printer_;
    desk &desk_;
    const std::string station_;
    const on_change tell_;
    std::optional<printer_view> shown_; // only for the thread, as what follows
    std::string trouble_;
    std::int64_t last_ended_ = 0; // its record may still be on its way to the ledger

    const std::shared_ptr<bell> bell_ = std::make_shared<bell>();
    std::jthread thread_; // uses all of the above
};

} // namespace shopfloor
