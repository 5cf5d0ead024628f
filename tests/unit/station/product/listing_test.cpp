#include "station/product/listing.h"

#include <gtest/gtest.h>

using station::listing;
using station::readings;

namespace {

listing read(const std::string &text)
{
    return listing::of(text, 80);
}

} // namespace

TEST(listing, finds_lines_and_values)
{
    const auto held = read("A=1\nB=2=3\nAB=4\n");
    EXPECT_TRUE(held.has("A=1"));
    EXPECT_FALSE(held.has("A="));
    EXPECT_EQ(held.value("A"), "1");
    EXPECT_EQ(held.value("B"), "2=3");
    EXPECT_EQ(held.value("C"), std::nullopt);
}

TEST(listing, puts_wrapped_lines_together)
{
    const auto held = listing::of("AB=45\n6789\n1\nC=\n", 5);
    EXPECT_TRUE(held.has("AB=456789"));
    EXPECT_EQ(held.value("AB"), "456789");
    EXPECT_TRUE(held.has("C="));
    // A line that fills the columns need not go on: it stands there as it came, too.
    EXPECT_TRUE(listing::of("AB=45\nC=6\n", 5).has("AB=45"));
}

TEST(readings, count_from_the_second_on)
{
    readings all;
    all.add(read("A=1\n"));
    EXPECT_EQ(all.agreed(), nullptr);
    EXPECT_FALSE(all.agree_on("A=1"));
    all.add(read("A=1\nB=2\n"));
    EXPECT_EQ(all.agreed(), nullptr);
    EXPECT_TRUE(all.agree_on("A=1"));
    EXPECT_FALSE(all.agree_on("B=2"));
    all.add(read("A=1\nB=2\n"));
    ASSERT_NE(all.agreed(), nullptr);
    EXPECT_EQ(all.agreed()->value("B"), "2");
}
