#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>

#include "station/lines/line.h"
#include "station/product/run.h"

namespace shopfloor {

/** A run that a slot is to do. */
struct slot_order {
    station::plan what;
    station::run_options options;
    std::shared_ptr<station::run_observer> observer;
    std::stop_token stop;
    /** What a person has to do with the switch after the run, if anything; once the line is free.
     */
    std::function<void(station::run_result &)> afterwards;
    /**
     * Is called on the slot's thread with what came of it; the transcript in it has times. Where it
     * throws it is called once more, with a run that broke off.
     */
    std::function<void(station::run_result)> done;
};

/** The thread of a slot: waits for an order, opens the slot's line, carries it out. */
class slot_worker {
public:
    /** Opens the slot's line; throws station::line_error. */
    using line_maker = std::function<std::unique_ptr<station::line>()>;

    explicit slot_worker(line_maker open);
    /** Waits for the end of the run that goes on. */
    ~slot_worker();
    slot_worker(const slot_worker &) = delete;
    slot_worker &operator=(const slot_worker &) = delete;

    /** From any thread; one order at a time, and the next one from done() on. */
    void begin(slot_order order);

private:
    void run();
    void carry_out(const slot_order &order);
    station::run_result result_of(const slot_order &order);

    const line_maker open_;
    std::mutex guard_;
    std::condition_variable news_;
    std::optional<slot_order> next_;
    bool ending_ = false;
    std::thread thread_; // uses all of the above
};

} // namespace shopfloor
