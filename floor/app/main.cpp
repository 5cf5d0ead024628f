#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

#include "floor/app/commands.h"
#include "ledger/model/error.h"
#include "station/jobs/job_file.h"

namespace {

using namespace shopfloor;

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

using command = int (*)(const choices &);

/** The program's arguments, and the command that they name. */
class arguments {
public:
    arguments()
    {
        app_.set_version_flag("--version", "setmac-floor " SETMAC_VERSION);
        app_.require_subcommand(1);
        add_serve();
        add_start();
        add_care();
    }

    CLI::App &app() { return app_; }
    int run() const { return run_(chosen_); }

private:
    CLI::App *add(const std::string &name, const std::string &summary, command what)
    {
        auto *sub = app_.add_subcommand(name, summary);
        sub->callback([this, what] { run_ = what; });
        return sub;
    }

    void add_file(CLI::App *to)
    {
        to->add_option("FLOOR.toml", chosen_.file, "What the floor consists of")
            ->required()
            ->type_name("");
    }

    void add_serve()
    {
        auto *serving =
            add("serve", "run the floor: its slots, and the page of the operators", serve);
        add_file(serving);
        serving->add_flag("--journal", chosen_.for_journal,
                          "Print lines as the system's journal takes them, with their priority");
    }

    void add_start()
    {
        auto *starting = add("start", "start a unit on a floor that runs", start_unit);
        auto &wanted = chosen_.wanted;
        starting->add_option("LABEL", wanted.label, "What was scanned from the unit")
            ->required()
            ->type_name("");
        starting->add_option("--slot", wanted.slot, "Where the unit is")
            ->required()
            ->type_name("N");
        starting->add_option("--product", wanted.product, "What it is, if the slot is for several")
            ->type_name("NAME");
        starting->add_option("--serial", wanted.serial, "Its scanned serial number")
            ->type_name("TEXT");
        starting->add_option("--mac", wanted.mac, "Its scanned MAC address")->type_name("MAC");
        starting->add_option("--operator", wanted.operator_badge, "Who does it")
            ->type_name("BADGE");
        starting->add_flag("--again", wanted.again, "Although it is verified already");
        starting->add_flag("--take-over", wanted.take_over,
                           "Although another station has not told how its attempt ended");
        starting->add_flag("--replace", wanted.replace,
                           "Although the switch holds another unit's identity");
        starting->add_flag("--only-check", wanted.only_check,
                           "Compare with the ledger, write nothing");
        starting->add_flag("--wait", chosen_.wait, "Wait for its end, and tell it");
        starting->add_option("--address", chosen_.address, "Of the floor")
            ->capture_default_str()
            ->type_name("ADDRESS");
        starting->add_option("--port", chosen_.port, "Of the floor")
            ->capture_default_str()
            ->type_name("N");
    }

    void add_care()
    {
        auto *learning =
            add("learn", "write the slots into FLOOR.toml while cables are plugged in", learn);
        add_file(learning);
        learning->add_option("--from", chosen_.from, "The number of the first slot")
            ->check(CLI::PositiveNumber)
            ->type_name("N");
        auto *looking = add("doctor", "tell what is wrong with this PC, and what to do", doctor);
        looking->add_option("FLOOR.toml", chosen_.file, "What the floor consists of")
            ->type_name("");
    }

    choices chosen_;
    command run_ = nullptr;
    CLI::App app_{"Gives many switches at once their identity from the ledger.", "setmac-floor"};
};

int run_command(const arguments &given)
{
    try {
        return given.run();
    } catch (const station::job_error &mistakes) {
        std::fprintf(stderr, "%s\n", mistakes.what());
        return exit_usage;
    } catch (const std::exception &why) {
        std::fprintf(stderr, "setmac-floor: %s\n", why.what());
        return exit_failed;
    }
}

} // namespace

int main(int argc, char **argv)
{
    arguments given;
    try {
        given.app().parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return given.app().exit(error) == 0 ? 0 : exit_usage;
    }
    return run_command(given);
}
