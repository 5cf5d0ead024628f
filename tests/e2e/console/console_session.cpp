#include "e2e/console/console_session.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "e2e/support/bytes.h"

namespace e2e {
namespace {

[[noreturn]] void fail(const char *what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

bool wait_for(int number, short events, int milliseconds)
{
    pollfd one = {.fd = number, .events = events, .revents = 0};
    return poll(&one, 1, milliseconds) > 0;
}

int patience_ms()
{
    return static_cast<int>(std::chrono::milliseconds(patience).count());
}

} // namespace

line_end::line_end(int reading, int writing) : reading_(reading), writing_(writing)
{
    signal(SIGPIPE, SIG_IGN);
}

void line_end::shut()
{
    if (writing_ != reading_) {
        close(writing_);
    }
    if (reading_ >= 0) {
        close(reading_);
    }
    reading_ = writing_ = -1;
}

void line_end::send(std::string_view all)
{
    while (!all.empty()) {
        if (!wait_for(writing_, POLLOUT, patience_ms())) {
            throw std::runtime_error("the console does not take its input");
        }
        const ssize_t sent = write(writing_, all.data(), all.size());
        if (sent < 0) {
            fail("write to the console");
        }
        all.remove_prefix(static_cast<std::size_t>(sent));
    }
}

/** False: the other side has ended. */
bool line_end::receive(std::string &into, std::size_t most) const
{
    std::array<char, 4096> part{};
    if (!wait_for(reading_, POLLIN, patience_ms())) {
        throw std::runtime_error("after \"" + readable(into) + "\" came nothing");
    }
    const ssize_t count = read(reading_, part.data(), std::min(most, part.size()));
    into.append(part.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
}

void line_end::expect(std::string_view wanted)
{
    std::string got;
    while (got.size() < wanted.size()) {
        const bool goes_on = receive(got, wanted.size() - got.size());
        if (!goes_on || got != wanted.substr(0, got.size())) {
            throw std::runtime_error("expected \"" + readable(wanted) + "\", but got \"" +
                                     readable(got) + (goes_on ? "\"" : "\" and then the end"));
        }
    }
}

std::string line_end::next()
{
    std::string one;
    if (!receive(one, 1)) {
        throw std::runtime_error("the console has ended");
    }
    return one;
}

std::string line_end::rest()
{
    std::string all;
    while (receive(all, std::string::npos)) {
    }
    return all;
}

void line_end::expect_silence(int milliseconds)
{
    std::string got;
    if (wait_for(reading_, POLLIN, milliseconds) && receive(got, std::string::npos)) {
        throw std::runtime_error("expected silence, but got \"" + readable(got) + "\"");
    }
}

int open_port(const std::string &path)
{
    const int port = open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (port < 0) {
        fail("open the port");
    }
    return port;
}

console_session::console_session(const board_folder &board,
                                 const std::vector<std::string> &arguments, lines kind)
{
    command_line command = {"simboard", "console", board.path().string()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    if (kind == terminal) {
        start_on_terminal(command);
    } else {
        start_on_pipes(command);
    }
}

console_session::~console_session()
{
    line_.reset();
    if (console_ > 0) {
        kill(console_, SIGTERM);
        waitpid(console_, nullptr, 0);
    }
}

void console_session::start_on_terminal(const command_line &command)
{
    termios raw{};
    cfmakeraw(&raw);
    int here = -1;
    console_ = forkpty(&here, nullptr, &raw, nullptr);
    if (console_ == 0) {
        become(command, {}, {0, 1, 2});
    }
    fcntl(here, F_SETFD, FD_CLOEXEC);
    line_ = std::make_unique<line_end>(here, here);
}

void console_session::start_on_pipes(const command_line &command)
{
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0) {
        fail("pipe2");
    }
    console_ = fork();
    if (console_ == 0) {
        become(command, {}, {in[0], out[1], 2});
    }
    close(in[0]);
    close(out[1]);
    line_ = std::make_unique<line_end>(out[0], in[1]);
}

void console_session::interrupt(int signal_number) const
{
    kill(console_, signal_number);
}

int console_session::status()
{
    wait_for_end(console_);
    int status = 0;
    waitpid(console_, &status, 0);
    console_ = -1;
    return status_of(status);
}

std::vector<std::string> with(std::vector<std::string> some, const std::vector<std::string> &more)
{
    some.insert(some.end(), more.begin(), more.end());
    return some;
}

bool is_running(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t name_end = line.rfind(") ");
    return name_end != std::string::npos && line[name_end + 2] != 'Z';
}

void wait_for_end(pid_t process)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (is_running(process)) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("process " + std::to_string(process) + " does not end");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

} // namespace e2e
