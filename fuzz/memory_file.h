#pragma once

#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/input.h"

namespace fuzz {

/** The path by which a file in memory can be opened that has this content until the next call. */
inline std::string file_with(const byte_list &content)
{
    static const int number = memfd_create("file", MFD_CLOEXEC);
    const auto written = pwrite(number, content.data(), content.size(), 0);
    require(written == static_cast<ssize_t>(content.size()) &&
                ftruncate(number, static_cast<off_t>(content.size())) == 0,
            "the file is written");
    return "/proc/self/fd/" + std::to_string(number);
}

} // namespace fuzz
