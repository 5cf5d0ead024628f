#include "sim/board/fault_plan.h"

namespace sim {
namespace {

bool concerns(const fault &one, std::string_view operation, std::string_view path, bool is_ioctl)
{
    if (!one.path.empty() && one.path != path) {
        return false;
    }
    return one.operation == "any" || one.operation == operation ||
           (is_ioctl && one.operation == "ioctl");
}

} // namespace

const fault *fault_plan::strike(std::string_view operation, std::string_view path, bool is_ioctl)
{
    const fault *striking = nullptr;
    for (entry &one : entries_) {
        if (!concerns(one.what, operation, path, is_ioctl)) {
            continue;
        }
        ++one.seen;
        const bool due = one.seen >= one.what.call &&
                         (one.what.times == 0 || one.seen - one.what.call < one.what.times);
        if (due && striking == nullptr) {
            striking = &one.what;
        }
    }
    return striking;
}

} // namespace sim
