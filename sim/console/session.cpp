#include "sim/console/session.h"

#include "sim/board/process_board.h"
#include "sim/console/keys.h"

#include <algorithm>
#include <utility>

namespace sim {
namespace {

constexpr std::string_view restart_message = "\r\nreboot: Restarting system\r\n";
constexpr std::string_view poweroff_message = "\r\nreboot: Power down\r\n";

/** What the banners of all operations begin with, and how long after its last byte one is over. */
constexpr std::string_view waiting_message = "Disconnect your console terminal first";
constexpr int64_t banner_quiet_us = 20'000;

} // namespace

session::session(console_description console, shell_start start, int64_t now_us)
    : console_(std::move(console)), start_(std::move(start)), now_us_(now_us),
      from_pc_(line_direction::from_pc, console_), to_pc_(line_direction::to_pc, console_),
      kernel_(console_), boot_(console_, now_us), login_(console_), echo_(console_)
{
    using starts = console_description::starts;
    start_.prompt = console_.prompt;
    start_.echo = console_.echo && console_.wrap == 0;
    if (console_.start == starts::power_on) {
        return;
    }
    kernel_.begin(now_us);
    if (console_.start == starts::login) {
        state_ = states::login;
        return;
    }
    begin_shell();
    awaited_ = console_.prompt;
}

void session::say(std::string_view text)
{
    const uint64_t boots = boots_;
    for (std::size_t i = 0; i < text.size() && boots == boots_; ++i) {
        send(text.substr(i, 1));
        if (boots == boots_) {
            send(kernel_.after_byte());
        }
    }
}

void session::send(std::string_view text)
{
    for (const char byte : text) {
        if (is_cut_ || is_over()) {
            return;
        }
        const auto passed = to_pc_.pass(byte);
        output_ += passed.arriving;
        if (passed.strikes) {
            strike(*passed.strikes);
            return; // what it was about to say is lost
        }
    }
}

void session::strike(console_fault::kinds what)
{
    switch (what) {
    case console_fault::reboot:
        restart(restart_message);
        break;
    case console_fault::power_cut:
        restart({});
        break;
    case console_fault::cut:
        is_cut_ = true;
        break;
    default:
        end_shell();
        state_ = states::over;
    }
}

void session::restart(std::string_view last_words)
{
    end_shell();
    const uint64_t boots = ++boots_;
    say(last_words);
    if (boots != boots_) {
        return; // something else struck
    }
    kernel_.end();
    refusal_us_.reset();
    boot_ = boot(console_, now_us_);
    state_ = states::booting;
}

void session::end_shell()
{
    shell_.reset();
    keys_.clear();
    awaited_.clear();
    unheard_.clear();
    start_over_us_.reset();
}

void session::after_boot()
{
    kernel_.begin(now_us_);
    if (console_.activate.empty()) {
        begin_login();
        return;
    }
    state_ = states::asking;
    say("\r\n" + on_console(console_.activate));
}

void session::begin_login()
{
    if (console_.user.empty()) {
        begin_shell();
        return;
    }
    login_ = login(console_);
    state_ = states::login;
    say(login_.greeting());
}

void session::begin_shell()
{
    start_.variables.erase(cut_variable);
    const auto cut = next_power_cut();
    if (cut != console_.faults.end()) {
        start_.variables[cut_variable] = std::to_string(*cut->programmed);
    }
    state_ = states::shell;
    has_typed_ = false;
    shell_ = std::make_unique<sim::shell>(start_);
}

std::vector<console_fault>::iterator session::next_power_cut()
{
    return std::ranges::find_if(
        console_.faults, [](const console_fault &one) { return one.programmed.has_value(); });
}

void session::receive(char byte, int64_t now_us)
{
    now_us_ = now_us;
    if (is_cut_ || is_over()) {
        return;
    }
    const auto passed = from_pc_.pass(byte);
    if (passed.strikes) {
        strike(*passed.strikes);
    }
    for (const char key : passed.arriving) {
        type(key);
    }
}

void session::type(char key)
{
    switch (state_) {
    case states::asking:
        if (is_enter(key)) {
            say("\r\n");
            begin_login();
        }
        break;
    case states::login:
        type_to_login(key);
        break;
    case states::shell:
        type_to_shell(key);
        break;
    default:
        break; // nothing reads them
    }
}

void session::type_to_login(char key)
{
    say(login_.type(key));
    if (state_ != states::login) {
        return;
    }
    if (login_.is_done()) {
        begin_shell();
    } else if (login_.owes_refusal() && !refusal_us_) {
        refusal_us_ = now_us_ + int64_t{console_.refusal_ms} * 1000;
    }
}

void session::type_to_shell(char key)
{
    if (shell_->is_at_prompt() && begins_command(key)) {
        ++command_;
        for (const console_fault &fault : console_.faults) {
            if (fault.command == command_ && !fault.received && !fault.sent) {
                strike(fault.what);
                return;
            }
        }
        from_pc_.begin_command(command_);
        to_pc_.begin_command(command_);
    }
    if (console_.echo && console_.wrap != 0 && shell_->is_cooked()) {
        say(echo_.type(key));
    }
    if (shell_) {
        keys_ += key;
    }
}

/** Enter behind something that is not blank. */
bool session::begins_command(char key)
{
    if (is_enter(key)) {
        return std::exchange(has_typed_, false);
    }
    const bool ends_line = key == interrupt_key || key == kill_line_key;
    has_typed_ = !ends_line && (has_typed_ || static_cast<unsigned char>(key) > ' ');
    return false;
}

void session::serve_terminal(int64_t now_us)
{
    now_us_ = now_us;
    if (terminal() < 0) {
        return;
    }
    keys_.erase(0, shell_->write(keys_));
    hear_shell(shell_->read());
}

void session::hear_shell(std::string_view text)
{
    if (awaited_.empty()) {
        say(text);
        return;
    }
    unheard_ += text;
    if (unheard_.find(awaited_) == std::string::npos) {
        return;
    }
    if (awaited_ == waiting_message) {
        start_over_us_ = now_us_ + banner_quiet_us;
        return;
    }
    awaited_.clear();
    unheard_.clear();
    if (!console_.running.empty()) {
        keys_ = console_.running + "\r";
        awaited_ = waiting_message;
    }
}

void session::serve_end(int64_t now_us)
{
    now_us_ = now_us;
    const auto status = shell_ ? shell_->ended() : std::nullopt;
    if (!status) {
        return;
    }
    const uint64_t boots = boots_;
    for (std::string rest = shell_->read(); !rest.empty() && boots == boots_;
         rest = shell_ ? shell_->read() : "") {
        hear_shell(rest);
    }
    if (boots != boots_ || is_over()) {
        return;
    }
    end_shell();
    if (*status == status_for_reboot) {
        restart(restart_message);
    } else if (*status == status_for_poweroff) {
        say(poweroff_message);
        state_ = states::over;
    } else {
        begin_login();
    }
}

void session::lose_power(int64_t now_us)
{
    now_us_ = now_us;
    if (!shell_) {
        return; // several processes at once tell the same
    }
    const auto struck = next_power_cut();
    if (struck != console_.faults.end()) {
        console_.faults.erase(struck);
    }
    strike(console_fault::power_cut);
}

std::optional<int64_t> session::next_us() const
{
    auto next = kernel_.next_us();
    for (const auto one : {refusal_us_, start_over_us_}) {
        if (one) {
            next = std::min(next.value_or(*one), *one);
        }
    }
    if (state_ == states::booting) {
        next = std::min(next.value_or(boot_.next_us()), boot_.next_us());
    }
    return is_over() ? std::nullopt : next;
}

void session::tick(int64_t now_us)
{
    now_us_ = now_us;
    if (state_ == states::booting) {
        say(boot_.take(now_us));
    }
    if (state_ == states::booting && boot_.is_over(now_us)) {
        after_boot();
    }
    if (refusal_us_ && *refusal_us_ <= now_us) {
        refusal_us_.reset();
        say(login_.refuse());
    }
    if (start_over_us_ && *start_over_us_ <= now_us) {
        start_over_us_.reset();
        awaited_.clear();
        unheard_.clear();
    }
    send(kernel_.take(now_us));
}

} // namespace sim
