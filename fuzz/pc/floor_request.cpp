#include <algorithm>
#include <string>
#include <string_view>

#include "floor/requests/answers.h"
#include "floor/requests/event_text.h"
#include "floor/requests/routes.h"
#include "fuzz/input.h"
#include "ledger/model/texts.h"

// Requests of any content to the floor: who is let in, addresses, bodies, filters, and the texts
// that are made of what comes back.

namespace {

using namespace shopfloor;

constexpr std::string_view token = "0123456789abcdef";

/** Requires of what reaches the floor that it can be worked with. */
class checking_floor final : public control {
public:
    explicit checking_floor(std::string said) : said_(std::move(said)) {}

    bool was_changed() const { return changed_; }

    json state() const override { return {{"event", 0}, {"text", said_}}; }
    event_log &events() override { return events_; }

    void start(const start_request &wanted, reply to) override
    {
        fuzz::require(!wanted.label.empty() && wanted.slot >= 0, "a unit has a label and a slot");
        for (const auto *text : {&wanted.label, &wanted.product, &wanted.serial, &wanted.mac,
                                 &wanted.operator_badge}) {
            check(*text);
        }
        change(to);
    }
    void cancel(int slot, reply to) override
    {
        fuzz::require(slot >= 0, "slots have numbers");
        change(to);
    }
    void change_operator(const std::string &badge, reply to) override
    {
        check(badge);
        change(to);
    }
    void find_unit(const std::string &text, reply to) override
    {
        fuzz::require(!text.empty(), "a search has a text");
        check(text);
        refuse(to);
    }
    void find_attempt(std::int64_t id, reply to) override
    {
        fuzz::require(id >= 0, "attempts have numbers");
        to({{{"console", said_}}, {}});
    }
    void pools(reply to) override { tell(to); }
    void units(const list_request &wanted, reply to) override { list(wanted, to); }
    void attempts(const list_request &wanted, reply to) override { list(wanted, to); }

private:
    static void check(std::string_view text)
    {
        fuzz::require(text.size() <= 500 && ledger::is_utf8(text), "texts are short and UTF-8");
        fuzz::require(std::none_of(text.begin(), text.end(),
                                   [](unsigned char each) { return each < 0x20 || each == 0x7F; }),
                      "texts have no control characters");
    }
    void list(const list_request &wanted, const reply &to)
    {
        fuzz::require(wanted.after >= 0 && wanted.limit >= 1 && wanted.limit <= 1000,
                      "a page has bounds");
        for (const auto *text : {&wanted.label, &wanted.product, &wanted.state, &wanted.outcome,
                                 &wanted.slot, &wanted.operator_badge}) {
            check(*text);
        }
        tell(to);
    }
    void change(const reply &to)
    {
        changed_ = true;
        tell(to);
    }
    void tell(const reply &to) { to({{{"text", said_}}, {}}); }
    void refuse(const reply &to) { to({{}, refusal{"not_found", said_, said_}}); }

    std::string said_;
    event_log events_{1};
    bool changed_ = false;
};

/** Up to the next end of line, which is taken off too. */
std::string next_line(std::string_view &text)
{
    const auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    return std::string(line);
}

/** "GET /path", lines of headers, an empty line, a body. */
request read_request(std::string_view text, bool invited)
{
    request read;
    const auto first = next_line(text);
    read.method = first.substr(0, first.find(' '));
    read.target = first.substr(std::min(first.size(), read.method.size() + 1));
    if (invited) { // past the door, which no fuzzer guesses
        read.headers = {{"Host", "localhost:8080"},
                        {"Content-Type", "application/json"},
                        {"X-Setmac-Token", std::string(token)}};
    }
    for (auto line = next_line(text); !line.empty(); line = next_line(text)) {
        const auto colon = std::min(line.find(':'), line.size());
        read.headers.push_back(
            {line.substr(0, colon), line.substr(std::min(line.size(), colon + 1))});
    }
    read.body = text;
    return read;
}

void check_response(const response &given)
{
    fuzz::require(given.status >= 200 && given.status < 600, "a response has a status");
    for (const auto &each : given.headers) {
        fuzz::require(each.value.find_first_of("\r\n") == std::string::npos,
                      "a header is one line");
    }
    if (given.type == "application/json") {
        fuzz::require(json::accept(given.body), "what is called JSON is that");
    }
}

void check_event(const std::string &content)
{
    const auto text = event_text("s", {1, "slot", content});
    fuzz::require(text.find("\n\n") == text.size() - 2, "an event ends once");
    fuzz::require(text.find('\r') == std::string::npos, "an event has lines of one kind");
}

void check_row(const export_wanted &wanted, const std::string &content)
{
    const auto row = row_text(wanted.kind, row_form::json_lines, {{"label", content}});
    fuzz::require(row.find('\n') == row.size() - 1, "a row of JSON is one line");
    fuzz::require(!row_text(wanted.kind, row_form::csv, {{"label", content}}).empty(),
                  "a row of CSV is there");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const routes routing({{"localhost:8080"}, {"http://localhost:8080"}, std::string(token)},
                                "s");
    fuzz::input in(data, size);
    const bool invited = !fuzz::chosen(in.choice(), 0);
    const auto bytes = in.rest();
    const auto asked =
        read_request({reinterpret_cast<const char *>(bytes.data()), bytes.size()}, invited);
    if (const auto why = routing.turned_away(asked)) {
        fuzz::require(why->status >= 400, "who is turned away is told so");
        check_response(*why);
        return 0;
    }
    const auto tokens = asked.values_of("x-setmac-token");
    checking_floor floor(asked.body);
    const auto what = routing.task_for(asked);
    if (const auto *ready = std::get_if<response>(&what)) {
        check_response(*ready);
    } else if (const auto *call = std::get_if<floor_call>(&what)) {
        call->ask(floor, [&](const answer &given) { check_response(call->tell(given)); });
    } else if (const auto *rows = std::get_if<export_wanted>(&what)) {
        check_row(*rows, asked.body);
    }
    check_event(asked.body);
    fuzz::require(!floor.was_changed() ||
                      (asked.method == "POST" && tokens.size() == 1 && tokens[0] == token),
                  "nothing changes without the token");
    return 0;
}
