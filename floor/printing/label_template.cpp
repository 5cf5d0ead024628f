#include "floor/printing/label_template.h"

#include <algorithm>
#include <sstream>

#include "station/base/bytes.h"
#include "station/jobs/job_file.h"

namespace shopfloor {

namespace {

// Printers of labels take these for the begin of a command.
constexpr std::string_view begins_of_commands = "^~";

/** Values are scanned, or typed in: what they hold must stay text for the printer. */
void check_value(const std::string &name, const std::string &text)
{
    if (text.find_first_of(begins_of_commands) != std::string::npos) {
        throw station::job_error(name + " " + station::printable(text) +
                                 " holds a ^ or ~, which printers take for a command");
    }
}

station::value_form any_text(const std::string &name)
{
    station::value_form form;
    form.name = name;
    return form;
}

/** A value of each kind, to try the places with. */
std::string example_of(const station::value_form &form)
{
    return form.kind == station::value_kind::mac      ? "00:1A:2B:00:00:00"
           : form.kind == station::value_kind::number ? "0"
           : form.kind == station::value_kind::date   ? "2024-01-31"
                                                      : "A";
}

} // namespace

label_template::label_template(std::string file, std::string text, const station::product &of)
    : file_(std::move(file)), text_(std::move(text)), product_(of.name), forms_(of.values)
{
    forms_.push_back(any_text("label"));
    forms_.push_back(any_text("product"));
    station::given_values examples;
    for (const auto &each : forms_) {
        examples[each.name] = example_of(each);
    }
    filled(examples, examples.contains("today") ? "" : "2024-01-31");
}

std::string label_template::filled(const label_values &with) const
{
    auto values = with.of_product;
    values["label"] = with.label;
    for (const auto &[name, text] : values) {
        check_value(name, text);
    }
    values["product"] = product_;
    return filled(values, with.today);
}

std::string label_template::filled(const station::given_values &values,
                                   const std::string &today) const
{
    constexpr auto *key = "line";
    station::mistakes wrong(file_);
    const station::filled_values places{forms_, values, today};
    std::istringstream in(text_);
    std::string out;
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        station::job_table one;
        one.values[key] = {line, number, std::nullopt};
        const auto full = station::filled(one, places, wrong);
        out += std::get<std::string>(full.values.at(key).what) + (in.eof() ? "" : "\n");
    }
    wrong.check();
    return out;
}

} // namespace shopfloor
