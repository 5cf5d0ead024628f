#include "unit/switch/support.h"

#include <regex>

namespace support {

std::string trace_log::unnumbered() const
{
    return std::regex_replace(text(), std::regex(">:<[0-9]+>\\]"), ">:<N>]");
}

} // namespace support
