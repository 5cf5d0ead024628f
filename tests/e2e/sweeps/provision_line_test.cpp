#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "e2e/support/board_folder.h"
#include "e2e/support/program.h"

// From power-on to verified with the real programs on both sides, over a console that is cut,
// starts again or lies at a byte, or is noisy all along. No run says "verified" unless the board
// holds the job, and a second run, over a line that is whole again, ends verified.

namespace {

using namespace e2e;

/** What a flavour's switch is given, and what its board then holds. */
struct product_case {
    std::string name;
    std::string layout;
    std::string steps;
    std::map<std::string, std::string> jobs;
    std::string listing;
    std::vector<std::string> listed; // its lines, in the order of the alphabet
    /** Memories, where in them, and what stands there. */
    std::vector<std::tuple<std::string, std::size_t, std::string>> memories;
};

void PrintTo(const product_case &which, std::ostream *out)
{
    *out << which.name;
}

template <std::size_t size>
std::string text_of(const char (&bytes)[size])
{
    return {bytes, size - 1};
}

const std::string backplane = text_of("\x21"
                                      "1.02\0\0\0\0"
                                      "ABCDEFGHJ1234\0\0\0\0\0"
                                      "\0"
                                      "\x00\x1A\x2B\x3C\x4D\x41"
                                      "\x00\x00\x00\x07"
                                      "\0\0\0\0\0\0");

const product_case cases[] = {
    {.name = "legacy",
     .layout = "chassis",
     .steps = "[[step]]\noperation = \"setmac\"\njob = \"identity.toml\"\n"
              "[[step]]\noperation = \"setbackplane\"\njob = \"backplane.toml\"\n",
     .jobs = {{"identity.toml", "[[property]]\nname = \"MacAddress\"\nhex = \"00 1A 2B 3C 4D 40\"\n"
                                "[[property]]\nname = \"SerialNO\"\ntext = \"{serial}\"\n"},
              {"backplane.toml", "[backplane]\nmac = \"00:1A:2B:3C:4D:41\"\nserial = "
                                 "\"ABCDEFGHJ1234\"\ntype = 0x21\nversion = \"1.02\"\nserial_3 = "
                                 "7\n"}},
     .listing = "prodinfo",
     .listed = {"ProductInfo=0B0EFACE", "SerialNO=ABCDEFGHJ1234", "ethaddr=00:1A:2B:3C:4D:40"},
     .memories = {{"bridge-4-0-52.bin", 0, backplane}, {"bridge-4-1-54.bin", 0, backplane}}},
    {.name = "tlv",
     .layout = "tlv",
     .steps = "[[step]]\noperation = \"setmac\"\njob = \"identity.toml\"\n"
              "[[step]]\noperation = \"setsn\"\njob = \"serial.toml\"\n",
     .jobs = {{"identity.toml", "[[node]]\nname = \"MacAddress\"\nhex = \"00 1A 2B 3C 4D 40\"\n"
                                "[[node]]\nname = \"Serial Number\"\ntext = \"0000000000000\"\n"
                                "[[node]]\nname = \"ProductID\"\ntext = \"4806\"\n"},
              {"serial.toml", "serial = \"{serial}\"\n"}},
     .listing = "setmac-tlv",
     .listed = {"ProductID=4806", "ProductInfo=0B0EFACE", "SerialNO=ABCDEFGHJ1234",
                "ethaddr=00:1A:2B:3C:4D:40"},
     // setsn puts its record behind all others but the checksum.
     .memories = {{"i2c-56.bin", 0, text_of("TlvInfo\0\x01\x00\x61")},
                  {"i2c-56.bin", 0x43, text_of("\x24\x06\x00\x1A\x2B\x3C\x4D\x40")},
                  {"i2c-56.bin", 0x57,
                   text_of("\x23\x0D"
                           "ABCDEFGHJ1234"
                           "\xFE\x04")}}},
};

constexpr std::size_t usual_places = 24;
constexpr std::size_t usual_seeds = 8;

std::size_t number_from(const char *variable, std::size_t otherwise)
{
    const char *wanted = std::getenv(variable); // NOLINT(concurrency-mt-unsafe)
    return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : otherwise;
}

std::vector<std::string> sorted_lines(const std::string &text)
{
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

/** What came of a run. */
struct run_end {
    std::string word;
    std::string all; // that the station said
    std::string trace;
};

/** A switch of its own, in a folder of its own. */
class swept_switch {
public:
    explicit swept_switch(const product_case &what) : what_(what)
    {
        write_file(path("password"), "pw\n");
        for (const auto &[name, text] : what.jobs) {
            write_file(path(name), text);
        }
        in_shell("'" + program_file("simboard") + "' new --like " + what.layout + " " + board());
    }

    /** boot: how long the station looks for a prompt, in seconds. */
    run_end provision(const std::string &faults, int boot, const std::string &more = "")
    {
        write_file(path("product.toml"),
                   "name = \"swept\"\nflavour = \"" + what_.name +
                       "\"\n[[value]]\nname = \"serial\"\nkind = \"text\"\nlength = 13\n"
                       "[console]\nuser = \"root\"\npassword_file = \"password\"\n"
                       "boot = " +
                       std::to_string(boot) +
                       "\n[[identity]]\nrecord = \"SerialNO\"\nblank = "
                       "[\"0000000000000\"]\n" +
                       what_.steps);
        const auto console = "exec '" + program_file("simboard") + "' console " + board() +
                             " --set boot_ms=50 --set password=pw " + faults;
        in_shell("'" + program_file("setmac-station") + "' provision '" + path("product.toml") +
                 "' --value serial=ABCDEFGHJ1234 --json --store-limit " + std::to_string(boot) +
                 " " + more + " --exec \"" + console + "\"");
        run_end end{"", read_file(path("out")), read_file(path("err"))};
        const std::string begin = "\"outcome\": \"";
        const auto at = end.all.find(begin);
        if (at != std::string::npos) {
            const auto from = at + begin.size();
            end.word = end.all.substr(from, end.all.find('"', from) - from);
        }
        return end;
    }

    bool holds_the_job()
    {
        in_shell("'" + program_file("simboard") + "' run " + board() + " -- " + what_.listing);
        const auto is_there = [&](const auto &part) {
            const auto &[file, at, bytes] = part;
            const auto held = read_file(board_file(file));
            return held.size() >= at + bytes.size() && held.compare(at, bytes.size(), bytes) == 0;
        };
        return sorted_lines(read_file(path("out"))) == what_.listed &&
               std::all_of(what_.memories.begin(), what_.memories.end(), is_there);
    }

private:
    void in_shell(const std::string &command) const
    {
        [[maybe_unused]] const int status = // told by what it has printed
            std::system((command + " >'" + path("out") + "' 2>'" + path("err") + "'").c_str());
    }

    std::string path(const std::string &name) const { return (folder_.path() / name).string(); }
    std::string board() const { return "'" + path("board") + "'"; }
    std::string board_file(const std::string &name) const { return path("board/" + name); }

    const product_case &what_;
    scratch_folder folder_;
};

/** How many bytes went one way, as a trace tells. */
std::size_t bytes_of(const std::string &trace, char direction)
{
    constexpr std::size_t head = 11;
    constexpr std::size_t bytes_begin = 13;
    constexpr std::size_t width = 48;
    std::istringstream in(trace);
    std::size_t digits = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.size() > bytes_begin + width && line[head] == direction && line[6] == '.') {
            const auto bytes = line.substr(bytes_begin, width);
            digits += bytes.size() -
                      static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), ' '));
        }
    }
    return digits / 2;
}

