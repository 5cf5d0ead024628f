#include "floor/slots/desk.h"

#include <utility>

namespace shopfloor {

namespace {

desk::piece in_one_piece(desk::work what)
{
    return [what = std::move(what)](ledger::book &in) {
        what(in);
        return false;
    };
}

} // namespace

desk::desk(ledger::ledger_place place, on_change tell, ledger_looks looks)
    : place_(std::move(place)), tell_(std::move(tell)), looks_(looks), thread_([this] { run(); })
{
}

desk::~desk()
{
    end();
}

void desk::end()
{
    {
        const std::lock_guard lock(guard_);
        ending_ = true;
    }
    news_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void desk::do_once(work what, on_failure failed)
{
    add(work_, {in_one_piece(std::move(what)), std::move(failed)});
}

void desk::do_surely(work what, on_failure failed)
{
    add(sure_, {in_one_piece(std::move(what)), std::move(failed)});
}

void desk::ask(piece what, on_failure failed)
{
    add(questions_, {std::move(what), std::move(failed)});
}

void desk::add(queue &to, job what)
{
    {
        const std::lock_guard lock(guard_);
        to.push_back(std::move(what));
    }
    news_.notify_all();
}

void desk::run()
{
    look();
    looked_ = clock::now();
    std::unique_lock lock(guard_);
    const queue *tried = nullptr; // since it is to end
    while (true) {
        const bool due = wait(lock);
        if (has_ended(tried)) {
            return;
        }
        auto *const from = next_queue(due);
        tried = ending_ ? from : nullptr;
        if (from == nullptr) {
            lock.unlock();
            look();
        } else {
            auto taken = std::move(from->front());
            from->pop_front();
            lock.unlock();
            carry_out(*from, std::move(taken));
        }
        if (from != &questions_) {
            looked_ = clock::now();
        }
        lock.lock();
    }
}

/** True: it is time to look whether the ledger can be used, however many questions there are. */
bool desk::wait(std::unique_lock<std::mutex> &lock)
{
    const auto has_work = [this] { return ending_ || next_queue(false) != nullptr; };
    news_.wait_until(lock, next_look(), has_work);
    return clock::now() >= next_look();
}

desk::clock::time_point desk::next_look() const
{
    return looked_ + (usable_ ? looks_.while_well : looks_.while_away);
}

/** Where the ledger is away, what must be done was tried since in vain. */
bool desk::has_ended(const queue *tried) const
{
    const bool in_vain = tried == &sure_ && !usable_;
    return ending_ && work_.empty() && (sure_.empty() || in_vain);
}

/**
 * The one whose turn it is. What must be done shows whether the ledger can be used again, and waits
 * until that is due; null: a look shows it, or there is nothing.
 */
desk::queue *desk::next_queue(bool due)
{
    const bool is_last_try = ending_ && work_.empty();
    if (!sure_.empty() && (usable_ || due || is_last_try)) {
        return &sure_;
    }
    if (!work_.empty()) {
        return &work_;
    }
    return due || questions_.empty() ? nullptr : &questions_;
}

void desk::carry_out(queue &from, job taken)
{
    try {
        if (taken.what(open_book())) {
            const std::lock_guard lock(guard_);
            from.push_back(std::move(taken));
        }
        if (&from != &questions_) {
            note(true, "");
        }
    } catch (const ledger::error &why) {
        fail(from, std::move(taken), why);
    } catch (const std::exception &why) {
        taken.failed({ledger::trouble::refused, why.what()});
    }
}

void desk::fail(queue &from, job taken, const ledger::error &why)
{
    if (why.kind() == ledger::trouble::refused) {
        taken.failed(why);
        return;
    }
    note(false, why.what());
    if (&from != &sure_) {
        taken.failed(why);
        return;
    }
    const std::lock_guard lock(guard_);
    from.push_front(std::move(taken));
}

/** Whether the ledger is there, and fits its witness. */
void desk::look()
{
    try {
        const auto trouble = open_book().look_at_witness().trouble;
        note(trouble.empty(), trouble);
    } catch (const ledger::error &why) {
        note(false, why.what());
    }
}

ledger::book &desk::open_book()
{
    if (!book_) {
        book_ = std::make_unique<ledger::book>(place_);
    }
    return *book_;
}

void desk::note(bool usable, const std::string &reason)
{
    if (usable == usable_ && reason == reason_) {
        return;
    }
    usable_ = usable;
    reason_ = reason;
    tell_(usable, reason);
}

} // namespace shopfloor
