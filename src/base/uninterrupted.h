#pragma once

#include <array>
#include <csignal>

/**
 * The signals by which a terminal, an operator, a timer or a limit ends a program that does nothing
 * about them. SIGPIPE and SIGXFSZ: a trace may go into a pipe that nobody reads, or into a log that
 * has reached its limit. SIGALRM: a process keeps its timer when another program takes it over.
 */
inline constexpr std::array ending_signals = {SIGINT,  SIGTERM, SIGHUP,  SIGQUIT, SIGPIPE, SIGABRT,
                                              SIGXFSZ, SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2};

/**
 * While one lives, whoever ends or stops the program waits: the signals that end it, and the one by
 * which a terminal stops it, stay pending, and act when the outermost one ends. It belongs around
 * whatever must not be left half done: from the moment that takes away what was stored, or lifts a
 * write protection, until the new is whole and protected again. No waiting for a PC and no prompt
 * inside it.
 */
class uninterrupted {
public:
    uninterrupted()
    {
        sigset_t waiting;
        sigemptyset(&waiting);
        sigaddset(&waiting, SIGTSTP);
        for (const int number : ending_signals) {
            sigaddset(&waiting, number);
        }
        sigprocmask(SIG_BLOCK, &waiting, &before_);
    }
    uninterrupted(const uninterrupted &) = delete;
    uninterrupted &operator=(const uninterrupted &) = delete;
    ~uninterrupted() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};
