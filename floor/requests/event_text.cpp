#include "floor/requests/event_text.h"

#include <algorithm>

#include "floor/requests/texts.h"

namespace shopfloor {

std::string event_text(std::string_view start, const event &one)
{
    std::string text = "id: " + std::string(start) + "-" + std::to_string(one.number) +
                       "\nevent: " + one.kind + "\ndata: ";
    const auto content = text.size();
    text += one.content;
    // An end of line would end the data; between the parts of JSON a blank means the same.
    std::replace_if(
        text.begin() + static_cast<std::ptrdiff_t>(content), text.end(),
        [](char each) { return each == '\n' || each == '\r'; }, ' ');
    return text + "\n\n";
}

std::optional<std::uint64_t> number_of_event(std::string_view start, std::string_view id)
{
    if (!id.starts_with(start) || !id.substr(start.size()).starts_with('-')) {
        return std::nullopt;
    }
    const auto number = read_number(id.substr(start.size() + 1));
    return number ? std::optional(static_cast<std::uint64_t>(*number)) : std::nullopt;
}

} // namespace shopfloor
