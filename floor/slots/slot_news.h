#pragma once

#include "floor/slots/showing.h"
#include "station/product/run.h"

namespace shopfloor {

/** Shows how a run goes on. Bytes that are sent are shown a few times a second. */
class slot_news : public station::run_observer {
public:
    /** all_stored is called once the switch has said so of every step. */
    slot_news(showing &to, int slot, std::function<void()> all_stored)
        : to_(to), slot_(slot), all_stored_(std::move(all_stored))
    {
    }

    void phase(std::string_view what) override;
    void step_begins(std::size_t number, std::size_t of, const station::step_record &step) override;
    void step_ended(const station::step_record &step) override;
    void answered(const station::reply &given) override;
    void sent(std::size_t done, std::size_t total) override;
    void retrying(std::string_view reason) override;

private:
    using clock = std::chrono::steady_clock;

    showing &to_;
    const int slot_;
    const std::function<void()> all_stored_;
    std::size_t step_ = 0; // that runs, or ran last
    std::size_t steps_ = 0;
    clock::time_point sent_told_;
};

/** The steps of a plan, none of which has begun. */
std::vector<step_view> steps_of(const station::plan &what);

} // namespace shopfloor
