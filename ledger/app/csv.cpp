#include "ledger/app/csv.h"

#include <algorithm>
#include <array>

#include "ledger/model/texts.h"

namespace ledger {

namespace {

struct record {
    std::int64_t line = 0;
    std::vector<std::string> fields = {};
    std::string mistake = {};
};

struct column {
    std::string_view name;
    std::string imported_line::*field;
};

constexpr std::array columns{
    column{"label", &imported_line::label},         column{"product", &imported_line::product},
    column{"serial", &imported_line::serial},       column{"mac", &imported_line::mac},
    column{"mac_count", &imported_line::mac_count}, column{"state", &imported_line::state},
};

/** Takes records off a text, one after the other. */
class record_reader {
public:
    explicit record_reader(std::string_view text) : rest_(text) {}

    bool more() const { return !rest_.empty(); }

    record next()
    {
        record one{line_};
        for (bool goes_on = true; goes_on;) {
            one.fields.push_back(starts_with('"') ? quoted(one.mistake) : plain());
            goes_on = starts_with(',');
            if (goes_on) {
                rest_.remove_prefix(1);
            }
        }
        end_of_line(one.mistake);
        return one;
    }

private:
    bool starts_with(char what) const { return !rest_.empty() && rest_[0] == what; }

    std::string plain()
    {
        const auto field = rest_.substr(0, rest_.find_first_of(",\r\n"));
        rest_.remove_prefix(field.size());
        return std::string(field);
    }

    std::string quoted(std::string &mistake)
    {
        std::string field;
        rest_.remove_prefix(1);
        while (true) {
            const auto part = rest_.substr(0, rest_.find('"'));
            line_ += std::count(part.begin(), part.end(), '\n');
            field += part;
            rest_.remove_prefix(part.size());
            if (rest_.empty()) {
                mistake = "a quote is not closed";
                return field;
            }
            rest_.remove_prefix(1);
            if (!starts_with('"')) {
                return field;
            }
            field += '"';
            rest_.remove_prefix(1);
        }
    }

    void end_of_line(std::string &mistake)
    {
        const auto end = rest_.find('\n');
        auto left = rest_.substr(0, end);
        rest_ = end == std::string_view::npos ? std::string_view() : rest_.substr(end + 1);
        left.remove_suffix(!left.empty() && left.back() == '\r' ? 1 : 0);
        if (!left.empty() && mistake.empty()) {
            mistake = "\"" + shown(left) + "\" stands behind the end of a field";
        }
        ++line_;
    }

    std::string_view rest_;
    std::int64_t line_ = 1;
};

void check_encoding(std::string_view text)
{
    for (const std::string_view mark : {"\xEF\xBB\xBF", "\xFE\xFF", "\xFF\xFE"}) {
        if (text.starts_with(mark)) {
            refuse("the file begins with a byte-order mark: save it as UTF-8 without one");
        }
    }
    if (text.empty()) {
        refuse("the file is empty: its first line names the columns, as in "
               "label,product,serial,mac");
    }
}

std::vector<column> read_columns(const record &head)
{
    std::vector<column> read;
    for (const auto &name : head.fields) {
        const auto known = std::find_if(columns.begin(), columns.end(),
                                        [&](const column &each) { return each.name == name; });
        if (known == columns.end() || !head.mistake.empty()) {
            refuse("line 1: the column \"" + shown(name) +
                   "\" is not known: there are label, product, serial, mac, mac_count and state");
        }
        if (std::any_of(read.begin(), read.end(),
                        [&](const column &each) { return each.name == name; })) {
            refuse("line 1: the column \"" + name + "\" is there twice");
        }
        read.push_back(*known);
    }
    for (const std::string_view needed : {"label", "product"}) {
        if (std::none_of(read.begin(), read.end(),
                         [&](const column &each) { return each.name == needed; })) {
            refuse("line 1: the column \"" + std::string(needed) + "\" is missing");
        }
    }
    return read;
}

} // namespace

std::vector<imported_line> read_csv(std::string_view text)
{
    check_encoding(text);
    record_reader reader(text);
    const auto read = read_columns(reader.next());
    std::vector<imported_line> lines;
    while (reader.more()) {
        const auto one = reader.next();
        if (one.fields.size() == 1 && one.fields[0].empty() && one.mistake.empty()) {
            continue;
        }
        imported_line line;
        line.line = one.line;
        if (!one.mistake.empty()) {
            line.mistakes.push_back(one.mistake);
        } else if (one.fields.size() != read.size()) {
            line.mistakes.push_back(std::to_string(one.fields.size()) + " fields stand where " +
                                    std::to_string(read.size()) + " are expected");
        }
        for (std::size_t at = 0; at < std::min(one.fields.size(), read.size()); ++at) {
            line.*read[at].field = one.fields[at];
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string csv_line(const std::vector<std::string> &fields)
{
    std::string line;
    for (const auto &field : fields) {
        line += &field == fields.data() ? "" : ",";
        if (field.find_first_of(",\"\r\n") == std::string::npos) {
            line += field;
            continue;
        }
        line += '"';
        for (const char each : field) {
            line += each == '"' ? std::string("\"\"") : std::string(1, each);
        }
        line += '"';
    }
    return line + "\n";
}

} // namespace ledger
