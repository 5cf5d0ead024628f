#pragma once

#include "sim/console/boot.h"
#include "sim/console/kernel_lines.h"
#include "sim/console/line_direction.h"
#include "sim/console/login.h"
#include "sim/console/shell.h"
#include "sim/console/wrapped_echo.h"
#include "sim/description/console.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

/** Exit statuses by which the shell's commands of these names tell what they want. */
constexpr int status_for_reboot = 79;
constexpr int status_for_poweroff = 78;

/**
 * The switch behind its console: boots, logs in, runs the shell, and does what the faults say.
 * Times are in microseconds of one clock, and never go back.
 */
class session {
public:
    /** Begins as the description says, where nothing else is said at power-on. */
    session(console_description console, shell_start start, int64_t now_us);

    /** The byte that is on the line from the PC now. */
    void receive(char byte, int64_t now_us);
    /** Not before the start is done: what is typed meanwhile waits on the line. */
    bool listens() const { return awaited_.empty() && keys_.size() < most_keys; }
    /** What has left for the PC since. */
    std::string take_output() { return std::exchange(output_, {}); }

    /** The terminal of the shell, or -1; whether there are keys that it did not take yet. */
    int terminal() const { return shell_ ? shell_->terminal() : -1; }
    bool has_keys() const { return !keys_.empty(); }
    /** To be called when the terminal can be read or written. */
    void serve_terminal(int64_t now_us);
    /** To be called after a child has ended. */
    void serve_end(int64_t now_us);
    /** The board's power has failed. */
    void lose_power(int64_t now_us);
    /** When there is something to do by the clock; then tick() does it. */
    std::optional<int64_t> next_us() const;
    void tick(int64_t now_us);

    /** The console has ended: nothing more will happen. */
    bool is_over() const { return state_ == states::over; }

private:
    enum class states { booting, asking, login, shell, over };
    static constexpr std::size_t most_keys = 4096;

    void say(std::string_view text);
    void send(std::string_view text);
    void strike(console_fault::kinds what);
    void restart(std::string_view last_words);
    void end_shell();
    void after_boot();
    void begin_login();
    void begin_shell();
    std::vector<console_fault>::iterator next_power_cut();
    void type(char key);
    void type_to_login(char key);
    void type_to_shell(char key);
    bool begins_command(char key);
    void hear_shell(std::string_view text);

    console_description console_;
    shell_start start_;
    int64_t now_us_;
    line_direction from_pc_;
    line_direction to_pc_;
    kernel_lines kernel_;
    boot boot_;
    login login_;
    wrapped_echo echo_;
    std::unique_ptr<sim::shell> shell_;
    states state_ = states::booting;
    uint64_t boots_ = 0; // restarts: whoever finds another number was ended by one
    bool is_cut_ = false;
    uint64_t command_ = 0;
    bool has_typed_ = false;
    std::optional<int64_t> refusal_us_;
    std::string keys_;    // on their way to the terminal
    std::string output_;  // on its way to the PC
    std::string awaited_; // of the shell's output: all up to it was said before the PC came
    std::string unheard_; // of that
    std::optional<int64_t> start_over_us_; // when the operation has said all that it said before
};

} // namespace sim
