#pragma once

#include <csignal>
#include <initializer_list>

/**
 * While one lives, whoever ends or stops the program waits: the signals of a terminal and of an
 * operator stay pending, and act when the outermost one ends. It belongs around whatever must not
 * be left half done: from the moment that takes away what was stored, or lifts a write protection,
 * until the new is whole and protected again. No waiting for a PC and no prompt inside it.
 */
class uninterrupted {
public:
    uninterrupted()
    {
        sigset_t waiting;
        sigemptyset(&waiting);
        for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGPIPE}) {
            sigaddset(&waiting, number); // SIGPIPE: a trace may go into a pipe that nobody reads
        }
        sigprocmask(SIG_BLOCK, &waiting, &before_);
    }
    uninterrupted(const uninterrupted &) = delete;
    uninterrupted &operator=(const uninterrupted &) = delete;
    ~uninterrupted() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};
