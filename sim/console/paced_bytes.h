#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

/** Bytes on their way over a serial line: 10 bits each, one after the other. */
class paced_bytes {
public:
    /** With 0 baud they are through at once. */
    explicit paced_bytes(unsigned baud);

    void push(std::string_view bytes, int64_t now_us);
    /** Those that are through by now. */
    std::string take(int64_t now_us);
    /** When it is worth the while to take some; nothing: there are none. */
    std::optional<int64_t> next_us() const;

    std::size_t size() const { return waiting_.size(); }
    void clear() { waiting_.clear(); }

private:
    int64_t byte_ns_;
    int64_t line_ns_ = 0; // until when the bytes before these took the line
    std::string waiting_;
};

} // namespace sim
