#include "terminal_session.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bytes.h"

namespace e2e {
namespace {

[[noreturn]] void fail(const char *what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

int patience_ms()
{
    return static_cast<int>(std::chrono::milliseconds(patience).count());
}

template <typename fact>
void report(int pipe, fact what)
{
    if (write(pipe, &what, sizeof what) != sizeof what) {
        _exit(1);
    }
}

/** How the program ended, and how often it was stopped before. */
struct program_end {
    int status = 0;
    int stops = 0;
};

/** Waits for the end of a program. It is told to go on where it is stopped, as by a shell's fg. */
program_end await_end(pid_t program, const std::function<void()> &while_stopped)
{
    program_end end;
    while (waitpid(program, &end.status, WUNTRACED) == program && WIFSTOPPED(end.status)) {
        if (WSTOPSIG(end.status) == SIGTSTP) {
            ++end.stops;
            if (while_stopped) {
                while_stopped();
            }
            kill(program, SIGCONT);
        }
    }
    return end;
}

/** Owns the terminal, runs the program in the foreground, and stays: its end would hang up. */
[[noreturn]] void be_the_shell(int terminal, int report_pipe, int hold_pipe,
                               const command_line &command, const session_start &start) noexcept
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setsid();
    ioctl(terminal, TIOCSCTTY, 0);
    signal(SIGTTOU, SIG_IGN);
    const pid_t program = fork();
    if (program == 0) {
        setpgid(0, 0);
        tcsetpgrp(terminal, getpid());
        signal(SIGTTOU, SIG_DFL);
        const int output = start.output >= 0 ? start.output : terminal;
        become(command, start.variables, {terminal, output, terminal});
    }
    close(terminal);
    report(report_pipe, program);
    report(report_pipe, await_end(program, start.while_stopped));
    char nothing = 0;
    while (read(hold_pipe, &nothing, 1) > 0) {
    }
    _exit(0);
}

/**
 * An emulator of the switch's processor has the last word on the terminal of a program that dumps
 * core; some of the terminals here print in capitals.
 */
void leave_out_emulator(outcome &of)
{
    for (const auto *word : {"qemu: uncaught target signal ", "QEMU: UNCAUGHT TARGET SIGNAL "}) {
        of.output.resize(std::min(of.output.size(), of.output.find(word)));
    }
}

} // namespace

bool same_settings(const termios &one, const termios &other)
{
    return one.c_iflag == other.c_iflag && one.c_oflag == other.c_oflag &&
           one.c_cflag == other.c_cflag && one.c_lflag == other.c_lflag &&
           one.c_line == other.c_line && std::ranges::equal(one.c_cc, other.c_cc) &&
           cfgetispeed(&one) == cfgetispeed(&other) && cfgetospeed(&one) == cfgetospeed(&other);
}

void expect_restored(const terminal_session &session)
{
    EXPECT_TRUE(same_settings(session.settings(), session.settings_before()));
    EXPECT_EQ(session.flags_after(), session.flags_before());
}

terminal_session::terminal_session(const board_folder &board, const command_line &command,
                                   const session_start &start)
{
    open_terminal(start);
    session_start on_it = start;
    on_it.variables = joined(start.variables, on_board(board));
    start_program(command, on_it);
}

terminal_session::~terminal_session()
{
    if (program_ > 0) {
        kill(program_, SIGKILL);
    }
    for (const int number : {hold_, there_, here_, report_}) {
        if (number >= 0) {
            close(number);
        }
    }
    waitpid(shell_, nullptr, 0);
}

void terminal_session::open_terminal(const session_start &start)
{
    if (openpty(&here_, &there_, nullptr, nullptr, nullptr) != 0) {
        fail("openpty");
    }
    fcntl(here_, F_SETFD, FD_CLOEXEC);
    fcntl(there_, F_SETFD, FD_CLOEXEC);
    fcntl(here_, F_SETFL, O_RDWR | O_NONBLOCK);
    if (start.adjust != nullptr) {
        termios adjusted = settings();
        start.adjust(adjusted);
        tcsetattr(there_, TCSANOW, &adjusted);
    }
    fcntl(there_, F_SETFL, flags() | start.flags);
    settings_before_ = settings();
    flags_before_ = flags();
    send(start.typed_ahead);
    expect(start.typed_ahead);
}

void terminal_session::start_program(const command_line &command, const session_start &start)
{
    std::array<int, 2> report_pipe{};
    std::array<int, 2> hold_pipe{};
    if (pipe2(report_pipe.data(), O_CLOEXEC) != 0 || pipe2(hold_pipe.data(), O_CLOEXEC) != 0) {
        fail("pipe2");
    }
    shell_ = fork();
    if (shell_ == 0) {
        close(here_);
        close(hold_pipe[1]);
        be_the_shell(there_, report_pipe[1], hold_pipe[0], command, start);
    }
    close(report_pipe[1]);
    close(hold_pipe[0]);
    report_ = report_pipe[0];
    hold_ = hold_pipe[1];
    program_ = reported<pid_t>();
}

bool terminal_session::wait_for(int number, short events, int milliseconds) const
{
    pollfd one = {.fd = number, .events = events, .revents = 0};
    return poll(&one, 1, milliseconds) > 0;
}

template <typename fact>
fact terminal_session::reported()
{
    fact what{};
    if (!wait_for(report_, POLLIN, patience_ms()) ||
        read(report_, &what, sizeof what) != sizeof what) {
        throw std::runtime_error("the program neither went on nor ended");
    }
    return what;
}

void terminal_session::send(std::string_view all)
{
    while (!all.empty()) {
        if (!wait_for(here_, POLLOUT, patience_ms())) {
            throw std::runtime_error("the program does not take its input");
        }
        const ssize_t sent = write(here_, all.data(), all.size());
        if (sent < 0 && errno != EAGAIN) {
            fail("write to the terminal");
        }
        all.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(sent, 0)));
    }
}

