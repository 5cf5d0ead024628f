#include "floor/requests/message.h"

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

} // namespace shopfloor
