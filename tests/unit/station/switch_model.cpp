#include "unit/station/switch_model.h"

#include <algorithm>

#include "station/base/bytes.h"

using namespace std::chrono_literals;

namespace {

constexpr char interrupt = 0x03;
constexpr char erase_line = 0x15;

} // namespace

void switch_model::power_on()
{
    if (at_power_on) {
        at_power_on();
    }
    running_.reset();
    coming_.clear();
    line_.clear();
    logged_in = !asks_for_login;
    mode_ = mode::booting;
    spoken_ = std::max(spoken_, clock_);
    say(boot_text);
    boots_until_ = clock_ + boot_takes;
}

void switch_model::start_operation(const std::string &command)
{
    mode_ = mode::shell;
    run_command(command);
    coming_.clear();
}

void switch_model::mend()
{
    fault = {};
    noise = nullptr;
    closed_ = false;
    restart_if_due();
    coming_.clear();
}

std::string switch_model::record(const std::string &name) const
{
    const auto found = std::find_if(stored.begin(), stored.end(),
                                    [&](const auto &each) { return each.first == name; });
    return found == stored.end() ? "" : found->second;
}

void switch_model::store(const std::string &name, const std::string &value)
{
    if (name == forgets) {
        return;
    }
    const auto found = std::find_if(stored.begin(), stored.end(),
                                    [&](const auto &each) { return each.first == name; });
    if (found == stored.end()) {
        stored.emplace_back(name, value);
    } else {
        found->second = value;
    }
}

std::size_t switch_model::read(std::span<std::uint8_t> buffer, milliseconds limit)
{
    const auto deadline = clock_ + limit;
    while (true) {
        let_time_pass();
        std::size_t count = 0;
        while (!coming_.empty() && coming_.front().first <= clock_ && count < buffer.size()) {
            buffer[count++] = coming_.front().second;
            coming_.pop_front();
        }
        if (count > 0) {
            return count;
        }
        if (closed_ && coming_.empty()) {
            throw station::line_closed("the line is gone");
        }
        if (clock_ >= deadline) {
            return 0;
        }
        // Timers of the switch are looked at often enough for limits of 50 ms and more.
        const auto next = coming_.empty() ? deadline : std::min(deadline, coming_.front().first);
        clock_ = std::min(next, clock_ + nanoseconds(10ms));
    }
}

void switch_model::write(std::span<const std::uint8_t> data, milliseconds /*limit*/)
{
    for (const auto byte : data) {
        let_time_pass();
        clock_ += a_byte;
        auto arriving = byte;
        int times = 1;
        if (!strike(false, arriving, times)) {
            restart_if_due();
            continue;
        }
        for (int time = 0; time < times; ++time) {
            take(arriving);
        }
        restart_if_due();
    }
}

void switch_model::write_secret(std::span<const std::uint8_t> data, milliseconds limit)
{
    typed_secrets.append(data.begin(), data.end());
    write(data, limit);
}

/** What becomes of a byte on the line; false where nothing arrives. */
bool switch_model::strike(bool from_switch, std::uint8_t &byte, int &times)
{
    const auto number = from_switch ? bytes_from_switch++ : bytes_to_switch++;
    if (!from_switch && at_byte_to_switch) {
        at_byte_to_switch(number);
    }
    if (closed_ || restarts_) {
        return false;
    }
    auto strikes = noise ? noise() : line_fault();
    if (fault.what != line_fault::none && fault.from_switch == from_switch && fault.at == number) {
        strikes = fault;
    }
    switch (strikes.what) {
    case line_fault::none:
        return true;
    case line_fault::cut:
        closed_ = true;
        return false;
    case line_fault::reboot:
        restarts_ = true; // once what runs has come to its end
        return false;
    case line_fault::change:
        byte ^= strikes.bits;
        return true;
    case line_fault::twice:
        times = 2;
        return true;
    default:
        return false;
    }
}

void switch_model::say(std::string_view text)
{
    say_after(0ns, text);
}

