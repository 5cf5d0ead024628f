#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include <sys/types.h>
#include <termios.h>

#include "program.h"

namespace e2e {

/** What is particular about a session from its start. */
struct session_start {
    /** Sent while nothing runs yet: the terminal echoes it, and the program finds it waiting. */
    std::string_view typed_ahead = {};
    /** The terminal's settings, where they are not those of a new terminal. */
    void (*adjust)(termios &settings) = nullptr;
    /** File status flags of the terminal, as a program before this one may leave them behind. */
    int flags = 0;
    /** The program's variables besides those that put it on the board. */
    environment variables = {};
    /** The program's descriptor 1, where that is not the terminal; stays the caller's. */
    int output = -1;
    /** Is called by the shell, a process of its own, whenever SIGTSTP has stopped the program. */
    std::function<void()> while_stopped = {};
};

/**
 * A program on a board, on a pseudo-terminal in cooked mode, which is its descriptors 0 to 2 and
 * its controlling terminal; this side is the operator or the PC. The program is a job of a shell,
 * so to speak: the terminal stays in use after its end. Whoever waits longer than e2e::patience
 * gives up with std::runtime_error, which ends the test.
 */
class terminal_session {
public:
    terminal_session(const board_folder &board, const command_line &command,
                     const session_start &start = {});
    ~terminal_session();
    terminal_session(const terminal_session &) = delete;
    terminal_session &operator=(const terminal_session &) = delete;

    /** Types these bytes. */
    void send(std::string_view all);

    /** Waits for exactly these bytes: throws at the first other one. */
    void expect(std::string_view wanted);

    /** Waits for any output, which is appended; false when the program has ended instead. */
    bool hear(std::string &into);

    /** Throws when anything comes within that time. */
    void expect_silence(int milliseconds);

    /** Waits for the program's end: all that is left of its output, and its status. */
    outcome finish();

    /** Sends the program a signal. */
    void interrupt(int signal_number) const;

    /** What the program has taken of the processor so far. */
    std::chrono::nanoseconds processor_time() const;

    /** The settings of the terminal now, and before the program began. */
    termios settings() const;
    const termios &settings_before() const { return settings_before_; }

    /** The file status flags of the program's descriptor 0 now (not after finish()). */
    int flags() const;
    int flags_before() const { return flags_before_; }
    /** They at the end of the program. */
    int flags_after() const { return flags_after_; }
    /** How often SIGTSTP stopped it; it was told to go on each time. */
    int stops() const { return stops_; }

private:
    void open_terminal(const session_start &start);
    void start_program(const command_line &command, const session_start &start);
    bool wait_for(int number, short events, int milliseconds) const;
    template <typename fact>
    fact reported();

    int here_ = -1;   // this side
    int there_ = -1;  // the program's side
    int report_ = -1; // of the shell: the program's process, later its status
    int hold_ = -1;   // open for as long as the shell is to stay
    pid_t shell_ = -1;
    pid_t program_ = -1;
    termios settings_before_{};
    int flags_before_ = 0;
    int flags_after_ = 0;
    int stops_ = 0;
};

/** Whether two settings are the same in all that a program can set. */
bool same_settings(const termios &one, const termios &other);

/** The terminal at the end is as it was at the start, its descriptor too. */
void expect_restored(const terminal_session &session);

} // namespace e2e
