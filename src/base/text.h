#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

/** The text at the front of `bytes`: up to the first NUL, or all of them where there is none. */
inline std::string_view text_of(std::span<const uint8_t> bytes)
{
    const auto *text = reinterpret_cast<const char *>(bytes.data());
    return {text, bytes.empty() ? 0 : strnlen(text, bytes.size())};
}

// Character classes of the POSIX locale, whatever the environment says.

constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr bool is_letter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

constexpr bool is_hex_digit(char c)
{
    return is_digit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

// The parts of a text. Unlike those of the standard library they cannot throw, and so bring nothing
// of the exception machinery into the executable.

/** The first `count` characters, or all where there are fewer. */
constexpr std::string_view first_part(std::string_view text, size_t count)
{
    return {text.data(), std::min(count, text.size())};
}

/** What follows the first `count` characters, which may be nothing. */
constexpr std::string_view rest_after(std::string_view text, size_t count)
{
    text.remove_prefix(std::min(count, text.size()));
    return text;
}

/** The arguments of a "%.*s" conversion that prints `text`. */
#define TEXT_ARGS(text) static_cast<int>((text).size()), (text).data()
