#include <cstdlib>
#include <fstream>

#include "unit/ledger/support/ledger_test.h"
#include "unit/ledger/support/recording_disk.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

/** Reservations on a disk whose power is cut at every write, sync and removal. */
class power_cut : public ledger_test {
protected:
    void SetUp() override
    {
        ledger_test::SetUp();
        auto in = open();
        add_office(in);
    }

    /** Which labels were acknowledged after how many events. */
    struct acknowledged {
        std::size_t events = 0;
        std::string identity = {};
    };

    static int rounds()
    {
        const auto *asked = std::getenv("SETMAC_LEDGER_CUTS");
        return asked == nullptr ? 1 : std::atoi(asked); // NOLINT(cert-err34-c)
    }

    std::vector<acknowledged> work(const recording_disk &disk)
    {
        std::vector<acknowledged> given;
        auto in = open();
        for (int number = 0; number < rounds(); ++number) {
            const auto label = "L" + std::to_string(number);
            const auto identity = text_of(reserved(in, label));
            given.push_back({disk.events(), identity});
            in.begin_attempt(label, {.station = "line-1"});
        }
        return given;
    }

    ledger_place left_by(const recording_disk::image &left) const
    {
        const auto file = path("left.db");
        std::filesystem::remove(file + "-journal");
        std::filesystem::remove(file);
        for (const auto &[name, content] : left) {
            const auto suffix = name.substr(sqlite_file().size());
            std::ofstream(file + suffix, std::ios::binary) << content;
        }
        auto there = place;
        there.url = "sqlite:" + file;
        return there;
    }

    /** What a cut leaves once a change was told twice, of which the first time was not synced. */
    ledger_place left_after_telling_twice(const std::function<void(book &)> &change) const
    {
        recording_disk disk({.no_folder_syncs = true});
        change(*std::make_unique<book>(place));
        disk.sync_folders(true);
        change(*std::make_unique<book>(place));
        disk.stop();
        return left_by(disk.oldest_after(disk.events()));
    }

    /** What is lost, or wrong, in a ledger that the cut has left; nothing where all is well. */
    std::string wrong_in(const recording_disk::image &left, std::size_t events,
                         const std::vector<acknowledged> &given, bool thoroughly)
    {
        try {
            book in(left_by(left));
            std::string told = thoroughly ? findings_of(in) : std::string();
            for (const auto &each : given) {
                if (each.events > events) {
                    continue;
                }
                const auto found = in.find(each.identity.substr(0, each.identity.find(' ')));
                auto is = found ? *found : unit();
                is.state = unit_state::reserved;
                told += text_of(is) == each.identity ? "" : each.identity + " is lost\n";
            }
            return told;
        } catch (const error &failed) {
            return failed.what();
        }
    }

    std::string wrong_after_any_cut(recording_disk::faults with)
    {
        recording_disk disk(with);
        const auto given = work(disk);
        disk.stop();
        std::mt19937 chance(1); // NOLINT(cert-msc51-cpp): the same cuts in every run
        std::string wrong;
        // Before the file was opened there is nothing to lose.
        for (std::size_t events = 1; events <= disk.events() && wrong.empty(); ++events) {
            wrong += wrong_in(disk.oldest_after(events), events, given, false);
            wrong += wrong_in(disk.newest_after(events), events, given, false);
            wrong += wrong_in(disk.any_after(events, chance), events, given, false);
            wrong += wrong_in(disk.any_after(events, chance), events, given, true);
            wrong += wrong.empty() ? "" : "after " + std::to_string(events) + " events\n";
        }
        return wrong;
    }
};
INSTANTIATE_TEST_SUITE_P(sqlite, power_cut, testing::Values("sqlite"));

TEST_P(power_cut, loses_nothing_that_was_acknowledged)
{
    EXPECT_EQ(wrong_after_any_cut({}), "");
}

TEST_P(power_cut, is_noticed_by_this_test_where_files_are_not_synced)
{
    EXPECT_NE(wrong_after_any_cut({.no_syncs = true}), "");
}

TEST_P(power_cut, is_noticed_by_this_test_where_the_folder_is_not_synced)
{
    EXPECT_NE(wrong_after_any_cut({.no_folder_syncs = true}).find("is lost"), std::string::npos);
}

TEST_P(power_cut, loses_no_label_that_was_told_after_its_maker_had_died_unsynced)
{
    recording_disk disk({.no_folder_syncs = true});
    reserved(*std::make_unique<book>(place), "L0");
    disk.sync_folders(true);
    const auto told = text_of(reserved(*std::make_unique<book>(place), "L0"));
    disk.stop();
    EXPECT_EQ(wrong_in(disk.oldest_after(disk.events()), disk.events(), {{0, told}}, true), "");
}

TEST_P(power_cut, loses_no_end_that_was_told_twice_because_the_first_time_was_unsynced)
{
    std::int64_t attempt = 0;
    std::int64_t print = 0;
    {
        auto in = open();
        reserved(in, "L0");
        attempt = in.begin_attempt("L0", {.station = "line-1"});
        print = in.ask_print({.label = "L0", .station = "line-1", .content = "^XA^XZ"}).id;
    }
    const auto ended = left_after_telling_twice(
        [&](book &in) { in.end_attempt(attempt, attempt_outcome::verified, "", {}); });
    EXPECT_EQ(book(ended).find("L0")->state, unit_state::verified);
    const auto printed = left_after_telling_twice([&](book &in) { in.end_print(print, true, ""); });
    EXPECT_EQ(book(printed).waiting_prints("line-1"), 0);
    const auto closed = left_after_telling_twice([](book &in) { in.close_pool("office"); });
    EXPECT_FALSE(book(closed).pools().at(0).of.open);
}

} // namespace
