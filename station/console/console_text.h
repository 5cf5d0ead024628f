#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace station {

/**
 * What a console shows as a person reads it: without escape sequences and what backspaces take
 * back, every line ended by LF alone. Messages that the kernel stamps with its time
 * ("[   12.345678] ...") are taken out wherever they begin, with the end of their line, so that
 * what they broke into is whole again.
 */
std::string readable(std::string_view raw);

/** The line that the console is in: what comes after the last line end. */
std::string_view last_line(std::string_view text);

/** The lines of a readable text that hold anything; they lie in that text. */
std::vector<std::string_view> lines_of(std::string_view text);

/**
 * Whether both are the same but for blanks, line ends and other characters that are not printed: a
 * shell that wraps a long line adds such ones.
 */
bool same_but_for_blanks(std::string_view one, std::string_view other);

} // namespace station
