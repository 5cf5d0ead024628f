#include "sim/board/fault_plan.h"

namespace sim {
namespace {

bool concerns(const fault &one, const operation &what, bool is_ioctl)
{
    if (!one.path.empty() && one.path != what.path) {
        return false;
    }
    return one.operation == "any" || one.operation == what.name ||
           (is_ioctl && one.operation == "ioctl");
}

} // namespace

const fault *fault_plan::strike(const operation &what, bool is_ioctl)
{
    const fault *striking = nullptr;
    for (entry &one : entries_) {
        if (!concerns(one.what, what, is_ioctl)) {
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
