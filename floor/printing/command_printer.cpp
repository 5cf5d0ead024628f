#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "floor/printing/printer.h"
#include "station/lines/pty_line.h"

namespace shopfloor {

namespace {

// Of coreutils: what hangs is ended after so many seconds, and killed after so many more.
constexpr std::array<const char *, 5> with_limit{"timeout", "-k", "5", "30", "sh"};

[[noreturn]] void fail(const std::string &what, int error)
{
    throw print_error(what + ": " + std::strerror(error));
}

/** A file of this text, at its begin, which has no name. */
class text_file {
public:
    explicit text_file(const std::string &text) : number_(memfd_create("label", MFD_CLOEXEC))
    {
        if (number_ < 0) {
            fail("cannot hand the label on", errno);
        }
        const auto size = static_cast<ssize_t>(text.size());
        if (write(number_, text.data(), text.size()) != size || lseek(number_, 0, SEEK_SET) != 0) {
            const int error = errno;
            close(number_);
            fail("cannot hand the label on", error);
        }
    }
    ~text_file() { close(number_); }
    text_file(const text_file &) = delete;
    text_file &operator=(const text_file &) = delete;

    int number() const { return number_; }

private:
    int number_;
};

/** What a command begins with: its input and the outputs alone, and signals as they are at first.
 */
class command_start {
public:
    explicit command_start(int input)
    {
        posix_spawn_file_actions_init(&files_);
        posix_spawn_file_actions_adddup2(&files_, input, STDIN_FILENO);
        // The sockets of the server would stay open as long as the command, or what it leaves
        // behind.
        posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1);
        posix_spawnattr_init(&signals_);
        sigset_t set;
        sigemptyset(&set);
        posix_spawnattr_setsigmask(&signals_, &set);
        sigaddset(&set, SIGPIPE);
        posix_spawnattr_setsigdefault(&signals_, &set);
        posix_spawnattr_setflags(&signals_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~command_start()
    {
        posix_spawnattr_destroy(&signals_);
        posix_spawn_file_actions_destroy(&files_);
    }
    command_start(const command_start &) = delete;
    command_start &operator=(const command_start &) = delete;

    const posix_spawn_file_actions_t *files() const { return &files_; }
    const posix_spawnattr_t *signals() const { return &signals_; }

private:
    posix_spawn_file_actions_t files_ = {};
    posix_spawnattr_t signals_ = {};
};

class shell_printer : public printer {
public:
    explicit shell_printer(std::string command) : command_(std::move(command)) {}

    void print(const std::string &text) override
    {
        const text_file label(text);
        int status = 0;
        const pid_t child = start(label.number());
        while (waitpid(child, &status, 0) < 0) {
            if (errno != EINTR) {
                fail("the command of the printer is gone", errno);
            }
        }
        if (status != 0) {
            throw print_error("the command of the printer ended with " +
                              station::describe_wait_status(status));
        }
    }

private:
    pid_t start(int input) const
    {
        std::array<char *, with_limit.size() + 3> arguments{};
        for (std::size_t at = 0; at < with_limit.size(); ++at) {
            arguments.at(at) = const_cast<char *>(with_limit.at(at));
        }
        arguments.at(with_limit.size()) = const_cast<char *>("-c");
        arguments.at(with_limit.size() + 1) = const_cast<char *>(command_.c_str());
        const command_start with(input);
        pid_t child = -1;
        const int error = posix_spawnp(&child, with_limit.front(), with.files(), with.signals(),
                                       arguments.data(), environ);
        if (error != 0) {
            fail("cannot start the command of the printer", error);
        }
        return child;
    }

    const std::string command_;
};

} // namespace

std::unique_ptr<printer> command_printer(std::string command)
{
    return std::make_unique<shell_printer>(std::move(command));
}

} // namespace shopfloor
