#include "station/console/console.h"

#include <algorithm>
#include <array>

#include "station/base/bytes.h"
#include "station/console/console_text.h"

namespace station {

namespace {

using namespace std::chrono_literals;

constexpr auto looking_step = 100ms;
constexpr auto write_limit = 10s;
constexpr auto longest_drain = 1s;
constexpr auto longest_command = 60s;
constexpr std::size_t most_seen = 65536;
constexpr std::size_t most_of_tail = 2048;
constexpr std::size_t most_of_shown = 80;
constexpr std::size_t most_of_transcript = 1 << 20;

// A prompt stands still; a text that only looks like one goes on.
constexpr auto settled = 50ms;
constexpr auto unlearnt_settled = 300ms;
constexpr auto prompt_limit = 1s;
constexpr auto hear_out_quiet = 200ms;
constexpr auto hear_out_limit = 2s;

constexpr auto echo_limit = 500ms;
constexpr auto echo_limit_a_byte = 10ms;
constexpr int typing_tries = 4;

constexpr int most_users_given = 5;
constexpr int most_passwords_given = 2; // once more where it seems to have started again meanwhile
constexpr std::size_t most_lines_of_a_refusal = 6;
constexpr int wakes_before_interrupt = 2;
constexpr int wakes_before_ending = 3;
constexpr int wakes_before_feeding = 6;
constexpr int answers_that_decide = 3;

// What ends the operations of the switch that wait for a PC. Each byte of a list has 500 ms, so a
// switch that is silent for longer waits for the beginning.
constexpr auto operation_answer = 700ms;
constexpr char acknowledge = 0x06;
constexpr char frame_damaged = 0x14;
constexpr std::string_view unit_start = " ";
constexpr std::string_view backplane_start = "\x15";
constexpr std::string_view impossible_list = "\x01\xFB";
constexpr std::string_view interrupt = "\x03"; // also ends a list of devices
constexpr std::string_view erase_line = "\x15";
// In place of a hand sign the first ends the operation; in place of a length all four do.
constexpr std::string_view end_of_frames("\0\0\0\0", 4);
// The longest value that a damaged length can have announced, with its length.
constexpr std::size_t longest_value = 131072 + 8;
constexpr std::size_t feeding_piece = 1024;

bool ends_with(std::string_view text, const std::string &end)
{
    return !end.empty() && text.ends_with(end);
}

} // namespace

console::console(line &far, const console_settings &settings, listener &observer)
    : far_(far), settings_(settings), observer_(observer), last_arrival_(far.now()),
      give_up_(far.now())
{
}

arrival console::reach_prompt(milliseconds limit)
{
    const auto deadline = give_up_ = far_.now() + limit;
    last_arrival_ = far_.now();
    saw_.clear();
    wakes_ = 0;
    same_answers_ = 0;
    users_given_ = 0;
    passwords_given_ = 0;
    password_given_ = false;
    echoes_ = true;
    while (far_.now() < deadline) {
        observer_.waiting();
        if (state() != showing::prompt) {
            receive(std::min(deadline, far_.now() + looking_step));
        }
        if (const auto reached = react()) {
            return *reached;
        }
    }
    return arrival::silence;
}

std::optional<arrival> console::react()
{
    const auto what = state();
    if (what == showing::prompt) {
        return confirm_prompt() ? std::optional(arrival::prompt) : std::nullopt;
    }
    if (what == showing::login && silence() >= settled) {
        return give_user();
    }
    if (what == showing::password && silence() >= settled) {
        return give_password();
    }
    if (what == showing::other && silence() >= settled && !learnt_.empty() &&
        tail().starts_with(learnt_)) {
        start_anew(); // somebody has typed something
        return std::nullopt;
    }
    return silence() >= settings_.quiet ? wake_up() : std::nullopt;
}

std::optional<arrival> console::give_user()
{
    // A refusal is a few words; where more came, the switch has started again.
    if (password_given_ && (passwords_given_ == most_passwords_given ||
                            lines_of(readable(seen_)).size() <= most_lines_of_a_refusal)) {
        return arrival::wrong_password;
    }
    if (settings_.user.empty() || users_given_ == most_users_given) {
        saw_ = tail_to_show();
        return users_given_ == 0 ? arrival::no_login : arrival::other_prompt;
    }
    ++users_given_;
    password_given_ = false;
    write_off();
    send(settings_.user);
    if (!echoed(settings_.user)) {
        send(erase_line);
    }
    write_off();
    send("\r");
    return std::nullopt;
}

std::optional<arrival> console::give_password()
{
    if (users_given_ == 0) {
        // Somebody else's name, or what was typed into the start of the switch.
        write_off();
        send("\r");
        return std::nullopt;
    }
    if (!settings_.password) {
        saw_ = tail();
        return arrival::no_login;
    }
    write_off();
    const auto &secret = *settings_.password;
    far_.write_secret({reinterpret_cast<const std::uint8_t *>(secret.data()), secret.size()},
                      write_limit);
    writes_to_hide_ = 2;
    send("\r");
    password_given_ = true;
    ++passwords_given_;
    return std::nullopt;
}

std::optional<arrival> console::wake_up()
{
    const auto answer = tail_to_show();
    same_answers_ = answer.empty() || answer != saw_ ? 0 : same_answers_ + 1;
    if (same_answers_ == answers_that_decide) {
        return arrival::other_prompt;
    }
    saw_ = answer.empty() ? saw_ : answer;
    ++wakes_;
    write_off();
    if (wakes_ > wakes_before_interrupt) {
        send(interrupt);
    }
    if (wakes_ > wakes_before_ending && answer.empty() && end_operation()) {
        return arrival::backplane;
    }
    if (wakes_ == wakes_before_feeding && answer.empty()) {
        feed();
    }
    send(settings_.wake);
    last_arrival_ = far_.now();
    return std::nullopt;
}

/** Whether the shell answers at a prompt; its whole line is known then. */
bool console::confirm_prompt()
{
    const auto before = tail();
    write_off();
    send("\r");
    const auto deadline = far_.now() + prompt_limit;
    while (far_.now() < deadline) {
        receive(std::min(deadline, far_.now() + settled));
        if (state() == showing::prompt && tail() == before) {
            learnt_ = before;
            return true;
        }
    }
    return false;
}

/** Ends what the switch may wait in; whether that is the one operation that it cannot end. */
bool console::end_operation()
{
    if (answers(unit_start, acknowledge)) {
        answers(impossible_list, '(');
        send(interrupt);
        return false;
    }
    if (answers(backplane_start, acknowledge)) {
        return true;
    }
    answers(end_of_frames, frame_damaged);
    send(interrupt);
    return false;
}

bool console::answers(std::string_view sent, char wanted)
{
    write_off();
    send(sent);
    const auto deadline = far_.now() + operation_answer;
    while (far_.now() < deadline) {
        receive(deadline);
        if (seen_.find(wanted) != std::string::npos) {
            return true;
        }
    }
    return false;
}

/** Fills up a value that the switch still waits for, and would for an hour. */
void console::feed()
{
    const std::string zeros(feeding_piece, '\0');
    write_off();
    for (std::size_t fed = 0; fed < longest_value && seen_.empty() && far_.now() < give_up_;
         fed += zeros.size()) {
        send(zeros);
        receive(far_.now());
    }
}

std::string console::shown() const
{
    const auto now = tail_to_show();
    const std::string_view all = now.empty() ? saw_ : now;
    return printable(all.substr(all.size() - std::min(all.size(), most_of_shown)));
}

std::optional<std::string> console::command(const std::string &text)
{
    if (!start(text) || !prompt_follows(settings_.answer)) {
        return std::nullopt;
    }
    if (lines_of(readable(seen_)).size() <= 1) {
        // Nothing was printed, or the prompt is one that was still owed.
        hear_out(hear_out_quiet, hear_out_limit);
    }
    if (!at_prompt()) {
        return std::nullopt;
    }
    auto output = readable(seen_);
    output.resize(output.size() - last_line(output).size());
    return output;
}

bool console::start(const std::string &text)
{
    if (!type(text)) {
        return false;
    }
    write_off();
    send("\r");
    return true;
}

void console::take(std::string_view read)
{
    if (read.empty()) {
        return;
    }
    last_arrival_ = far_.now();
    keep(read);
}

bool console::shows_prompt(std::string_view text) const
{
    const auto shown = readable(text);
    const auto lines = lines_of(shown);
    const auto is_prompt = [this](std::string_view each) { return each.starts_with(learnt_); };
    return !lines.empty() &&
           (ends_with(lines.back(), settings_.login_prompt) ||
            (!learnt_.empty() && std::any_of(lines.begin(), lines.end(), is_prompt)));
}

bool console::stands_at_prompt(std::string_view text) const
{
    const auto shown = readable(text);
    const auto line = last_line(shown);
    return ends_with(line, learnt_) || ends_with(line, settings_.login_prompt);
}

bool console::back_at_prompt(milliseconds limit)
{
    return prompt_follows(limit);
}

bool console::at_prompt() const
{
    const auto &line = tail();
    return (line == learnt_ && !line.empty()) ||
           (ends_with(line, settings_.prompt) && silence() >= unlearnt_settled);
}

/** Waits for the prompt until the console was silent for so long, or asks for a login. */
bool console::prompt_follows(milliseconds longest_silence)
{
    last_arrival_ = far_.now();
    const auto deadline = last_arrival_ + longest_command;
    bool nudged = false;
    while (!at_prompt()) {
        const auto quiet = silence();
        const auto what = state();
        if (quiet >= longest_silence || seen_.size() >= most_seen || far_.now() >= deadline ||
            ((what == showing::login || what == showing::password) && quiet >= settled)) {
            return false;
        }
        if (!nudged && quiet >= longest_silence / 2) {
            send("\r"); // a prompt that was damaged on the way is shown again
            nudged = true;
        }
        receive(far_.now() + settled);
    }
    if (nudged) {
        hear_out(hear_out_quiet, hear_out_limit);
    }
    return at_prompt();
}

bool console::type(const std::string &text)
{
    for (int number = 0; number < typing_tries; ++number) {
        hear_out(0ms, longest_drain);
        write_off();
        send(text);
        if (echoed(text)) {
            return true;
        }
        start_anew();
    }
    return false;
}

/** Whether the console has sent back what was typed; one that sends nothing back is believed. */
bool console::echoed(const std::string &text)
{
    const auto size = static_cast<milliseconds::rep>(text.size());
    const auto deadline = far_.now() + echo_limit + size * echo_limit_a_byte;
    while (echoes_ && far_.now() < deadline) {
        receive(deadline);
        if (same_but_for_blanks(readable(seen_), text)) {
            return true;
        }
    }
    echoes_ = echoes_ && !seen_.empty();
    return !echoes_;
}

/** Gets rid of a line that was not typed well. */
void console::start_anew()
{
    write_off();
    send(interrupt);
    if (!prompt_follows(echo_limit)) {
        write_off();
        send(std::string(erase_line) + "\r");
        prompt_follows(prompt_limit);
    }
}

bool console::receive(time_point deadline)
{
    std::array<std::uint8_t, 1024> buffer;
    const auto left = std::chrono::ceil<milliseconds>(deadline - far_.now());
    const auto count = far_.read(buffer, std::max(left, milliseconds(0)));
    if (count == 0) {
        return false;
    }
    const std::string_view text(reinterpret_cast<const char *>(buffer.data()), count);
    last_arrival_ = far_.now();
    keep(text);
    if (writes_to_hide_ == 0) {
        observer_.console(text);
    }
    return true;
}

void console::keep(std::string_view text)
{
    seen_ += text;
    last_.reset();
    if (seen_.size() > 2 * most_seen) {
        seen_.erase(0, seen_.size() - most_seen);
    }
    if (writes_to_hide_ == 0) {
        transcript_ += text.substr(0, most_of_transcript - transcript_.size());
    }
}

void console::hear_out(milliseconds quiet, milliseconds limit)
{
    const auto deadline = far_.now() + limit;
    while (far_.now() < deadline && receive(std::min(deadline, far_.now() + quiet))) {
    }
}

void console::send(std::string_view text)
{
    far_.write({reinterpret_cast<const std::uint8_t *>(text.data()), text.size()}, write_limit);
    writes_to_hide_ = std::max(writes_to_hide_ - 1, 0);
}

/** What has been seen belongs to the past: what comes now answers what is sent. */
void console::write_off()
{
    seen_.clear();
    last_.reset();
}

line::milliseconds console::silence() const
{
    return std::chrono::duration_cast<milliseconds>(far_.now() - last_arrival_);
}

const console::last_shown &console::last() const
{
    if (!last_) {
        const auto from = seen_.size() - std::min(seen_.size(), most_of_tail);
        const auto text = readable(std::string_view(seen_).substr(from));
        const auto line = last_line(text);
        last_ = {std::string(line), meaning(line)};
    }
    return *last_;
}

/** Without what may be the echo of a password. */
std::string console::tail_to_show() const
{
    return writes_to_hide_ > 0 ? std::string() : tail();
}

console::showing console::meaning(std::string_view line) const
{
    if (line.empty()) {
        return showing::nothing;
    }
    if (ends_with(line, settings_.prompt)) {
        return showing::prompt;
    }
    if (ends_with(line, settings_.password_prompt)) {
        return showing::password;
    }
    return ends_with(line, settings_.login_prompt) ? showing::login : showing::other;
}

} // namespace station
