#include "unit/floor/stand_in.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

namespace floor_tests {

using shopfloor::refusal;
using shopfloor::start_request;

namespace {

const json products{{{"name", "SW-48X6Q"}, {"steps", {"setmac", "setsn"}}, {"scan_back", false}},
                    {{"name", "SW-24T"}, {"steps", {"setmac"}}, {"scan_back", true}}};

constexpr std::array phases{
    "waits for the console", "logs in",   "looks at what the switch holds", "writes",
    "restarts the switch",   "reads back"};
constexpr std::size_t writing_phase = 3;
constexpr int bytes_of_step = 512;
constexpr int bytes_at_once = 128;

struct failure {
    const char *outcome;
    const char *reason;
    const char *advice;
};

constexpr std::array failures{
    failure{"failed", "the serial number read back is another than was sent",
            "Scan the label again; where that fails too, look at the cable"},
    failure{"stored", "the switch stored it, but did not start again",
            "Switch it off and on, then scan the label again"},
    failure{"other_identity", "the switch holds the identity of LABEL-000007",
            "Compare the label with the switch: cables or labels may be swapped"},
    failure{"not_reached", "nothing came from the console for 60 s",
            "Look whether the switch has power and the cable sits"},
    failure{"in_doubt", "the cable was unplugged while the switch was written to",
            "Plug it in and scan the same label again"},
};

std::string now()
{
    const std::time_t seconds = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text.data();
}

/** A record as a run leaves it with its attempt, which was read back as it was sent. */
std::string read_back(const std::string &record, const std::string &value)
{
    return R"({"record":")" + record + R"(","before":null,"after":")" + value +
           R"(","as_wanted":true})";
}

std::string mac_of(std::int64_t number)
{
    std::array<char, 24> text{};
    const auto low = static_cast<unsigned>(number * 64);
    std::snprintf(text.data(), text.size(), "00:1A:2B:%02X:%02X:%02X", low >> 16 & 0xFFU,
                  low >> 8 & 0xFFU, low & 0xFFU);
    return text.data();
}

std::string numbered(const char *form, std::int64_t number)
{
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%s%06lld", form, static_cast<long long>(number));
    return text.data();
}

answer refused(std::string code, std::string reason, std::string advice)
{
    return {{}, refusal{std::move(code), std::move(reason), std::move(advice)}};
}

json waiting_steps(const std::string &product)
{
    auto steps = json::array();
    for (const auto &each : products) {
        for (const auto &operation : each["name"] == product ? each["steps"] : json::array()) {
            steps.push_back({{"operation", operation},
                             {"state", "waiting"},
                             {"sent", 0},
                             {"of", bytes_of_step},
                             {"reason", ""}});
        }
    }
    return steps;
}

} // namespace

struct stand_in::slot {
    int number = 0;
    std::string state = "idle";
    std::string trouble = {};
    json run = nullptr;
    std::size_t phase = 0;
    json health = {{"runs", 0}, {"verified", 0}, {"retries", 0}, {"damaged", 0}, {"seconds", 0}};
};

stand_in::stand_in(stand_in_settings settings)
    : settings_(settings), events_(settings.kept_events),
      slots_(static_cast<std::size_t>(settings.slots)), last_attempt_(settings.rows)
{
    for (std::size_t at = 0; at < slots_.size(); ++at) {
        slots_[at].number = static_cast<int>(at) + 1;
        if (static_cast<int>(at) >= settings_.slots - settings_.unplugged_slots) {
            slots_[at].state = "unplugged";
            slots_[at].trouble = "there is no adapter at that place";
        }
    }
    if (settings_.step.count() > 0) {
        clock_ = std::thread([this] {
            std::unique_lock lock(guard_);
            while (!stop_asked_.wait_for(lock, settings_.step, [this] { return stopping_; })) {
                lock.unlock();
                step();
                lock.lock();
            }
        });
    }
}

stand_in::~stand_in()
{
    {
        const std::lock_guard lock(guard_);
        stopping_ = true;
    }
    stop_asked_.notify_all();
    if (clock_.joinable()) {
        clock_.join();
    }
}

json stand_in::slot_json(const slot &of) const
{
    return {{"slot", of.number},
            {"place", "made up 1-1." + std::to_string(of.number)},
            {"products", {"SW-48X6Q", "SW-24T"}},
            {"state", of.state},
            {"trouble", of.trouble},
            {"run", of.run},
            {"fault", nullptr},
            {"health", of.health}};
}

json stand_in::state() const
{
    const std::lock_guard lock(guard_);
    json all{{"floor", "Stand-in"},
             {"station", "nowhere"},
             {"drill", false},
             {"version", "0"},
             {"started", "2026-11-22T00:00:00Z"},
             {"event", events_.last()},
             {"ledger", {{"usable", true}, {"reason", ""}}},
             {"operator", operator_.empty() ? json(nullptr) : json(operator_)},
             {"codes", {{"slot", "SLOT-"}, {"operator", "OP-"}, {"prefix", ""}}},
             {"printer", nullptr},
             {"drill_faults", json::array()},
             {"products", products},
             {"slots", json::array()}};
    for (const auto &each : slots_) {
        all["slots"].push_back(slot_json(each));
    }
    return all;
}

