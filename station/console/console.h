#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "station/base/outcome.h"
#include "station/lines/line.h"

namespace station {

/** How to get to a prompt, and what it looks like. */
struct console_settings {
    using milliseconds = line::milliseconds;

    std::string prompt = "# ";              // the end of the line in which the shell waits
    std::string login_prompt = "login: ";   // the same where a user name is asked for
    std::string password_prompt = "word: "; // and where a password is
    std::string user;                       // empty: no login is known
    std::optional<std::string> password;
    std::string wake = "\r";
    milliseconds boot{300000}; // from power-on to a prompt
    milliseconds quiet{1500};  // silence after which a console may be woken
    milliseconds answer{5000}; // the longest silence within a command
};

/** Where a console has been brought. */
enum class arrival {
    prompt,         // the shell waits
    backplane,      // the switch waits for the list of a backplane, which cannot be called off
    wrong_password, // it refused the login
    no_login,       // it asks for a login or a password that the settings do not have
    other_prompt,   // it waits at something that the settings do not know
    silence         // none of these in time
};

/**
 * The console of a switch, as a person would use it. Throws line_error, as the line does. Not for
 * several threads at once.
 */
class console {
public:
    using milliseconds = line::milliseconds;

    /** All must outlive the console. */
    console(line &far, const console_settings &settings, listener &observer);

    /**
     * Brings the console to a prompt: through boot messages and a login, out of an operation that
     * waits for a PC. A refused password is not tried again.
     */
    arrival reach_prompt(milliseconds limit);

    /** The end of the console's last line, fit for a message. */
    std::string shown() const;

    /** Runs a command that needs no input; what it printed, or none where no prompt follows it. */
    std::optional<std::string> command(const std::string &text);

    /** Types a command that then talks to the station; false where it cannot be typed whole. */
    bool start(const std::string &text);

    /** Takes over what somebody else has read from the line meanwhile. */
    void take(std::string_view read);

    /** Whether a text that came after a command shows the shell's prompt, or a login's. */
    bool shows_prompt(std::string_view text) const;

    /** Whether a text ends in the shell's prompt, or a login's. */
    bool stands_at_prompt(std::string_view text) const;

    /** After an operation: whether the prompt is there, or comes within the limit. */
    bool back_at_prompt(milliseconds limit);

    /** Whether a name was given to a login, so that the console may be in the middle of one. */
    bool has_given_user() const { return users_given_ > 0; }

    /** What comes now may be the echo of a password that the other one has typed last. */
    void hide_echo_of(const console &other) { writes_to_hide_ = other.writes_to_hide_; }

    /** What the console has shown, up to 1 MiB, without what may be the echo of a password. */
    const std::string &transcript() const { return transcript_; }

private:
    using time_point = line::time_point;
    enum class showing { nothing, prompt, login, password, other };

    /** The console's last line, and what it is. */
    struct last_shown {
        std::string line;
        showing what;
    };

    bool receive(time_point deadline);
    void hear_out(milliseconds quiet, milliseconds limit);
    void send(std::string_view text);
    void keep(std::string_view text);
    void write_off();
    milliseconds silence() const;
    const last_shown &last() const;
    const std::string &tail() const { return last().line; }
    showing state() const { return last().what; }
    std::string tail_to_show() const;
    showing meaning(std::string_view line) const;

    std::optional<arrival> react();
    std::optional<arrival> give_user();
    std::optional<arrival> give_password();
    std::optional<arrival> wake_up();
    bool confirm_prompt();
    bool at_prompt() const;
    bool prompt_follows(milliseconds longest_silence);

    bool type(const std::string &text);
    bool echoed(const std::string &text);
    void start_anew();

    bool end_operation();
    bool answers(std::string_view sent, char wanted);
    void feed();

    line &far_;
    console_settings settings_;
    listener &observer_;
    time_point last_arrival_;
    time_point give_up_;                     // when a prompt is not looked for any more
    std::string seen_;                       // since something was typed
    mutable std::optional<last_shown> last_; // of it, where it has been asked for
    std::string saw_;    // the last line before that, where it was something unknown
    std::string learnt_; // the whole line in which the shell waits
    std::string transcript_;
    int writes_to_hide_ = 0; // until then what comes may be the echo of a password
    int wakes_ = 0;          // since a prompt is looked for
    int same_answers_ = 0;   // to them, which are no known prompt
    int users_given_ = 0;
    int passwords_given_ = 0;
    bool password_given_ = false; // to the last login
    bool echoes_ = true;
};

} // namespace station