void terminal_session::expect(std::string_view wanted)
{
    std::string got;
    while (got.size() < wanted.size()) {
        std::string part(wanted.size() - got.size(), '\0');
        const bool came = wait_for(here_, POLLIN, patience_ms());
        const ssize_t count = came ? read(here_, part.data(), part.size()) : -1;
        if (count > 0) {
            got.append(part, 0, static_cast<std::size_t>(count));
        }
        if (count <= 0 || got != wanted.substr(0, got.size())) {
            throw std::runtime_error("expected \"" + readable(wanted) + "\", but got \"" +
                                     readable(got) + (came ? "\"" : "\" and then nothing"));
        }
    }
}

bool terminal_session::hear(std::string &into)
{
    std::array<pollfd, 2> sources{{{here_, POLLIN, 0}, {report_, POLLIN, 0}}};
    if (poll(sources.data(), sources.size(), patience_ms()) <= 0) {
        throw std::runtime_error("the program says nothing and does not end");
    }
    std::array<char, 4096> part{};
    const ssize_t count = sources[0].revents != 0 ? read(here_, part.data(), part.size()) : 0;
    into.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

void terminal_session::expect_silence(int milliseconds)
{
    if (!wait_for(here_, POLLIN, milliseconds)) {
        return;
    }
    std::array<char, 64> part{};
    const ssize_t count = read(here_, part.data(), part.size());
    throw std::runtime_error(
        "expected silence, but got \"" +
        readable({part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))}) + "\"");
}

outcome terminal_session::finish()
{
    const auto end = reported<program_end>();
    program_ = -1;
    stops_ = end.stops;
    flags_after_ = flags();
    // With nobody left on the other side, a read gives all that was written there, then fails.
    close(there_);
    there_ = -1;
    outcome rest = {.status = status_of(end.status)};
    std::array<char, 4096> part{};
    while (wait_for(here_, POLLIN, patience_ms())) {
        const ssize_t count = read(here_, part.data(), part.size());
        if (count <= 0) {
            break;
        }
        rest.output.append(part.data(), static_cast<std::size_t>(count));
    }
    leave_out_emulator(rest);
    return rest;
}

void terminal_session::interrupt(int signal_number) const
{
    kill(program_, signal_number);
}

std::chrono::nanoseconds terminal_session::processor_time() const
{
    clockid_t clock{};
    if (const int error = clock_getcpuclockid(program_, &clock); error != 0) {
        throw std::system_error(error, std::generic_category(), "the program's clock");
    }
    timespec used{};
    if (clock_gettime(clock, &used) < 0) {
        fail("clock_gettime");
    }
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

termios terminal_session::settings() const
{
    termios now{};
    if (tcgetattr(here_, &now) != 0) {
        fail("tcgetattr");
    }
    return now;
}

int terminal_session::flags() const
{
    return fcntl(there_, F_GETFL);
}

} // namespace e2e
