#include "station/product/operation_line.h"

#include <algorithm>

namespace station {

namespace {

using namespace std::chrono_literals;

// A text that only looks like a prompt goes on.
constexpr auto prompt_stands = 300ms;
constexpr std::size_t most_heard = 1024;

} // namespace

std::size_t operation_line::read(std::span<std::uint8_t> buffer, milliseconds limit)
{
    const auto deadline = now() + limit;
    while (true) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - now());
        const auto got = inner_.read(buffer, std::clamp<milliseconds>(left, 0ms, prompt_stands));
        if (got > 0) {
            heard_.append(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(got));
            heard_.erase(0, heard_.size() - std::min(heard_.size(), most_heard));
            last_arrival_ = now();
            looked_at_ = false;
            return got;
        }
        if (!looked_at_ && now() - last_arrival_ >= prompt_stands) {
            if (shell_.stands_at_prompt(heard_)) {
                throw operation_over("the operation has ended: the console stands at a prompt");
            }
            looked_at_ = true;
        }
        if (now() >= deadline) {
            return 0;
        }
    }
}

void operation_line::write(std::span<const std::uint8_t> data, milliseconds limit)
{
    inner_.write(data, limit);
}

} // namespace station
