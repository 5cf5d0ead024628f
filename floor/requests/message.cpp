#include "floor/requests/message.h"

#include <algorithm>

namespace shopfloor {

std::string lower_case(std::string_view text)
{
    std::string lower(text);
    for (char &each : lower) {
        if (each >= 'A' && each <= 'Z') {
            each = static_cast<char>(each - 'A' + 'a');
        }
    }
    return lower;
}

std::vector<std::string_view> request::values_of(std::string_view name) const
{
    std::vector<std::string_view> values;
    for (const auto &each : headers) {
        if (lower_case(each.name) == name) {
            values.push_back(each.value);
        }
    }
    return values;
}

bool has_content(const request &head)
{
    const auto lengths = head.values_of("content-length");
    return !head.values_of("transfer-encoding").empty() ||
           std::any_of(lengths.begin(), lengths.end(),
                       [](std::string_view each) { return each != "0"; });
}

} // namespace shopfloor
