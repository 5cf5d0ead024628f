#include "floor/slots/slot_worker.h"

#include <exception>

#include "floor/slots/transcript_line.h"

namespace shopfloor {

namespace {

station::run_result not_opened(const slot_order &order, const std::string &why)
{
    station::run_result result;
    result.end = station::run_end::not_reached;
    result.reason = why;
    result.advice = "look at the slot's adapter: setmac-floor doctor tells what is wrong";
    result.values = order.what.values;
    return result;
}

/** Of what the switch may hold nothing is known. */
station::run_result broken_off(const slot_order &order, const std::string &why)
{
    station::run_result result;
    result.end = station::run_end::failed;
    result.reason = "the run broke off: " + why;
    result.advice = "scan the label again: the switch gets the same identity";
    result.values = order.what.values;
    result.may_have_stored = !order.options.only_check;
    return result;
}

} // namespace

slot_worker::slot_worker(line_maker open) : open_(std::move(open)), thread_([this] { run(); }) {}

slot_worker::~slot_worker()
{
    {
        const std::lock_guard lock(guard_);
        ending_ = true;
    }
    news_.notify_all();
    thread_.join();
}

void slot_worker::begin(slot_order order)
{
    {
        const std::lock_guard lock(guard_);
        next_ = std::move(order);
    }
    news_.notify_all();
}

void slot_worker::run()
{
    std::unique_lock lock(guard_);
    while (true) {
        news_.wait(lock, [this] { return ending_ || next_; });
        if (!next_) {
            return;
        }
        const auto order = std::move(*next_);
        next_.reset();
        lock.unlock();
        carry_out(order);
        lock.lock();
    }
}

void slot_worker::carry_out(const slot_order &order)
{
    try {
        order.done(result_of(order));
    } catch (const std::exception &why) {
        // For all that the run has gathered there was no memory; the least is told all the same.
        order.done(broken_off(order, why.what()));
    }
}

station::run_result slot_worker::result_of(const slot_order &order)
{
    std::unique_ptr<station::line> far;
    try {
        far = open_();
    } catch (const std::exception &why) {
        return not_opened(order, why.what());
    }
    transcript_line noted(*far);
    station::run_result result;
    try {
        result = station::provision(noted, order.what, order.options, *order.observer, order.stop);
        far.reset();
        if (order.afterwards) {
            order.afterwards(result);
        }
    } catch (const std::exception &why) { // as memory that has run out: the other slots go on
        far.reset();
        result = broken_off(order, why.what());
    }
    result.transcript = noted.text();
    return result;
}

} // namespace shopfloor
