#include "sim/console/shell.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

namespace sim {
namespace {

namespace fs = std::filesystem;

constexpr int status_not_found = 127;
constexpr int status_of_signals = 128;
constexpr winsize size_of_terminal = {.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};

[[noreturn]] void become_shell(const shell_start &start)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // What the console keeps from itself, the programs of the switch are to get.
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    ::signal(SIGINT, SIG_DFL);
    for (const auto &[name, value] : start.variables) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    ::setenv("PS1", start.prompt.c_str(), 1);
    if (::chdir(start.home.c_str()) == 0) {
        ::execl("/bin/sh", "sh", "-i", static_cast<char *>(nullptr));
    }
    ::_exit(status_not_found);
}

/** The session of a process that is not dead yet, or nothing. */
std::optional<pid_t> session_of(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    // After the name, which stands in brackets and may hold anything: state, parent, group,
    // session.
    const std::size_t name_end = line.rfind(')');
    if (name_end == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream rest(line.substr(name_end + 1));
    char state = 0;
    pid_t parent = 0;
    pid_t group = 0;
    pid_t session = 0;
    rest >> state >> parent >> group >> session;
    return rest && state != 'Z' && state != 'X' ? std::optional(session) : std::nullopt;
}

/** Kills what is in a session: whether anything was. */
bool kill_session(pid_t session)
{
    bool found = false;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        pid_t process = 0;
        const auto [stop, error] = std::from_chars(name.data(), name.data() + name.size(), process);
        const bool is_number = error == std::errc() && stop == name.data() + name.size();
        if (is_number && session_of(process) == session) {
            found = ::kill(process, SIGKILL) == 0 || found;
        }
    }
    return found;
}

} // namespace

shell::shell(const shell_start &start)
{
    termios settings{};
    int there = -1;
    if (::openpty(&terminal_, &there, nullptr, nullptr, &size_of_terminal) != 0) {
        throw std::system_error(errno, std::generic_category(), "no pseudo-terminal to be had");
    }
    ::tcgetattr(there, &settings);
    settings.c_lflag &= start.echo ? ~tcflag_t{0} : ~tcflag_t{ECHO};
    ::tcsetattr(there, TCSANOW, &settings);
    ::fcntl(terminal_, F_SETFD, FD_CLOEXEC);
    ::fcntl(terminal_, F_SETFL, O_NONBLOCK);
    shell_ = ::fork();
    if (shell_ == 0) {
        ::login_tty(there);
        become_shell(start);
    }
    const int error = errno;
    ::close(there);
    if (shell_ < 0) {
        close_terminal();
        throw std::system_error(error, std::generic_category(), "no shell to be had");
    }
}

shell::~shell()
{
    // Until none is left: one may have been starting another when it was killed.
    while (kill_session(shell_)) {
    }
    ::waitpid(shell_, nullptr, 0);
    close_terminal();
}

void shell::close_terminal()
{
    if (terminal_ >= 0) {
        ::close(terminal_);
        terminal_ = -1;
    }
}

std::string shell::read()
{
    std::array<char, 1024> part{};
    const ssize_t count = ::read(terminal_, part.data(), part.size());
    if (count < 0 && errno == EIO) {
        close_terminal();
    }
    return {part.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

std::size_t shell::write(std::string_view keys)
{
    const ssize_t count = ::write(terminal_, keys.data(), keys.size());
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool shell::is_at_prompt() const
{
    return ::tcgetpgrp(terminal_) == shell_;
}

bool shell::is_cooked() const
{
    termios settings{};
    return ::tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & ICANON) != 0;
}

std::optional<int> shell::ended() const
{
    // It stays a zombie until the end of this object: its number is that of the session to be
    // killed.
    siginfo_t how{};
    if (::waitid(P_PID, static_cast<id_t>(shell_), &how, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        how.si_pid != shell_) {
        return std::nullopt;
    }
    return how.si_code == CLD_EXITED ? how.si_status : status_of_signals + how.si_status;
}

} // namespace sim
