#include "program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bytes.h"

namespace e2e {
namespace {

constexpr int cannot_be_run = 127;

struct pipe_ends {
    int reading = -1;
    int writing = -1;
};

pipe_ends make_pipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {ends[0], ends[1]};
}

/** This side's three ends of a program's pipes, served until the program has closed its own. */
class conversation {
public:
    conversation(int input, int output, int errors, std::string_view text)
        : waiting_({{{input, POLLOUT, 0}, {output, POLLIN, 0}, {errors, POLLIN, 0}}}), rest_(text)
    {
        fcntl(input, F_SETFL, O_NONBLOCK);
    }

    /** False: the program took longer than anyone should wait. */
    bool carry_on(outcome &into)
    {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (waiting_[1].fd >= 0 || waiting_[2].fd >= 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            constexpr int moment_ms = 100;
            poll(waiting_.data(), waiting_.size(), moment_ms);
            send();
            receive(waiting_[1], into.output);
            receive(waiting_[2], into.errors);
        }
        end(waiting_[0]);
        return true;
    }

private:
    static void end(pollfd &one)
    {
        if (one.fd >= 0) {
            close(one.fd);
            one.fd = -1;
        }
    }

    void send()
    {
        pollfd &input = waiting_[0];
        if (input.fd < 0 || input.revents == 0) {
            return;
        }
        const ssize_t sent = write(input.fd, rest_.data(), rest_.size());
        if (sent > 0) {
            rest_.remove_prefix(static_cast<std::size_t>(sent));
        }
        const bool refused = sent < 0 && errno != EAGAIN;
        if (rest_.empty() || refused) {
            end(input);
        }
    }

    static void receive(pollfd &one, std::string &into)
    {
        if (one.fd < 0 || one.revents == 0) {
            return;
        }
        std::array<char, 4096> part{};
        const ssize_t got = read(one.fd, part.data(), part.size());
        if (got > 0) {
            into.append(part.data(), static_cast<std::size_t>(got));
        } else {
            end(one);
        }
    }

    std::array<pollfd, 3> waiting_;
    std::string_view rest_;
};

/** Runs a program whose input is that end, which is closed; this side's end sends it the text. */
outcome run_between(const command_line &command, const environment &variables, const pipe_ends &in,
                    std::string_view text)
{
    // A program may end before it has read all of its input.
    signal(SIGPIPE, SIG_IGN);
    const pipe_ends out = make_pipe();
    const pipe_ends err = make_pipe();
    const pid_t child = fork();
    if (child == 0) {
        become(command, variables, {in.reading, out.writing, err.writing});
    }
    for (const int number : {in.reading, out.writing, err.writing}) {
        close(number);
    }
    outcome all;
    const bool ended = conversation(in.writing, out.reading, err.reading, text).carry_on(all);
    if (!ended) {
        kill(child, SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!ended) {
        throw std::runtime_error(command[0] + " did not end; it printed \"" + readable(all.output) +
                                 "\"");
    }
    all.status = status_of(status);
    return all;
}

} // namespace

std::ostream &operator<<(std::ostream &out, const outcome &what)
{
    return out << "output \"" << readable(what.output) << "\", errors \"" << what.errors
               << "\", status " << what.status;
}

std::string program_file(const std::string &name)
{
    return name.find('/') == std::string::npos ? std::string(E2E_BIN_FOLDER "/") + name : name;
}

environment on_board(const board_folder &board)
{
    return {{"LD_PRELOAD", E2E_PRELOAD}, {"SIMBOARD_DIR", board.path().string()}};
}

environment joined(environment one, const environment &other)
{
    for (const auto &[name, value] : other) {
        const auto [place, is_new] = one.emplace(name, value);
        if (!is_new) {
            place->second += ":" + value;
        }
    }
    return one;
}

void become(const command_line &command, const environment &variables, const int (&descriptors)[3])
{
    // A program that polls for ever must not outlive a test that was ended from outside.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPIPE, SIG_DFL);
    for (int number = 0; number < 3; ++number) {
        dup2(descriptors[number], number);
    }
    for (const auto &[name, value] : variables) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char *> arguments;
    for (const std::string &word : command) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(program_file(command[0]).c_str(), arguments.data());
    _exit(cannot_be_run);
}

int status_of(int wait_status)
{
    return WIFSIGNALED(wait_status) ? -WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

outcome run(const command_line &command, const environment &variables, std::string_view input)
{
    return run_between(command, variables, make_pipe(), input);
}

outcome run_reading(int input, const command_line &command, const environment &variables)
{
    return run_between(command, variables, {.reading = fcntl(input, F_DUPFD_CLOEXEC, 0)}, "");
}

outcome run_on_board(const board_folder &board, const command_line &command, std::string_view input)
{
    return run(command, on_board(board), input);
}

} // namespace e2e
