#include "sim/interpose/console_looks.h"

#include <cerrno>
#include <chrono>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using clock = std::chrono::steady_clock;

/** A console, whose other end is a pipe's. */
class sim_console_looks : public testing::Test {
protected:
    sim_console_looks() { EXPECT_EQ(pipe(ends_), 0); }
    ~sim_console_looks() override
    {
        close(ends_[0]);
        close(ends_[1]);
    }

    /** How long so many looks take, which find nothing. */
    clock::duration look(int times)
    {
        const auto start = clock::now();
        for (int i = 0; i < times; ++i) {
            looks_.before_read(ends_[0]);
            looks_.after_read(-1, EAGAIN);
        }
        return clock::now() - start;
    }

    int ends_[2] = {};
    sim::console_looks looks_;
};

constexpr int many = sim::console_looks::without_wait;
constexpr int more = 20;
// A thousand waits would take a second; looks without one, microseconds.
constexpr auto at_once = std::chrono::milliseconds(many * sim::console_looks::wait_ms) / 2;
constexpr auto waits = std::chrono::milliseconds(more * sim::console_looks::wait_ms);

TEST_F(sim_console_looks, wait_once_they_are_many)
{
    look(many);
    EXPECT_GE(look(more), waits);
}

TEST_F(sim_console_looks, pass_at_once_as_long_as_they_are_few)
{
    EXPECT_LT(look(many), at_once);
}

TEST_F(sim_console_looks, are_few_again_behind_one_that_found_something)
{
    look(many);
    looks_.after_read(1, 0);
    EXPECT_LT(look(many), at_once);
}

TEST_F(sim_console_looks, are_few_again_behind_a_read_that_failed)
{
    look(many);
    looks_.after_read(-1, EIO);
    EXPECT_LT(look(many), at_once);
}

TEST_F(sim_console_looks, wait_no_longer_than_until_a_byte_comes)
{
    look(many);
    ASSERT_EQ(write(ends_[1], "x", 1), 1);
    const auto start = clock::now();
    for (int i = 0; i < many; ++i) {
        looks_.before_read(ends_[0]);
    }
    EXPECT_LT(clock::now() - start, at_once);
}

} // namespace
