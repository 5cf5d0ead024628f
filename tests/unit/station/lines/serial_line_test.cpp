#include <filesystem>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "station/base/bytes.h"
#include "station/lines/serial_line.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

/** A pseudo-terminal whose one end is opened as a serial port. */
class serial_line_test : public testing::Test {
protected:
    int far_ = -1;
    int near_ = -1;
    std::string path_;

    void SetUp() override
    {
        char name[64];
        ASSERT_EQ(openpty(&far_, &near_, name, nullptr, nullptr), 0);
        path_ = name;
    }

    void TearDown() override
    {
        close(near_);
        close(far_);
    }

    static bytes all_bytes()
    {
        bytes all;
        for (int byte = 0; byte < 256; ++byte) {
            all.push_back(static_cast<std::uint8_t>(byte));
        }
        return all;
    }
};

} // namespace

TEST_F(serial_line_test, passes_every_byte_unchanged_to_the_switch)
{
    serial_line port(path_, 115200);
    port.write(all_bytes(), 1s);
    bytes got(300);
    got.resize(static_cast<std::size_t>(std::max<ssize_t>(0, read(far_, got.data(), got.size()))));
    EXPECT_EQ(got, all_bytes());
}

TEST_F(serial_line_test, passes_every_byte_unchanged_from_the_switch)
{
    serial_line port(path_, 115200);
    const auto all = all_bytes();
    ASSERT_EQ(write(far_, all.data(), all.size()), 256);
    bytes got(256);
    std::size_t count = 0;
    while (count < got.size()) {
        const auto size = port.read(std::span(got).subspan(count), 1s);
        ASSERT_GT(size, 0U);
        count += size;
    }
    EXPECT_EQ(got, all);
}

TEST_F(serial_line_test, sets_the_speed)
{
    serial_line port(path_, 9600);
    termios settings{};
    ASSERT_EQ(tcgetattr(near_, &settings), 0);
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0U);
}

TEST_F(serial_line_test, reads_nothing_within_the_limit_from_a_silent_switch)
{
    serial_line port(path_, 115200);
    bytes buffer(16);
    const auto start = port.now();
    EXPECT_EQ(port.read(buffer, 50ms), 0U);
    EXPECT_GE(port.now() - start, 49ms);
    EXPECT_EQ(port.read(buffer, 0ms), 0U);
}

TEST_F(serial_line_test, opens_a_port_by_a_link_to_it)
{
    const auto link = std::filesystem::path(testing::TempDir()) / "station_serial_line_link";
    std::filesystem::remove(link);
    std::filesystem::create_symlink(path_, link);
    EXPECT_NO_THROW(serial_line(link.string(), 115200));
    std::filesystem::remove(link);
}

TEST_F(serial_line_test, tells_a_port_that_does_not_exist)
{
    try {
        serial_line port("/dev/no-such-port", 115200);
        FAIL() << "opened";
    } catch (const line_error &error) {
        EXPECT_STREQ(error.what(), "cannot open /dev/no-such-port: no such port");
    }
}
