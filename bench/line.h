#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "process.h"

namespace bench {

/** A program on a board, on a pseudo-terminal; this side is the PC. Kills the program at the end.
 */
class line {
public:
    line(const command &what, const std::filesystem::path &folder);
    ~line();
    line(const line &) = delete;
    line &operator=(const line &) = delete;

    void send(std::string_view bytes) const;

    /** Reads until these bytes have come; throws std::runtime_error when they do not. */
    void wait_for(std::string_view bytes) const;

    /**
     * Runs a program of the PC to its end whose input and output are this side. Throws
     * std::runtime_error when it does not end with 0.
     */
    void hand_to(const command &what) const;

private:
    int here_ = -1;
    pid_t program_ = -1;
};

} // namespace bench
