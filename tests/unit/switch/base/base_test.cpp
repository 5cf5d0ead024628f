#include <array>

#include <fcntl.h>

#include "base/byte_reader.h"
#include "base/descriptor.h"
#include "base/text.h"
#include "unit/switch/support.h"

namespace {

TEST(byte_order, puts_the_most_significant_byte_first)
{
    constexpr uint8_t bytes[] = {0x12, 0x34, 0xAB, 0xCD};
    EXPECT_EQ(load_be16(bytes), 0x1234);
    EXPECT_EQ(load_be32(bytes), 0x1234ABCDU);
}

TEST(byte_reader, takes_numbers_texts_and_bytes_in_order)
{
    const std::vector<uint8_t> content = {0x02, 'a', 'b', 0, 0, 0, 1, 0, 0xFF, 0xFE};
    byte_reader in(content);
    EXPECT_EQ(in.u8(), 2);
    EXPECT_EQ(in.text(), "ab");
    EXPECT_EQ(in.be32(), 0x100U);
    EXPECT_EQ(in.remaining(), 2U);
    EXPECT_EQ(in.bytes(2)[1], 0xFE);
    EXPECT_TRUE(in.at_end());
    EXPECT_TRUE(in);
}

TEST(byte_reader, fails_for_good_when_more_is_wanted_than_there_is)
{
    const std::vector<uint8_t> content = {1, 2, 3};
    byte_reader in(content);
    EXPECT_EQ(in.be32(), 0U);
    EXPECT_FALSE(in);
    EXPECT_EQ(in.remaining(), 3U);
    EXPECT_EQ(in.u8(), 0);
}

TEST(byte_reader, takes_no_text_without_its_terminator)
{
    const std::vector<uint8_t> content = {'a', 'b'};
    byte_reader in(content);
    EXPECT_EQ(in.text(), "");
    EXPECT_FALSE(in);
}

TEST(byte_reader, refuses_a_count_that_would_wrap)
{
    const std::vector<uint8_t> content = {1};
    byte_reader in(content);
    EXPECT_TRUE(in.bytes(SIZE_MAX).empty());
    EXPECT_FALSE(in);
}

TEST(text, ends_at_the_first_nul_or_at_the_last_byte)
{
    constexpr std::array<uint8_t, 4> with = {'a', 0, 'b', 0};
    constexpr std::array<uint8_t, 2> without = {'a', 'b'};
    EXPECT_EQ(text_of(with), "a");
    EXPECT_EQ(text_of(without), "ab");
    EXPECT_EQ(text_of({}), "");
}

TEST(text, parts_never_reach_past_its_end)
{
    EXPECT_EQ(first_part("abc", 2), "ab");
    EXPECT_EQ(first_part("abc", std::string_view::npos), "abc");
    EXPECT_EQ(rest_after("abc", 2), "c");
    EXPECT_EQ(rest_after("abc", 4), "");
}

TEST(descriptor, closes_what_it_owns)
{
    int number = -1;
    {
        const descriptor file(open("/dev/null", O_RDONLY));
        ASSERT_TRUE(file);
        number = file.get();
    }
    EXPECT_EQ(fcntl(number, F_GETFD), -1);
    EXPECT_FALSE(descriptor(-1));
}

TEST(descriptor, of_number_0_is_one_and_is_closed_too)
{
    const descriptor saved(dup(STDIN_FILENO));
    close(STDIN_FILENO);
    {
        const descriptor first(open("/dev/null", O_RDONLY));
        EXPECT_EQ(first.get(), 0);
        EXPECT_TRUE(first);
    }
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    dup2(saved.get(), STDIN_FILENO);
}

void traced_function(int value)
{
    SETMAC_TRACE_AT(54, "value:%d\r\n", value);
}

TEST(trace, begins_with_function_and_line)
{
    const support::trace_log log;
    traced_function(7);
    EXPECT_EQ(log.text(), "[SETMAC <traced_function>:<54>] value:7\r\n");
}

TEST(trace, names_this_line_by_itself)
{
    const support::trace_log log;
    SETMAC_TRACE("x");
    const int line = __LINE__ - 1;
    EXPECT_EQ(log.text(), "[SETMAC <TestBody>:<" + std::to_string(line) + ">] x");
}

TEST(trace, evaluates_nothing_while_the_log_is_closed)
{
    int evaluated = 0;
    SETMAC_TRACE("%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
}

TEST(trace, is_flushed_line_by_line)
{
    std::array<char, 32> path = {"/tmp/setmac-trace-XXXXXX"};
    const descriptor file(mkstemp(path.data()));
    setmac_debug_fd = fopen(path.data(), "a+");
    SETMAC_TRACE_AT(1, "x");
    std::array<char, 64> content{};
    const ssize_t length = read(file.get(), content.data(), content.size());
    fclose(setmac_debug_fd);
    setmac_debug_fd = nullptr;
    unlink(path.data());
    EXPECT_EQ(std::string(content.data(), static_cast<size_t>(length)),
              "[SETMAC <TestBody>:<1>] x");
}

} // namespace
