#include "floor/model/control.h"

#include <utility>

namespace shopfloor {

namespace {

answer refused(const char *code, const char *reason)
{
    return {{}, refusal{code, reason, "FLOOR.toml says what there is"}};
}

void give(reply &&to, const answer &what)
{
    to(what);
}

} // namespace

void control::confirm(int /*slot*/, const std::string & /*code*/, reply to)
{
    give(std::move(to), refused("not_waiting", "no label is scanned back here"));
}

void control::print(const std::string & /*label*/, const std::string & /*operator_badge*/, reply to)
{
    give(std::move(to), refused("no_printer", "there is no printer"));
}

void control::prints(const list_request & /*wanted*/, reply to)
{
    give(std::move(to), {{{"rows", json::array()}, {"after", nullptr}}, {}});
}

void control::order_fault(int /*slot*/, const std::string & /*fault*/, reply to)
{
    give(std::move(to), refused("no_drill", "faults are for drills"));
}

} // namespace shopfloor
