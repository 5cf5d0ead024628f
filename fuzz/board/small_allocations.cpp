#include "fuzz/board/small_allocations.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>

namespace {

/** What is larger, such as the cells of a flash, keeps what the sanitizers put around it. */
constexpr size_t largest = 512;
constexpr size_t room_size = size_t{1} << 18;

alignas(std::max_align_t) std::array<std::byte, room_size> room;
size_t taken = 0;
int in_use = 0;

bool in_room(const void *memory)
{
    const std::less<const void *> before;
    return !before(memory, room.data()) && before(memory, room.data() + room.size());
}

void *take(size_t size)
{
    constexpr size_t unit = alignof(std::max_align_t);
    const size_t rounded = (size + unit - 1) / unit * unit;
    if (in_use == 0 || size > largest || rounded > room.size() - taken) {
        return malloc(size);
    }
    void *const memory = room.data() + taken;
    taken += rounded;
    return memory;
}

} // namespace

// In place of the sanitizers' own, all that may meet with one another.
void *operator new(size_t size, const std::nothrow_t &) noexcept
{
    return take(size == 0 ? 1 : size);
}

void *operator new(size_t size)
{
    void *const memory = operator new(size, std::nothrow);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void *memory) noexcept
{
    if (!in_room(memory)) {
        free(memory);
    }
}

void operator delete(void *memory, size_t) noexcept
{
    operator delete(memory);
}

void *operator new[](size_t size)
{
    return operator new(size);
}

void *operator new[](size_t size, const std::nothrow_t &) noexcept
{
    return operator new(size, std::nothrow);
}

void operator delete[](void *memory) noexcept
{
    operator delete(memory);
}

void operator delete[](void *memory, size_t) noexcept
{
    operator delete(memory);
}

namespace fuzz {

small_allocations::small_allocations()
{
    ++in_use;
}

small_allocations::~small_allocations()
{
    --in_use;
}

void release_small_allocations()
{
    taken = 0;
}

} // namespace fuzz
