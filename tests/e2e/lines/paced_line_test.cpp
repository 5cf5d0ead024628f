#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "station/base/bytes.h"
#include "station/lines/pty_line.h"

using namespace std::chrono_literals;

namespace {

constexpr auto patience = 20s;

/** A shell command behind a line of that speed. */
class paced_line : public testing::Test {
protected:
    const std::filesystem::path report_ =
        std::filesystem::path(testing::TempDir()) /
        (std::string("paced_line_") +
         testing::UnitTest::GetInstance()->current_test_info()->name());

    void TearDown() override { std::filesystem::remove(report_); }

    std::string command(int baud, const std::string &script) const
    {
        return "exec " PACED_LINE " " + std::to_string(baud) + " '" + report_.string() +
               "' sh -c '" + script + "'";
    }

    /** What came until the end of the line, and the reason that it gave. */
    static std::string all_of(station::line &from)
    {
        std::string text;
        try {
            for (const auto end = from.now() + patience; from.now() < end;) {
                station::bytes piece(4096);
                piece.resize(from.read(piece, 1s));
                text.append(piece.begin(), piece.end());
            }
        } catch (const station::line_closed &closed) {
            return text + "|" + closed.what();
        }
        return text + "|still open";
    }

    std::map<std::string, long> report() const
    {
        std::map<std::string, long> all;
        std::ifstream in(report_);
        std::string name;
        for (long value = 0; in >> name >> value;) {
            all[name] = value;
        }
        return all;
    }
};

} // namespace

TEST_F(paced_line, ends_like_the_program_once_all_that_it_wrote_has_arrived)
{
    station::pty_line line(command(9600, "printf %096d 7; exit 3"));
    EXPECT_EQ(all_of(line), std::string(95, '0') + "7|the program ended with exit status 3");
}

TEST_F(paced_line, leaves_a_program_that_has_closed_its_terminal_to_its_end)
{
    station::pty_line line(command(9600, "printf 7; exec <&- >&- 2>&-; sleep 0.3; exit 3"));
    EXPECT_EQ(all_of(line), "7|the program ended with exit status 3");
}

TEST_F(paced_line, takes_ten_bits_for_each_byte)
{
    const auto start = std::chrono::steady_clock::now();
    station::pty_line line(command(9600, "printf %096d 7"));
    all_of(line);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms);
    auto told = report();
    EXPECT_EQ(told["busy"], 96 * 1041666);
    EXPECT_EQ(told["bytes_from"], 96);
    EXPECT_EQ(told["bytes_to"], 0);
}

TEST_F(paced_line, carries_every_byte_unchanged_in_both_directions)
{
    station::pty_line line(command(115200, "stty raw -echo; printf R; exec head -c 256"));
    station::bytes first(1);
    ASSERT_EQ(line.read(first, patience), 1U);
    station::bytes all;
    for (int byte = 0; byte < 256; ++byte) {
        all.push_back(static_cast<std::uint8_t>(byte));
    }
    line.write(all, patience);
    EXPECT_EQ(all_of(line),
              std::string(all.begin(), all.end()) + "|the program ended with exit status 0");
    auto told = report();
    EXPECT_EQ(told["bytes_from"], 257);
    EXPECT_EQ(told["bytes_to"], 256);
}

TEST_F(paced_line, tells_whose_silence_it_was)
{
    station::pty_line line(command(115200, "stty raw -echo; sleep 0.2; printf R; exec head -c 1"));
    station::bytes first(1);
    ASSERT_EQ(line.read(first, patience), 1U);
    ASSERT_EQ(line.read(first, 300ms), 0U);
    line.write(first, patience);
    EXPECT_EQ(all_of(line), "R|the program ended with exit status 0");
    auto told = report();
    EXPECT_GE(told["program"], 200'000'000);
    EXPECT_GE(told["terminal"], 290'000'000);
}
