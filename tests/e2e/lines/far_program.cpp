#include "far_program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace line {
namespace {

constexpr int cannot_be_run = 127;
constexpr int exit_after_close = 10000; // milliseconds

volatile std::sig_atomic_t was_told_to_end = 0;

void make_terminal_raw()
{
    termios raw{};
    tcgetattr(STDIN_FILENO, &raw);
    cfmakeraw(&raw);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
}

/** What closes its terminal just ahead of its end is not to be ended by a hang-up. */
void await_end_of_who_closed(int terminal, pid_t program)
{
    pollfd other_side{terminal, 0, 0};
    if (poll(&other_side, 1, 0) != 1 || (other_side.revents & POLLHUP) == 0) {
        return;
    }
    const int end = static_cast<int>(syscall(SYS_pidfd_open, program, 0));
    if (end >= 0) {
        pollfd ended{end, POLLIN, 0};
        poll(&ended, 1, exit_after_close);
        close(end);
    }
}

void catch_end()
{
    struct sigaction action {};
    action.sa_handler = [](int) { was_told_to_end = 1; };
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
    // The program's keys come through its own terminal.
    signal(SIGINT, SIG_IGN);
}

} // namespace

far_program::far_program(char **command)
{
    make_terminal_raw();
    program_ = forkpty(&here_, nullptr, nullptr, nullptr);
    if (program_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execvp(command[0], command);
        _exit(cannot_be_run);
    }
    catch_end();
}

far_program::~far_program()
{
    if (here_ >= 0) {
        finish();
    }
}

int far_program::finish()
{
    await_end_of_who_closed(here_, program_);
    close(here_); // which hangs up
    here_ = -1;
    int status = 0;
    while (waitpid(program_, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

bool is_to_end()
{
    return was_told_to_end != 0;
}

bool take(int from, std::string &bytes, std::size_t most)
{
    std::array<char, 4096> part{};
    const ssize_t count = read(from, part.data(), std::min(part.size(), most));
    bytes.append(part.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
}

void give(int to, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = write(to, bytes.data(), bytes.size());
        if (count <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

} // namespace line
