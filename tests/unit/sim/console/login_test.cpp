#include "sim/console/boot.h"
#include "sim/console/login.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace {

std::string typed(sim::login &login, std::string_view keys)
{
    std::string shown;
    for (const char key : keys) {
        shown += login.type(key);
    }
    return shown;
}

} // namespace

TEST(console_boot, spreads_its_lines_over_its_time)
{
    sim::boot boot({.silence_ms = 10, .boot_lines = 2, .boot_ms = 1000}, 5000);
    EXPECT_EQ(boot.next_us(), 15000);
    EXPECT_EQ(boot.take(14999), "");
    EXPECT_EQ(boot.take(15000), "[    0.000000] Booting Linux on physical CPU 0x0\r\n");
    EXPECT_EQ(boot.next_us(), 515000);
    EXPECT_EQ(boot.take(600000), "[    0.500000] Memory: 979200K/1048576K available\r\n");
    EXPECT_FALSE(boot.is_over(1014999));
    EXPECT_TRUE(boot.is_over(1015000));
}

TEST(console_boot, can_be_all_silence)
{
    sim::boot boot({.boot_lines = 0, .boot_ms = 0}, 5000);
    EXPECT_EQ(boot.take(5000), "");
    EXPECT_TRUE(boot.is_over(5000));
}

TEST(console_login, shows_the_issue_and_asks_for_the_name)
{
    const sim::login login({.issue = "A switch\n", .login_prompt = "sw login: "});
    EXPECT_EQ(login.greeting(), "\r\nA switch\r\nsw login: ");
}

TEST(console_login, asks_for_no_password_where_there_is_none)
{
    sim::login login({.motd = "Be careful\n"});
    EXPECT_EQ(typed(login, "root\r"), "root\r\nBe careful\r\n");
    EXPECT_TRUE(login.is_done());
}

TEST(console_login, does_not_show_the_password)
{
    sim::login login({.password = "secret"});
    EXPECT_EQ(typed(login, "root\n"), "root\r\nPassword: ");
    EXPECT_EQ(typed(login, "secret\r"), "\r\n");
    EXPECT_TRUE(login.is_done());
}

TEST(console_login, refuses_a_wrong_password_and_asks_anew)
{
    sim::login login({.login_prompt = "sw login: ", .password = "secret"});
    typed(login, "root\rSecret\r");
    EXPECT_FALSE(login.is_done());
    EXPECT_TRUE(login.owes_refusal());
    EXPECT_EQ(typed(login, "lost\r"), "");
    EXPECT_EQ(login.refuse(), "\r\nLogin incorrect\r\nsw login: ");
    EXPECT_FALSE(login.owes_refusal());
    typed(login, "root\rsecret\r");
    EXPECT_TRUE(login.is_done());
}

TEST(console_login, refuses_a_stranger_after_asking_for_a_password)
{
    sim::login login({});
    EXPECT_EQ(typed(login, "admin\r"), "admin\r\nPassword: ");
    typed(login, "\r");
    EXPECT_TRUE(login.owes_refusal());
}

TEST(console_login, lets_a_name_be_edited)
{
    sim::login login({.issue = "", .login_prompt = "sw login: "});
    EXPECT_EQ(typed(login, "\r"), "\r\nsw login: ");
    EXPECT_EQ(typed(login, "ab\x7F\x08\x08"), "ab\b \b\b \b");
    EXPECT_EQ(typed(login, "ab\x15"), "ab\b \b\b \b");
    EXPECT_EQ(typed(login, "ab\x03"), "ab\r\n\r\nsw login: ");
    EXPECT_EQ(typed(login, "\x04"), "\r\n\r\nsw login: ");
    EXPECT_EQ(typed(login, "\x1Broot\r"), "root\r\n");
    EXPECT_TRUE(login.is_done());
}

TEST(console_login, shows_nothing_without_echo)
{
    sim::login login({.echo = false});
    EXPECT_EQ(typed(login, "root\x7Ft\r"), "\r\n");
    EXPECT_TRUE(login.is_done());
}
