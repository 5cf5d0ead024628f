#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

#include "station/lines/line.h"

namespace station {

/** Which of the files that this process has open its program has open, too. */
enum class open_files {
    as_they_say, // those that are not to be closed on exec
    none         // beside its terminal
};

/**
 * A program on a pseudo-terminal, which stands in for a switch's console: the program gets it as
 * its controlling terminal and as standard input, output and error, in ordinary cooked mode.
 */
class pty_line : public line {
public:
    /** Starts command with "/bin/sh -c". Throws line_error when there is no pseudo-terminal. */
    explicit pty_line(const std::string &command, open_files kept = open_files::as_they_say);

    /** Ends a program that still runs, and what it has started: first with SIGTERM, to tidy up. */
    ~pty_line() override;

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t> data, milliseconds limit) override;
    bool raw() const override;

    /** The program's wait status, as waitpid() gives it, when it ends within limit. */
    std::optional<int> wait_for_exit(milliseconds limit);

private:
    [[noreturn]] void report_closed();

    int master_ = -1;
    pid_t child_ = -1;
    int end_ = -1; // readable once the program has ended
    std::optional<int> status_;
};

/** A wait status in words: "exit status 1", "signal 15 (Terminated)". */
std::string describe_wait_status(int status);

} // namespace station
