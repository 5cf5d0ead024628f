#include "fuzz/input.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

// The sanitizers' settings, unless ASAN_OPTIONS says otherwise. A run allocates thousands of times:
// the stack of each allocation would cost more than all else. Memory that was freed is kept back
// for some runs; more than the processor's cache holds would slow down all of them.
extern "C" const char *__asan_default_options()
{
    return "malloc_context_size=0:quarantine_size_mb=1:thread_local_quarantine_size_kb=16:"
           "max_malloc_fill_size=64";
}

extern "C" {

size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);

// The choices in front of an input lead to code that is reached anyhow, only under other
// circumstances: nothing tells the fuzzer that one is worth trying, so it is made to.
size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed)
{
    constexpr unsigned choices = 2;
    constexpr unsigned one_of = 8;
    if (size < choices || seed % one_of != 0) {
        return LLVMFuzzerMutate(data, size, max_size);
    }
    data[seed / one_of % choices] = static_cast<uint8_t>(seed / (one_of * choices));
    return size;
}
}

namespace fuzz {

std::span<const uint8_t> next_piece(std::span<const uint8_t> stream)
{
    if (stream.empty()) {
        return stream;
    }
    const auto *const end = static_cast<const uint8_t *>(
        memmem(stream.data(), stream.size(), silence, sizeof(silence)));
    return end != nullptr ? stream.first(static_cast<size_t>(end - stream.data())) : stream;
}

void require(bool holds, const char *rule)
{
    if (!holds) {
        fprintf(stderr, "Does not hold: %s\n", rule);
        abort();
    }
}

} // namespace fuzz