void switch_model::say_after(nanoseconds pause, std::string_view text)
{
    paused += pause;
    spoken_ = std::max(spoken_, clock_ + pause);
    for (const char character : text) {
        arrive(static_cast<std::uint8_t>(character), spoken_ += a_byte);
        column_ = character == '\n' || character == '\r' ? 0 : column_ + 1;
        if (columns != 0 && column_ == columns && running_ == nullptr) {
            arrive('\r', spoken_ += a_byte);
            arrive('\n', spoken_ += a_byte);
            column_ = 0;
        }
        if (kernel_every != 0 && ++since_kernel_ == kernel_every) {
            since_kernel_ = 0;
            for (const char each : kernel_line) {
                arrive(static_cast<std::uint8_t>(each), spoken_ += a_byte);
            }
        }
    }
}

void switch_model::arrive(std::uint8_t byte, nanoseconds at)
{
    int times = 1;
    if (!strike(true, byte, times)) {
        return;
    }
    for (int time = 0; time < times; ++time) {
        coming_.emplace_back(at, byte);
    }
}

void switch_model::restart_if_due()
{
    if (restarts_) {
        restarts_ = false;
        power_on();
    }
}

void switch_model::let_time_pass()
{
    restart_if_due();
    if (mode_ == mode::booting && clock_ >= boots_until_) {
        mode_ = mode::shell;
        show_prompt();
    }
    if (running_ != nullptr && !running_->wait(clock_ - heard_)) {
        end_operation();
    }
}

void switch_model::take(std::uint8_t byte)
{
    if (mode_ == mode::booting) {
        return;
    }
    const auto silence = clock_ - heard_;
    heard_ = clock_;
    if (running_ != nullptr) {
        if (!running_->take(byte, silence)) {
            end_operation();
        }
        return;
    }
    const auto character = static_cast<char>(byte);
    const bool shown = mode_ == mode::secret ? echoes_secrets : echo;
    if (character == interrupt) {
        line_.clear();
        say("^C\r\n");
        show_prompt();
    } else if (character == erase_line) {
        line_.clear();
    } else if (character == '\r') {
        say("\r\n");
        const auto typed = line_;
        line_.clear();
        take_line(typed);
    } else if (byte >= 0x20) {
        line_ += character;
        if (shown) {
            say({&character, 1});
        }
    }
}

void switch_model::take_line(const std::string &typed)
{
    if (mode_ == mode::user_name) {
        if (typed.empty()) {
            show_prompt();
        } else if (password.empty()) {
            logged_in = typed == user;
            mode_ = mode::shell;
            show_prompt();
        } else {
            name_given_ = typed;
            mode_ = mode::secret;
            say("Password: ");
        }
        return;
    }
    if (mode_ == mode::secret) {
        logged_in = name_given_ == user && typed == password;
        mode_ = mode::shell;
        say_after(200ms, logged_in ? "\r\nWelcome.\r\n" : refusal);
        show_prompt();
        return;
    }
    if (!typed.empty()) {
        commands.push_back(typed);
        if (reboot_after_lines != 0 && ++lines_run_ == reboot_after_lines) {
            power_on();
            return;
        }
        run_command(typed);
    }
    if (running_ == nullptr) {
        show_prompt();
    }
}

void switch_model::run_command(const std::string &typed)
{
    const auto end_of_name = typed.find(' ');
    const auto name = typed.substr(0, end_of_name);
    const auto rest = end_of_name == std::string::npos ? "" : typed.substr(end_of_name + 1);
    if (name == "prodinfo") {
        for (const auto &[key, value] : stored) {
            say(key + "=" + value + "\r\n");
        }
    } else if (name == "prov_setmac") {
        const auto end = rest.find(' ');
        log_path = end == std::string::npos ? "" : rest.substr(end + 1);
        running_ = make_operation(rest.substr(0, end), *this);
    } else if (name == "cat") {
        const auto found = files.find(rest);
        say(found == files.end() ? "cat: " + rest + ": No such file or directory\r\n"
                                 : found->second);
    } else if (typed.starts_with("rm -f ")) {
        files.erase(typed.substr(6));
    } else {
        say("sh: " + name + ": not found\r\n");
    }
}

void switch_model::end_operation()
{
    running_.reset();
    say("Save product info success.\r\r\n");
    show_prompt();
}

void switch_model::show_prompt()
{
    if (logged_in) {
        say(prompt);
    } else {
        mode_ = mode::user_name;
        say("\r\nswitch login: ");
    }
}
