#include "station/console/console_text.h"

#include <algorithm>

namespace station {

namespace {

constexpr char escape = 0x1B;
constexpr char bell = 0x07;
constexpr char backspace = 0x08;

/** Whether a character is shown as it stands, whatever comes behind it. */
constexpr auto is_plain = [](char character) {
    return static_cast<unsigned char>(character) >= 0x20 && character != '[';
};

constexpr auto is_digit = [](char character) { return character >= '0' && character <= '9'; };

/** Reads on in a text while a test holds. */
template <class test>
std::size_t after_all(std::string_view text, std::size_t at, test holds)
{
    const auto from = std::min(at, text.size());
    const auto *const end = std::find_if_not(text.begin() + from, text.end(), holds);
    return static_cast<std::size_t>(end - text.begin());
}

/** Whether a "[" begins the kernel's stamp: "[   12.345678] ", with six digits behind the point. */
bool is_kernel_stamp(std::string_view text)
{
    constexpr std::size_t decimals = 6;
    const auto number = after_all(text, 1, [](char each) { return each == ' '; });
    const auto point = after_all(text, number, is_digit);
    const auto end = after_all(text, std::min(point + 1, text.size()), is_digit);
    return point > number && point < text.size() && text[point] == '.' &&
           end == point + 1 + decimals && text.substr(end).starts_with("] ");
}

/** Where an escape sequence that begins here ends. */
std::size_t after_escape(std::string_view text, std::size_t at)
{
    const auto kind = at + 1 < text.size() ? text[at + 1] : '\0';
    if (kind == '[') {
        const auto end =
            after_all(text, at + 2, [](char each) { return each >= 0x20 && each < 0x40; });
        return std::min(end + 1, text.size());
    }
    if (kind == ']') {
        const auto end = after_all(
            text, at + 2, [](char each) { return each != bell && each != escape && each != '\n'; });
        return std::min(end + 1, text.size());
    }
    const bool names_characters = kind == '(' || kind == ')'; // by one more
    return std::min(at + (names_characters ? 3 : 2), text.size());
}

/** Where the next line begins. */
std::size_t after_line(std::string_view text, std::size_t at)
{
    const auto end = text.find('\n', at);
    return end == std::string_view::npos ? text.size() : end + 1;
}

/** Where to go on behind the line end at this place, of whatever form. */
std::size_t after_line_end(std::string_view text, std::size_t at)
{
    const auto end = after_all(text, at, [](char each) { return each == '\r'; });
    return end < text.size() && text[end] == '\n' ? end + 1 : end;
}

} // namespace

std::string readable(std::string_view raw)
{
    std::string out;
    out.reserve(raw.size());
    for (std::size_t at = 0; at < raw.size();) {
        const char character = raw[at];
        if (is_plain(character)) {
            const auto end = after_all(raw, at, is_plain);
            out.append(raw, at, end - at);
            at = end;
        } else if (character == '[' && is_kernel_stamp(raw.substr(at))) {
            at = after_line(raw, at);
        } else if (character == escape) {
            at = after_escape(raw, at);
        } else if (character == '\r' || character == '\n') {
            at = after_line_end(raw, at);
            out += '\n';
        } else {
            if (character == backspace && !out.empty() && out.back() != '\n') {
                out.pop_back();
            } else if (character == '[' || character == '\t') {
                out += character;
            }
            ++at;
        }
    }
    return out;
}

std::string_view last_line(std::string_view text)
{
    const auto end = text.rfind('\n');
    return end == std::string_view::npos ? text : text.substr(end + 1);
}

std::vector<std::string_view> lines_of(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        if (end > 0) {
            lines.push_back(text.substr(0, end));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

bool same_but_for_blanks(std::string_view one, std::string_view other)
{
    const auto printed = [](std::string_view text) {
        std::string out;
        std::copy_if(text.begin(), text.end(), std::back_inserter(out),
                     [](char each) { return each > ' ' && each < 0x7F; });
        return out;
    };
    return printed(one) == printed(other);
}

} // namespace station
