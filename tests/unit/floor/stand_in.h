#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "floor/model/control.h"

namespace floor_tests {

using shopfloor::answer;
using shopfloor::json;
using shopfloor::list_request;
using shopfloor::reply;

/** How the stand-in is. */
struct stand_in_settings {
    int slots = 8;
    int busy_slots = 0;      // the first of them take made-up units, one after the other
    int unplugged_slots = 0; // the last of them
    std::chrono::milliseconds step{
        0}; // between two steps of what goes on by itself; 0: nothing does
    std::size_t kept_events = 10000;
    std::int64_t rows = 0; // units, and attempts, that there were before
};

/**
 * A floor without switches and ledger: slots go through their phases by a clock, verdicts are drawn
 * from a seed. Answers are given at once, on the thread that asks or that of the clock.
 */
class stand_in : public shopfloor::control {
public:
    explicit stand_in(stand_in_settings settings);
    ~stand_in() override;

    json state() const override;
    shopfloor::event_log &events() override { return events_; }
    void start(const shopfloor::start_request &wanted, reply to) override;
    void cancel(int slot, reply to) override;
    void change_operator(const std::string &badge, reply to) override;
    void find_unit(const std::string &text, reply to) override;
    void find_attempt(std::int64_t id, reply to) override;
    void pools(reply to) override;
    void units(const list_request &wanted, reply to) override;
    void attempts(const list_request &wanted, reply to) override;

    /** One step of each slot that runs. */
    void step();
    /** How many pages of units and attempts were asked for. */
    std::size_t pages() const;

private:
    struct slot;
    json slot_json(const slot &of) const;
    slot *find_slot(int number);
    void begin(slot &in, const shopfloor::start_request &wanted);
    void advance(slot &in);
    void end(slot &in, const std::string &outcome, const std::string &reason,
             const std::string &advice);
    void tell(const slot &of);
    answer page(const list_request &wanted, json (stand_in::*row)(std::int64_t) const);
    json unit_row(std::int64_t id) const;
    json attempt_row(std::int64_t id) const;

    const stand_in_settings settings_;
    mutable std::mutex guard_;
    shopfloor::event_log events_;
    std::vector<slot> slots_;
    std::map<std::string, json> verified_ = {}; // by label
    std::string operator_ = {};
    std::int64_t last_attempt_;
    std::size_t pages_ = 0;
    std::mt19937 chance_{1};

    std::condition_variable stop_asked_;
    bool stopping_ = false;
    std::thread clock_ = {};
};

} // namespace floor_tests
