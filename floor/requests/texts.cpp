#include "floor/requests/texts.h"

#include <algorithm>
#include <charconv>

#include "floor/requests/answers.h"
#include "ledger/model/texts.h"

namespace shopfloor {

namespace {

constexpr std::size_t longest_text = 500;

bool is_digit(char each)
{
    return each >= '0' && each <= '9';
}

bool is_control(char each)
{
    return static_cast<unsigned char>(each) < 0x20 || each == 0x7F;
}

} // namespace

void check_text(const std::string &what, std::string_view text, const char *code)
{
    if (text.size() > longest_text) {
        throw request_error(code, "the " + what + " has " + std::to_string(text.size()) +
                                      " bytes: at most " + std::to_string(longest_text) +
                                      " are taken");
    }
    if (std::any_of(text.begin(), text.end(), is_control)) {
        throw request_error(code, "the " + what + " has control characters");
    }
    if (!ledger::is_utf8(text)) {
        throw request_error(code, "the " + what + " is no UTF-8");
    }
}

std::optional<std::int64_t> read_number(std::string_view text)
{
    const bool digits = !text.empty() && std::all_of(text.begin(), text.end(), is_digit);
    if (!digits || (text.size() > 1 && text[0] == '0')) {
        return std::nullopt;
    }
    std::int64_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() ? std::optional(number) : std::nullopt;
}

} // namespace shopfloor
