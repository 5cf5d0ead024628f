#include "floor/requests/json_input.h"

#include <set>

#include "floor/requests/answers.h"
#include "floor/requests/texts.h"
#include "ledger/model/texts.h"

namespace shopfloor {

namespace {

[[noreturn]] void refuse(const std::string &reason)
{
    throw request_error("bad_request", reason);
}

/** Looks at a text while it is read, where doubled keys are still seen. */
class watcher {
public:
    bool operator()(int depth, json::parse_event_t what, const json &value)
    {
        const bool opens =
            what == json::parse_event_t::object_start || what == json::parse_event_t::array_start;
        if (opens && depth > 0) {
            refuse("the content has lists or objects in it: only texts, true and false are taken");
        }
        if (what == json::parse_event_t::key && !keys_.insert(value).second) {
            refuse("\"" + ledger::shown(value.get_ref<const std::string &>()) +
                   "\" is there twice");
        }
        return true;
    }

private:
    std::set<json> keys_;
};

} // namespace

json_input::json_input(std::string_view body)
{
    try {
        content_ = json::parse(body, watcher());
    } catch (const json::exception &) {
        refuse("the content is no JSON");
    }
    if (!content_.is_object()) {
        refuse("the content is no JSON object");
    }
}

json json_input::take(const char *name)
{
    const auto found = content_.find(name);
    if (found == content_.end()) {
        return nullptr;
    }
    if (found->is_null()) {
        refuse("\"" + std::string(name) + "\" is null: leave out what is not told");
    }
    auto value = std::move(*found);
    content_.erase(found);
    return value;
}

std::string json_input::text(const char *name, const char *code)
{
    const auto value = take(name);
    if (value.is_null()) {
        return "";
    }
    if (!value.is_string()) {
        refuse("\"" + std::string(name) + "\" is no text");
    }
    check_text(name, value.get_ref<const std::string &>(), code);
    return value;
}

std::string json_input::needed_text(const char *name, const char *code)
{
    auto value = text(name, code);
    if (value.empty()) {
        throw request_error(code, "\"" + std::string(name) + "\" is missing or empty");
    }
    return value;
}

bool json_input::flag(const char *name)
{
    const auto value = take(name);
    if (!value.is_null() && !value.is_boolean()) {
        refuse("\"" + std::string(name) + "\" is neither true nor false");
    }
    return value.is_boolean() && value.get<bool>();
}

void json_input::end() const
{
    if (!content_.empty()) {
        refuse("\"" + ledger::shown(content_.begin().key()) + "\" is not known here");
    }
}

} // namespace shopfloor
