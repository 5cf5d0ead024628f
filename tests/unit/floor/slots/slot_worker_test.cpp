#include "floor/slots/slot_worker.h"

#include <future>
#include <new>

#include <gtest/gtest.h>

namespace {

using shopfloor::slot_order;
using shopfloor::slot_worker;

/** A line that is unplugged when it is first read, or for whose bytes there is no memory. */
class broken_line : public station::line {
public:
    explicit broken_line(bool lacks_memory) : lacks_memory_(lacks_memory) {}

    std::size_t read(std::span<std::uint8_t> /*buffer*/, milliseconds /*limit*/) override
    {
        if (lacks_memory_) {
            throw std::bad_alloc();
        }
        throw station::line_closed("unplugged");
    }
    void write(std::span<const std::uint8_t> /*data*/, milliseconds /*limit*/) override {}

private:
    bool lacks_memory_;
};

/** What came of an order. */
station::run_result carried_out(slot_worker &by,
                                std::function<void(station::run_result &)> afterwards = {})
{
    std::promise<station::run_result> ended;
    slot_order order;
    order.observer = std::make_shared<station::run_observer>();
    order.afterwards = std::move(afterwards);
    order.done = [&ended](station::run_result result) { ended.set_value(std::move(result)); };
    by.begin(std::move(order));
    return ended.get_future().get();
}

class slot_worker_of_a_broken_line : public testing::Test {
protected:
    slot_worker of_unplugged{[] { return std::make_unique<broken_line>(false); }};
};

TEST_F(slot_worker_of_a_broken_line, tells_what_came_of_the_run)
{
    const auto result = carried_out(of_unplugged);
    EXPECT_EQ(result.end, station::run_end::not_reached);
    EXPECT_FALSE(result.may_have_stored);
}

TEST_F(slot_worker_of_a_broken_line, lets_the_run_be_followed_up_ahead_of_its_end)
{
    const auto result = carried_out(
        of_unplugged, [](station::run_result &so_far) { so_far.reason += ", and looked at"; });
    EXPECT_TRUE(result.reason.ends_with(", and looked at")) << result.reason;
}

TEST(slot_worker, ends_a_run_for_which_memory_has_run_out)
{
    slot_worker worker([] { return std::make_unique<broken_line>(true); });
    const auto result = carried_out(worker);
    EXPECT_EQ(result.end, station::run_end::failed);
    EXPECT_EQ(result.reason, "the run broke off: std::bad_alloc");
    EXPECT_TRUE(result.may_have_stored);
}

TEST(slot_worker, goes_on_where_a_line_cannot_be_opened_for_lack_of_memory)
{
    slot_worker worker([]() -> std::unique_ptr<station::line> { throw std::bad_alloc(); });
    for (int run = 0; run < 2; ++run) {
        const auto result = carried_out(worker);
        EXPECT_EQ(result.end, station::run_end::not_reached);
        EXPECT_EQ(result.reason, "std::bad_alloc");
        EXPECT_FALSE(result.may_have_stored);
    }
}

TEST_F(slot_worker_of_a_broken_line, tells_an_end_once_more_that_could_not_be_taken)
{
    std::promise<station::run_result> ended;
    int told = 0;
    slot_order order;
    order.observer = std::make_shared<station::run_observer>();
    order.done = [&](station::run_result result) {
        if (++told == 1) {
            throw std::bad_alloc();
        }
        ended.set_value(std::move(result));
    };
    of_unplugged.begin(std::move(order));
    const auto result = ended.get_future().get();
    EXPECT_EQ(result.end, station::run_end::failed);
    EXPECT_EQ(result.reason, "the run broke off: std::bad_alloc");
    EXPECT_EQ(carried_out(of_unplugged).end, station::run_end::not_reached);
}

TEST_F(slot_worker_of_a_broken_line, ends_a_run_whose_follow_up_breaks_off_and_takes_the_next)
{
    const auto result =
        carried_out(of_unplugged, [](station::run_result &) { throw std::bad_alloc(); });
    EXPECT_EQ(result.end, station::run_end::failed);
    EXPECT_EQ(result.reason, "the run broke off: std::bad_alloc");
    EXPECT_EQ(carried_out(of_unplugged).end, station::run_end::not_reached);
}

} // namespace
