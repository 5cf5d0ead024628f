#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
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

inline bool ends_with(const std::vector<uint8_t> &all, std::string_view end)
{
    return all.size() >= end.size() && std::equal(end.rbegin(), end.rend(), all.rbegin());
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

    /** The PC is unplugged. */
    void hang_up()
    {
        close(pc_);
        pc_ = -1;
    }

    void send(const std::vector<uint8_t> &bytes) const
    {
        ASSERT_EQ(write(pc_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    /** All that was sent to the PC until now; a mark behind it tells where that ends. */
    std::vector<uint8_t> received() const
    {
        const std::string_view mark = "<all that was sent>";
        EXPECT_EQ(write(switch_, mark.data(), mark.size()), static_cast<ssize_t>(mark.size()));
        std::vector<uint8_t> all;
        std::array<uint8_t, 65536> part{};
        const auto start = clock_type::now();
        while (!ends_with(all, mark)) {
            const ssize_t got = read(pc_, part.data(), part.size());
            if (got > 0) {
                all.insert(all.end(), part.begin(), part.begin() + got);
            } else if (elapsed_ms(start) > 10000) {
                ADD_FAILURE() << "the mark has not come";
                return all;
            }
        }
        all.resize(all.size() - mark.size());
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

/** Fills the line behind raw descriptor 1, as a PC that does not read leaves it: bytes taken. */
inline size_t fill_line()
{
    const std::array<uint8_t, 4096> part{};
    size_t filled = 0;
    // The kernel hands bytes on by and by, so room may come back for a moment.
    pollfd line = {.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    while (poll(&line, 1, 20) > 0) {
        const ssize_t written = write(STDOUT_FILENO, part.data(), part.size());
        filled += written > 0 ? static_cast<size_t>(written) : 0;
    }
    return filled;
}

/** A PC that begins to read after a while, and then reads that many bytes. */
class late_pc {
public:
    late_pc(int pc, size_t wanted)
        : reader_([this, pc, wanted] {
              std::this_thread::sleep_for(std::chrono::milliseconds(100));
              std::array<uint8_t, 4096> part{};
              const auto start = clock_type::now();
              while (got_.size() < wanted && elapsed_ms(start) < 10000) {
                  const ssize_t length = read(pc, part.data(), part.size());
                  if (length > 0) {
                      got_.insert(got_.end(), part.begin(), part.begin() + length);
                  }
              }
          })
    {
    }

    /** Waits for all of them. */
    std::vector<uint8_t> received()
    {
        reader_.join();
        return std::move(got_);
    }

private:
    std::vector<uint8_t> got_;
    std::jthread reader_;
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
