#include "floor/ports/port_line.h"

#include <array>
#include <fcntl.h>
#include <pty.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "floor/ports/examine.h"

namespace {

using namespace std::chrono_literals;
using shopfloor::adapter_gone;
using shopfloor::port_line;

/** A pseudo-terminal in the stead of an adapter; its far end is the cable. */
class locked_port : public testing::Test {
protected:
    void SetUp() override
    {
        std::array<char, 64> name{};
        ASSERT_EQ(openpty(&far_, &near_, name.data(), nullptr, nullptr), 0);
        path_ = name.data();
        close(near_); // the floor alone has it
    }
    void TearDown() override { unplug(); }

    void unplug()
    {
        close(far_);
        far_ = -1;
    }

    std::string why_not_opened() const
    {
        try {
            port_line(path_, 115200);
        } catch (const station::line_error &why) {
            return why.what();
        }
        return "opened";
    }

    int far_ = -1;
    int near_ = -1;
    std::string path_;
};

TEST_F(locked_port, passes_bytes_both_ways)
{
    port_line port(path_, 115200);
    const std::array<std::uint8_t, 3> sent{0x00, 0x03, 0xFF};
    port.write(sent, 1s);
    std::array<std::uint8_t, 8> got{};
    ASSERT_EQ(read(far_, got.data(), got.size()), 3);
    EXPECT_EQ(got[2], 0xFF);
    ASSERT_EQ(write(far_, sent.data(), sent.size()), 3);
    EXPECT_EQ(port.read(got, 10s), 3U);
}

TEST_F(locked_port, is_opened_by_one_only)
{
    const port_line port(path_, 115200);
    const auto why = why_not_opened();
    EXPECT_NE(why.find(path_ + " is in use by another program"), std::string::npos) << why;
}

TEST_F(locked_port, is_left_to_whoever_has_locked_it)
{
    const int other = open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_NE(why_not_opened().find("in use"), std::string::npos);
    close(other);
    EXPECT_EQ(why_not_opened(), "opened");
}

TEST_F(locked_port, can_be_opened_again_after_its_end)
{
    EXPECT_EQ(why_not_opened(), "opened");
    EXPECT_EQ(why_not_opened(), "opened");
}

TEST_F(locked_port, says_that_nothing_came_while_the_adapter_is_there)
{
    port_line port(path_, 115200);
    std::array<std::uint8_t, 8> got{};
    EXPECT_EQ(port.read(got, 10ms), 0U);
}

TEST_F(locked_port, tells_an_adapter_that_is_gone_from_silence)
{
    port_line port(path_, 115200);
    unplug();
    std::array<std::uint8_t, 8> got{};
    EXPECT_THROW(port.read(got, 10s), adapter_gone);
    EXPECT_THROW(port.write(std::array<std::uint8_t, 1>{0x0D}, 1s), adapter_gone);
}

/** A watch whose answer of a place is of before. */
class late_watch : public shopfloor::port_watch {
public:
    explicit late_watch(std::string device) : device_(std::move(device)) {}
    std::vector<shopfloor::serial_port> ports() override
    {
        return {shopfloor::serial_port{device_, "usb 1-1.4", ""}};
    }
    std::string place_of(dev_t number) override
    {
        asked = number;
        return is_at;
    }
    void call_on_change(std::function<void()>) override {}

    dev_t asked = 0;
    std::string is_at = "usb 1-1.4"; // by now

private:
    std::string device_;
};

TEST_F(locked_port, is_looked_at_once_more_when_it_is_opened_by_its_place)
{
    late_watch watch(path_);
    struct stat port {};
    ASSERT_EQ(stat(path_.c_str(), &port), 0);
    EXPECT_NE(shopfloor::open_port(watch, "usb 1-1.4", 115200), nullptr);
    EXPECT_EQ(watch.asked, port.st_rdev);
    for (const auto *other : {"usb 1-1.3", ""}) {
        watch.is_at = other;
        EXPECT_THROW(shopfloor::open_port(watch, "usb 1-1.4", 115200), station::line_error);
        EXPECT_EQ(why_not_opened(), "opened"); // it was let go
    }
    EXPECT_NE(shopfloor::open_port(watch, path_, 115200), nullptr);
}

TEST_F(locked_port, is_no_port_where_there_is_nothing)
{
    path_ = "/dev/setmac-nothing";
    EXPECT_EQ(why_not_opened(), "/dev/setmac-nothing: there is no adapter");
}

TEST(users_of_a_port, are_other_programs_that_have_it_open)
{
    EXPECT_TRUE(shopfloor::users_of("/dev/setmac-nothing").empty());
}

} // namespace
