#include "floor/model/control.h"

namespace shopfloor {

namespace {

void refuse(const reply &to, const char *code, const char *reason)
{
    to({{}, refusal{code, reason, "FLOOR.toml says what there is"}});
}

} // namespace

void control::confirm(int /*slot*/, const std::string & /*code*/, reply to)
{
    refuse(to, "not_waiting", "no label is scanned back here");
}

void control::print(const std::string & /*label*/, const std::string & /*operator_badge*/, reply to)
{
    refuse(to, "no_printer", "there is no printer");
}

void control::prints(const list_request & /*wanted*/, reply to)
{
    to({{{"rows", json::array()}, {"after", nullptr}}, {}});
}

void control::order_fault(int /*slot*/, const std::string & /*fault*/, reply to)
{
    refuse(to, "no_drill", "faults are for drills");
}

} // namespace shopfloor
