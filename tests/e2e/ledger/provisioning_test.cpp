// A whole provisioning, from the label to the switch that was read back: what is durable before the
// first byte leaves, and what is left of it wherever the station ends.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "e2e/provision/provision_session.h"
#include "unit/ledger/support/ledger_test.h"

namespace {

using namespace ledger_tests;

constexpr int ended_by_the_test = 137;
constexpr int refused = 7;

/** Variables of this process and of what it starts, for a while. */
class variables {
public:
    explicit variables(e2e::environment set) : set_(std::move(set))
    {
        for (const auto &[name, value] : set_) {
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    ~variables()
    {
        for (const auto &[name, value] : set_) {
            unsetenv(name.c_str());
        }
    }
    variables(const variables &) = delete;
    variables &operator=(const variables &) = delete;

private:
    e2e::environment set_;
};

class provisioning : public ledger_test {
protected:
    void SetUp() override
    {
        ledger_test::SetUp();
        auto in = open();
        in.set_witness(path("witness"), false, "", "");
        in.add_pool({.name = "office",
                     .of_macs = true,
                     .first = 0x001A2B000000,
                     .last = 0x001A2BFFFFFF,
                     .count = 64,
                     .align = 64});
        in.add_pool({.name = "office-sn", .first = 1, .pattern = "ABCD{n:9}"});
        in.add_product(
            {.name = "SW-48X6Q", .mac = {false, "office"}, .serial = {false, "office-sn"}});
    }

    e2e::outcome provision(e2e::provision_session &at, const std::string &label,
                           e2e::environment more = {}, const std::string &option = "--quiet") const
    {
        at.station = {"--ledger", place.url, "--label", label};
        if (!more.empty()) {
            more.insert({{"LD_PRELOAD", E2E_CRASH_POINT}, {"CRASH_PROGRAM", "setmac-station"}});
        }
        const variables set(std::move(more));
        return at.provision(option == "--quiet" ? std::vector<std::string>{}
                                                : std::vector<std::string>{option});
    }

    std::vector<std::string> trace() const
    {
        std::ifstream in(path("trace"));
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    /**
     * What is not yet durable when the first byte goes to the switch; nothing where all is.
     * Reserved and begun must both be there: two commits, the second of which brings the attempt.
     */
    std::string not_durable_at_first_byte() const
    {
        const auto folder = std::filesystem::path(path("")).parent_path().string();
        std::set<std::string> unsynced;
        int commits = 0;
        bool attempt_sent = false;
        for (const auto &line : trace()) {
            std::istringstream words(line);
            std::string call;
            std::string what;
            words >> call >> what;
            if (what.ends_with("ptmx")) {
                if (commits < 2) {
                    return "only " + std::to_string(commits) + " commits";
                }
                std::string all;
                for (const auto &each : unsynced) {
                    all += each + " is not synced\n";
                }
                return all;
            }
            if (call == "sent") {
                attempt_sent = attempt_sent || what == "attempt_add";
            } else if (call == "answered") {
                commits += attempt_sent ? 2 : 0;
            } else if (!what.starts_with(folder)) {
                continue;
            } else if (call == "unlink") {
                unsynced.erase(what);
                unsynced.insert(folder);
                ++commits;
            } else if (call == "fsync" || call == "fdatasync") {
                unsynced.erase(what);
            } else {
                unsynced.insert(what);
            }
        }
        return "nothing was sent";
    }

    /** What the switch lists: its serial number and address, as the ledger writes them. */
    static std::string held_by(const e2e::provision_session &at)
    {
        const auto listed = at.printed({"prodinfo"});
        const auto value = [&](const std::string &name) {
            const auto start = listed.find("\n" + name + "=");
            const auto from = start + name.size() + 2;
            return start == std::string::npos ? std::string()
                                              : listed.substr(from, listed.find('\n', from) - from);
        };
        return value("SerialNO") + " " + value("ethaddr");
    }

    std::string given_to(const std::string &label) const
    {
        const auto unit = open().find(label, ledger::search::label);
        return unit ? *unit->serial + " " + ledger::mac_text(*unit->mac) : std::string(" ");
    }

    /**
     * Ends the station at that call, and starts it again. False: it was over before, as the number
     * of calls differs a little from run to run.
     */
    bool end_at(int call, const std::string &when)
    {
        SCOPED_TRACE(when + " call " + std::to_string(call));
        const auto label = when + std::to_string(call);
        e2e::provision_session at("sw-48x6q", {"--like", "nor"});
        const auto ended =
            provision(at, label, {{"CRASH_AT", std::to_string(call)}, {"CRASH_WHEN", when}});
        EXPECT_TRUE(ended.status == ended_by_the_test || ended.status == 0) << ended;
        const auto given = given_to(label);
        const auto held = held_by(at);
        EXPECT_TRUE(held == " " || held == given) << held << " is in no ledger";
        auto again = provision(at, label);
        if (again.status == refused) { // the end had got into the ledger
            EXPECT_NE(again.errors.find("is verified already"), std::string::npos) << again;
            again = provision(at, label, {}, "--only-check");
        }
        EXPECT_EQ(again.status, 0) << again;
        EXPECT_TRUE(given == " " || given == given_to(label)) << given;
        EXPECT_EQ(held_by(at), given_to(label));
        auto in = open();
        EXPECT_EQ(in.find(label)->state, ledger::unit_state::verified);
        return ended.status == ended_by_the_test;
    }
};
ON_BOTH_DATABASES(provisioning);

TEST_P(provisioning, sends_no_byte_before_label_and_attempt_are_durable)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    EXPECT_EQ(provision(at, "L1", {{"CRASH_TRACE", path("trace")}}).status, 0);
    EXPECT_EQ(not_durable_at_first_byte(), "");
}

TEST_P(provisioning, that_begins_with_the_exchange_is_noticed_by_this_test)
{
    const auto product = std::string(E2E_PRODUCTS) + "/sw-48x6q/product.toml";
    const auto ended = e2e::run({E2E_EXCHANGE_FIRST, place.url, "L1", product, "cat"},
                                {{"LD_PRELOAD", E2E_CRASH_POINT},
                                 {"CRASH_PROGRAM", "exchange_first"},
                                 {"CRASH_TRACE", path("trace")}});
    EXPECT_EQ(ended.status, 0) << ended;
    EXPECT_EQ(open().find("L1")->state, ledger::unit_state::writing);
    EXPECT_EQ(not_durable_at_first_byte(), "only 0 commits");
}

/**
 * A sample of the calls, the same in every run; all of them where SETMAC_LEDGER_CRASHES is "all",
 * and so many at random behind these where it is a number.
 */
TEST_P(provisioning, ended_at_any_call_is_brought_to_its_end_under_the_same_identity)
{
    e2e::provision_session at("sw-48x6q", {"--like", "nor"});
    EXPECT_EQ(provision(at, "COUNTED", {{"CRASH_COUNT", path("count")}}).status, 0);
    int calls = 0;
    std::ifstream(path("count")) >> calls;
    ASSERT_GT(calls, on_sqlite() ? 40 : 30);
    const auto *asked = std::getenv("SETMAC_LEDGER_CRASHES");
    const std::string wanted = asked == nullptr ? "0" : asked;
    const int step = wanted == "all" ? 1 : calls / 5;
    int points = 0;
    int ended = 0;
    for (const auto *when : {"before", "after"}) {
        for (int call = 1; call <= calls; call += step) {
            ++points;
            ended += end_at(call, when) ? 1 : 0;
        }
    }
    std::mt19937 chance(std::random_device{}());
    for (int left = std::atoi(wanted.c_str()); left > 0; --left) { // NOLINT(cert-err34-c)
        ++points;
        ended += end_at(1 + static_cast<int>(chance() % static_cast<unsigned>(calls)),
                        "random" + std::to_string(left) + "-")
                     ? 1
                     : 0;
    }
    EXPECT_GE(ended, points * 3 / 4);
    auto in = open();
    EXPECT_EQ(findings_of(in), "");
}

} // namespace
