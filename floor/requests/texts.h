#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace shopfloor {

/** Throws request_error of that code unless the text is of at most 500 bytes of UTF-8 without
 * control characters. */
void check_text(const std::string &what, std::string_view text, const char *code = "bad_request");

/** A whole number of decimal digits without leading zeros. */
std::optional<std::int64_t> read_number(std::string_view text);

} // namespace shopfloor
