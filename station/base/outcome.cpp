#include "station/base/outcome.h"

namespace station {

std::string_view name_of(ending end)
{
    switch (end) {
    case ending::stored:
        return "stored";
    case ending::refused:
        return "refused";
    case ending::failed:
        return "failed";
    case ending::damaged:
        return "damaged";
    case ending::mismatch:
        return "mismatch";
    case ending::silent:
        return "silent";
    case ending::unexpected:
        return "unexpected";
    case ending::broken:
        return "broken";
    }
    return "unknown";
}

} // namespace station
