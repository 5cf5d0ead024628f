#include "floor/app/log.h"

#include <cstdio>

#include "station/base/bytes.h"

namespace shopfloor {

void log::tell(priority how, const std::string &text) const
{
    const auto line = (for_journal_ ? "<" + std::to_string(static_cast<int>(how)) + ">" : "") +
                      station::printable(text) + "\n";
    std::fputs(line.c_str(), stderr);
}

} // namespace shopfloor
