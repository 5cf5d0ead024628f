#include "station/base/report.h"

#include <algorithm>
#include <cctype>

namespace station {

namespace {

constexpr std::string_view gap = "  ";

std::string heading(std::string name)
{
    name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
    return name;
}

std::vector<std::size_t> column_widths(const table &items)
{
    std::vector<std::size_t> widths;
    for (const auto &column : items.columns) {
        widths.push_back(column.size());
    }
    for (const auto &row : items.rows) {
        for (std::size_t at = 0; at < row.size(); ++at) {
            widths[at] = std::max(widths[at], row[at].size());
        }
    }
    return widths;
}

void print_row(std::FILE *out, const std::vector<std::string> &cells,
               const std::vector<std::size_t> &widths)
{
    std::string text;
    for (std::size_t at = 0; at < cells.size(); ++at) {
        text += cells[at];
        text.append(widths[at] - cells[at].size(), ' ').append(gap);
    }
    text.erase(text.find_last_not_of(' ') + 1);
    std::fprintf(out, "%s\n", text.c_str());
}

std::string result_sentence(const outcome &result)
{
    return result.ok() ? "Stored: the switch has confirmed it." : "Failed: " + result.reason + ".";
}

std::string attempts_made(int count)
{
    if (count == 0) {
        return "";
    }
    return std::to_string(count) + (count == 1 ? " attempt, " : " attempts, ");
}

} // namespace

void print_table(std::FILE *out, const table &items)
{
    const auto widths = column_widths(items);
    std::vector<std::string> headings;
    std::transform(items.columns.begin(), items.columns.end(), std::back_inserter(headings),
                   heading);
    print_row(out, headings, widths);
    for (const auto &row : items.rows) {
        print_row(out, row, widths);
    }
}

std::string json_text(std::string_view text)
{
    std::string out = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            out += '\\';
            out += character;
        } else if (character == '\n') {
            out += "\\n";
        } else if (static_cast<unsigned char>(character) < 0x20) {
            const auto byte = static_cast<std::uint8_t>(character);
            out += "\\u00" + to_hex({&byte, 1});
        } else {
            out += character;
        }
    }
    return out + "\"";
}

std::string json_items(const table &items)
{
    std::string out;
    for (const auto &row : items.rows) {
        out += out.empty() ? "\n    {" : ",\n    {";
        for (std::size_t at = 0; at < row.size(); ++at) {
            auto key = items.columns[at];
            std::replace(key.begin(), key.end(), ' ', '_');
            out += (at == 0 ? "" : ", ") + json_text(key) + ": " + json_text(row[at]);
        }
        out += "}";
    }
    return "[" + out + (out.empty() ? "]" : "\n  ]");
}

std::string json_replies(const std::vector<reply> &replies)
{
    std::string out;
    for (const auto &each : replies) {
        out += out.empty() ? "\n    {" : ",\n    {";
        out += R"("byte": ")" + to_hex({&each.byte, 1}) + R"(", "meaning": )" +
               json_text(each.meaning) + "}";
    }
    return "[" + out + (out.empty() ? "]" : "\n  ]");
}

std::string_view word_for_items(const outcome &result)
{
    switch (result.end) {
    case ending::stored:
        return "stored";
    case ending::refused:
        return "refused";
    case ending::failed:
        return "failed";
    case ending::mismatch:
        return "wrong";
    default:
        return result.taken ? "not known" : "not stored";
    }
}

void print_text(std::FILE *out, const report &told)
{
    const auto &result = told.result;
    print_table(out, told.items);
    std::fprintf(out, "\n%s\n", result_sentence(result).c_str());
    if (told.program && result.reason.find(*told.program) == std::string::npos) {
        std::fprintf(out, "Program: %s.\n", told.program->c_str());
    }
    std::fprintf(out, "%s%.1f s.\n", attempts_made(result.attempts).c_str(), told.seconds);
}

void print_json(std::FILE *out, const report &told)
{
    const auto &result = told.result;
    const auto program = told.program ? json_text(*told.program) : "null";
    std::fprintf(out,
                 "{\n"
                 "  \"command\": %s,\n"
                 "  \"ok\": %s,\n"
                 "  \"ending\": %s,\n"
                 "  \"reason\": %s,\n"
                 "  \"attempts\": %d,\n"
                 "  \"seconds\": %.3f,\n"
                 "  \"replies\": %s,\n"
                 "  \"items\": %s,\n"
                 "  \"console\": %s,\n"
                 "  \"program\": %s\n"
                 "}\n",
                 json_text(told.command).c_str(), result.ok() ? "true" : "false",
                 json_text(name_of(result.end)).c_str(), json_text(result.reason).c_str(),
                 result.attempts, told.seconds, json_replies(result.replies).c_str(),
                 json_items(told.items).c_str(), json_text(told.console).c_str(), program.c_str());
}

} // namespace station
