#include "station/lines/pty_line.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace station {

namespace {

using namespace std::chrono_literals;

constexpr auto exit_after_close = 2s;
constexpr auto exit_after_sigterm = 2s;
constexpr auto group_is_looked_at_every = 10ms;

std::string system_error(const char *what)
{
    return std::string(what) + ": " + std::strerror(errno);
}

/** Whether one of the events comes within the limit. */
bool wait_for(int descriptor, short events, line::milliseconds limit)
{
    using clock = std::chrono::steady_clock;
    const auto deadline = clock::now() + limit;
    pollfd wanted{descriptor, events, 0};
    while (true) {
        const auto left = std::chrono::ceil<line::milliseconds>(deadline - clock::now());
        const int ready = poll(&wanted, 1, static_cast<int>(std::max(left, 0ms).count()));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

/** Whether all of a process group end within the limit; its first one has been waited for. */
bool group_ends(pid_t group, line::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    // Nobody else gets the group's number for as long as one of it is there. One that has ended is,
    // until whoever has inherited it waits for it.
    while (kill(-group, 0) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(group_is_looked_at_every);
    }
    return true;
}

[[noreturn]] void become(const std::string &command, open_files kept)
{
    sigset_t nothing; // what a thread of this program keeps waiting is to reach the other one
    sigemptyset(&nothing);
    sigprocmask(SIG_SETMASK, &nothing, nullptr);
    if (kept == open_files::none) {
        close_range(STDERR_FILENO + 1, ~0U, 0);
    }
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char *>(nullptr));
    _exit(127);
}

} // namespace

std::string describe_wait_status(int status)
{
    if (WIFSIGNALED(status)) {
        const int number = WTERMSIG(status);
        return "signal " + std::to_string(number) + " (" + strsignal(number) + ")";
    }
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

pty_line::pty_line(const std::string &command, open_files kept)
{
    winsize size{};
    size.ws_row = 24;
    size.ws_col = 80;
    child_ = forkpty(&master_, nullptr, nullptr, &size);
    if (child_ < 0) {
        throw line_error(system_error("cannot make a pseudo-terminal"));
    }
    if (child_ == 0) {
        become(command, kept);
    }
    // The C library's own function for it is not declared for C++ everywhere.
    end_ = static_cast<int>(syscall(SYS_pidfd_open, child_, 0));
    if (end_ < 0) {
        close(master_); // which hangs up on the program
        throw line_error(system_error("cannot watch the program on the pseudo-terminal"));
    }
    fcntl(master_, F_SETFD, FD_CLOEXEC);
    fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);
}

pty_line::~pty_line()
{
    // The program leads its own process group, so a signal to the group reaches what it started.
    if (!wait_for_exit(0ms)) {
        kill(-child_, SIGTERM);
        const bool ended = wait_for_exit(exit_after_sigterm).has_value();
        if (!ended || !group_ends(child_, exit_after_sigterm)) {
            kill(-child_, SIGKILL);
        }
        if (!ended) {
            waitpid(child_, nullptr, 0);
        }
    }
    close(end_);
    close(master_);
}

void pty_line::report_closed()
{
    const auto status = wait_for_exit(exit_after_close);
    throw line_closed(status ? "the program ended with " + describe_wait_status(*status)
                             : "the program closed its terminal");
}

std::size_t pty_line::read(std::span<std::uint8_t> buffer, milliseconds limit)
{
    if (!wait_for(master_, POLLIN, limit)) {
        return 0;
    }
    const ssize_t got = ::read(master_, buffer.data(), buffer.size());
    if (got > 0) {
        return static_cast<std::size_t>(got);
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return 0;
    }
    // Once nobody holds the terminal any more, and what was written to it is read, reading fails.
    report_closed();
}

void pty_line::write(std::span<const std::uint8_t> data, milliseconds limit)
{
    const auto deadline = now() + limit;
    while (!data.empty()) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - now());
        if (left <= 0ms || !wait_for(master_, POLLOUT, left)) {
            throw line_error("the program does not take the bytes sent to it");
        }
        const ssize_t put = ::write(master_, data.data(), data.size());
        if (put >= 0) {
            data = data.subspan(static_cast<std::size_t>(put));
        } else if (errno == EIO) {
            report_closed();
        } else if (errno != EAGAIN && errno != EINTR) {
            throw line_error(system_error("cannot write to the program"));
        }
    }
}

bool pty_line::raw() const
{
    // Asked on the master's side, the kernel tells the settings of the program's terminal.
    termios settings{};
    return tcgetattr(master_, &settings) == 0 && (settings.c_lflag & (ICANON | ISIG)) == 0;
}

std::optional<int> pty_line::wait_for_exit(milliseconds limit)
{
    int status = 0;
    if (!status_ && wait_for(end_, POLLIN, limit) && waitpid(child_, &status, WNOHANG) == child_) {
        status_ = status;
    }
    return status_;
}

} // namespace station
