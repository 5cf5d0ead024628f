#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/byte_order.h"

/**
 * Reads bytes that came from outside, front to back, and never past their end.
 *
 * A read that wants more than is left takes nothing and makes the reader false for good; what it
 * returns then is zero or empty. So a header can be read whole and checked once. The bytes belong
 * to the caller and outlive the reader.
 */
class byte_reader {
public:
    constexpr explicit byte_reader(std::span<const uint8_t> content) : rest_(content) {}

    constexpr explicit operator bool() const { return good_; }
    constexpr bool at_end() const { return rest_.empty(); }
    constexpr size_t remaining() const { return rest_.size(); }

    constexpr uint8_t u8()
    {
        const auto taken = bytes(1);
        return taken.empty() ? uint8_t{0} : taken[0];
    }

    constexpr uint32_t be32()
    {
        const auto taken = bytes(4);
        return taken.empty() ? 0 : load_be32(taken.data());
    }

    constexpr std::span<const uint8_t> bytes(size_t count)
    {
        if (!good_ || count > rest_.size()) {
            good_ = false;
            return {};
        }
        const auto taken = rest_.first(count);
        rest_ = rest_.subspan(count);
        return taken;
    }

    /** The text up to the next NUL, which is taken too. Bytes without a NUL are no text. */
    std::string_view text()
    {
        const auto end = std::find(rest_.begin(), rest_.end(), uint8_t{0});
        const auto length = static_cast<size_t>(end - rest_.begin());
        const auto taken = bytes(length + 1);
        return {reinterpret_cast<const char *>(taken.data()), taken.empty() ? 0 : length};
    }

private:
    std::span<const uint8_t> rest_;
    bool good_ = true;
};
