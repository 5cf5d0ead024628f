#include "station/product/value_form.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include <re2/re2.h>

#include "station/base/bytes.h"

namespace station {

namespace {

constexpr std::size_t mac_size = 6;
constexpr std::int64_t all_macs = std::int64_t(1) << 48;
constexpr std::uint8_t group_bit = 0x01;
constexpr std::int64_t longest_text = 511; // what any record of a switch can hold
constexpr std::int64_t most_of_numbers = std::int64_t(1) << 53;

constexpr std::string_view kind_names[] = {"text", "mac", "number", "date"};
constexpr std::string_view name_of_today = "today";

bool is_name(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char each) {
        return (each >= 'a' && each <= 'z') || (each >= '0' && each <= '9') || each == '_';
    });
}

std::optional<std::int64_t> whole_number(std::string_view text)
{
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

std::int64_t mac_number(const bytes &mac)
{
    std::int64_t number = 0;
    for (const auto byte : mac) {
        number = number * 256 + byte;
    }
    return number;
}

std::string mac_text(std::int64_t number)
{
    bytes mac(mac_size);
    for (auto at = mac.rbegin(); at != mac.rend(); ++at) {
        *at = static_cast<std::uint8_t>(number & 0xFF);
        number >>= 8;
    }
    return to_hex(mac, ":");
}

/** Reads one [[value]]. */
class form_reader {
public:
    form_reader(const job_table &table, mistakes &wrong) : table_(table), wrong_(wrong) {}

    value_form read()
    {
        form_.line = table_.line;
        form_.name = table_.text("name", "a text, as in name = \"serial\"", wrong_).value_or("");
        if (table_.has("name") && (!is_name(form_.name) || form_.name == name_of_today)) {
            wrong_.add(table_.line_of("name"),
                       "\"name\" is \"" + printable(form_.name) +
                           "\": expected small letters, digits and \"_\", and another name than "
                           "\"today\"");
        }
        read_kind();
        return std::move(form_);
    }

private:
    void read_kind()
    {
        constexpr auto expected = "text, mac, number or date";
        const auto kind = table_.text("kind", expected, wrong_);
        if (!kind) {
            return;
        }
        const auto *known = std::find(std::begin(kind_names), std::end(kind_names), *kind);
        if (known == std::end(kind_names)) {
            wrong_.add(table_.line_of("kind"),
                       "\"kind\" is \"" + printable(*kind) + "\": expected " + expected);
            return;
        }
        form_.kind = static_cast<value_kind>(known - std::begin(kind_names));
        switch (form_.kind) {
        case value_kind::text:
            read_text();
            break;
        case value_kind::mac:
            table_.allow_only({"name", "kind", "align", "count"}, wrong_);
            form_.align = number_or("align", 1, 1, all_macs);
            form_.count = number_or("count", 1, 1, all_macs);
            break;
        case value_kind::number:
            table_.allow_only({"name", "kind", "least", "most"}, wrong_);
            read_range();
            break;
        case value_kind::date:
            table_.allow_only({"name", "kind"}, wrong_);
            break;
        }
    }

    void read_text()
    {
        table_.allow_only({"name", "kind", "pattern", "length", "shortest", "longest"}, wrong_);
        if (table_.has("length")) {
            form_.shortest = form_.longest =
                static_cast<std::size_t>(number_or("length", 1, 1, longest_text));
        } else {
            form_.shortest = static_cast<std::size_t>(number_or("shortest", 1, 0, longest_text));
            form_.longest = static_cast<std::size_t>(number_or("longest", 0, 1, longest_text));
        }
        read_pattern();
        if (form_.longest == 0 && form_.pattern_text.empty()) {
            wrong_.add(table_.line, "value \"" + printable(form_.name) +
                                        "\" has no form: expected \"pattern\", \"length\" or "
                                        "\"longest\"");
        }
    }

    void read_pattern()
    {
        form_.pattern_text = table_.text_or("pattern", "", wrong_);
        if (form_.pattern_text.empty()) {
            return;
        }
        const auto pattern = std::make_shared<const RE2>(form_.pattern_text, RE2::Quiet);
        if (!pattern->ok()) {
            wrong_.add(table_.line_of("pattern"),
                       "\"pattern\" is \"" + printable(form_.pattern_text) + "\", " +
                           printable(pattern->error()) +
                           ": expected a regular expression, as in pattern = \"[A-Z0-9]{13}\"");
            return;
        }
        form_.pattern = pattern;
    }

    void read_range()
    {
        if (!table_.has("least") || !table_.has("most")) {
            wrong_.add(table_.line, "value \"" + printable(form_.name) +
                                        "\" has no form: expected \"least\" and \"most\"");
            return;
        }
        form_.least = number_or("least", 0, 0, most_of_numbers);
        form_.most = number_or("most", 0, form_.least, most_of_numbers);
    }

    std::int64_t number_or(std::string_view key, std::int64_t otherwise, std::int64_t least,
                           std::int64_t most)
    {
        if (!table_.has(key)) {
            return otherwise;
        }
        const auto expected =
            "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
        const auto number = table_.number(key, expected, wrong_);
        if (number && (*number < least || *number > most)) {
            wrong_.add(table_.line_of(key), "\"" + std::string(key) + "\" is " +
                                                std::to_string(*number) + ": expected " + expected);
            return otherwise;
        }
        return number.value_or(otherwise);
    }

    const job_table &table_;
    mistakes &wrong_;
    value_form form_;
};

checked_value check_text(const value_form &form, const std::string &text)
{
    if (text.size() < form.shortest || (form.longest != 0 && text.size() > form.longest)) {
        const auto most =
            form.longest == 0 ? std::string(" or more") : " to " + std::to_string(form.longest);
        const bool exact = form.shortest == form.longest;
        return {text, "expected " + std::to_string(form.shortest) + (exact ? "" : most) +
                          " characters, not " + std::to_string(text.size())};
    }
    if (text.size() > static_cast<std::size_t>(longest_text) ||
        !std::all_of(text.begin(), text.end(),
                     [](char each) { return each >= ' ' && each <= '~'; })) {
        return {text, "expected printable ASCII characters, at most 511"};
    }
    if (form.pattern && !RE2::FullMatch(text, *form.pattern)) {
        return {text, "expected what the pattern \"" + form.pattern_text + "\" describes"};
    }
    return {text, ""};
}

checked_value check_mac(const value_form &form, const std::string &text)
{
    const auto mac = bytes_of_hex(text);
    if (!mac || mac->size() != mac_size) {
        return {text, "expected six bytes in hexadecimal, as in 00:1A:2B:3C:4D:40"};
    }
    const auto number = mac_number(*mac);
    if (number == 0 || (mac->front() & group_bit) != 0) {
        return {text, "expected the address of a single station"};
    }
    if (number % form.align != 0) {
        return {text, "expected a multiple of " + std::to_string(form.align)};
    }
    if (number + form.count > all_macs) {
        return {text, "expected room for " + std::to_string(form.count) + " addresses from it on"};
    }
    return {mac_text(number), ""};
}

checked_value check_number(const value_form &form, const std::string &text)
{
    const auto number = whole_number(text);
    if (!number || *number < form.least || *number > form.most) {
        return {text, "expected a whole number from " + std::to_string(form.least) + " to " +
                          std::to_string(form.most)};
    }
    return {std::to_string(*number), ""};
}

checked_value check_date(const std::string &text)
{
    constexpr std::size_t size = 10;
    const std::string_view all(text);
    const bool shaped = all.size() == size && all[4] == '-' && all[7] == '-';
    const auto year = shaped ? whole_number(all.substr(0, 4)) : std::nullopt;
    const auto month = shaped ? whole_number(all.substr(5, 2)) : std::nullopt;
    const auto day = shaped ? whole_number(all.substr(8, 2)) : std::nullopt;
    const bool right =
        year && month && day && *year > 0 && *month > 0 && *day > 0 &&
        std::chrono::year_month_day(std::chrono::year(static_cast<int>(*year)),
                                    std::chrono::month(static_cast<unsigned>(*month)),
                                    std::chrono::day(static_cast<unsigned>(*day)))
            .ok();
    return {text, right ? "" : "expected a date, as in 2024-01-31"};
}

/** Fills the texts of one job. */
class filler {
public:
    filler(const filled_values &values, mistakes &wrong) : values_(values), wrong_(wrong) {}

    job_table fill(const job_table &table)
    {
        auto out = table;
        for (auto &[key, value] : out.values) {
            if (const auto *text = std::get_if<std::string>(&value.what)) {
                value = fill_text(*text, value.line);
            } else if (auto *tables = std::get_if<std::vector<job_table>>(&value.what)) {
                std::transform(tables->begin(), tables->end(), tables->begin(),
                               [this](const job_table &each) { return fill(each); });
            } else if (const auto *single = std::get_if<single_table>(&value.what)) {
                value.what = std::make_shared<const job_table>(fill(**single));
            }
        }
        return out;
    }

private:
    job_value fill_text(const std::string &text, int line)
    {
        job_value out;
        out.line = line;
        std::string filled;
        for (std::size_t at = 0; at < text.size();) {
            const auto here = std::string_view(text).substr(at);
            if (here.starts_with("{{") || here.starts_with("}}")) {
                filled += here[0];
                at += 2;
            } else if (here[0] == '}') {
                wrong_.add(line, "a \"}\" without a \"{\" in \"" + printable(text) +
                                     "\": expected {name}, or }} for the bracket itself");
                return out;
            } else if (here[0] == '{') {
                const auto end = here.find('}');
                if (end == std::string_view::npos) {
                    wrong_.add(line, "a \"{\" is never closed in \"" + printable(text) +
                                         "\": expected {name}, or {{ for the bracket itself");
                    return out;
                }
                const auto [shown, number] = value_of(here.substr(1, end - 1), line);
                filled += shown;
                at += end + 1;
                out.number = end + 1 == text.size() ? number : std::nullopt;
            } else {
                filled += here[0];
                ++at;
            }
        }
        out.what = std::move(filled);
        return out;
    }

    /** The text at a place, and its number where it is of that kind. */
    std::pair<std::string, std::optional<std::int64_t>> value_of(std::string_view place, int line)
    {
        if (place == name_of_today) {
            return {values_.today, std::nullopt};
        }
        const auto plus = place.find('+');
        const auto name = place.substr(0, plus);
        const auto found = std::find_if(values_.forms.begin(), values_.forms.end(),
                                        [&](const value_form &each) { return each.name == name; });
        if (found == values_.forms.end()) {
            wrong_.add(line, "{" + printable(place) +
                                 "}: the product has no such value: expected " + all_names());
            return {};
        }
        const auto given = values_.given.find(name);
        if (given == values_.given.end()) {
            return {}; // told where the value is missing
        }
        if (plus == std::string_view::npos) {
            return {given->second,
                    found->kind == value_kind::number ? whole_number(given->second) : std::nullopt};
        }
        return added(*found, given->second, place.substr(plus + 1), line);
    }

    std::pair<std::string, std::optional<std::int64_t>>
    added(const value_form &form, const std::string &text, std::string_view more, int line)
    {
        const auto place = "{" + form.name + "+" + printable(more) + "}: ";
        const auto offset = whole_number(more);
        const bool mac = form.kind == value_kind::mac;
        if ((!mac && form.kind != value_kind::number) || !offset || *offset < 0) {
            wrong_.add(line, place + "expected a value of kind mac or number, and a whole number "
                                     "behind the \"+\"");
            return {};
        }
        if (mac && *offset >= form.count) {
            wrong_.add(line, place + "a unit has " + std::to_string(form.count) +
                                 " addresses: expected at most +" + std::to_string(form.count - 1));
            return {};
        }
        if (mac) {
            return {mac_text(mac_number(bytes_of_hex(text).value_or(bytes(mac_size))) + *offset),
                    std::nullopt};
        }
        if (*offset > most_of_numbers) {
            wrong_.add(line, place + "expected a smaller number");
            return {};
        }
        const auto sum = whole_number(text).value_or(0) + *offset;
        return {std::to_string(sum), sum};
    }

    std::string all_names() const
    {
        std::string out;
        for (const auto &each : values_.forms) {
            out += each.name + ", ";
        }
        return out + std::string(name_of_today);
    }

    const filled_values &values_;
    mistakes &wrong_;
};

} // namespace

std::vector<value_form> read_value_forms(const job_table &product, mistakes &wrong)
{
    std::vector<value_form> forms;
    for (const auto &table : product.tables("value", wrong)) {
        forms.push_back(form_reader(table, wrong).read());
        const auto &name = forms.back().name;
        const auto earlier = std::find_if(forms.begin(), forms.end() - 1,
                                          [&](const auto &each) { return each.name == name; });
        if (earlier != forms.end() - 1 && !name.empty()) {
            wrong.add(table.line, "value \"" + printable(name) + "\" stands on line " +
                                      std::to_string(earlier->line) + " already");
        }
    }
    return forms;
}

checked_value check_value(const value_form &form, const std::string &text)
{
    switch (form.kind) {
    case value_kind::text:
        return check_text(form, text);
    case value_kind::mac:
        return check_mac(form, text);
    case value_kind::number:
        return check_number(form, text);
    default:
        return check_date(text);
    }
}

job_table filled(const job_table &job, const filled_values &values, mistakes &wrong)
{
    return filler(values, wrong).fill(job);
}

} // namespace station
