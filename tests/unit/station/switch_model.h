#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "station/lines/line.h"

/** An operation of the model that has the console to itself. */
class model_operation {
public:
    virtual ~model_operation() = default;
    /** A byte from the PC; false once the operation is over. */
    virtual bool take(std::uint8_t byte, std::chrono::nanoseconds silence) = 0;
    /** What time alone does; false once the operation is over. */
    virtual bool wait(std::chrono::nanoseconds /*silence*/) { return true; }
};

/** A fault of the line, at a byte of one of its directions. */
struct line_fault {
    enum kind { none, cut, reboot, change, drop, twice } what = none;
    bool from_switch = true;
    std::size_t at = 0;
    std::uint8_t bits = 0x01; // that change
};

/**
 * A switch behind its console, in one process with the station and on a clock of its own that only
 * moves while the station waits: boot messages, a login, a shell with the programs of the legacy
 * flavour, as docs/protocol.md and docs/units.md describe them. What the station writes is taken at
 * the speed of the line, and what the switch says comes at that speed.
 */
class switch_model : public station::line {
public:
    using nanoseconds = std::chrono::nanoseconds;
    using records = std::vector<std::pair<std::string, std::string>>;

    // What it is like; may be changed before the first byte.
    bool asks_for_login = false;
    bool logged_in = true;
    bool echo = true;
    std::size_t columns = 0; // 0: lines are not wrapped
    std::string prompt = "switch:~# ";
    std::string user = "root";
    std::string password = "secret"; // empty: none is asked for
    std::string refusal = "\r\nLogin incorrect\r\n";
    std::string boot_text = "Loader 1.0\r\n[    0.000000] Kernel starts\r\nStarting services\r\n";
    milliseconds boot_takes{4000};
    nanoseconds a_byte{0};   // that a byte takes on the line
    std::string kernel_line; // breaks into what the switch says, every so many bytes
    std::size_t kernel_every = 0;
    line_fault fault;
    bool echoes_secrets = false;
    std::string forgets;                     // a record that is never kept
    std::size_t lists_of_devices_taken = 16; // by one operation; it refuses those behind them
    std::function<void(std::size_t number)> at_byte_to_switch;
    std::size_t reboot_after_lines = 0; // of commands; 0: it does not
    std::function<void()> at_power_on;
    std::function<line_fault()> noise; // what befalls the next byte, wherever it stands

    // What it holds.
    records stored;
    std::map<std::string, std::string> files;
    std::string backplane; // the lines of its last record

    // What was seen.
    std::vector<std::string> commands;
    std::size_t bytes_from_switch = 0;
    std::size_t bytes_to_switch = 0;
    nanoseconds paused{0};     // by the switch, before it said something
    std::string typed_secrets; // that came by write_secret()

    /** Begins to boot; at its end there is a login, or else a prompt. */
    void power_on();

    /** Begins with an operation that somebody started before. */
    void start_operation(const std::string &command);

    /** Begins with another program in the foreground. */
    void start_program(std::unique_ptr<model_operation> program) { running_ = std::move(program); }

    /** The line is whole again, without a fault; what is on it is lost. */
    void mend();

    bool in_operation() const { return running_ != nullptr; }
    bool asks_for_password() const { return mode_ == mode::secret; }
    /** What was typed into the line that is not yet ended. */
    const std::string &typed() const { return line_; }
    std::string record(const std::string &name) const;
    void store(const std::string &name, const std::string &value);

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t> data, milliseconds limit) override;
    void write_secret(std::span<const std::uint8_t> data, milliseconds limit) override;
    time_point now() const override { return time_point(clock_); }

    // For its operations.
    void say(std::string_view text);
    void say_after(nanoseconds pause, std::string_view text);
    std::string log_path; // of the operation that runs, or empty

private:
    enum class mode { booting, user_name, secret, shell };

    void take(std::uint8_t byte);
    void take_line(const std::string &typed);
    void run_command(const std::string &typed);
    void show_prompt();
    void end_operation();
    void arrive(std::uint8_t byte, nanoseconds at);
    void let_time_pass();
    void restart_if_due();
    bool strike(bool from_switch, std::uint8_t &byte, int &times);

    nanoseconds clock_{0};
    nanoseconds heard_{0};  // when the last byte reached the switch
    nanoseconds spoken_{0}; // when the last byte it said is over the line
    std::deque<std::pair<nanoseconds, std::uint8_t>> coming_;
    mode mode_ = mode::shell;
    nanoseconds boots_until_{0};
    std::string line_;
    std::string name_given_;
    std::size_t column_ = 0;
    std::size_t since_kernel_ = 0;
    std::size_t lines_run_ = 0;
    bool closed_ = false;
    bool restarts_ = false;
    std::unique_ptr<model_operation> running_;
};

/** The operation of prov_setmac of that name, or null. */
std::unique_ptr<model_operation> make_operation(const std::string &name, switch_model &board);
