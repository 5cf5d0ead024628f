#pragma once

#include <sys/types.h>

namespace sim {

/**
 * Looks of a program at a console that has nothing for it. A switch has its processor for itself,
 * and may look without a pause; a PC has dozens of simulated ones. So a program that has looked
 * often in vain waits for a byte from then on, for a moment each time. Fewer looks pass as fast as
 * on a switch: some programs look so many times and no more.
 */
class console_looks {
public:
    /** Looks that pass without a wait, and what each one behind them waits at most. */
    static constexpr int without_wait = 1000;
    static constexpr int wait_ms = 1;

    /** Ahead of a read of that descriptor: waits where many have found nothing. */
    void before_read(int fd) const;

    /** A read gave that, and `error` in errno. */
    void after_read(ssize_t result, int error);

private:
    int in_vain_ = 0;
};

} // namespace sim
