#include "sim/console/kernel_lines.h"

#include <array>
#include <cstdio>

namespace sim {

kernel_lines::kernel_lines(const console_description &console)
    : text_(console.kernel_text), every_us_(int64_t{console.kernel_every_ms} * 1000),
      every_bytes_(console.kernel_every_bytes), most_(console.kernel_lines)
{
}

std::string kernel_lines::after_byte()
{
    if (every_bytes_ == 0 || !has_more() || ++bytes_ < every_bytes_) {
        return {};
    }
    bytes_ = 0;
    return line();
}

std::optional<int64_t> kernel_lines::next_us() const
{
    return begun_us_ && every_us_ != 0 && has_more() ? std::optional(*begun_us_ + every_us_)
                                                     : std::nullopt;
}

std::string kernel_lines::take(int64_t now_us)
{
    const auto next = next_us();
    if (!next || now_us < *next) {
        return {};
    }
    begun_us_ = now_us;
    return line();
}

/** Its time stamp is a count: what is said depends on no clock. */
std::string kernel_lines::line()
{
    std::array<char, 32> stamp{};
    std::snprintf(stamp.data(), stamp.size(), "[  100.%06llu] ",
                  static_cast<unsigned long long>(++said_));
    return stamp.data() + text_ + "\r\n";
}

} // namespace sim
