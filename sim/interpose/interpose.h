#pragma once

#include <cerrno>
#include <dlfcn.h>

// What the interposers of the C library's functions share.

#define SIMBOARD_EXPORT [[gnu::visibility("default")]]

namespace sim {

/** The function of that name after ours in the order of look-up. */
template <typename function>
function *next_function(const char *name)
{
    return reinterpret_cast<function *>(::dlsym(RTLD_NEXT, name));
}

/** A kernel's result as the C library gives it: -1 and errno on failure. */
template <typename number>
number answer(number result)
{
    if (result >= 0) {
        return result;
    }
    errno = static_cast<int>(-result);
    return -1;
}

} // namespace sim