stand_in::slot *stand_in::find_slot(int number)
{
    const auto found = std::find_if(slots_.begin(), slots_.end(),
                                    [&](const slot &each) { return each.number == number; });
    return found == slots_.end() ? nullptr : &*found;
}

void stand_in::tell(const slot &of)
{
    events_.add("slot", slot_json(of).dump(-1, ' ', false, json::error_handler_t::replace));
}

void stand_in::begin(slot &in, const start_request &wanted)
{
    const std::string product = wanted.product.empty() ? "SW-48X6Q" : wanted.product;
    const auto number = ++last_attempt_;
    in.phase = 0;
    in.state = "running";
    in.run = {{"attempt", number},
              {"label", wanted.label},
              {"product", product},
              {"serial", wanted.serial.empty() ? numbered("ABCD", number) : wanted.serial},
              {"mac", wanted.mac.empty() ? mac_of(number) : wanted.mac},
              {"mac_count", 64},
              {"operator", wanted.operator_badge.empty() ? operator_ : wanted.operator_badge},
              {"only_check", wanted.only_check},
              {"started", now()},
              {"ended", nullptr},
              {"phase", phases[0]},
              {"steps", waiting_steps(product)},
              {"label_back", nullptr},
              {"outcome", nullptr},
              {"verdict", nullptr},
              {"reason", ""},
              {"advice", ""},
              {"retries", 0},
              {"seconds", 0.0}};
    tell(in);
}

void stand_in::start(const start_request &wanted, reply to)
{
    const std::lock_guard lock(guard_);
    auto *const in = find_slot(wanted.slot);
    const bool elsewhere = std::any_of(slots_.begin(), slots_.end(), [&](const slot &each) {
        return each.state == "running" && each.run["label"] == wanted.label;
    });
    if (in == nullptr) {
        to(refused("no_such_slot", "there is no slot " + std::to_string(wanted.slot), ""));
    } else if (in->state == "running") {
        to(refused("slot_busy", "slot " + std::to_string(wanted.slot) + " is at work",
                   "Wait for its verdict"));
    } else if (in->state == "unplugged") {
        to(refused("slot_unplugged", in->trouble, "Plug the adapter in again"));
    } else if (elsewhere) {
        to(refused("label_in_work", wanted.label + " is in work in another slot",
                   "Scan the label of the unit in this slot"));
    } else if (verified_.contains(wanted.label) && !wanted.again && !wanted.only_check) {
        to(refused("already_verified", wanted.label + " is verified already",
                   "Ask for it to be done again, if that is meant"));
    } else {
        begin(*in, wanted);
        to({slot_json(*in), {}});
    }
}

void stand_in::cancel(int number, reply to)
{
    const std::lock_guard lock(guard_);
    auto *const in = find_slot(number);
    if (in == nullptr) {
        to(refused("no_such_slot", "there is no slot " + std::to_string(number), ""));
        return;
    }
    if (in->state == "running") {
        end(*in, "cancelled", "somebody ended it", "Scan the label to begin again");
    }
    to({slot_json(*in), {}});
}

void stand_in::change_operator(const std::string &badge, reply to)
{
    const std::lock_guard lock(guard_);
    operator_ = badge;
    const json content{{"operator", operator_}};
    events_.add("operator", content.dump());
    to({content, {}});
}

void stand_in::end(slot &in, const std::string &outcome, const std::string &reason,
                   const std::string &advice)
{
    const bool good = outcome == "verified";
    in.state = "ended";
    in.run["ended"] = now();
    in.run["phase"] = "ended";
    in.run["outcome"] = outcome;
    const bool stopped = outcome == "cancelled";
    in.run["verdict"] = stopped ? json(nullptr) : json(good ? "PASS" : "FAIL");
    in.run["reason"] = reason;
    in.run["advice"] = advice;
    in.health["runs"] = in.health["runs"].get<int>() + 1;
    in.health["verified"] = in.health["verified"].get<int>() + (good ? 1 : 0);
    in.health["seconds"] = in.run["seconds"];
    if (good) {
        verified_[in.run["label"]] = in.run;
    }
    tell(in);
}

void stand_in::advance(slot &in)
{
    in.run["seconds"] = in.run["seconds"].get<double>() + 0.5;
    if (in.phase == writing_phase) {
        for (auto &step : in.run["steps"]) {
            if (step["state"] == "done") {
                continue;
            }
            step["sent"] = step["sent"].get<int>() + bytes_at_once;
            step["state"] = step["sent"] == bytes_of_step ? "done" : "running";
            tell(in);
            return;
        }
    }
    ++in.phase;
    if (in.phase == phases.size()) {
        end(in, "verified", "", "");
    } else if (in.phase == phases.size() - 1 && chance_() % 5 == 0) {
        const auto &why = failures[chance_() % failures.size()];
        end(in, why.outcome, why.reason, why.advice);
    } else {
        in.run["phase"] = phases[in.phase];
        tell(in);
    }
}

