#include <gtest/gtest.h>

#include "e2e/floor/simulated_floor.h"
#include "e2e/support/program.h"

// One slot in trouble beside seven good ones.

namespace {

using namespace e2e;

constexpr int slots = 8;
constexpr int bad = 5;

struct trouble {
    const char *name;
    const char *program; // in the stead of the switch's console; null: options of that
    const char *options;
    const char *outcome; // null: it goes on until it is cancelled
};

std::ostream &operator<<(std::ostream &out, const trouble &what)
{
    return out << what.name;
}

class slot_in_trouble : public testing::TestWithParam<trouble> {
protected:
    simulated_floor of{slots};

    static std::vector<int> good_slots()
    {
        std::vector<int> all;
        for (int slot = 1; slot <= slots; ++slot) {
            if (slot != bad) {
                all.push_back(slot);
            }
        }
        return all;
    }

    void make_trouble()
    {
        if (GetParam().program != nullptr) {
            of.replace_program(bad, GetParam().program);
        } else {
            of.set_options(bad, GetParam().options);
        }
    }
};

TEST_P(slot_in_trouble, leaves_the_seven_others_alone)
{
    make_trouble();
    const auto floor = of.open();
    for (const auto attempt : start_all(*floor, of)) {
        EXPECT_NE(attempt, 0);
    }
    await_ends(*floor, good_slots());
    const auto held = of.held();
    for (const int slot : good_slots()) {
        const auto shown = slot_of(*floor, slot);
        EXPECT_EQ(shown["run"]["outcome"], "verified") << shown.dump(2);
        EXPECT_EQ(shown["run"]["retries"], 0);
        EXPECT_EQ(held.at(of.label(slot)).mac, shown["run"]["mac"]);
    }
    if (GetParam().outcome == nullptr) {
        floor->cancel(bad, [](const shopfloor::answer &) {});
    }
    await_ends(*floor, {bad});
    const auto shown = slot_of(*floor, bad);
    EXPECT_EQ(shown["run"]["outcome"],
              GetParam().outcome == nullptr ? "cancelled" : GetParam().outcome)
        << shown.dump(2);
    auto in = of.open_ledger();
    EXPECT_TRUE(in.open_attempts("line").empty());
}

INSTANTIATE_TEST_SUITE_P(
    troubles, slot_in_trouble,
    testing::Values(trouble{"unplugged", nullptr, "--fault hang_up,command=3,received=20",
                            "in_doubt"},
                    trouble{"flooded", "exec yes flood", nullptr, nullptr},
                    trouble{"silent", "exec sleep 600", nullptr, nullptr},
                    trouble{"rebooting", nullptr, "--fault reboot,command=2", "verified"},
                    trouble{"echoing", "stty raw -echo; exec cat", nullptr, nullptr},
                    trouble{"ended", "exit 3", nullptr, "not_reached"}),
    [](const auto &each) { return std::string(each.param.name); });

TEST(slot_with_another_unit, is_told_from_the_seven_others)
{
    simulated_floor of(slots);
    {
        const auto floor = of.open();
        start_all(*floor, of);
        await_ends(*floor, {1, 2, 3, 4, 5, 6, 7, 8});
    }
    const auto before = of.held();
    const auto provisioned = of.path("board-" + of.label(bad));
    for (int slot = 1; slot <= slots; ++slot) {
        of.exchange_board(slot);
    }
    // Somebody has put the old switch back under the new label.
    const auto swapped = of.path("board-" + of.label(bad));
    std::filesystem::remove_all(swapped);
    std::filesystem::copy(provisioned, swapped);
    const auto floor = of.open();
    start_all(*floor, of);
    await_ends(*floor, {1, 2, 3, 4, 5, 6, 7, 8});
    for (int slot = 1; slot <= slots; ++slot) {
        EXPECT_EQ(slot_of(*floor, slot)["run"]["outcome"],
                  slot == bad ? "other_identity" : "verified")
            << slot;
    }
    EXPECT_EQ(of.held().at(of.label(bad)), before.at("L5-1"));
}

} // namespace
