#pragma once

#include <string>
#include <string_view>

namespace ledger {

// Each of these refuses a text that is none of its kind, and says what is wrong with it.

/** What is scanned from a unit: 1 to 64 printable ASCII characters, no blank at either end. */
void check_label(std::string_view text);

/** 1 to 64 printable ASCII characters without blanks. */
void check_serial(std::string_view text);

/** A name of a pool or a product: 1 to 64 letters, digits, or one of "._+-/". */
void check_name(std::string_view what, std::string_view text);

/** What people say, a reason or a name: 1 to 500 bytes of UTF-8 without control characters. */
void check_remark(std::string_view what, std::string_view text);

/** Whether it is UTF-8 without NUL, as both databases can keep it. */
bool is_utf8(std::string_view text);

/** The text with each byte that is_utf8() would not have as "\xNN". */
std::string kept_text(std::string_view text);

/** Text of unknown origin, fit for a terminal: short, other than printable ASCII as "\xNN". */
std::string shown(std::string_view text);

} // namespace ledger
