#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace sim {

/** How a shell begins. */
struct shell_start {
    std::string prompt = {};
    std::map<std::string, std::string> variables = {}; // besides those of this process
    std::filesystem::path home = {};                   // its folder, which is there
    bool echo = true;                                  // of the terminal's line discipline
};

/**
 * The machine's shell in a session of its own on a pseudo-terminal. What runs in that session is
 * killed with the object, as by a power cut.
 */
class shell {
public:
    /** Throws std::system_error. */
    explicit shell(const shell_start &start);
    ~shell();
    shell(const shell &) = delete;
    shell &operator=(const shell &) = delete;

    /** The descriptor to wait for; -1 once nothing holds the terminal any more. */
    int terminal() const { return terminal_; }

    /** What the session has written since; nothing, too, when there is no more. Never waits. */
    std::string read();
    /** Types these keys: how many of them the terminal took. Never waits. */
    std::size_t write(std::string_view keys);

    /** No command runs: keys go to the shell. */
    bool is_at_prompt() const;
    /** The terminal is in the mode for lines. */
    bool is_cooked() const;

    /** The shell's exit status, 128 and the number of a signal; nothing while it runs. */
    std::optional<int> ended() const;

private:
    void close_terminal();

    pid_t shell_ = -1;
    int terminal_ = -1;
};

} // namespace sim
