#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "ledger/book/book.h"

namespace shopfloor {

/** How often a desk looks whether the ledger can be used, where no work of slots shows it. */
struct ledger_looks {
    std::chrono::milliseconds while_away{1000};
    std::chrono::milliseconds while_well{15000};
};

/**
 * The only thread that uses the ledger. Work of the slots goes before questions, and questions are
 * answered in pieces, between which the slots get their turn. All functions may be called from any
 * thread.
 */
class desk {
public:
    using work = std::function<void(ledger::book &)>;
    /** A piece of a question; true: there is another piece. */
    using piece = std::function<bool(ledger::book &)>;
    using on_failure = std::function<void(const ledger::error &)>;
    /** Whether the ledger can be used, and why not; called on the desk's thread. */
    using on_change = std::function<void(bool usable, const std::string &reason)>;

    desk(ledger::ledger_place place, on_change tell, ledger_looks looks = {});
    /** As end(). */
    ~desk();
    desk(const desk &) = delete;
    desk &operator=(const desk &) = delete;

    /** Work that is tried once. What it throws is handed to failed, on the desk's thread. */
    void do_once(work what, on_failure failed);
    /**
     * Work that must be done: where the ledger cannot be used it is tried again until it can. Only
     * a refusal is handed to failed.
     */
    void do_surely(work what, on_failure failed);
    void ask(piece what, on_failure failed);

    /**
     * Ends the thread: after all that it was given, or, where the ledger is away at a last try,
     * without what must be done.
     */
    void end();

private:
    struct job {
        piece what;
        on_failure failed;
    };
    using queue = std::deque<job>;
    using clock = std::chrono::steady_clock;

    void add(queue &to, job what);
    void run();
    bool wait(std::unique_lock<std::mutex> &lock);
    clock::time_point next_look() const;
    bool has_ended(const queue *tried) const;
    queue *next_queue(bool due);
    void carry_out(queue &from, job taken);
    void fail(queue &from, job taken, const ledger::error &why);
    void look();
    ledger::book &open_book();
    void note(bool usable, const std::string &reason);

    const ledger::ledger_place place_;
    const on_change tell_;
    const ledger_looks looks_;
    std::unique_ptr<ledger::book> book_; // only for the thread, as what follows
    bool usable_ = true;
    std::string reason_;
    clock::time_point looked_; // when it was last seen whether the ledger can be used

    std::mutex guard_;
    std::condition_variable news_;
    queue sure_;
    queue work_;
    queue questions_;
    bool ending_ = false;
    std::thread thread_; // uses all of the above
};

} // namespace shopfloor
