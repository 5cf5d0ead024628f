#include "station/product/listing.h"

#include <algorithm>

#include "station/console/console_text.h"

namespace station {

std::vector<std::string> unwrapped(const std::vector<std::string_view> &lines, std::size_t columns)
{
    std::vector<std::string> whole;
    bool goes_on = false;
    for (const auto line : lines) {
        if (goes_on) {
            whole.back() += line;
        } else {
            whole.emplace_back(line);
        }
        goes_on = line.size() == columns;
    }
    return whole;
}

listing listing::of(std::string_view text, std::size_t columns)
{
    listing read;
    const auto lines = lines_of(text);
    read.lines.assign(lines.begin(), lines.end());
    const auto whole = unwrapped(lines, columns);
    std::copy_if(whole.begin(), whole.end(), std::back_inserter(read.lines),
                 [&](const std::string &line) { return line.size() > columns; });
    return read;
}

bool listing::has(std::string_view line) const
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

std::optional<std::string> listing::value(std::string_view name) const
{
    const auto begin = std::string(name) + "=";
    // From the end, where the lines stand that were put together.
    const auto found = std::find_if(lines.rbegin(), lines.rend(), [&](const std::string &line) {
        return line.starts_with(begin);
    });
    return found == lines.rend() ? std::nullopt : std::optional(found->substr(begin.size()));
}

const listing *readings::agreed() const
{
    for (auto at = all_.begin(); at != all_.end(); ++at) {
        if (std::find(at + 1, all_.end(), *at) != all_.end()) {
            return &*at;
        }
    }
    return nullptr;
}

bool readings::agree_on(std::string_view line) const
{
    return std::count_if(all_.begin(), all_.end(),
                         [&](const listing &each) { return each.has(line); }) >= 2;
}

} // namespace station
