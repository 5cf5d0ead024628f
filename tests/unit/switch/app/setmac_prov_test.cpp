#include "app/setmac_main.h"

#include "unit/switch/console/console_fixture.h"
#include "unit/switch/console/timed_pc.h"

namespace {

using support::console;
using support::timed_pc;
using support::timed_script;

/** What the program has asked nice() for, and when in the time of the PC. */
struct wish {
    int increment;
    int64_t at_us;

    bool operator==(const wish &) const = default;
};
std::vector<wish> asked;

} // namespace

// The linker puts this in front of nice() (--wrap): a test process has no right to top priority.
extern "C" int __wrap_nice(int increment)
{
    asked.push_back({increment, timed_pc::passed_us()});
    return 0;
}

namespace {

TEST_F(console, is_at_top_priority_from_before_the_operation_on_in_both_flavours)
{
    char program[] = "prov_setmac";
    char operation[] = "setsn";
    char *arguments[] = {program, operation, nullptr};
    for (const auto run : {do_prov_setmac, do_tlv_setmac}) {
        asked.clear();
        const timed_pc silent(timed_script{});
        EXPECT_EQ(run(2, arguments), -1) << "the PC is silent";
        EXPECT_EQ(asked, (std::vector<wish>{{.increment = -20, .at_us = 0}}));
        EXPECT_GT(timed_pc::passed_us(), 0) << "the operation has waited for the PC";
    }
}

TEST_F(console, is_left_alone_with_the_priority_where_no_operation_is_named)
{
    char program[] = "prov_setmac";
    char *arguments[] = {program, nullptr};
    asked.clear();
    EXPECT_EQ(do_prov_setmac(1, arguments), -1);
    EXPECT_TRUE(asked.empty());
}

} // namespace
