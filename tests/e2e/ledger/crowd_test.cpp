#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "unit/ledger/support/ledger_test.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

constexpr int processes = 4;
constexpr int threads = 3;

/** How many labels are reserved in all: by default few enough for every run of the tests. */
int reservations()
{
    const auto *asked = std::getenv("SETMAC_LEDGER_RESERVATIONS");
    return asked == nullptr ? 1200 : std::atoi(asked); // NOLINT(cert-err34-c)
}

/** Writes down, durably, what the ledger has acknowledged: nothing else is known of it afterwards.
 */
class notes {
public:
    explicit notes(const std::string &path)
        : file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644))
    {
    }
    ~notes() { ::close(file_); }
    notes(const notes &) = delete;
    notes &operator=(const notes &) = delete;

    void write(const std::string &line) const
    {
        const auto whole = line + "\n";
        if (::write(file_, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size()) ||
            fdatasync(file_) != 0) {
            throw std::runtime_error("cannot take notes");
        }
    }

private:
    int file_;
};

class crowd : public ledger_test {
protected:
    static std::string identity(const unit &of)
    {
        return of.label + " " + of.serial.value_or("-") + " " + mac_text(*of.mac);
    }

    std::string notes_file(int process, int thread) const
    {
        return path("notes-" + std::to_string(process) + "-" + std::to_string(thread));
    }

    /** One who reserves, some labels alone and some in a race with all others, and does the rest
     * too. */
    void work(int process, int thread) const
    {
        const notes kept(notes_file(process, thread));
        auto in = open();
        const auto own = std::to_string(process) + "-" + std::to_string(thread) + "-";
        const int share = reservations() / (processes * threads);
        for (int number = 0; number < share; ++number) {
            const bool raced = number % 4 == 0;
            const auto label = (raced ? "ALL-" : own) + std::to_string(number);
            const auto given = in.reserve({.label = label, .product = "SW"}).identity;
            kept.write("reserved " + identity(given));
            if (number % 10 == 1) {
                in.void_unit(label, "a test", "the crowd");
                kept.write("void " + identity(given));
            }
            if (number % 10 == 2) {
                const auto found = in.find(mac_text(given.mac_last()));
                kept.write("reserved " + (found ? identity(*found) : "nothing found"));
            }
            if (number % 20 == 3) {
                const auto imported = "OLD-" + own + std::to_string(number);
                in.import_units({{.label = imported,
                                  .product = "SW",
                                  .serial = imported,
                                  .mac = mac_text(0x001A2C000000 + process * 0x100000 +
                                                  thread * 0x10000 + number),
                                  .mac_count = "1"}});
                kept.write("reserved " + identity(*in.find(imported)));
            }
        }
    }

    void run_process(int process) const
    {
        std::vector<std::thread> all;
        std::vector<std::string> wrong(threads);
        for (int thread = 0; thread < threads; ++thread) {
            all.emplace_back([this, process, thread, &wrong] {
                try {
                    work(process, thread);
                } catch (const std::exception &why) {
                    wrong[static_cast<std::size_t>(thread)] = why.what();
                }
            });
        }
        for (auto &each : all) {
            each.join();
        }
        for (const auto &each : wrong) {
            if (!each.empty()) {
                std::fprintf(stderr, "%s\n", each.c_str());
                _exit(1);
            }
        }
        _exit(0);
    }

    void run_all() const
    {
        std::vector<pid_t> children;
        for (int process = 0; process < processes; ++process) {
            children.push_back(fork());
            if (children.back() == 0) {
                run_process(process);
            }
        }
        for (const auto child : children) {
            int status = -1;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0);
        }
    }

    /** Label to identity, as they were acknowledged; every label has one. */
    std::map<std::string, std::string> acknowledged(std::set<std::string> &voided) const
    {
        std::map<std::string, std::string> identities;
        for (int process = 0; process < processes; ++process) {
            for (int thread = 0; thread < threads; ++thread) {
                std::ifstream in(notes_file(process, thread));
                for (std::string line; std::getline(in, line);) {
                    std::istringstream words(line);
                    std::string what;
                    std::string label;
                    std::string serial;
                    std::string mac;
                    words >> what >> label >> serial >> mac;
                    const auto [known, is_new] = identities.emplace(label, serial + " " + mac);
                    EXPECT_EQ(known->second, serial + " " + mac) << label;
                    if (what == "void") {
                        voided.insert(label);
                    }
                }
            }
        }
        return identities;
    }
};
ON_BOTH_DATABASES(crowd);

TEST_P(crowd, gets_no_number_twice_and_loses_none)
{
    {
        auto in = open();
        in.add_pool({.name = "office",
                     .of_macs = true,
                     .first = 0x001A30000000,
                     .last = 0x001A33FFFFFF,
                     .count = 16,
                     .align = 16});
        in.add_pool({.name = "sn", .first = 1, .pattern = "AB{n:9}{check}"});
        in.add_product({.name = "SW", .mac = {false, "office"}, .serial = {false, "sn"}});
    }
    place.clock = std::chrono::system_clock::now;
    run_all();

    std::set<std::string> voided;
    const auto identities = acknowledged(voided);
    auto in = open();
    std::size_t units = 0;
    std::int64_t issued = 0;
    std::set<std::string> serials;
    std::map<mac_address, mac_address> ranges;
    in.export_units({}, [&](const unit &each) {
        ++units;
        issued += each.mac_pool ? 1 : 0;
        const auto known = identities.find(each.label);
        ASSERT_NE(known, identities.end()) << each.label << " was never acknowledged";
        EXPECT_EQ(known->second, *each.serial + " " + mac_text(*each.mac));
        EXPECT_EQ(each.state == unit_state::voided, voided.contains(each.label)) << each.label;
        EXPECT_TRUE(serials.insert(*each.serial).second) << *each.serial;
        EXPECT_TRUE(ranges.emplace(*each.mac, each.mac_last()).second) << each.label;
    });
    EXPECT_EQ(units, identities.size());
    mac_address last = -1;
    for (const auto &[from, to] : ranges) {
        EXPECT_GT(from, last);
        last = to;
    }
    for (const auto &each : in.pools()) {
        EXPECT_EQ(each.of.issued, issued) << each.of.name;
        EXPECT_EQ(each.of.next, each.of.first + issued * each.of.count) << each.of.name;
    }
    EXPECT_EQ(findings_of(in), "");
    RecordProperty("units", static_cast<int>(units));
}

} // namespace
