#pragma once

#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "input.h"

namespace fuzz {

/** A file in memory, by whose path it can be opened. */
class memory_file {
public:
    explicit memory_file(const byte_list &content) : number_(memfd_create("file", MFD_CLOEXEC))
    {
        const auto written = write(number_, content.data(), content.size());
        require(written == static_cast<ssize_t>(content.size()), "the file is written");
    }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;
    ~memory_file() { close(number_); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(number_); }

private:
    int number_;
};

} // namespace fuzz
