#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <vector>

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "console/com_data_provider.h"

namespace support {

using clock_type = std::chrono::steady_clock;

inline int64_t elapsed_ms(clock_type::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(clock_type::now() - start).count();
}

/** A pseudo-terminal in the place of descriptors 0 and 1, with a PC at its other end. */
class console : public testing::Test {
protected:
    void SetUp() override
    {
        fflush(stdout);
        saved_input_ = dup(STDIN_FILENO);
        saved_output_ = dup(STDOUT_FILENO);
        ASSERT_EQ(openpty(&pc_, &switch_, nullptr, nullptr, nullptr), 0);
        dup2(switch_, STDIN_FILENO);
        dup2(switch_, STDOUT_FILENO);
        fcntl(pc_, F_SETFL, O_NONBLOCK);
        tcgetattr(switch_, &found_);
    }

    void TearDown() override
    {
        fflush(stdout);
        dup2(saved_input_, STDIN_FILENO);
        dup2(saved_output_, STDOUT_FILENO);
        for (const int number : {saved_input_, saved_output_, pc_, switch_}) {
            close(number);
        }
    }

    void send(const std::vector<uint8_t> &bytes) const
    {
        ASSERT_EQ(write(pc_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    /** What the PC has got within a moment. */
    std::vector<uint8_t> received() const
    {
        std::vector<uint8_t> all;
        std::array<uint8_t, 65536> part{};
        const auto start = clock_type::now();
        while (elapsed_ms(start) < 50) {
            const ssize_t got = read(pc_, part.data(), part.size());
            if (got > 0) {
                all.insert(all.end(), part.begin(), part.begin() + got);
            }
        }
        return all;
    }

    termios settings() const
    {
        termios now{};
        tcgetattr(switch_, &now);
        return now;
    }

    const termios &found() const { return found_; }
    int pc() const { return pc_; }
    int terminal() const { return switch_; }

private:
    int saved_input_ = -1;
    int saved_output_ = -1;
    int pc_ = -1;
    int switch_ = -1;
    termios found_{};
};

/** Raw mode for a scope. */
class raw_mode {
public:
    raw_mode() { tty_opts_ctrl(1); }
    raw_mode(const raw_mode &) = delete;
    raw_mode &operator=(const raw_mode &) = delete;
    ~raw_mode() { tty_opts_ctrl(0); }
};

} // namespace support
