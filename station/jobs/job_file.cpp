#include "station/jobs/job_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include <toml++/toml.h>

namespace station {

namespace {

job_table converted(const toml::table &table);

int line_of(const toml::node &node)
{
    return static_cast<int>(node.source().begin.line);
}

std::string kind_name(toml::node_type type)
{
    switch (type) {
    case toml::node_type::array:
        return "a list";
    case toml::node_type::floating_point:
        return "a number with a point";
    default:
        return "a date or time";
    }
}

bool is_list_of(toml::node_type type, const toml::array *array)
{
    return array != nullptr && !array->empty() && array->is_homogeneous(type);
}

text_list texts_of(const toml::array &array)
{
    text_list texts;
    for (const auto &element : array) {
        texts.push_back(element.as_string()->get());
    }
    return texts;
}

job_value converted(const toml::node &node)
{
    job_value value;
    value.line = line_of(node);
    if (const auto *text = node.as_string()) {
        value.what = text->get();
    } else if (const auto *number = node.as_integer()) {
        value.what = number->get();
    } else if (const auto *flag = node.as_boolean()) {
        value.what = flag->get();
    } else if (const auto *array = node.as_array(); is_list_of(toml::node_type::string, array)) {
        value.what = texts_of(*array);
    } else if (is_list_of(toml::node_type::table, array)) {
        std::vector<job_table> tables;
        for (const auto &element : *array) {
            tables.push_back(converted(*element.as_table()));
        }
        value.what = std::move(tables);
    } else if (const auto *table = node.as_table()) {
        value.what = std::make_shared<const job_table>(converted(*table));
    } else {
        value.what = other_value{kind_name(node.type())};
    }
    return value;
}

job_table converted(const toml::table &table)
{
    job_table out;
    out.line = std::max(1, line_of(table));
    for (const auto &[key, node] : table) {
        auto value = converted(node);
        value.line = static_cast<int>(key.source().begin.line);
        out.values.emplace(std::string(key.str()), std::move(value));
    }
    return out;
}

std::string listed(std::initializer_list<std::string_view> keys)
{
    std::string out;
    for (const auto key : keys) {
        out.append(out.empty() ? "" : ", ").append(key);
    }
    return out;
}

template <class kind>
std::optional<kind> value_of(const job_table &table, std::string_view key,
                             std::string_view expected, mistakes &wrong)
{
    const auto found = table.values.find(key);
    if (found == table.values.end()) {
        wrong.add(table.line,
                  "missing \"" + std::string(key) + "\": expected " + std::string(expected));
        return std::nullopt;
    }
    if (const auto *value = std::get_if<kind>(&found->second.what)) {
        return *value;
    }
    if constexpr (std::is_same_v<kind, std::int64_t>) {
        if (found->second.number) {
            return found->second.number;
        }
    }
    wrong.add(found->second.line, "\"" + std::string(key) + "\" is " + found->second.kind() +
                                      ": expected " + std::string(expected));
    return std::nullopt;
}

/** The table or tables of a key, where they are of that kind. */
template <class kind>
const kind *part_of(const job_table &table, std::string_view key)
{
    const auto found = table.values.find(key);
    return found == table.values.end() ? nullptr : std::get_if<kind>(&found->second.what);
}

void complain_of_part(const job_table &table, std::string_view key, const std::string &expected,
                      mistakes &wrong)
{
    const auto found = table.values.find(key);
    const std::string name(key);
    wrong.add(table.line_of(key),
              (found == table.values.end() ? "no " + name
                                           : "\"" + name + "\" is " + found->second.kind()) +
                  ": expected " + expected);
}

std::string contents_of(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (in && in.peek() != std::ifstream::traits_type::eof()) {
        text << in.rdbuf();
    }
    if (!in && !in.eof()) {
        throw job_error(path + ": cannot read it: " + std::strerror(errno));
    }
    return text.str();
}

} // namespace

void mistakes::check() const
{
    if (found_.empty()) {
        return;
    }
    auto ordered = found_;
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const auto &one, const auto &two) { return one.first < two.first; });
    std::string text;
    for (const auto &[line, what] : ordered) {
        text.append(text.empty() ? "" : "\n");
        text.append(file_ + ":" + std::to_string(line) + ": " + what);
    }
    throw job_error(text);
}

std::string job_value::kind() const
{
    if (std::holds_alternative<std::string>(what)) {
        return "a text";
    }
    if (std::holds_alternative<std::int64_t>(what)) {
        return "a whole number";
    }
    if (std::holds_alternative<single_table>(what)) {
        return "a table";
    }
    if (std::holds_alternative<bool>(what)) {
        return "true or false";
    }
    if (std::holds_alternative<text_list>(what)) {
        return "a list";
    }
    const auto *other = std::get_if<other_value>(&what);
    return other ? other->kind : "a list of tables";
}

int job_table::line_of(std::string_view key) const
{
    const auto found = values.find(key);
    return found == values.end() ? line : found->second.line;
}

std::optional<std::string> job_table::text(std::string_view key, std::string_view expected,
                                           mistakes &wrong) const
{
    return value_of<std::string>(*this, key, expected, wrong);
}

std::optional<std::int64_t> job_table::number(std::string_view key, std::string_view expected,
                                              mistakes &wrong) const
{
    return value_of<std::int64_t>(*this, key, expected, wrong);
}

std::string job_table::text_or(std::string_view key, std::string_view otherwise,
                               mistakes &wrong) const
{
    return has(key) ? text(key, "a text", wrong).value_or("") : std::string(otherwise);
}

bool job_table::flag_or(std::string_view key, bool otherwise, mistakes &wrong) const
{
    return has(key) ? value_of<bool>(*this, key, "true or false", wrong).value_or(otherwise)
                    : otherwise;
}

text_list job_table::texts(std::string_view key, mistakes &wrong) const
{
    return has(key)
               ? value_of<text_list>(*this, key, "a list of texts", wrong).value_or(text_list())
               : text_list();
}

std::span<const job_table> job_table::tables(std::string_view key, mistakes &wrong) const
{
    const auto *list = part_of<std::vector<job_table>>(*this, key);
    if (list == nullptr) {
        complain_of_part(*this, key, "at least one [[" + std::string(key) + "]]", wrong);
        return {};
    }
    return *list;
}

const job_table *job_table::table(std::string_view key, mistakes &wrong) const
{
    const auto *single = part_of<single_table>(*this, key);
    if (single == nullptr) {
        complain_of_part(*this, key, "[" + std::string(key) + "]", wrong);
        return nullptr;
    }
    return single->get();
}

void job_table::allow_only(std::initializer_list<std::string_view> keys, mistakes &wrong) const
{
    for (const auto &[key, value] : values) {
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            wrong.add(value.line, "unknown key \"" + key + "\": expected " + listed(keys));
        }
    }
}

job_table read_job_file(const std::string &path)
{
    const auto text = contents_of(path);
    try {
        return converted(toml::parse(text, path));
    } catch (const toml::parse_error &error) {
        mistakes wrong(path);
        wrong.add(static_cast<int>(error.source().begin.line), std::string(error.description()));
        wrong.check();
        throw;
    }
}

} // namespace station
