#include "station/console/console_text.h"

#include <gtest/gtest.h>

using station::last_line;
using station::lines_of;
using station::readable;
using station::same_but_for_blanks;

TEST(console_text, ends_every_line_by_lf_alone)
{
    EXPECT_EQ(readable("a\r\nb\r\r\nc\nd\re"), "a\nb\nc\nd\ne");
}

TEST(console_text, has_no_escape_sequences_and_no_control_characters)
{
    EXPECT_EQ(readable("\x1b[1;31mred\x1b[0m \x1b]0;title\x07x\x1b(By\x07z\x1b["), "red xyz");
}

TEST(console_text, takes_back_what_backspaces_do)
{
    EXPECT_EQ(readable("stop: 3\b2\b1\n\bx"), "stop: 1\nx");
}

TEST(console_text, is_whole_where_lines_of_the_kernel_broke_in)
{
    EXPECT_EQ(readable("Seri[   12.345678] eth0: up\r\nalNO=A\r\n# [  100.000001] x\n"),
              "SerialNO=A\n# ");
    EXPECT_EQ(readable("# [   12.345678] not yet ended"), "# ");
}

TEST(console_text, keeps_what_only_looks_like_the_kernel)
{
    for (const auto *text : {"[12.34567] a", "[12.3456789] a", "[ .123456] a", "[12] a",
                             "[12.345678]a", "[SETMAC <f>:<1>] a", "[", "[1.", "[1.123456"}) {
        EXPECT_EQ(readable(text), text);
    }
}

TEST(console_text, has_lines)
{
    EXPECT_EQ(last_line("a\nb"), "b");
    EXPECT_EQ(last_line("a\n"), "");
    EXPECT_EQ(last_line("a"), "a");
    EXPECT_EQ(lines_of("\na\n\nb"), (std::vector<std::string_view>{"a", "b"}));
    EXPECT_TRUE(lines_of("").empty());
}

TEST(console_text, is_compared_without_what_wraps_it)
{
    EXPECT_TRUE(same_but_for_blanks("prov_set \rmac setmac", "prov_setmac setmac"));
    EXPECT_FALSE(same_but_for_blanks("prov_setmac setma", "prov_setmac setmac"));
}
