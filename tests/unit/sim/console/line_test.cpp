#include "sim/console/kernel_lines.h"
#include "sim/console/line_direction.h"
#include "sim/console/paced_bytes.h"
#include "sim/console/wrapped_echo.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace {

using sim::console_fault;
using sim::line_direction;

/** What arrives of these bytes, with "!" where something strikes. */
std::string arriving(line_direction &line, std::string_view bytes)
{
    std::string all;
    for (const char byte : bytes) {
        const auto passed = line.pass(byte);
        all += passed.strikes ? "!" : passed.arriving;
    }
    return all;
}

std::string arriving_with(const console_fault &fault, std::string_view bytes)
{
    line_direction line(line_direction::from_pc, {.faults = {fault}});
    return arriving(line, bytes);
}

std::string typed(sim::wrapped_echo &echo, std::string_view keys)
{
    std::string shown;
    for (const char key : keys) {
        shown += echo.type(key);
    }
    return shown;
}

} // namespace

TEST(console_line, harms_the_byte_at_the_place_that_was_ordered)
{
    EXPECT_EQ(arriving_with({.what = console_fault::change, .received = 3}, "abcd"), "abbd");
    EXPECT_EQ(arriving_with({.what = console_fault::change, .received = 1, .bits = 0x20}, "abcd"),
              "Abcd");
    EXPECT_EQ(arriving_with({.what = console_fault::drop, .received = 4}, "abcd"), "abc");
    EXPECT_EQ(arriving_with({.what = console_fault::twice, .received = 1}, "abcd"), "aabcd");
    EXPECT_EQ(arriving_with({.what = console_fault::reboot, .received = 2}, "abcd"), "a!cd");
}

TEST(console_line, harms_only_the_direction_that_was_ordered)
{
    EXPECT_EQ(arriving_with({.what = console_fault::drop, .sent = 2}, "abcd"), "abcd");
    line_direction line(line_direction::to_pc,
                        {.faults = {{.what = console_fault::drop, .sent = 2}}});
    EXPECT_EQ(arriving(line, "abcd"), "acd");
}

TEST(console_line, counts_inside_of_a_command_where_one_is_given)
{
    line_direction line(line_direction::from_pc,
                        {.faults = {{.what = console_fault::drop, .command = 2, .received = 2}}});
    EXPECT_EQ(arriving(line, "abcd"), "abcd");
    line.begin_command(1);
    EXPECT_EQ(arriving(line, "abcd"), "abcd");
    line.begin_command(2);
    EXPECT_EQ(arriving(line, "abcd"), "acd");
}

TEST(console_line, makes_noise_that_depends_on_seed_and_place_alone)
{
    const std::string sent(10000, 'a');
    line_direction one(line_direction::to_pc, {.noise = 100, .seed = 7});
    line_direction same(line_direction::to_pc, {.noise = 100, .seed = 7});
    line_direction other_seed(line_direction::to_pc, {.noise = 100, .seed = 8});
    line_direction other_way(line_direction::from_pc, {.noise = 100, .seed = 7});
    const std::string got = arriving(one, sent);
    EXPECT_NE(got, sent);
    EXPECT_EQ(arriving(same, sent), got);
    EXPECT_NE(arriving(other_seed, sent), got);
    EXPECT_NE(arriving(other_way, sent), got);
    // A hundred harms, of which a third changes: twenty at the very least.
    EXPECT_GT(got.size() - static_cast<std::size_t>(std::count(got.begin(), got.end(), 'a')), 20U);
}

TEST(console_kernel, prints_a_line_after_so_many_bytes)
{
    sim::kernel_lines kernel(
        {.kernel_every_bytes = 3, .kernel_lines = 2, .kernel_text = "eth0 up"});
    std::string said;
    for (int byte = 0; byte < 12; ++byte) {
        said += '.';
        said += kernel.after_byte();
    }
    EXPECT_EQ(said, "...[  100.000001] eth0 up\r\n...[  100.000002] eth0 up\r\n......");
}

TEST(console_kernel, prints_a_line_after_so_long)
{
    sim::kernel_lines kernel({.kernel_every_ms = 5, .kernel_lines = 2, .kernel_text = "eth0 up"});
    EXPECT_EQ(kernel.next_us(), std::nullopt);
    kernel.begin(1000);
    EXPECT_EQ(kernel.next_us(), 6000);
    EXPECT_EQ(kernel.take(5999), "");
    EXPECT_EQ(kernel.take(6000), "[  100.000001] eth0 up\r\n");
    EXPECT_EQ(kernel.take(11000), "[  100.000002] eth0 up\r\n");
    EXPECT_EQ(kernel.next_us(), std::nullopt);
}

TEST(console_echo, breaks_a_long_line_at_the_width_of_the_terminal)
{
    sim::wrapped_echo echo({.prompt = "sw# ", .wrap = 8, .wrap_with = "<>"});
    EXPECT_EQ(typed(echo, "abcdefghijklmn\r"), "abcd<>efghijkl<>mn\r\n");
    EXPECT_EQ(typed(echo, "abc\x7F\x7Fx\r"), "abc\b \b\b \bx\r\n");
    EXPECT_EQ(typed(echo, "\x7F\r"), "\r\n");
    EXPECT_EQ(typed(echo, "ab\x03"
                          "abcd"),
              "ab^C\r\nabcd<>");
}

TEST(console_pace, lets_bytes_take_ten_bits_each)
{
    sim::paced_bytes line(10000); // a byte a millisecond
    line.push("abc", 5000);
    EXPECT_EQ(line.next_us(), 8000);
    EXPECT_EQ(line.take(5999), "");
    EXPECT_EQ(line.take(7500), "ab");
    line.push("d", 7600);
    EXPECT_EQ(line.next_us(), 9000);
    EXPECT_EQ(line.take(9000), "cd");
    EXPECT_EQ(line.next_us(), std::nullopt);
    // The line was at rest: it begins anew.
    line.push("e", 20000);
    EXPECT_EQ(line.take(20999), "");
    EXPECT_EQ(line.take(21000), "e");
}

TEST(console_pace, asks_for_no_more_than_sixteen_bytes_of_patience)
{
    sim::paced_bytes line(10000);
    line.push(std::string(100, 'a'), 0);
    EXPECT_EQ(line.next_us(), 16000);
}

TEST(console_pace, does_not_hold_up_bytes_without_a_rate)
{
    sim::paced_bytes line(0);
    line.push("abc", 5000);
    EXPECT_EQ(line.next_us(), 5000);
    EXPECT_EQ(line.take(5000), "abc");
}
