#include "sim/base/operation.h"

#include <cstdio>
#include <cstring>

namespace sim {

std::string error_name(int error)
{
    const char *name = strerrorname_np(error);
    return name != nullptr ? name : std::to_string(error);
}

std::string hex(uint64_t number)
{
    char text[2 + 16 + 1];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

std::string hex_digits(std::span<const uint8_t> bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::string log_line(const operation &done, int process)
{
    char head[64];
    std::snprintf(head, sizeof head, "%10lld %d ", static_cast<long long>(done.time_us), process);
    std::string line(head);
    line.append(done.name).append(" ").append(done.path);
    if (!done.arguments.empty()) {
        line.append(" ").append(done.arguments);
    }
    line.append(" = ").append(std::to_string(done.result));
    if (done.error != 0) {
        line.append(" ").append(error_name(done.error));
    }
    return line;
}

} // namespace sim
