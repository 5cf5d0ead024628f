#include "ledger/model/texts.h"

#include <algorithm>
#include <array>

#include "ledger/model/error.h"

namespace ledger {

namespace {

constexpr std::size_t longest_text = 64;
constexpr std::size_t longest_remark = 500;
constexpr std::size_t longest_shown = 80;

bool is_printable(char each)
{
    return each >= 0x20 && each <= 0x7E;
}

std::string escaped(char each)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(each);
    return {'\\', 'x', digits[byte >> 4], digits[byte & 0xFU]};
}

void check_length(std::string_view what, std::string_view text, std::size_t longest)
{
    if (text.empty()) {
        refuse("the " + std::string(what) + " is empty");
    }
    if (text.size() > longest) {
        refuse("the " + std::string(what) + " \"" + shown(text) + "\" has " +
               std::to_string(text.size()) + " bytes: at most " + std::to_string(longest) +
               " are taken");
    }
}

void check_characters(std::string_view what, std::string_view text, bool (*allowed)(char),
                      std::string_view rule)
{
    const auto wrong = std::find_if_not(text.begin(), text.end(), allowed);
    if (wrong != text.end()) {
        refuse("the " + std::string(what) + " \"" + shown(text) + "\" has \"" +
               shown({wrong, wrong + 1}) + "\" as character " +
               std::to_string(wrong - text.begin() + 1) + ": " + std::string(rule));
    }
}

/** The bytes of the UTF-8 sequence that begins there, 0 where none does. */
std::size_t sequence_length(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC2 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                               : lead < 0xF5 ? 4
                                             : 0;
    if (length == 0 || length > text.size() || lead == 0) {
        return 0;
    }
    for (std::size_t at = 1; at < length; ++at) {
        if ((static_cast<unsigned char>(text[at]) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    const auto second = length > 2 ? static_cast<unsigned char>(text[1]) : 0U;
    const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool outside = (lead == 0xED && second > 0x9F) || (lead == 0xF4 && second > 0x8F);
    return overlong || outside ? 0 : length;
}

} // namespace

void check_label(std::string_view text)
{
    check_length("label", text, longest_text);
    check_characters("label", text, is_printable, "labels are of printable ASCII characters");
    if (text.front() == ' ' || text.back() == ' ') {
        refuse("the label \"" + shown(text) + "\" begins or ends with a blank");
    }
}

void check_serial(std::string_view text)
{
    check_length("serial number", text, longest_text);
    check_characters(
        "serial number", text, [](char each) { return is_printable(each) && each != ' '; },
        "serial numbers are of printable ASCII characters without blanks");
}

void check_name(std::string_view what, std::string_view text)
{
    check_length(what, text, longest_text);
    check_characters(
        what, text,
        [](char each) {
            return (each >= '0' && each <= '9') || (each >= 'A' && each <= 'Z') ||
                   (each >= 'a' && each <= 'z') ||
                   std::string_view("._+-/").find(each) != std::string_view::npos;
        },
        "names are of letters, digits and . _ + - /");
}

void check_remark(std::string_view what, std::string_view text)
{
    check_length(what, text, longest_remark);
    const bool controls = std::any_of(text.begin(), text.end(), [](char each) {
        return static_cast<unsigned char>(each) < 0x20 || each == 0x7F;
    });
    if (controls || !is_utf8(text)) {
        refuse("the " + std::string(what) + " \"" + shown(text) +
               "\" has control characters, or is no UTF-8");
    }
}

bool is_utf8(std::string_view text)
{
    while (!text.empty()) {
        const auto length = sequence_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string kept_text(std::string_view text)
{
    std::string kept;
    while (!text.empty()) {
        const auto length = sequence_length(text);
        kept += length == 0 ? escaped(text[0]) : std::string(text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return kept;
}

std::string shown(std::string_view text)
{
    std::string told;
    for (const char each : text.substr(0, longest_shown)) {
        told += is_printable(each) ? std::string(1, each) : escaped(each);
    }
    return text.size() > longest_shown ? told + "..." : told;
}

} // namespace ledger
