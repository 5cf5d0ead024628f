#include "sim/console/paced_bytes.h"

#include <algorithm>

namespace sim {
namespace {

constexpr int64_t bits_of_a_byte_ns = int64_t{10} * 1000 * 1000 * 1000;

/** As a serial port collects them before it tells: an interrupt for each byte would be a burden. */
constexpr std::size_t port_collects = 16;

} // namespace

paced_bytes::paced_bytes(unsigned baud) : byte_ns_(baud == 0 ? 0 : bits_of_a_byte_ns / baud) {}

void paced_bytes::push(std::string_view bytes, int64_t now_us)
{
    if (waiting_.empty()) {
        line_ns_ = std::max(line_ns_, now_us * 1000);
    }
    waiting_ += bytes;
}

std::string paced_bytes::take(int64_t now_us)
{
    const auto through =
        byte_ns_ == 0
            ? waiting_.size()
            : static_cast<std::size_t>(std::max<int64_t>(now_us * 1000 - line_ns_, 0) / byte_ns_);
    const std::size_t count = std::min(through, waiting_.size());
    line_ns_ += static_cast<int64_t>(count) * byte_ns_;
    std::string taken = waiting_.substr(0, count);
    waiting_.erase(0, count);
    return taken;
}

std::optional<int64_t> paced_bytes::next_us() const
{
    if (waiting_.empty()) {
        return std::nullopt;
    }
    const auto bytes = static_cast<int64_t>(std::min(waiting_.size(), port_collects));
    return (line_ns_ + bytes * byte_ns_ + 999) / 1000;
}

} // namespace sim
