#include <csignal>
#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "e2e/support/board_folder.h"
#include "e2e/support/program.h"

// The floor's program as it ships: served to its own other commands, over simulated switches.

namespace {

using namespace e2e;

/** "setmac-floor serve", from its first words to its end. */
class served_floor {
public:
    explicit served_floor(const std::string &file)
    {
        int ends[2];
        if (pipe(ends) != 0) {
            throw std::runtime_error("no pipe");
        }
        process_ = fork();
        if (process_ == 0) {
            const int nothing = STDIN_FILENO;
            become({"setmac-floor", "serve", file}, {}, {nothing, ends[1], ends[1]});
        }
        close(ends[1]);
        told_ = ends[0];
    }
    ~served_floor()
    {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
        close(told_);
    }
    served_floor(const served_floor &) = delete;
    served_floor &operator=(const served_floor &) = delete;

    /** Its port, once it listens; empty where it ended before that. */
    std::string port()
    {
        const std::string address = "http://127.0.0.1:";
        while (text_.find(address) == std::string::npos || text_.back() != '\n') {
            if (!hear()) {
                return "";
            }
        }
        const auto number = text_.substr(text_.find(address) + address.size());
        return number.substr(0, number.find('/'));
    }

    /** Its status, once it has ended by itself. */
    int status()
    {
        while (hear()) {
        }
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = -1;
        return status_of(status);
    }

    /** The status with which it ends when the system asks for it. */
    int ended_by(int signal)
    {
        kill(process_, signal);
        return status();
    }

    const std::string &text() const { return text_; }

private:
    bool hear()
    {
        char some[512];
        const auto count = read(told_, some, sizeof(some));
        if (count > 0) {
            text_.append(some, static_cast<std::size_t>(count));
        }
        return count > 0;
    }

    pid_t process_ = -1;
    int told_ = -1;
    std::string text_;
};

class floor_program : public testing::Test {
protected:
    void SetUp() override
    {
        ledger({"init"});
        ledger({"pool", "add", "mac", "office", "--first", "00:1A:2B:00:00:00", "--last",
                "00:1A:2B:00:FF:FF", "--count", "64", "--align", "64"});
        ledger({"pool", "add", "serial", "office-sn", "--pattern", "ABCDEFGH{n:5}"});
        ledger({"product", "add", "SW-48X6Q", "--mac", "office", "--serial", "office-sn"});
    }

    std::string path(const std::string &name) const { return (scratch_.path() / name).string(); }

    std::string ledger(command_line words) const
    {
        words.insert(words.begin(), {"setmac-ledger", "--db", "sqlite:" + path("line.db")});
        const auto done = run(words, {});
        EXPECT_EQ(done.status, 0) << done;
        return done.output;
    }

    /** A floor whose slots are these programs, on a port that the system chooses. */
    std::string describe(const std::vector<std::string> &programs, const std::string &port = "0",
                         const std::string &station = "line") const
    {
        std::string text = "[floor]\nname = \"Line\"\nstation = \"" + station +
                           "\"\n[server]\nport = " + port +
                           "\n[ledger]\nurl = \"sqlite:line.db\"\n"
                           "[[product]]\nfile = \"" E2E_PRODUCTS "/sw-48x6q/product.toml\"\n";
        for (std::size_t at = 0; at < programs.size(); ++at) {
            text += "[[slot]]\nnumber = " + std::to_string(at + 1) + "\nexec = '" + programs[at] +
                    "'\n";
        }
        write_file(path("FLOOR.toml"), text);
        return path("FLOOR.toml");
    }

    /** The console of a new switch. */
    std::string new_switch(const std::string &name) const
    {
        EXPECT_EQ(run({"simboard", "new", path(name)}, {}).status, 0);
        return "exec " + program_file("simboard") + " console " + path(name) + " --set boot_ms=100";
    }

    std::string held_by(const std::string &name) const
    {
        return run({"simboard", "run", path(name), "--", program_file("prodinfo")}, {}).output;
    }

