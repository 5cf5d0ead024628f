#include "station/unit_jobs/unit_reader.h"

#include <algorithm>

#include "station/base/bytes.h"

namespace station {

namespace {

bool is_plain(const std::string &text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char character) { return character >= ' ' && character <= '~'; });
}

} // namespace

std::uint32_t unit_reader::number(std::string_view key, std::uint32_t least, std::uint32_t most)
{
    const auto expected =
        "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
    const auto value = table_.number(key, expected, wrong_);
    if (!value) {
        right_ = false;
        return 0;
    }
    if (*value < least || *value > most) {
        complain(key, "\"" + std::string(key) + "\" is " + std::to_string(*value) + ": expected " +
                          expected);
        return 0;
    }
    return static_cast<std::uint32_t>(*value);
}

std::uint8_t unit_reader::byte(std::string_view key)
{
    return static_cast<std::uint8_t>(number(key, 0, 255));
}

std::string unit_reader::text(std::string_view key, std::size_t most)
{
    const auto expected = "a text of 1 to " + std::to_string(most) + " printable ASCII characters";
    auto value = table_.text(key, expected, wrong_);
    if (!value) {
        right_ = false;
        return "";
    }
    if (value->empty() || value->size() > most || !is_plain(*value)) {
        complain(key, "\"" + std::string(key) + "\" is \"" + printable(*value) + "\", " +
                          std::to_string(value->size()) +
                          (value->size() == 1 ? " byte" : " bytes") + ": expected " + expected);
        return "";
    }
    return *value;
}

void unit_reader::complain(std::string_view key, const std::string &what)
{
    right_ = false;
    wrong_.add(table_.line_of(key), what);
}

void unit_places::add(const std::string &place, unit_reader &unit)
{
    if (!unit.right()) {
        return;
    }
    const auto [found, added] = lines_.emplace(place, unit.line());
    if (!added) {
        unit.complain("", place + " is that of line " + std::to_string(found->second) +
                              ": expected each unit once");
    }
}

} // namespace station
