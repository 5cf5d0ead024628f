#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include <sys/wait.h>

#include <gtest/gtest.h>

#include "life_line.h"
#include "station/base/bytes.h"
#include "station/lines/pty_line.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

constexpr auto patience = 20s;

/** Reads until so many bytes came; fewer where the patience ends. */
bytes read_bytes(line &from, std::size_t count)
{
    bytes got;
    bytes piece(4096);
    const auto end = from.now() + patience;
    while (got.size() < count && from.now() < end) {
        const auto size =
            from.read(std::span(piece).first(std::min(piece.size(), count - got.size())), 100ms);
        got.insert(got.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(size));
    }
    return got;
}

std::string read_text(line &from, std::size_t count)
{
    const auto got = read_bytes(from, count);
    return {got.begin(), got.end()};
}

/** Reads to the end of the line; the reason that it gives. */
std::string read_to_close(line &from, std::string &text)
{
    bytes piece(4096);
    const auto end = from.now() + patience;
    try {
        while (from.now() < end) {
            const auto size = from.read(piece, 100ms);
            text.append(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(size));
        }
    } catch (const line_closed &closed) {
        return closed.what();
    }
    return "still open";
}

void write_text(line &to, std::string_view text)
{
    to.write(bytes(text.begin(), text.end()), 5s);
}

} // namespace

TEST(pty_line, gives_the_program_an_ordinary_terminal_in_cooked_mode)
{
    pty_line program("stty -a | grep -o -w -e -*icanon -e -*echo -e -*isig -e -*onlcr -e -*icrnl");
    std::string text;
    read_to_close(program, text);
    EXPECT_EQ(text, "icrnl\r\nonlcr\r\nisig\r\nicanon\r\necho\r\n");
}

TEST(pty_line, is_the_programs_input_output_error_and_controlling_terminal)
{
    pty_line program("test -t 0 && test -t 1 && test -t 2 && echo all > /dev/tty; echo err >&2");
    std::string text;
    EXPECT_EQ(read_to_close(program, text), "the program ended with exit status 0");
    EXPECT_EQ(text, "all\r\nerr\r\n");
}

TEST(pty_line, tells_the_programs_exit_status)
{
    pty_line program("exit 7");
    std::string text;
    EXPECT_EQ(read_to_close(program, text), "the program ended with exit status 7");
    const auto status = program.wait_for_exit(5s);
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(WEXITSTATUS(*status), 7);
}

TEST(pty_line, tells_the_signal_that_ended_the_program)
{
    pty_line program("kill -TERM $$");
    std::string text;
    EXPECT_EQ(read_to_close(program, text), "the program ended with signal 15 (Terminated)");
}

TEST(pty_line, tells_a_command_that_does_not_exist)
{
    pty_line program("/no/such/program");
    std::string text;
    EXPECT_EQ(read_to_close(program, text), "the program ended with exit status 127");
    EXPECT_NE(text.find("not found"), std::string::npos);
}

TEST(pty_line, reads_nothing_within_the_limit_from_a_silent_program)
{
    pty_line program("exec sleep 60");
    bytes buffer(16);
    const auto start = program.now();
    EXPECT_EQ(program.read(buffer, 50ms), 0U);
    EXPECT_GE(program.now() - start, 50ms);
    EXPECT_FALSE(program.wait_for_exit(0ms).has_value());
}

TEST(pty_line, is_raw_once_the_program_made_it_so)
{
    pty_line program("printf a; read line; stty raw -echo; printf b; exec sleep 60");
    EXPECT_EQ(read_text(program, 1), "a");
    EXPECT_FALSE(program.raw());
    write_text(program, "\n");
    EXPECT_EQ(read_text(program, 3), "\r\nb");
    EXPECT_TRUE(program.raw());
}

TEST(pty_line, passes_every_byte_unchanged_once_it_is_raw)
{
    pty_line program("stty raw -echo; printf R; exec head -c 256");
    ASSERT_EQ(read_text(program, 1), "R");
    bytes all;
    for (int byte = 0; byte < 256; ++byte) {
        all.push_back(static_cast<std::uint8_t>(byte));
    }
    program.write(all, 5s);
    EXPECT_EQ(read_bytes(program, 256), all);
}

TEST(pty_line, carries_more_than_the_terminal_can_hold)
{
    pty_line program("stty raw -echo; printf R; sleep 0.2; head -c 131072 | wc -c");
    ASSERT_EQ(read_text(program, 1), "R");
    program.write(bytes(131072, 0x0A), patience);
    EXPECT_EQ(read_text(program, 7), "131072\n");
}