class provision_line : public testing::TestWithParam<product_case> {
protected:
    /** Most of its time a run waits for what does not come. */
    static constexpr unsigned at_once = 8;
    static constexpr int short_boot = 8; // seconds
    static constexpr int long_boot = 60;

    /** Runs against a switch with each of these faults, and once more without. */
    void sweep(const std::string &title, const std::vector<std::string> &faults)
    {
        std::atomic<std::size_t> next = 0;
        std::vector<std::jthread> workers;
        for (unsigned worker = 0; worker < at_once; ++worker) {
            workers.emplace_back([&] {
                for (auto at = next++; at < faults.size(); at = next++) {
                    strike(faults[at]);
                }
            });
        }
        workers.clear();
        std::printf("%s %s: %zu runs:", title.c_str(), GetParam().name.c_str(), faults.size());
        for (const auto &[word, count] : ended_) {
            std::printf(" %s %d", word.c_str(), count);
        }
        std::printf("\n");
    }

private:
    void strike(const std::string &fault)
    {
        swept_switch board(GetParam());
        const auto end = board.provision(fault, short_boot);
        const bool right = end.word != "verified" || board.holds_the_job();
        const auto again = board.provision("", long_boot);
        const bool healed = board.holds_the_job();
        const std::scoped_lock lock(mutex_);
        ++ended_[end.word];
        EXPECT_NE(end.word, "") << fault << "\n" << end.trace;
        EXPECT_TRUE(right) << fault << "\n" << end.all;
        EXPECT_EQ(again.word, "verified") << fault << "\n" << end.all << again.all;
        EXPECT_TRUE(healed) << fault << "\n" << again.all;
    }

    std::mutex mutex_;
    std::map<std::string, int> ended_;
};

INSTANTIATE_TEST_SUITE_P(programs, provision_line, testing::ValuesIn(cases),
                         [](const auto &each) { return each.param.name; });

} // namespace

TEST_P(provision_line, that_fails_at_a_byte_never_verifies_what_is_not_stored)
{
    swept_switch board(GetParam());
    const auto whole = board.provision("", long_boot, "--trace");
    ASSERT_EQ(whole.word, "verified") << whole.all << whole.trace;
    ASSERT_TRUE(board.holds_the_job());

    std::vector<std::string> faults;
    for (const auto *what : {"cut", "reboot", "power_cut", "change", "drop", "twice"}) {
        for (const auto &[place, bytes] : {std::pair("sent", bytes_of(whole.trace, '<')),
                                           std::pair("received", bytes_of(whole.trace, '>'))}) {
            ASSERT_GT(bytes, 100U) << place;
            for (std::size_t at = 1; at <= bytes; ++at) {
                faults.push_back("--fault " + std::string(what) + "," + place + "=" +
                                 std::to_string(at));
            }
        }
    }
    // Some of all places, the same ones each time.
    const auto all = faults.size();
    std::shuffle(faults.begin(), faults.end(), std::mt19937(1));
    faults.resize(std::min(all, number_from("SETMAC_PROVISION_FAULTS", usual_places)));
    std::printf("%zu places of a fault in a run\n", all);
    sweep("swept provision", faults);
}

TEST_P(provision_line, that_is_noisy_never_verifies_what_is_not_stored)
{
    std::vector<std::string> noises;
    const auto seeds = number_from("SETMAC_NOISE_SEEDS", usual_seeds);
    for (std::size_t seed = 0; seed < seeds; ++seed) {
        constexpr int rates[] = {40, 100, 300, 1000, 3000}; // a byte in so many
        noises.push_back("--set noise=" + std::to_string(rates[seed % 5]) +
                         " --set seed=" + std::to_string(seed));
    }
    sweep("noise provision", noises);
}
