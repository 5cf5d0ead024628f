#include <csignal>
#include <cstdlib>
#include <random>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "e2e/floor/simulated_floor.h"

// The floor's process, killed while eight switches are in work.

namespace {

using namespace e2e;
using namespace std::chrono_literals;

constexpr int slots = 8;
constexpr int most_of_a_life_ms = 1500; // a run takes about half of it
constexpr int kills_otherwise = 6;

int kills_wanted()
{
    const char *wish = std::getenv("SETMAC_FLOOR_KILLS"); // NOLINT(concurrency-mt-unsafe)
    return wish == nullptr ? kills_otherwise : std::atoi(wish);
}

/** A process that runs a floor, starts what is in its slots, and tells which attempts have begun.
 */
class floor_process {
public:
    explicit floor_process(simulated_floor &of)
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        child_ = fork();
        if (child_ == 0) {
            close(ends[0]);
            live(of, ends[1]);
        }
        close(ends[1]);
        told_ = ends[0];
    }

    /** Ends it at once; the attempts that it told of. */
    std::vector<std::int64_t> kill()
    {
        ::kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        std::vector<std::int64_t> attempts;
        std::int64_t number = 0;
        while (read(told_, &number, sizeof(number)) == sizeof(number)) {
            attempts.push_back(number);
        }
        close(told_);
        return attempts;
    }

private:
    [[noreturn]] static void live(simulated_floor &of, int tell)
    {
        const auto floor = of.open();
        for (const auto attempt : start_all(*floor, of)) {
            if (attempt != 0) {
                [[maybe_unused]] const auto written = write(tell, &attempt, sizeof(attempt));
            }
        }
        while (true) {
            pause();
        }
    }

    pid_t child_ = -1;
    int told_ = -1;
};

class killed_floor : public testing::Test {
protected:
    simulated_floor of{slots};
    std::vector<std::int64_t> begun; // attempts that were told of
    int verified = 0;

    void kill_after(std::chrono::milliseconds life)
    {
        floor_process running(of);
        std::this_thread::sleep_for(life);
        const auto attempts = running.kill();
        begun.insert(begun.end(), attempts.begin(), attempts.end());
        of.await_consoles();
        exchange_verified();
    }

    /** Where the ledger calls a switch verified, the next one comes. */
    void exchange_verified()
    {
        auto in = of.open_ledger();
        for (int slot = 1; slot <= slots; ++slot) {
            const auto unit = in.find(of.label(slot));
            if (unit && unit->state == ledger::unit_state::verified) {
                ++verified;
                of.exchange_board(slot);
            }
        }
    }

    /** The last ones are left to come to their ends. */
    void finish()
    {
        const auto floor = of.open();
        for (const auto attempt : start_all(*floor, of)) {
            ASSERT_NE(attempt, 0);
            begun.push_back(attempt);
        }
        std::vector<int> all;
        for (int slot = 1; slot <= slots; ++slot) {
            all.push_back(slot);
        }
        await_ends(*floor, all);
        for (const int slot : all) {
            EXPECT_EQ(slot_of(*floor, slot)["run"]["outcome"], "verified") << slot;
        }
    }

    void expect_every_attempt_on_record()
    {
        auto in = of.open_ledger();
        for (const auto each : begun) {
            const auto found = in.find_attempt(each);
            ASSERT_TRUE(found) << "attempt " << each;
            EXPECT_TRUE(found->of.ended_at) << "attempt " << each;
        }
        EXPECT_TRUE(in.open_attempts("line").empty());
    }

    void expect_each_identity_once()
    {
        auto in = of.open_ledger();
        for (const auto &each : in.check().findings) {
            ADD_FAILURE() << each.what;
        }
        std::set<std::string> serials;
        std::set<std::string> macs;
        for (const auto &[label, held] : of.held()) {
            const auto unit = in.find(label);
            const auto serial = unit ? unit->serial.value_or("") : "";
            const auto mac = unit && unit->mac ? ledger::mac_text(*unit->mac) : "";
            const bool is_blank = held == held_identity{};
            EXPECT_TRUE(is_blank || (held.serial == serial && held.mac == mac))
                << label << " holds " << held.serial << " " << held.mac;
            EXPECT_FALSE(is_blank && unit && unit->state == ledger::unit_state::verified) << label;
            EXPECT_TRUE(is_blank || serials.insert(held.serial).second) << held.serial;
            EXPECT_TRUE(is_blank || macs.insert(held.mac).second) << held.mac;
        }
    }
};

TEST_F(killed_floor, gives_no_unit_two_identities_and_no_identity_to_two)
{
    std::mt19937 random(20261122); // NOLINT(cert-msc51-cpp): the same each time
    std::uniform_int_distribution<int> life(0, most_of_a_life_ms);
    const int kills = kills_wanted();
    for (int count = 0; count < kills; ++count) {
        SCOPED_TRACE("kill " + std::to_string(count));
        kill_after(std::chrono::milliseconds(life(random)));
    }
    finish();
    expect_every_attempt_on_record();
    expect_each_identity_once();
    std::printf("%d kills: %zu attempts, %d switches verified before the end\n", kills,
                begun.size(), verified);
}

} // namespace
