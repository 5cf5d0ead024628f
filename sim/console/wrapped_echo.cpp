#include "sim/console/wrapped_echo.h"

#include "sim/console/keys.h"

namespace sim {
wrapped_echo::wrapped_echo(const console_description &console)
    : columns_(console.wrap), break_(console.wrap_with), prompt_(console.prompt.size())
{
}

std::string wrapped_echo::type(char key)
{
    if (is_enter(key)) {
        typed_ = 0;
        return "\r\n";
    }
    if (key == interrupt_key) {
        typed_ = 0;
        return "^C\r\n";
    }
    if (is_erase(key)) {
        const bool erases = typed_ != 0;
        typed_ -= erases ? 1 : 0;
        return erases ? "\b \b" : "";
    }
    if (is_control(key)) {
        return {};
    }
    ++typed_;
    std::string shown(1, key);
    if ((prompt_ + typed_) % columns_ == 0) {
        shown += break_;
    }
    return shown;
}

} // namespace sim
