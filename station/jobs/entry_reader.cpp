#include "station/jobs/entry_reader.h"

namespace station {

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
    auto value = bytes_of_hex(*text);
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
