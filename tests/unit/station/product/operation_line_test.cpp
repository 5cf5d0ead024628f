#include "station/product/operation_line.h"

#include <array>

#include <gtest/gtest.h>

#include "unit/station/scripted_line.h"

namespace {

using namespace station;
using namespace std::chrono_literals;

class line_to_an_operation : public testing::Test {
protected:
    scripted_line far;
    listener observer;
    const console_settings settings = {};
    console shell{far, settings, observer};
    operation_line line{far, shell};

    /** What comes until nothing has come for 10 s. */
    std::string heard()
    {
        std::string all;
        std::array<std::uint8_t, 16> buffer{};
        for (auto count = line.read(buffer, 10s); count > 0; count = line.read(buffer, 10s)) {
            all.append(buffer.begin(), buffer.begin() + std::ptrdiff_t(count));
        }
        return all;
    }
};

} // namespace

TEST_F(line_to_an_operation, is_over_once_a_login_stands_still)
{
    far.shows("Loader 1.0\r\n\r\nswitch login: ");
    EXPECT_THROW(heard(), operation_over);
    EXPECT_EQ(far.elapsed(), 300ms);
    EXPECT_THROW(heard(), operation_over) << "it stays so";
}

TEST_F(line_to_an_operation, is_over_once_a_prompt_follows_after_a_long_silence)
{
    far.shows("working\r\n").answers({'l', 'o', 'g', 'i', 'n', ':', ' '}, 5s);
    EXPECT_THROW(heard(), operation_over);
    EXPECT_EQ(far.elapsed(), 5300ms);
}

TEST_F(line_to_an_operation, is_over_once_the_prompt_of_the_shell_stands_still)
{
    far.shows("switch:~# ").expects({'\r'}).shows("\r\nswitch:~# ");
    ASSERT_EQ(shell.reach_prompt(10s), arrival::prompt);
    far.answers({0x06, 's', 'w', 'i', 't', 'c', 'h', ':', '~', '#', ' '});
    EXPECT_THROW(heard(), operation_over);
}

TEST_F(line_to_an_operation, goes_on_where_something_follows_what_looks_like_a_prompt)
{
    far.shows("login: ").answers({'n', 'o', 'n', 'e'}, 200ms);
    EXPECT_EQ(heard(), "login: none");
    EXPECT_EQ(far.elapsed(), 10200ms);
}

TEST_F(line_to_an_operation, goes_on_while_it_is_silent)
{
    far.shows("login\r\n");
    EXPECT_EQ(heard(), "login\r\n");
}