TEST(pty_line, refuses_to_wait_for_ever_for_a_program_that_does_not_read)
{
    pty_line program("stty raw -echo; printf R; exec sleep 60");
    ASSERT_EQ(read_text(program, 1), "R");
    EXPECT_THROW(program.write(bytes(1U << 20, 0x0A), 200ms), line_error);
}

TEST(pty_line, keeps_bytes_that_came_before_raw_mode)
{
    pty_line program("printf a; read line; printf b; read line; stty raw -echo; exec head -c 3");
    ASSERT_EQ(read_text(program, 1), "a");
    write_text(program, "\n");
    ASSERT_EQ(read_text(program, 3), "\r\nb");
    write_text(program, "\n{{");
    ASSERT_EQ(read_text(program, 4), "\r\n{{");
    std::this_thread::sleep_for(200ms);
    write_text(program, "{");
    EXPECT_EQ(read_text(program, 3), "{{{");
}

TEST(pty_line, ends_a_program_that_still_runs_with_sigterm)
{
    const auto *const name = "station_pty_line_ended";
    const auto mark = std::filesystem::path(testing::TempDir()) / name;
    std::filesystem::remove(mark);
    {
        pty_line program("trap 'echo ended > \"" + mark.string() +
                         "\"; exit' TERM; printf R; while :; do sleep 0.02; done");
        ASSERT_EQ(read_text(program, 1), "R");
    }
    std::string text;
    std::ifstream(mark) >> text;
    EXPECT_EQ(text, "ended");
    std::filesystem::remove(mark);
}

TEST(pty_line, ends_a_program_that_ignores_sigterm_too)
{
    pid_t child = 0;
    {
        pty_line program("trap '' TERM; echo $$; while :; do sleep 0.02; done");
        std::string text;
        while (text.find('\n') == std::string::npos) {
            text += read_text(program, 1);
        }
        child = std::stoi(text);
        ASSERT_EQ(kill(child, 0), 0);
    }
    EXPECT_EQ(kill(child, 0), -1);
}

TEST(pty_line, ends_what_the_program_has_started_too)
{
    life_line all;
    {
        pty_line program("trap '' TERM HUP; sleep 30 & printf R; wait; wait");
        ASSERT_EQ(read_text(program, 1), "R");
    }
    EXPECT_NO_THROW(all.await_end(patience));
}

TEST(pty_line, ends_what_ignores_sigterm_after_a_program_that_does_not)
{
    life_line all;
    {
        pty_line program("(trap '' TERM HUP; printf R; sleep 30) & wait");
        ASSERT_EQ(read_text(program, 1), "R");
    }
    EXPECT_NO_THROW(all.await_end(patience));
}

TEST(pty_line, lets_what_the_program_has_started_tidy_up_too)
{
    const auto mark = std::filesystem::path(testing::TempDir()) / "station_pty_line_child_tidied";
    std::filesystem::remove(mark);
    life_line all;
    {
        pty_line program("trap '' HUP; (trap 'echo tidied > \"" + mark.string() +
                         "\"; exit' TERM; printf R; for i in $(seq 500); do sleep 0.02; done) & "
                         "wait");
        ASSERT_EQ(read_text(program, 1), "R");
    }
    EXPECT_NO_THROW(all.await_end(patience));
    EXPECT_TRUE(std::filesystem::exists(mark));
    std::filesystem::remove(mark);
}

TEST(pty_line, lets_a_program_tidy_up_for_a_second)
{
    const auto mark = std::filesystem::path(testing::TempDir()) / "station_pty_line_tidied";
    std::filesystem::remove(mark);
    {
        pty_line program("trap 'sleep 1; echo tidied > \"" + mark.string() +
                         "\"; exit' TERM; printf R; while :; do sleep 0.02; done");
        ASSERT_EQ(read_text(program, 1), "R");
    }
    EXPECT_TRUE(std::filesystem::exists(mark));
    std::filesystem::remove(mark);
}

TEST(pty_line, tells_a_program_that_lets_go_of_its_terminal_and_runs_on)
{
    pty_line program("trap '' HUP; exec sleep 30 </dev/null >/dev/null 2>&1");
    std::string text;
    EXPECT_EQ(read_to_close(program, text), "the program closed its terminal");
}

TEST(pty_line, waits_for_the_end_of_a_program_behind_the_end_of_its_terminal)
{
    pty_line program("exec </dev/null >/dev/null 2>&1; sleep 0.3; exit 4");
    std::string text;
    EXPECT_EQ(read_to_close(program, text), "the program ended with exit status 4");
}
