#include "sim/console/login.h"

#include "sim/console/boot.h"
#include "sim/console/keys.h"

#include <utility>

namespace sim {
login::login(const console_description &console)
    : issue_(on_console(console.issue)), prompt_(on_console(console.login_prompt)),
      user_(console.user), password_(console.password), motd_(on_console(console.motd)),
      echo_(console.echo)
{
}

std::string login::greeting() const
{
    return "\r\n" + issue_ + prompt_;
}

std::string login::type(char key)
{
    if (state_ == states::refusing || state_ == states::done) {
        return {};
    }
    if (is_enter(key)) {
        return enter();
    }
    if (key == interrupt_key || (key == end_of_file_key && typed_.empty())) {
        state_ = states::name;
        typed_.clear();
        return "\r\n" + greeting();
    }
    return edit(key);
}

std::string login::edit(char key)
{
    const bool shows = echo_ && state_ == states::name;
    if (is_erase(key)) {
        const bool erases = !typed_.empty();
        typed_.resize(typed_.size() - (erases ? 1 : 0));
        return shows && erases ? "\b \b" : "";
    }
    if (key == kill_line_key) {
        std::string erased;
        for (std::size_t i = 0; shows && i < typed_.size(); ++i) {
            erased += "\b \b";
        }
        typed_.clear();
        return erased;
    }
    if (is_control(key)) {
        return {};
    }
    typed_ += key;
    return shows ? std::string(1, key) : "";
}

std::string login::enter()
{
    const std::string line = std::exchange(typed_, {});
    if (state_ == states::name) {
        name_ = line;
        return "\r\n" + enter_name();
    }
    const bool is_right = name_ == user_ && line == password_;
    state_ = is_right ? states::done : states::refusing;
    return "\r\n" + (is_right ? motd_ : "");
}

std::string login::enter_name()
{
    if (name_.empty()) {
        return prompt_;
    }
    if (name_ == user_ && password_.empty()) {
        state_ = states::done;
        return motd_;
    }
    state_ = states::password;
    return "Password: ";
}

std::string login::refuse()
{
    state_ = states::name;
    return "\r\nLogin incorrect\r\n" + prompt_;
}

} // namespace sim