void stand_in::step()
{
    const std::lock_guard lock(guard_);
    for (auto &each : slots_) {
        if (each.state == "running") {
            advance(each);
        } else if (each.number <= settings_.busy_slots && chance_() % 4 == 0) {
            begin(each, {.slot = each.number, .label = numbered("LABEL-", last_attempt_ + 1)});
        }
    }
}

json stand_in::unit_row(std::int64_t id) const
{
    return {{"label", numbered("LABEL-", id)},
            {"product", "SW-48X6Q"},
            {"serial", numbered("ABCD", id)},
            {"mac", mac_of(id)},
            {"mac_count", 64},
            {"state", "verified"},
            {"reserved_at", "2026-11-21T08:00:00Z"},
            {"changed_at", "2026-11-21T08:01:00Z"},
            {"void_reason", nullptr},
            {"void_by", nullptr}};
}

json stand_in::attempt_row(std::int64_t id) const
{
    return {{"id", id},
            {"label", numbered("LABEL-", id)},
            {"product", "SW-48X6Q"},
            {"number", 1},
            {"station", "nowhere"},
            {"slot", "1"},
            {"operator", "0017"},
            {"product_file", "sw-48x6q/product.toml"},
            {"product_sha256", ""},
            {"program_version", "0"},
            {"started_at", "2026-11-21T08:00:00Z"},
            {"stored_at", "2026-11-21T08:00:40Z"},
            {"ended_at", "2026-11-21T08:01:00Z"},
            {"outcome", "verified"},
            {"reason", ""}};
}

answer stand_in::page(const list_request &wanted, json (stand_in::*row)(std::int64_t) const)
{
    ++pages_;
    auto rows = json::array();
    auto id = wanted.after;
    while (id < last_attempt_ && rows.size() < wanted.limit) {
        rows.push_back((this->*row)(++id));
    }
    return {{{"rows", rows}, {"after", id < last_attempt_ ? json(id) : json(nullptr)}}, {}};
}

void stand_in::units(const list_request &wanted, reply to)
{
    const std::lock_guard lock(guard_);
    to(page(wanted, &stand_in::unit_row));
}

void stand_in::attempts(const list_request &wanted, reply to)
{
    const std::lock_guard lock(guard_);
    to(page(wanted, &stand_in::attempt_row));
}

void stand_in::find_unit(const std::string &text, reply to)
{
    const std::lock_guard lock(guard_);
    for (std::int64_t id = 1; id <= last_attempt_; ++id) {
        const auto row = unit_row(id);
        if (row["label"] == text || row["serial"] == text || row["mac"] == text) {
            to({{{"unit", row}, {"attempts", {attempt_row(id)}}, {"history", json::array()}}, {}});
            return;
        }
    }
    to(refused("not_found", "nothing is known of " + text, ""));
}

void stand_in::find_attempt(std::int64_t id, reply to)
{
    const std::lock_guard lock(guard_);
    if (id < 1 || id > last_attempt_) {
        to(refused("not_found", "there is no attempt " + std::to_string(id), ""));
        return;
    }
    auto row = attempt_row(id);
    const auto serial = numbered("ABCD", id);
    const auto mac = mac_of(id);
    row["sent"] = R"({"values":{},"records":{"ethaddr":")" + mac + R"(","SerialNO":")" + serial +
                  R"("},"steps":[]})";
    row["read_back"] = R"({"held":"nothing","records":[)" + read_back("ethaddr", mac) + "," +
                       read_back("SerialNO", serial) + R"(],"steps":[]})";
    row["console"] = R"({"at":0.0,"from":"switch","text":"login: "}
{"at":0.2,"from":"station","text":"root\n"}
{"at":0.9,"from":"switch","text":"<b>&#33;</b>\u001b[31m\r\n# "}
)";
    to({row, {}});
}

void stand_in::pools(reply to)
{
    const std::lock_guard lock(guard_);
    to({{{"pools",
          {{{"name", "office"},
            {"kind", "mac"},
            {"first", "00:1A:2B:00:00:00"},
            {"last", "00:1A:2B:0F:FF:FF"},
            {"pattern", ""},
            {"units", last_attempt_},
            {"units_left", 16384 - last_attempt_},
            {"voided", 0},
            {"used_percent", last_attempt_ * 100 / 16384},
            {"units_a_day", 120.5},
            {"days_left", 99.5},
            {"open", true},
            {"warning", ""}}}}},
        {}});
}

std::size_t stand_in::pages() const
{
    const std::lock_guard lock(guard_);
    return pages_;
}

} // namespace floor_tests
