#include "entry_reader.h"

namespace station {

namespace {

std::optional<std::uint8_t> digit(char character)
{
    if (character >= '0' && character <= '9') {
        return static_cast<std::uint8_t>(character - '0');
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<std::uint8_t>(character - 'A' + 10);
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<std::uint8_t>(character - 'a' + 10);
    }
    return std::nullopt;
}

/** The bytes of "00 1A 2B", "00:1A:2B" or "001A2B"; none where it is something else. */
std::optional<bytes> from_hex(std::string_view text)
{
    bytes out;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == ' ' || text[at] == ':') {
            ++at;
            continue;
        }
        const auto high = digit(text[at]);
        const auto low = at + 1 < text.size() ? digit(text[at + 1]) : std::nullopt;
        if (!high || !low) {
            return std::nullopt;
        }
        out.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
        at += 2;
    }
    return out;
}

} // namespace

std::optional<std::string> entry_reader::read_name(std::string_view example)
{
    auto name =
        table_.text("name", "a text, as in name = \"" + std::string(example) + "\"", wrong_);
    name_ = name.value_or("");
    return name;
}

std::optional<bytes> entry_reader::read_value()
{
    const bool text = has_text();
    const bool hex = table_.has("hex");
    if (text == hex) {
        complain(text ? "hex" : "name",
                 std::string(text ? "both \"text\" and \"hex\"" : "no value") +
                     ": expected either text = \"...\" or hex = \"00 1A 2B\"");
        return std::nullopt;
    }
    return text ? read_text() : read_hex();
}

std::optional<bytes> entry_reader::read_text()
{
    const auto text = table_.text("text", "a text, as in text = \"CN\"", wrong_);
    if (!text) {
        return std::nullopt;
    }
    return bytes(text->begin(), text->end());
}

std::optional<bytes> entry_reader::read_hex()
{
    const auto text = table_.text("hex", "a text, as in hex = \"00 1A 2B\"", wrong_);
    if (!text) {
        return std::nullopt;
    }
    auto value = from_hex(*text);
    if (!value) {
        complain("hex", "\"" + printable(*text) +
                            "\" is not hexadecimal: expected pairs of digits, as in hex = \"00 1A "
                            "2B\"");
    }
    return value;
}

void entry_reader::complain(std::string_view key, const std::string &what)
{
    const auto whose =
        name_.empty() ? std::string() : std::string(kind_) + " \"" + printable(name_) + "\": ";
    wrong_.add(table_.line_of(key), whose + what);
}

std::string size_of(const bytes &value)
{
    return std::to_string(value.size()) + (value.size() == 1 ? " byte" : " bytes");
}

} // namespace station
