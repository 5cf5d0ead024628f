#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace fuzz {

using byte_list = std::vector<uint8_t>;

/** Between two pieces of a stream: nothing comes for a while. */
constexpr uint8_t silence[] = {0xF7, '.', '.', '.'};

/** Whether a silence stands at the front of `stream`. */
inline bool begins_with_silence(std::span<const uint8_t> stream)
{
    return stream.size() >= sizeof(silence) &&
           std::equal(std::begin(silence), std::end(silence), stream.begin());
}

/** The bytes of `stream` up to the next silence. */
std::span<const uint8_t> next_piece(std::span<const uint8_t> stream);

/** The input of a run: choices of the surroundings in front, then what comes from outside. */
class input {
public:
    input(const uint8_t *data, size_t size)
        : rest_(data, size), tells_much_(hash_of(rest_) % one_that_tells_of == 0)
    {
    }

    bool at_end() const { return rest_.empty(); }

    /**
     * Whether logs are kept and reports written: in few runs, since they take many times as long
     * as all else that is done with an input. By all of its bytes, or most mutations of one that
     * found something in a log would keep one, too.
     */
    bool tells_much() const { return tells_much_; }

    /** The next choice, 0 where there is none. */
    uint8_t choice()
    {
        if (rest_.empty()) {
            return 0;
        }
        const auto taken = rest_.front();
        rest_ = rest_.subspan(1);
        return taken;
    }

    /** The next `count` bytes, or all where there are fewer. */
    byte_list take(size_t count)
    {
        const auto taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }

    /** All that is left, in memory that ends where it does. */
    byte_list rest() { return take(rest_.size()); }

private:
    static constexpr size_t one_that_tells_of = 128;

    static size_t hash_of(std::span<const uint8_t> bytes)
    {
        const auto *const text = reinterpret_cast<const char *>(bytes.data());
        return std::hash<std::string_view>{}({text, bytes.size()});
    }

    std::span<const uint8_t> rest_;
    bool tells_much_;
};

/** Whether bit `number` of a choice is set. */
inline bool chosen(uint8_t choice, unsigned number)
{
    return (choice >> number & 1U) != 0;
}

/** Ends the process, and so tells the fuzzer, when a rule does not hold. */
void require(bool holds, const char *rule);

} // namespace fuzz
