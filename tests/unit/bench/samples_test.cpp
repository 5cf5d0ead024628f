#include "bench/samples.h"

#include <gtest/gtest.h>
#include <limits>

using bench::figure_of;
using bench::samples;

TEST(bench_figure, is_the_middle_sample_and_the_bounds_of_the_middle_half)
{
    const auto found = figure_of({12, 9, 10, 11, 100});
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->median, 11);
    EXPECT_EQ(found->lower, 10);
    EXPECT_EQ(found->upper, 12);
}

TEST(bench_figure, of_one_sample_has_no_spread)
{
    const auto found = figure_of({7});
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->median, 7);
    EXPECT_EQ(found->lower, 7);
    EXPECT_EQ(found->upper, 7);
}

TEST(bench_figure, is_none_where_the_samples_do_not_tell)
{
    EXPECT_FALSE(figure_of({}).has_value());
    EXPECT_FALSE(figure_of({10, 0, 10}).has_value());
    EXPECT_FALSE(figure_of({10, 11, -611}).has_value());
    EXPECT_FALSE(figure_of({std::numeric_limits<double>::quiet_NaN()}).has_value());
    EXPECT_FALSE(figure_of({10, 10, 12, 15, 16}).has_value()) << "5 apart, and 12 in the middle";
    EXPECT_TRUE(figure_of({9, 10, 12, 14, 15}).has_value());
}

TEST(bench_in_turns, takes_a_sample_of_each_in_turn)
{
    int calls = 0;
    const auto next = [&] { return ++calls; };
    EXPECT_EQ(bench::in_turns(2, {next, next, next}),
              (std::vector<samples>{{1, 4}, {2, 5}, {3, 6}}));
}

TEST(bench_alternate, takes_a_sample_of_each_in_turn)
{
    int calls = 0;
    const auto both = bench::alternate(
        2, [&] { return ++calls; }, [&] { return ++calls; });
    EXPECT_EQ(both.ours, (samples{1, 3}));
    EXPECT_EQ(both.other, (samples{2, 4}));
}

TEST(bench_mean, is_the_sum_of_the_calls_by_their_number)
{
    double next = 0;
    EXPECT_EQ(bench::mean_of(4, [&] { return ++next; }), 2.5);
}
