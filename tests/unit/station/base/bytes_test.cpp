#include <gtest/gtest.h>

#include "station/base/bytes.h"

using namespace station;

namespace {

bytes of(std::string_view text)
{
    return {text.begin(), text.end()};
}

} // namespace

TEST(crc32_mpeg2, gives_the_published_check_value)
{
    EXPECT_EQ(crc32_mpeg2(of("123456789")), 0x0376E6E7U);
}

TEST(crc32_mpeg2, of_nothing_is_its_start_value)
{
    EXPECT_EQ(crc32_mpeg2({}), 0xFFFFFFFFU);
}

TEST(crc32_mpeg2, of_a_block_with_its_own_crc_is_zero)
{
    EXPECT_EQ(crc32_mpeg2(with_crc(of("ABCDEFGHJ1234"))), 0U);
    EXPECT_EQ(crc32_mpeg2(with_crc({})), 0U);
}

TEST(with_crc, puts_the_most_significant_byte_first)
{
    EXPECT_EQ(with_crc(of("123456789")),
              (bytes{'1', '2', '3', '4', '5', '6', '7', '8', '9', 0x03, 0x76, 0xE6, 0xE7}));
}

TEST(put_be32, puts_the_most_significant_byte_first)
{
    bytes out{0xAA};
    put_be32(out, 0x01020304);
    put_be32(out, 0xFFFEFDFC);
    EXPECT_EQ(out, (bytes{0xAA, 0x01, 0x02, 0x03, 0x04, 0xFF, 0xFE, 0xFD, 0xFC}));
}

TEST(to_hex, separates_pairs_of_capital_digits)
{
    EXPECT_EQ(to_hex(bytes{0x00, 0x1A, 0xFF}), "00 1A FF");
    EXPECT_EQ(to_hex({}), "");
}

TEST(printable, keeps_printable_ascii_only)
{
    EXPECT_EQ(printable(std::string_view("a ~\x1b[2J\x7f\xc3\0!", 10)),
              "a ~\\x1B[2J\\x7F\\xC3\\x00");
}

TEST(put_field, fills_up_with_nuls_and_cuts_what_does_not_fit)
{
    bytes out{0xAA};
    put_field(out, "AB", 4);
    put_field(out, "CDE", 3);
    put_field(out, "FGHI", 2);
    EXPECT_EQ(out, (bytes{0xAA, 'A', 'B', 0, 0, 'C', 'D', 'E', 'F', 'G'}));
}

TEST(field_text, ends_at_the_first_nul_or_with_the_field)
{
    EXPECT_EQ(field_text(bytes{'A', 'B', 0, 'C'}), "AB");
    EXPECT_EQ(field_text(bytes{'A', 'B'}), "AB");
    EXPECT_EQ(field_text({}), "");
}

TEST(sum_of, is_modulo_256)
{
    EXPECT_EQ(sum_of(bytes{0xFF, 0x02, 0x80}), 0x81);
    EXPECT_EQ(sum_of({}), 0);
}

TEST(bytes_of_hex, takes_pairs_of_digits_only)
{
    const bytes some{0x00, 0x1A, 0xFF};
    EXPECT_EQ(bytes_of_hex("00 1a FF"), some);
    EXPECT_EQ(bytes_of_hex("00:1A:ff"), some);
    EXPECT_EQ(bytes_of_hex("001AFF"), some);
    EXPECT_EQ(bytes_of_hex(""), bytes{});
    for (const auto *text : {"0", "0 1", "00 1", "0x1A", "1G", "00-1A"}) {
        EXPECT_EQ(bytes_of_hex(text), std::nullopt) << text;
    }
}
