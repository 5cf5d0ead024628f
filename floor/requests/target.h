#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace shopfloor {

struct parameter {
    std::string name = {};
    std::string value = {};
};

/** What a request is for: "/api/units?state=void". */
struct target {
    std::string path = {}; // as it was sent: no path here needs an escape
    std::vector<parameter> parameters = {};
};

/**
 * The target's parts. Throws request_error where it does not begin with "/", or where its
 * parameters are not of UTF-8 without control characters, or one is there twice.
 */
target read_target(std::string_view text);

/** Its path alone, of a target of any kind. */
std::string_view path_of(std::string_view text);

} // namespace shopfloor
