#include "floor/requests/target.h"

#include <algorithm>
#include <charconv>

#include "floor/requests/answers.h"
#include "floor/requests/texts.h"

namespace shopfloor {

namespace {

/** A byte of two hexadecimal digits. */
char escaped_byte(std::string_view digits)
{
    unsigned value = 0;
    const auto *end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value, 16);
    if (digits.size() != 2 || read.ec != std::errc() || read.ptr != end) {
        throw request_error("bad_request", "an escape in the address is not of the form %41");
    }
    return static_cast<char>(value);
}

std::string unescaped(std::string_view text)
{
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '%') {
            plain += escaped_byte(text.substr(at + 1, 2));
            at += 2;
        } else {
            plain += text[at] == '+' ? ' ' : text[at];
        }
    }
    return plain;
}

parameter read_parameter(std::string_view text)
{
    const auto equals = text.find('=');
    if (equals == std::string_view::npos) {
        throw request_error("bad_request", "a parameter of the address has no value");
    }
    parameter one{unescaped(text.substr(0, equals)), unescaped(text.substr(equals + 1))};
    check_text("name of a parameter", one.name);
    check_text("parameter " + one.name, one.value);
    return one;
}

void add_parameter(std::vector<parameter> &to, parameter one)
{
    if (std::any_of(to.begin(), to.end(),
                    [&](const parameter &each) { return each.name == one.name; })) {
        throw request_error("bad_request", "the parameter " + one.name + " is there twice");
    }
    to.push_back(std::move(one));
}

} // namespace

std::string_view path_of(std::string_view text)
{
    return text.substr(0, text.find('?'));
}

target read_target(std::string_view text)
{
    target read{std::string(path_of(text)), {}};
    if (!read.path.starts_with('/')) {
        throw request_error("bad_request", "the address does not begin with /");
    }
    text.remove_prefix(std::min(text.size(), read.path.size() + 1));
    while (!text.empty()) {
        const auto one = text.substr(0, text.find('&'));
        add_parameter(read.parameters, read_parameter(one));
        text.remove_prefix(std::min(text.size(), one.size() + 1));
    }
    return read;
}

} // namespace shopfloor
