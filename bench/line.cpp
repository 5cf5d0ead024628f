#include "line.h"

#include <array>
#include <chrono>
#include <csignal>
#include <stdexcept>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr std::chrono::seconds patience{20};

} // namespace

line::line(const command &what, const std::filesystem::path &folder)
{
    program_ = forkpty(&here_, nullptr, nullptr, nullptr);
    if (program_ < 0) {
        throw std::runtime_error("no pseudo-terminal");
    }
    if (program_ == 0) {
        become(what, folder);
    }
}

line::~line()
{
    kill(program_, SIGKILL);
    waitpid(program_, nullptr, 0);
    close(here_);
}

void line::send(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const ssize_t sent = write(here_, bytes.data(), bytes.size());
        if (sent <= 0) {
            throw std::runtime_error("the line does not take bytes");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void line::wait_for(std::string_view bytes) const
{
    // Asks again and again: the time that this side would take to wake up is not the far side's.
    const auto end = std::chrono::steady_clock::now() + patience;
    std::string received;
    while (received.find(bytes) == std::string::npos) {
        std::array<char, 4096> buffer{};
        pollfd input{.fd = here_, .events = POLLIN, .revents = 0};
        const bool there = poll(&input, 1, 0) == 1;
        const ssize_t got = there ? read(here_, buffer.data(), buffer.size()) : 0;
        if (there ? got <= 0 : std::chrono::steady_clock::now() > end) {
            throw std::runtime_error("an answer did not come");
        }
        received.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

void line::hand_to(const command &what) const
{
    const pid_t program = fork();
    if (program == 0) {
        dup2(here_, STDIN_FILENO);
        dup2(here_, STDOUT_FILENO);
        execute(what);
    }
    int status = 0;
    waitpid(program, &status, 0);
    if (status != 0) {
        throw std::runtime_error(what.front() + " failed");
    }
}

} // namespace bench
