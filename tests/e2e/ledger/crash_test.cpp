#include <cerrno>
#include <fstream>

#include "e2e/support/program.h"
#include "unit/ledger/support/ledger_test.h"

namespace {

using namespace ledger_tests;

/** The program, ended at each of its calls that write or sync. */
class crashing : public ledger_test {
protected:
    void SetUp() override
    {
        ledger_test::SetUp();
        auto in = open();
        in.set_witness(path("witness"), false, "", "");
        add_office(in);
        reserved(in, "BEFORE");
    }

    e2e::outcome run(const e2e::environment &more = {}, const std::string &label = "L") const
    {
        e2e::environment all{{"SETMAC_LEDGER", place.url}};
        all.insert(more.begin(), more.end());
        return e2e::run({"setmac-ledger", "reserve", label, "--product", "SW", "--json"}, all);
    }

    /** The calls of a reservation. */
    int calls() const
    {
        EXPECT_EQ(run({{"LD_PRELOAD", E2E_CRASH_POINT}, {"CRASH_COUNT", path("count")}}, "COUNTED")
                      .status,
                  0);
        int count = 0;
        std::ifstream(path("count")) >> count;
        return count;
    }

    void expect_well(const std::string &label, const std::string &answer) const
    {
        const auto again = run({}, label);
        EXPECT_EQ(again.status, 0) << again;
        EXPECT_EQ(again.errors, "");
        if (!answer.empty()) {
            EXPECT_EQ(again.output, answer);
        }
        EXPECT_EQ(run({}, label).output, again.output);
        auto in = open();
        EXPECT_EQ(findings_of(in), "");
    }
};
ON_BOTH_DATABASES(crashing);

TEST_P(crashing, at_any_call_leaves_the_label_its_identity)
{
    const int count = calls();
    ASSERT_GT(count, on_sqlite() ? 10 : 5);
    for (const auto *when : {"before", "after"}) {
        for (int call = 1; call <= count; ++call) {
            SCOPED_TRACE(std::string(when) + " call " + std::to_string(call));
            const auto label = when + std::to_string(call);
            const auto ended = run({{"LD_PRELOAD", E2E_CRASH_POINT},
                                    {"CRASH_AT", std::to_string(call)},
                                    {"CRASH_WHEN", when}},
                                   label);
            EXPECT_EQ(ended.status, 137) << ended;
            expect_well(label, ended.output);
        }
    }
}

TEST_P(crashing, is_none_where_a_disk_fails_and_says_why)
{
    if (!on_sqlite()) {
        GTEST_SKIP() << "the disk is the server's";
    }
    const int count = calls();
    for (const int error : {ENOSPC, EIO, EROFS}) {
        for (int call = 1; call <= count; ++call) {
            SCOPED_TRACE("error " + std::to_string(error) + " from call " + std::to_string(call));
            const auto label = std::to_string(error) + "-" + std::to_string(call);
            const auto ended = run({{"LD_PRELOAD", E2E_CRASH_POINT},
                                    {"CRASH_AT", std::to_string(call)},
                                    {"CRASH_ERROR", std::to_string(error)}},
                                   label);
            if (ended.status != 0) {
                EXPECT_TRUE(ended.status == 3 || ended.status == 4 || ended.status == 1) << ended;
                EXPECT_EQ(ended.output, "");
            }
            expect_well(label, ended.output);
        }
    }
}

} // namespace
