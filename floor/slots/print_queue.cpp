#include "floor/slots/print_queue.h"

#include <algorithm>
#include <chrono>
#include <future>

namespace shopfloor {

namespace {

using namespace std::chrono_literals;

constexpr auto between_tries = 3s;
constexpr auto between_looks = 50ms;

} // namespace

print_queue::print_queue(std::unique_ptr<printer> to, desk &of, std::string station, on_change tell)
    : printer_(std::move(to)), desk_(of), station_(std::move(station)), tell_(std::move(tell)),
      thread_([this](const std::stop_token &stop) { run(stop); })
{
}

print_queue::~print_queue()
{
    stop();
}

void print_queue::stop()
{
    thread_.request_stop();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void print_queue::bell::ring()
{
    {
        const std::lock_guard lock(guard);
        rung = true;
    }
    news.notify_all();
}

void print_queue::bell::wait(const std::stop_token &stop, bool not_long)
{
    std::unique_lock lock(guard);
    const auto has_rung = [this] { return rung; };
    if (not_long) {
        news.wait_for(lock, stop, between_tries, has_rung);
    } else {
        news.wait(lock, stop, has_rung);
    }
    rung = false;
}

void print_queue::look()
{
    bell_->ring();
}

void print_queue::run(const std::stop_token &stop)
{
    bool some_wait = false;
    while (!stop.stop_requested()) {
        bell_->wait(stop, some_wait);
        some_wait = print_all(stop);
    }
}

/** True: some labels wait for another try. */
bool print_queue::print_all(const std::stop_token &stop)
{
    while (!stop.stop_requested()) {
        const auto labels = ask_ledger(stop);
        show({trouble_, labels.count});
        if (!labels.next) {
            return labels.count > 0;
        }
        if (!print(*labels.next)) {
            show({trouble_, labels.count});
            return true;
        }
    }
    return false;
}

/** Nothing where the ledger is away: it is asked again soon. */
print_queue::waiting_labels print_queue::ask_ledger(const std::stop_token &stop)
{
    const auto told = std::make_shared<std::promise<waiting_labels>>();
    auto coming = told->get_future();
    const auto away = shown_ ? std::max<std::int64_t>(shown_->waiting, 1) : 1;
    desk_.ask(
        [told, station = station_](ledger::book &in) {
            told->set_value({in.next_print(station), in.waiting_prints(station)});
            return false;
        },
        [told, away](const ledger::error &) {
            told->set_value({std::nullopt, away});
        });
    // A desk that has ended answers no more.
    while (coming.wait_for(between_looks) != std::future_status::ready) {
        if (stop.stop_requested()) {
            return {};
        }
    }
    auto labels = coming.get();
    if (labels.next && labels.next->id == last_ended_) {
        labels.next.reset();
    }
    return labels;
}

/** False: the printer is to be tried again later. */
bool print_queue::print(const ledger::label_print &next)
{
    try {
        printer_->print(next.asked.content);
        trouble_.clear();
        enter_end(next.id);
        return true;
    } catch (const print_error &why) {
        trouble_ = why.what();
        return false;
    }
}

void print_queue::enter_end(std::int64_t id)
{
    last_ended_ = id;
    desk_.do_surely(
        [bell = bell_, id](ledger::book &in) {
            in.end_print(id, true, "");
            bell->ring();
        },
        [](const ledger::error &) {}); // somebody has ended it before
}

void print_queue::show(const printer_view &now)
{
    if (shown_ != now) {
        shown_ = now;
        tell_(now);
    }
}

} // namespace shopfloor
