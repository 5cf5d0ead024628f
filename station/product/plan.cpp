#include "station/product/plan.h"

#include <algorithm>
#include <ctime>

#include "station/base/bytes.h"
#include "station/jobs/product_info.h"

namespace station {

namespace {

/** Gathers what is told of several files. */
class all_mistakes {
public:
    /** Runs a part of the work that may throw job_error; goes on afterwards in any case. */
    template <class work>
    void gather(work part)
    {
        try {
            part();
        } catch (const job_error &error) {
            text_.append(text_.empty() ? "" : "\n").append(error.what());
        }
    }

    bool none() const { return text_.empty(); }

    void check() const
    {
        if (!none()) {
            throw job_error(text_);
        }
    }

private:
    std::string text_;
};

std::string names_of(const std::vector<value_form> &forms)
{
    std::string out;
    for (const auto &each : forms) {
        out += (out.empty() ? "" : ", ") + each.name;
    }
    return out;
}

/** The values as they are stored. Every mistake is told. */
given_values checked_values(const product &what, const given_values &given, mistakes &wrong)
{
    given_values values;
    for (const auto &form : what.values) {
        const auto found = given.find(form.name);
        if (found == given.end()) {
            wrong.add(form.line,
                      "no value for \"" + form.name + "\": expected --value " + form.name + "=...");
            continue;
        }
        const auto [text, complaint] = check_value(form, found->second);
        if (!complaint.empty()) {
            wrong.add(form.line, "value \"" + form.name + "\" is \"" + printable(found->second) +
                                     "\": " + complaint);
        }
        values.emplace(form.name, text);
    }
    for (const auto &[name, text] : given) {
        if (std::ranges::find(what.values, name, &value_form::name) == what.values.end()) {
            wrong.add(1, "the product has no value \"" + printable(name) + "\": expected " +
                             names_of(what.values));
        }
    }
    return values;
}

std::string name_of_line(const std::string &line)
{
    return line.substr(0, line.find('='));
}

/** Puts a listed line in place of the one of the same name. */
void put_line(plan &made, const std::string &line)
{
    const auto name = name_of_line(line);
    const auto found =
        std::find_if(made.lines.begin(), made.lines.end(),
                     [&](const std::string &each) { return name_of_line(each) == name; });
    if (found == made.lines.end()) {
        made.lines.push_back(line);
    } else {
        *found = line;
    }
}

/** What the switch lists after a step, of what it did not before. */
void add_listed(plan &made, const product_step &step, const job_table &job, mistakes &wrong)
{
    const bool tlv = made.what.flavour == switch_flavour::tlv;
    if (step.operation == "setsn") {
        const auto serial = read_serial(job, wrong);
        put_line(made, "SerialNO=" + std::string(serial.begin(), serial.end()));
        return;
    }
    if (step.operation != "setmac") {
        return;
    }
    const auto shown = tlv ? preview_of_tlv(job, wrong) : preview_of(job, wrong);
    if (tlv) {
        made.lines.clear(); // it makes the whole EEPROM
    }
    for (const auto &line : shown.lines) {
        put_line(made, line);
    }
    made.not_listed = shown.remark;
}

void plan_step(plan &made, const product_step &step, const filled_values &values, bool values_right)
{
    mistakes wrong(step.job);
    const auto job = filled(read_job_file(step.job), values, wrong);
    wrong.check();
    if (!values_right) {
        return; // what a job makes of them says nothing about the job
    }
    const bool tlv = made.what.flavour == switch_flavour::tlv;
    const auto &command = *operations_of(tlv).at(step.operation);
    const auto prepare =
        tlv && command.prepare_tlv != nullptr ? command.prepare_tlv : command.prepare;
    made.steps.push_back({step, prepare(job, wrong), command.attempts});
    wrong.check();
    add_listed(made, step, job, wrong);
}

void plan_identity(plan &made, const identity_record &record, mistakes &wrong)
{
    const auto begin = record.name + "=";
    const auto found = std::find_if(made.lines.begin(), made.lines.end(),
                                    [&](const auto &line) { return line.starts_with(begin); });
    if (found == made.lines.end()) {
        wrong.add(record.line, "no step leaves a record \"" + printable(record.name) +
                                   "\" that the switch lists: expected one that does");
        return;
    }
    made.identity.push_back({record, found->substr(begin.size())});
}

} // namespace

plan make_plan(const product &what, const given_values &given, const std::string &today)
{
    plan made;
    made.what = what;
    all_mistakes all;
    all.gather([&] {
        mistakes wrong(what.file);
        made.values = checked_values(what, given, wrong);
        wrong.check();
    });
    const bool values_right = all.none();
    const filled_values values{what.values, made.values, today};
    for (const auto &step : what.steps) {
        all.gather([&] { plan_step(made, step, values, values_right); });
    }
    // What the jobs leave is known once they are right.
    all.check();
    mistakes wrong(what.file);
    for (const auto &record : what.identity) {
        plan_identity(made, record, wrong);
    }
    wrong.check();
    return made;
}

std::string date_of_today()
{
    const auto now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[32] = "";
    std::strftime(text, sizeof(text), "%Y-%m-%d", &parts);
    return text;
}

} // namespace station
