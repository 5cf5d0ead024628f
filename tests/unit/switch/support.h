#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/trace.h"

namespace support {

/** An open debug log in memory, for as long as it lives. */
class trace_log {
public:
    trace_log() { setmac_debug_fd = open_memstream(&buffer_, &size_); }
    trace_log(const trace_log &) = delete;
    trace_log &operator=(const trace_log &) = delete;
    ~trace_log()
    {
        fclose(setmac_debug_fd);
        setmac_debug_fd = nullptr;
        free(buffer_);
    }

    std::string text() const { return {buffer_, size_}; }

    /** The log with "N" for every source line number, for traces whose number is nobody's contract.
     */
    std::string unnumbered() const;

private:
    char *buffer_ = nullptr;
    size_t size_ = 0;
};

/** What `action` writes to standard output. */
template <typename action>
std::string printed(action run)
{
    testing::internal::CaptureStdout();
    run();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

/** The bytes of a text, and of several of them one after the other. */
inline std::vector<uint8_t> bytes(std::string_view text)
{
    return {text.begin(), text.end()};
}

inline std::vector<uint8_t> operator+(std::vector<uint8_t> front, const std::vector<uint8_t> &back)
{
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

} // namespace support
