#include "floor/requests/parameters.h"

#include <algorithm>
#include <array>
#include <optional>

#include "floor/requests/answers.h"
#include "floor/requests/json_input.h"
#include "floor/requests/texts.h"
#include "ledger/model/texts.h"
#include "ledger/model/time.h"

namespace shopfloor {

namespace {

constexpr std::int64_t longest_page = 1000;

struct filter {
    std::string_view name;
    std::string list_request::*field;
    bool of_units;
    bool of_attempts;
    bool of_prints;

    bool is_of(row_kind kind) const
    {
        return kind == row_kind::units      ? of_units
               : kind == row_kind::attempts ? of_attempts
                                            : of_prints;
    }
};

constexpr std::array filters{
    filter{"label", &list_request::label, true, true, true},
    filter{"product", &list_request::product, true, true, false},
    filter{"state", &list_request::state, true, false, true},
    filter{"outcome", &list_request::outcome, false, true, false},
    filter{"slot", &list_request::slot, false, true, false},
    filter{"operator", &list_request::operator_badge, false, true, false},
    filter{"since", &list_request::since, true, true, true},
    filter{"until", &list_request::until, true, true, true},
};

[[noreturn]] void refuse_unknown(const parameter &one)
{
    throw request_error("bad_request",
                        "the parameter " + ledger::shown(one.name) + " is not known here");
}

std::int64_t number_of(const parameter &one)
{
    const auto number = read_number(one.value);
    if (!number) {
        throw request_error("bad_request", "the parameter " + one.name + " is no whole number");
    }
    return *number;
}

void take_filter(row_kind kind, const parameter &one, list_request &wanted)
{
    for (const auto &each : filters) {
        if (each.is_of(kind) && each.name == one.name) {
            wanted.*each.field = one.value;
            return;
        }
    }
    refuse_unknown(one);
}

/** A limit of times as the ledger compares it. */
std::string time_limit(const std::string &name, const std::string &value)
{
    const auto limit = value.empty() ? std::optional(value) : ledger::read_time_limit(value);
    if (!limit) {
        throw request_error("bad_request", "the parameter " + name + " is no time",
                            "Write it as 2026-11-21 or 2026-11-21T08:30:00Z");
    }
    return *limit;
}

} // namespace

start_request read_start(int slot, std::string_view body)
{
    json_input in(body);
    start_request wanted;
    wanted.slot = slot;
    wanted.label = in.needed_text("label", "bad_label");
    wanted.product = in.text("product");
    wanted.serial = in.text("serial");
    wanted.mac = in.text("mac");
    wanted.operator_badge = in.text("operator");
    wanted.again = in.flag("again");
    wanted.take_over = in.flag("take_over");
    wanted.replace = in.flag("replace");
    wanted.only_check = in.flag("only_check");
    in.end();
    return wanted;
}

std::string read_badge(std::string_view body)
{
    json_input in(body);
    auto badge = in.needed_text("badge");
    in.end();
    return badge;
}

std::string read_code(std::string_view body)
{
    json_input in(body);
    auto code = in.needed_text("code");
    in.end();
    return code;
}

std::string read_fault(std::string_view body)
{
    json_input in(body);
    auto fault = in.text("fault");
    in.end();
    return fault;
}

print_wanted read_print(std::string_view body)
{
    json_input in(body);
    print_wanted wanted{in.needed_text("label", "bad_label"), in.text("operator")};
    in.end();
    return wanted;
}

void read_nothing(std::string_view body)
{
    if (!body.empty()) {
        json_input(body).end();
    }
}

list_request read_list(row_kind kind, const target &of, bool by_pages)
{
    list_request wanted;
    for (const auto &one : of.parameters) {
        if (by_pages && one.name == "after") {
            wanted.after = number_of(one);
        } else if (by_pages && one.name == "limit") {
            wanted.limit =
                static_cast<std::size_t>(std::clamp<std::int64_t>(number_of(one), 1, longest_page));
        } else {
            take_filter(kind, one, wanted);
        }
    }
    wanted.since = time_limit("since", wanted.since);
    wanted.until = time_limit("until", wanted.until);
    return wanted;
}

std::string read_search(const target &of)
{
    for (const auto &one : of.parameters) {
        if (one.name != "text") {
            refuse_unknown(one);
        }
    }
    if (of.parameters.empty() || of.parameters[0].value.empty()) {
        throw request_error("bad_request", "the parameter text is missing or empty");
    }
    return of.parameters[0].value;
}

void read_no_parameters(const target &of)
{
    if (!of.parameters.empty()) {
        refuse_unknown(of.parameters[0]);
    }
}

} // namespace shopfloor
