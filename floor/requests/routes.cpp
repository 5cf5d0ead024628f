#include "floor/requests/routes.h"

#include <algorithm>
#include <array>
#include <limits>

#include "floor/requests/answers.h"
#include "floor/requests/event_text.h"
#include "floor/requests/page_files.h"
#include "floor/requests/target.h"
#include "floor/requests/texts.h"

namespace shopfloor {

namespace {

/** A request on its way to what it means. */
struct call {
    const request &whole;
    target to;
    std::int64_t number; // in the path
    const door_rules &rules;
    const std::string &start;
};

struct route {
    std::string_view method;
    std::string_view path; // # stands for a number
    task (*make)(const call &);
};

floor_call ask(int status, std::function<void(control &, reply)> what)
{
    return {std::move(what),
            [status](const answer &given) { return answer_response(status, given); }};
}

int slot_of(const call &of)
{
    if (of.number > std::numeric_limits<int>::max()) {
        throw request_error("no_such_slot", "there is no such slot");
    }
    return static_cast<int>(of.number);
}

task session(const call &of)
{
    read_no_parameters(of.to);
    return json_response(200, {{"token", of.rules.token}});
}

task state(const call &of)
{
    read_no_parameters(of.to);
    return ask(200, [](control &floor, const reply &to) { to({floor.state(), {}}); });
}

task events(const call &of)
{
    read_no_parameters(of.to);
    const auto last = of.whole.values_of("last-event-id");
    return events_wanted{last.empty() ? std::nullopt : number_of_event(of.start, last[0])};
}

task start_unit(const call &of)
{
    read_no_parameters(of.to);
    return ask(202, [wanted = read_start(slot_of(of), of.whole.body)](control &floor, reply to) {
        floor.start(wanted, std::move(to));
    });
}

task cancel(const call &of)
{
    read_no_parameters(of.to);
    read_nothing(of.whole.body);
    return ask(
        202, [slot = slot_of(of)](control &floor, reply to) { floor.cancel(slot, std::move(to)); });
}

task change_operator(const call &of)
{
    read_no_parameters(of.to);
    return ask(200, [badge = read_badge(of.whole.body)](control &floor, reply to) {
        floor.change_operator(badge, std::move(to));
    });
}

task confirm(const call &of)
{
    read_no_parameters(of.to);
    return ask(202, [slot = slot_of(of), code = read_code(of.whole.body)](
                        control &floor, reply to) { floor.confirm(slot, code, std::move(to)); });
}

task order_fault(const call &of)
{
    read_no_parameters(of.to);
    return ask(202,
               [slot = slot_of(of), fault = read_fault(of.whole.body)](control &floor, reply to) {
                   floor.order_fault(slot, fault, std::move(to));
               });
}

task print_label(const call &of)
{
    read_no_parameters(of.to);
    return ask(202, [wanted = read_print(of.whole.body)](control &floor, reply to) {
        floor.print(wanted.label, wanted.operator_badge, std::move(to));
    });
}

task prints(const call &of)
{
    return ask(200, [wanted = read_list(row_kind::prints, of.to, true)](control &floor, reply to) {
        floor.prints(wanted, std::move(to));
    });
}

task find(const call &of)
{
    return ask(200, [text = read_search(of.to)](control &floor, reply to) {
        floor.find_unit(text, std::move(to));
    });
}

task units(const call &of)
{
    return ask(200, [wanted = read_list(row_kind::units, of.to, true)](control &floor, reply to) {
        floor.units(wanted, std::move(to));
    });
}

task attempts(const call &of)
{
    return ask(200, [wanted = read_list(row_kind::attempts, of.to, true)](
                        control &floor, reply to) { floor.attempts(wanted, std::move(to)); });
}

task attempt(const call &of)
{
    read_no_parameters(of.to);
    return ask(
        200, [id = of.number](control &floor, reply to) { floor.find_attempt(id, std::move(to)); });
}

task transcript(const call &of)
{
    read_no_parameters(of.to);
    return floor_call{
        [id = of.number](control &floor, reply to) { floor.find_attempt(id, std::move(to)); },
        [](const answer &given) {
            return given.refused ? refusal_response(*given.refused)
                                 : response{.type = "application/x-ndjson",
                                            .body = transcript_text(given.content)};
        }};
}

task pools(const call &of)
{
    read_no_parameters(of.to);
    return ask(200, [](control &floor, reply to) { floor.pools(std::move(to)); });
}

template <row_kind kind, row_form form>
task export_rows(const call &of)
{
    return export_wanted{kind, form, read_list(kind, of.to, false)};
}

constexpr std::array table{
    route{"GET", "/api/session", session},
    route{"GET", "/api/state", state},
    route{"GET", "/api/events", events},
    route{"POST", "/api/slots/#/start", start_unit},
    route{"POST", "/api/slots/#/cancel", cancel},
    route{"POST", "/api/operator", change_operator},
    route{"POST", "/api/slots/#/confirm", confirm},
    route{"POST", "/api/drill/slots/#/fault", order_fault},
    route{"POST", "/api/prints/new", print_label},
    route{"GET", "/api/prints", prints},
    route{"GET", "/api/find", find},
    route{"GET", "/api/units", units},
    route{"GET", "/api/attempts", attempts},
    route{"GET", "/api/attempts/#", attempt},
    route{"GET", "/api/attempts/#/transcript", transcript},
    route{"GET", "/api/pools", pools},
    route{"GET", "/api/export/units.csv", export_rows<row_kind::units, row_form::csv>},
    route{"GET", "/api/export/units.jsonl", export_rows<row_kind::units, row_form::json_lines>},
    route{"GET", "/api/export/attempts.csv", export_rows<row_kind::attempts, row_form::csv>},
    route{"GET", "/api/export/attempts.jsonl",
          export_rows<row_kind::attempts, row_form::json_lines>},
};

/** The number at the place of #, 0 where there is none in the path; nothing where it is another. */
std::optional<std::int64_t> match(std::string_view form, std::string_view path)
{
    const auto place = form.find('#');
    if (place == std::string_view::npos) {
        return form == path ? std::optional<std::int64_t>(0) : std::nullopt;
    }
    const auto before = form.substr(0, place);
    const auto behind = form.substr(place + 1);
    if (path.size() < form.size() || !path.starts_with(before) || !path.ends_with(behind)) {
        return std::nullopt;
    }
    return read_number(path.substr(place, path.size() - before.size() - behind.size()));
}

struct found_route {
    const route *where;
    std::int64_t number;
};

std::optional<found_route> find_route(std::string_view path)
{
    for (const auto &each : table) {
        if (const auto number = match(each.path, path)) {
            return found_route{&each, *number};
        }
    }
    return std::nullopt;
}

const page_file *find_file(std::string_view path)
{
    const auto all = page_files();
    const auto found = std::find_if(all.begin(), all.end(), [&](const page_file &each) {
        return each.path == (path == "/" ? "/index.html" : path);
    });
    return found == all.end() ? nullptr : &*found;
}

response file_response(const page_file &file, const request &whole)
{
    response given{.type = std::string(file.type),
                   .headers = {{"ETag", std::string(file.tag)}, {"Cache-Control", "no-cache"}}};
    for (const auto known : whole.values_of("if-none-match")) {
        if (known.find(file.tag) != std::string_view::npos) {
            given.status = 304;
            return given;
        }
    }
    given.body = file.content;
    return given;
}

void check_method(const request &head, std::string_view allowed)
{
    if (head.method != allowed) {
        throw request_error("bad_request",
                            "that address takes " + std::string(allowed) + " requests", "", 405,
                            {{"Allow", std::string(allowed)}});
    }
    if (allowed == "GET" && has_content(head)) {
        throw request_error("bad_request", "a GET request has no content");
    }
}

void check_head(const request &head, const door_rules &rules)
{
    check_source(head, rules);
    const auto path = path_of(head.target);
    const auto found = find_route(path);
    if (!found && find_file(path) == nullptr) {
        throw request_error("not_found", "there is nothing at that address");
    }
    const auto method = found ? found->where->method : "GET";
    check_method(head, method);
    if (method == "POST") {
        check_change(head, rules);
    }
}

} // namespace

routes::routes(door_rules rules, std::string start)
    : rules_(std::move(rules)), start_(std::move(start))
{
}

std::optional<response> routes::turned_away(const request &head) const
{
    try {
        check_head(head, rules_);
        return std::nullopt;
    } catch (const request_error &why) {
        return why.answered();
    }
}

task routes::task_for(const request &whole) const
{
    try {
        const auto path = path_of(whole.target);
        if (const auto found = find_route(path)) {
            return found->where->make(
                {whole, read_target(whole.target), found->number, rules_, start_});
        }
        return file_response(*find_file(path), whole);
    } catch (const request_error &why) {
        return why.answered();
    }
}

} // namespace shopfloor
