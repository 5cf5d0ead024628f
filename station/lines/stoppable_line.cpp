#include "station/lines/stoppable_line.h"

#include <algorithm>

namespace station {

namespace {

constexpr line::milliseconds slice{50};

} // namespace

std::size_t stoppable_line::read(std::span<std::uint8_t> buffer, milliseconds limit)
{
    check();
    if (!stop_.stop_possible()) {
        return inner_.read(buffer, limit);
    }
    const auto deadline = now() + limit;
    while (true) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - now());
        const auto got = inner_.read(buffer, std::clamp(left, milliseconds(0), slice));
        if (got > 0 || now() >= deadline) {
            return got;
        }
        check();
    }
}

void stoppable_line::write(std::span<const std::uint8_t> data, milliseconds limit)
{
    check();
    inner_.write(data, limit);
}

void stoppable_line::write_secret(std::span<const std::uint8_t> data, milliseconds limit)
{
    check();
    inner_.write_secret(data, limit);
}

void stoppable_line::check() const
{
    if (stop_.stop_requested()) {
        throw line_stopped("stopped");
    }
}

} // namespace station
