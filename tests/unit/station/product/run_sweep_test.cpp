#include <cstdlib>
#include <random>

#include "unit/station/provision_runs.h"

namespace {

/** The faults of a sweep: by default every so many-th place, with SETMAC_SWEEP=all each. */
std::size_t sweep_step()
{
    const char *wanted = std::getenv("SETMAC_SWEEP"); // NOLINT(concurrency-mt-unsafe)
    return wanted != nullptr && std::string_view(wanted) == "all" ? 1 : 29;
}

class provision_sweep : public provision_runs {
protected:
    void SetUp() override
    {
        provision_runs::SetUp();
        steps += step("setsn", "serial.toml") + step("setfansn", "fan.toml");
        add_backplane();
        options.password = "secret";
        start();
    }

    /** A board that is about to start, and asks for a login. */
    void start()
    {
        renew();
        board.asks_for_login = true;
        board.power_on();
    }

    station::run_result run_planned()
    {
        return station::provision(board, plan_, options, observer, {});
    }

    bool all_is_stored() const { return holds_the_job() && board.backplane == whole_backplane; }

    void strike(const line_fault &fault)
    {
        start();
        board.fault = fault;
        const auto result = run_planned();
        ++ended_[result.end];
        if (result.end == station::run_end::verified) {
            EXPECT_TRUE(all_is_stored()) << describe(fault) << result.transcript;
        }
        // The line is mended, the board as it was left.
        board.mend();
        const auto again = run_planned();
        EXPECT_EQ(words(again), "verified: all of it was read back")
            << describe(fault) << words(result) << "\n"
            << again.transcript;
        EXPECT_TRUE(all_is_stored()) << describe(fault);
    }

    static std::string describe(const line_fault &fault)
    {
        return "fault " + std::to_string(fault.what) + (fault.from_switch ? " from" : " to") +
               " the switch at byte " + std::to_string(fault.at) + "\n";
    }

    std::map<station::run_end, int> ended_;

    void plan_it() { plan_ = planned(); }

private:
    station::plan plan_;
};

} // namespace

TEST_F(provision_sweep, never_verifies_what_is_not_stored_wherever_the_line_fails)
{
    plan_it();
    ASSERT_EQ(run_planned().end, station::run_end::verified);
    const auto from_switch = board.bytes_from_switch;
    const auto to_switch = board.bytes_to_switch;
    const auto faults = {line_fault::cut, line_fault::reboot, line_fault::change, line_fault::drop,
                         line_fault::twice};
    int runs = 0;
    for (const auto what : faults) {
        for (const bool from : {true, false}) {
            const auto places = from ? from_switch : to_switch;
            for (std::size_t at = 0; at < places && !HasFailure(); at += sweep_step()) {
                strike({what, from, at});
                ++runs;
            }
        }
    }
    std::printf("swept provision: %zu bytes, %d runs:", from_switch + to_switch, runs);
    for (const auto &[end, count] : ended_) {
        std::printf(" %s %d", std::string(name_of(end)).c_str(), count);
    }
    std::printf("\n");
}

TEST_F(provision_sweep, never_verifies_what_is_not_stored_over_a_noisy_line)
{
    plan_it();
    const int seeds = sweep_step() == 1 ? 5000 : 40;
    for (int seed = 0; seed < seeds && !HasFailure(); ++seed) {
        start();
        std::mt19937 random(static_cast<unsigned>(seed));
        const unsigned rates[] = {15, 40, 100, 300, 1000};
        const auto rate = rates[seed % 5];
        board.noise = [&] {
            constexpr line_fault::kind kinds[] = {line_fault::change, line_fault::drop,
                                                  line_fault::twice};
            if (random() % rate != 0) {
                return line_fault();
            }
            line_fault hit;
            hit.what = kinds[random() % 3];
            hit.bits = static_cast<std::uint8_t>(1U << random() % 8);
            return hit;
        };
        const auto result = run_planned();
        ++ended_[result.end];
        if (result.end == station::run_end::verified) {
            EXPECT_TRUE(all_is_stored()) << seed << "\n" << result.transcript;
        }
    }
    std::printf("noise provision: %d seeds:", seeds);
    for (const auto &[end, count] : ended_) {
        std::printf(" %s %d", std::string(name_of(end)).c_str(), count);
    }
    std::printf("\n");
}

TEST_F(provision_sweep, takes_little_longer_than_its_bytes_and_the_pauses_of_the_switch)
{
    plan_it();
    renew();
    board.stored = {{"ProductInfo", "0A0A0A0A"}};   // a listing of nothing at all is heard out
    board.a_byte = std::chrono::nanoseconds(86806); // 115200 baud, ten bits a byte
    std::size_t bytes_before = 0;
    station::line::time_point begin;
    observer.at_phase = [&](const std::string &now) {
        if (now == "reads what the switch holds") {
            bytes_before = board.bytes_from_switch + board.bytes_to_switch;
            begin = board.now();
        }
    };
    ASSERT_EQ(run_planned().end, station::run_end::verified);
    const auto bytes = board.bytes_from_switch + board.bytes_to_switch - bytes_before;
    const auto floor = std::chrono::duration<double>(bytes * board.a_byte + board.paused);
    const auto took = std::chrono::duration<double>(board.now() - begin);
    std::printf("pace provision: %zu bytes, floor %.3f s, took %.3f s, ratio %.2f\n", bytes,
                floor.count(), took.count(), took / floor);
    EXPECT_LT(took / floor, 1.2); // on a clock that no machine slows down
}
