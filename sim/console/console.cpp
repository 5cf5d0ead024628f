#include "sim/console/console.h"

#include "sim/base/clock.h"
#include "sim/console/paced_bytes.h"
#include "sim/console/session.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace sim {
namespace {

/** How much may wait before its source has to. */
constexpr std::size_t most_waiting = 4096;

/** Signals of this process, to be waited for together with the line. */
class signals {
public:
    signals()
    {
        sigset_t all;
        sigemptyset(&all);
        for (const int one : {SIGCHLD, SIGUSR1, SIGINT, SIGTERM, SIGHUP}) {
            sigaddset(&all, one);
        }
        ::sigprocmask(SIG_BLOCK, &all, nullptr);
        ::signal(SIGPIPE, SIG_IGN);
        descriptor_ = ::signalfd(-1, &all, SFD_CLOEXEC | SFD_NONBLOCK);
        if (descriptor_ < 0) {
            throw std::system_error(errno, std::generic_category(), "signals cannot be waited for");
        }
    }
    ~signals() { ::close(descriptor_); }
    signals(const signals &) = delete;
    signals &operator=(const signals &) = delete;

    int descriptor() const { return descriptor_; }

    /** The next one that has come, or 0. */
    int take() const
    {
        signalfd_siginfo one{};
        return ::read(descriptor_, &one, sizeof one) == sizeof one ? static_cast<int>(one.ssi_signo)
                                                                   : 0;
    }

private:
    int descriptor_;
};

class console {
public:
    console(const console_description &what, const shell_start &start, outer_line &line)
        : line_(line), from_pc_(what.baud), to_pc_(what.baud), session_(what, start, now_us())
    {
    }

    void run()
    {
        while (!ends_) {
            carry();
            const bool all_left = to_pc_.size() == 0 && leaving_.empty();
            if (ends_ || (session_.is_over() && all_left)) {
                return;
            }
            wait();
            serve_signals();
        }
    }

private:
    enum sources { by_signal, by_watch, from_line, to_line, shell_terminal };

    void carry()
    {
        const int64_t now = now_us();
        while (session_.listens() && from_pc_.next_us().value_or(now + 1) <= now) {
            for (const char byte : from_pc_.take(now)) {
                session_.receive(byte, now);
            }
        }
        if (session_.has_keys()) {
            session_.serve_terminal(now);
        }
        if (session_.next_us().value_or(now + 1) <= now) {
            session_.tick(now);
        }
        to_pc_.push(session_.take_output(), now);
        leaving_ += to_pc_.take(now);
        leave();
    }

    void leave()
    {
        if (!line_.is_heard()) {
            leaving_.clear();
        }
        if (leaving_.empty()) {
            return;
        }
        const auto left = line_.write(leaving_);
        ends_ = !left;
        leaving_.erase(0, left.value_or(0));
    }

    std::optional<int64_t> next_us() const
    {
        std::optional<int64_t> next;
        for (const auto one : {session_.next_us(), to_pc_.next_us(),
                               session_.listens() ? from_pc_.next_us() : std::nullopt}) {
            next = one ? std::min(next.value_or(*one), *one) : next;
        }
        return next;
    }

    void wait()
    {
        const bool takes_input = from_pc_.size() < most_waiting && session_.listens();
        const bool takes_output = to_pc_.size() + leaving_.size() < most_waiting;
        const int keys = session_.has_keys() ? POLLOUT : 0;
        const int says = takes_output ? POLLIN : 0;
        std::array<pollfd, 5> waiting{};
        waiting[by_signal] = {signals_.descriptor(), POLLIN, 0};
        waiting[by_watch] = {line_.watching(), POLLIN, 0};
        waiting[from_line] = {takes_input ? line_.reading() : -1, POLLIN, 0};
        waiting[to_line] = {leaving_.empty() ? -1 : line_.writing(), POLLOUT, 0};
        waiting[shell_terminal] = {(keys | says) != 0 ? session_.terminal() : -1,
                                   static_cast<short>(keys | says), 0};
        sleep_until_any(waiting);
        if (waiting[by_watch].revents != 0) {
            line_.look();
        }
        if (waiting[from_line].revents != 0) {
            take_input();
        }
        if (waiting[shell_terminal].revents != 0) {
            session_.serve_terminal(now_us());
        }
    }

    void sleep_until_any(std::array<pollfd, 5> &waiting) const
    {
        const auto next = next_us();
        const int64_t left = next ? std::max<int64_t>(*next - now_us(), 0) : 0;
        const timespec limit = {.tv_sec = left / 1000000, .tv_nsec = left % 1000000 * 1000};
        ::ppoll(waiting.data(), waiting.size(), next ? &limit : nullptr, nullptr);
    }

    void take_input()
    {
        const auto bytes = line_.read();
        ends_ = !bytes;
        from_pc_.push(bytes.value_or(""), now_us());
    }

    void serve_signals()
    {
        for (int one = signals_.take(); one != 0; one = signals_.take()) {
            if (one == SIGCHLD) {
                session_.serve_end(now_us());
            } else if (one == SIGUSR1) {
                session_.lose_power(now_us());
            } else {
                ends_ = true;
            }
        }
    }

    signals signals_; // before the shell, whose end is one
    outer_line &line_;
    paced_bytes from_pc_;
    paced_bytes to_pc_;
    session session_;
    std::string leaving_; // off the switch, and not yet taken by the line
    bool ends_ = false;
};

} // namespace

void run_console(const console_description &what, const shell_start &start, outer_line &line)
{
    console(what, start, line).run();
}

} // namespace sim