    static outcome start(const std::string &port, command_line words)
    {
        words.insert(words.begin(), {"setmac-floor", "start", "--port", port});
        return run(words, {});
    }

private:
    scratch_folder scratch_;
};

TEST_F(floor_program, gives_a_switch_the_identity_of_its_label)
{
    served_floor floor(describe({new_switch("one"), new_switch("two")}));
    const auto port = floor.port();
    const auto done = start(port, {"L1", "--slot", "2", "--operator", "B-17", "--wait"});
    EXPECT_EQ(done.status, 0) << done;
    const std::string begun =
        "Label L1 in slot 2: serial number ABCDEFGH00001, MAC address 00:1A:2B:00:00:00.\n";
    EXPECT_EQ(done.output.substr(0, begun.size()), begun);
    EXPECT_EQ(done.output.substr(begun.size()).rfind("PASS: verified: ", 0), 0U) << done;
    EXPECT_NE(held_by("two").find("SerialNO=ABCDEFGH00001"), std::string::npos);
    EXPECT_NE(held_by("two").find("ethaddr=00:1A:2B:00:00:00"), std::string::npos);
    EXPECT_EQ(held_by("one").find("ABCDEFGH"), std::string::npos);

    const auto again = start(port, {"L1", "--slot", "1"});
    EXPECT_EQ(again.status, 3) << again;
    EXPECT_NE(again.errors.find("(already_verified)"), std::string::npos) << again;
    EXPECT_NE(again.errors.find("What to do: "), std::string::npos) << again;
    EXPECT_EQ(floor.ended_by(SIGTERM), 0) << floor.text();

    const auto known = ledger({"find", "L1", "--json"});
    EXPECT_NE(known.find("\"state\": \"verified\""), std::string::npos) << known;
    EXPECT_NE(known.find("\"operator\": \"B-17\""), std::string::npos) << known;
    ledger({"check"});
}

TEST_F(floor_program, ends_runs_and_enters_their_ends_before_it_ends_itself)
{
    served_floor floor(describe({"exec sleep 600"}));
    const auto begun = start(floor.port(), {"L1", "--slot", "1"});
    EXPECT_EQ(begun.status, 0) << begun;
    EXPECT_EQ(floor.ended_by(SIGTERM), 0) << floor.text();
    const auto known = ledger({"find", "L1", "--json"});
    EXPECT_NE(known.find("\"reason\": \"cancelled: it was stopped\""), std::string::npos) << known;
    EXPECT_EQ(known.find("\"ended_at\": null"), std::string::npos) << known;
}

TEST_F(floor_program, shares_neither_its_file_nor_its_port)
{
    served_floor first(describe({"exec sleep 600"}));
    const auto port = first.port();
    served_floor same_file(path("FLOOR.toml"));
    EXPECT_EQ(same_file.status(), 1);
    EXPECT_NE(same_file.text().find("another setmac-floor serves it already"), std::string::npos)
        << same_file.text();

    std::filesystem::rename(path("FLOOR.toml"), path("FIRST.toml"));
    served_floor same_port(describe({"exec sleep 600"}, port, "other line"));
    EXPECT_EQ(same_port.status(), 1);
    EXPECT_NE(same_port.text().find("cannot listen on 127.0.0.1:" + port +
                                    ": Address already in "
                                    "use"),
              std::string::npos)
        << same_port.text();
    EXPECT_EQ(first.ended_by(SIGINT), 0) << first.text();
}

TEST_F(floor_program, leaves_the_runs_of_its_station_alone_where_a_floor_serves_that_already)
{
    served_floor first(describe({"exec sleep 600"}));
    EXPECT_EQ(start(first.port(), {"L1", "--slot", "1"}).status, 0);

    // As an editor saves a file: under the same name, but another one.
    std::filesystem::rename(path("FLOOR.toml"), path("FIRST.toml"));
    std::filesystem::create_directory(path("link"));
    std::filesystem::create_symlink(path("line.db"), path("link/line.db"));
    const auto anew = describe({"exec sleep 600"});
    std::filesystem::copy_file(anew, path("link/FLOOR.toml"));
    for (const auto &file : {anew, path("link/FLOOR.toml")}) {
        served_floor second(file);
        EXPECT_EQ(second.status(), 1);
        EXPECT_NE(second.text().find("another setmac-floor serves station \"line\" already"),
                  std::string::npos)
            << second.text();
    }
    const auto known = ledger({"find", "L1", "--json"});
    EXPECT_NE(known.find("\"ended_at\": null"), std::string::npos) << known;
    EXPECT_EQ(first.ended_by(SIGINT), 0) << first.text();
}

TEST_F(floor_program, tells_each_mistake_in_its_file_with_the_line)
{
    write_file(path("FLOOR.toml"), "[floor]\nname = \"Line\"\nspeed = 3\n");
    served_floor floor(path("FLOOR.toml"));
    EXPECT_EQ(floor.status(), 2);
    EXPECT_NE(floor.text().find("FLOOR.toml:3: "), std::string::npos) << floor.text();
}

TEST_F(floor_program, that_does_not_run_cannot_be_told_to_start_anything)
{
    std::string port;
    {
        served_floor gone(describe({"exec sleep 600"}));
        port = gone.port();
        EXPECT_EQ(gone.ended_by(SIGTERM), 0);
    }
    const auto done = start(port, {"L1", "--slot", "1"});
    EXPECT_NE(done.status, 0);
    EXPECT_NE(done.errors.find("setmac-floor: "), std::string::npos) << done;
}

TEST_F(floor_program, misses_an_adapter_and_says_what_to_do)
{
    write_file(path("FLOOR.toml"),
               "[floor]\nname = \"Line\"\nstation = \"line\"\n"
               "[server]\nport = 0\n"
               "[ledger]\nurl = \"sqlite:line.db\"\n"
               "[[product]]\nfile = \"" E2E_PRODUCTS "/sw-48x6q/product.toml\"\n"
               "[[slot]]\nnumber = 1\nplace = \"pci-none-usb-0:9.9:1.0\"\n");
    const auto looked = run({"setmac-floor", "doctor", path("FLOOR.toml")}, {});
    EXPECT_EQ(looked.status, 1) << looked;
    EXPECT_NE(looked.output.find("pci-none-usb-0:9.9:1.0"), std::string::npos) << looked;
    EXPECT_NE(looked.output.find("What to do: "), std::string::npos) << looked;

    served_floor floor(path("FLOOR.toml"));
    EXPECT_NE(floor.port(), "");
    EXPECT_EQ(floor.ended_by(SIGTERM), 0) << floor.text();
    EXPECT_NE(floor.text().find("slot 1: no adapter at pci-none-usb-0:9.9:1.0\n"),
              std::string::npos)
        << floor.text();
}

TEST_F(floor_program, tells_of_a_ledger_that_was_away_before_it)
{
    const auto file = describe({"exec sleep 600"});
    std::filesystem::remove(path("line.db"));
    served_floor floor(file);
    EXPECT_NE(floor.port(), "");
    EXPECT_EQ(floor.ended_by(SIGTERM), 0) << floor.text();
    EXPECT_NE(floor.text().find("the ledger cannot be used: "), std::string::npos) << floor.text();
}

TEST_F(floor_program, learns_nothing_where_nothing_is_plugged_in)
{
    const auto file = describe({});
    const auto before = read_file(file);
    const auto learnt = run({"setmac-floor", "learn", file}, {}, "\n");
    EXPECT_EQ(learnt.status, 0) << learnt;
    EXPECT_NE(learnt.output.find("Plug in the adapter of slot 1"), std::string::npos) << learnt;
    EXPECT_EQ(read_file(file), before);
}

TEST_F(floor_program, ends_with_2_when_it_is_used_in_a_wrong_way)
{
    EXPECT_EQ(run({"setmac-floor"}, {}).status, 2);
    EXPECT_EQ(run({"setmac-floor", "start", "L1"}, {}).status, 2);
    EXPECT_EQ(run({"setmac-floor", "serve"}, {}).status, 2);
    EXPECT_EQ(run({"setmac-floor", "serve", path("none.toml")}, {}).status, 2);
}

} // namespace
