#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "e2e/support/board_folder.h"
#include "e2e/support/program.h"

namespace e2e {

/** One side of a line. Whoever waits longer than e2e::patience gives up with std::runtime_error. */
class line_end {
public:
    line_end(int reading, int writing);
    ~line_end() { shut(); }
    line_end(const line_end &) = delete;
    line_end &operator=(const line_end &) = delete;

    void send(std::string_view all);
    /** Waits for exactly these bytes: throws at the first other one. */
    void expect(std::string_view wanted);
    /** The next byte; throws when the other side has ended. */
    std::string next();
    /** All that comes until the other side ends. */
    std::string rest();
    /** Throws when anything comes within that time. */
    void expect_silence(int milliseconds);
    /** Ends this side. */
    void shut();

private:
    bool receive(std::string &into, std::size_t most) const;

    int reading_;
    int writing_;
};

/** A serial port opened as a PC does. */
int open_port(const std::string &path);

/** "simboard console" of a board, on a terminal that carries bytes as they are or on pipes. */
class console_session {
public:
    enum lines { terminal, pipes };

    console_session(const board_folder &board, const std::vector<std::string> &arguments,
                    lines kind = terminal);
    ~console_session();
    console_session(const console_session &) = delete;
    console_session &operator=(const console_session &) = delete;

    line_end &line() { return *line_; }
    void send(std::string_view all) { line_->send(all); }
    void expect(std::string_view wanted) { line_->expect(wanted); }

    void interrupt(int signal_number) const;
    /** Waits for its end: its exit status. */
    int status();

private:
    void start_on_terminal(const command_line &command);
    void start_on_pipes(const command_line &command);

    pid_t console_ = -1;
    std::unique_ptr<line_end> line_;
};

/** Options of a console that is at its prompt, with nothing said before. */
inline const std::vector<std::string> at_prompt = {"--set", "start=shell"};

/** Options of a console that asks for a login as soon as it has power, and says no more. */
inline const std::vector<std::string> quick_boot = {"--set",     "boot_lines=0", "--set",
                                                    "boot_ms=0", "--set",        "issue="};

/** What such a console says at its start. */
constexpr std::string_view quick_greeting = "\r\nswitch login: ";

/** These options and more. */
std::vector<std::string> with(std::vector<std::string> some, const std::vector<std::string> &more);

/** Whether a process is there, dead ones aside; waits for its end where that is wanted. */
bool is_running(pid_t process);
void wait_for_end(pid_t process);

} // namespace e2e
