#include <array>
#include <cerrno>
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
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
        pid_t child = -1;
        const int error =
            posix_spawnp(&child, with_limit.front(), &files, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&files);
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
