#pragma once

namespace fuzz {

/**
 * While one of these lives, small allocations by `new` stand side by side in one room, and deleting
 * them does nothing. For boards, which are made of hundreds of them in every run: the sanitizers'
 * own memory would take longer than the program under test, which never allocates by `new`.
 */
class small_allocations {
public:
    small_allocations();
    small_allocations(const small_allocations &) = delete;
    small_allocations &operator=(const small_allocations &) = delete;
    ~small_allocations();
};

/** Empties the room. Nothing that stands in it may be used any more. */
void release_small_allocations();

} // namespace fuzz
