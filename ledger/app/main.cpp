#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>

#include <CLI/CLI.hpp>

#include "ledger/app/commands.h"
#include "ledger/model/texts.h"
#include "ledger/model/time.h"

namespace {

using ledger::choices;

constexpr int exit_usage = 2;

using command = int (*)(const choices &);

/** Why a text is no time; none: it is one, and is as the ledger's times begin from here on. */
std::string take_time(std::string &text)
{
    const auto limit = ledger::read_time_limit(text);
    if (!limit) {
        return "\"" + ledger::shown(text) +
               "\" is no time, as in 2026-11-21 or 2026-11-21T23:28:00";
    }
    text = *limit;
    return {};
}

/** The program's arguments, and the command that they name. */
class arguments {
public:
    arguments()
    {
        app_.set_version_flag("--version", "setmac-ledger " SETMAC_VERSION);
        app_.require_subcommand(1);
        app_.fallthrough();
        app_.add_option("--db", chosen_.place.url,
                        "The ledger: sqlite:FILE or postgresql://HOST/NAME")
            ->envname("SETMAC_LEDGER")
            ->required()
            ->type_name("URL");
        app_.add_option("--witness", chosen_.place.witness,
                        "Where this machine has the witness, if elsewhere than the ledger says")
            ->envname("SETMAC_LEDGER_WITNESS")
            ->type_name("FILE");
        add_making();
        add_pools();
        add_products();
        add_units();
        add_files();
        add_care();
    }

    CLI::App &app() { return app_; }
    int run() const { return run_(chosen_); }

private:
    CLI::App *add(CLI::App &to, const std::string &name, const std::string &summary, command what)
    {
        auto *sub = to.add_subcommand(name, summary);
        sub->callback([this, what] { run_ = what; });
        return sub;
    }

    void add_json(CLI::App *to)
    {
        to->add_flag("--json", chosen_.as_json, "Print JSON, for programs");
    }

    void add_answer(CLI::App *to, bool needed)
    {
        to->add_option("--reason", chosen_.reason, "Why")->required(needed)->type_name("TEXT");
        to->add_option("--by", chosen_.by, "Who answers for it")
            ->required(needed)
            ->type_name("NAME");
    }

    void add_making()
    {
        auto *init =
            add(app_, "init", "make a ledger, or bring one up to date", ledger::init_command);
        init->add_option("--make-witness", chosen_.file, "Give it a witness in this file")
            ->type_name("FILE");
    }

    void add_pools()
    {
        auto *pool = app_.add_subcommand("pool", "MAC ranges and serial-number patterns");
        pool->require_subcommand(1);
        auto *add_pool = pool->add_subcommand("add", "add a pool");
        add_pool->require_subcommand(1);

        auto *mac = add(*add_pool, "mac", "a range of MAC addresses", ledger::pool_add_mac_command);
        add_name(mac);
        mac->add_option("--first", chosen_.first, "Its first address")
            ->required()
            ->type_name("MAC");
        mac->add_option("--last", chosen_.last, "Its last address")->required()->type_name("MAC");
        mac->add_option("--count", chosen_.count, "Addresses that a unit takes")
            ->capture_default_str()
            ->type_name("N");
        mac->add_option("--align", chosen_.align, "A unit's first address is a multiple of it")
            ->capture_default_str()
            ->type_name("N");

        auto *serial = add(*add_pool, "serial", "a pattern of serial numbers",
                           ledger::pool_add_serial_command);
        add_name(serial);
        serial
            ->add_option("--pattern", chosen_.pattern,
                         "Text with {yy} {yyyy} {mm} {dd} {ww} {n:WIDTH} {n:WIDTH:BASE} {check}")
            ->required()
            ->type_name("PATTERN");
        serial->add_option("--start", chosen_.start, "What the counter begins with")
            ->capture_default_str()
            ->type_name("N");

        add_json(add(*pool, "list", "how far they are used", ledger::pool_list_command));
        add_name(add(*pool, "close", "issue nothing more from a pool", ledger::pool_close_command));
    }

    void add_name(CLI::App *to)
    {
        to->add_option("NAME", chosen_.name, "Its name")->required()->type_name("");
    }

    void add_products()
    {
        auto *product = app_.add_subcommand("product", "what gets its numbers from where");
        product->require_subcommand(1);
        auto *one = add(*product, "add", "add a product", ledger::product_add_command);
        add_name(one);
        one->add_option("--mac", chosen_.mac_source,
                        "A pool's name, scanned, scanned:POOL, or none")
            ->capture_default_str()
            ->type_name("SOURCE");
        one->add_option("--serial", chosen_.serial_source, "The same")
            ->capture_default_str()
            ->type_name("SOURCE");
        one->add_option("--mac-count", chosen_.mac_count,
                        "Addresses of a unit, where they are scanned without a pool (1)")
            ->check(CLI::Range(std::int64_t{1}, ledger::most_addresses).description(""))
            ->type_name("N");
        add_json(add(*product, "list", "the products", ledger::product_list_command));
    }

    CLI::App *add_labelled(const std::string &name, const std::string &summary,
                           const std::string &what, command carry_out)
    {
        auto *sub = add(app_, name, summary, carry_out);
        sub->add_option(what, chosen_.label, "What was scanned")->required()->type_name("");
        return sub;
    }

    void add_units()
    {
        auto *reserve =
            add_labelled("reserve", "give a label its identity", "LABEL", ledger::reserve_command);
        reserve->add_option("--product", chosen_.product, "What it is")
            ->required()
            ->type_name("NAME");
        reserve->add_option("--serial", chosen_.serial, "Its serial number, where that is scanned")
            ->type_name("TEXT");
        reserve->add_option("--mac", chosen_.mac, "Its MAC address, where that is scanned")
            ->type_name("MAC");
        add_json(reserve);

        for (auto *sub : {add_labelled("find", "who has a label, a serial number or a MAC address",
                                       "LABEL|SERIAL|MAC", ledger::find_command),
                          add_labelled("history", "every change of a unit", "LABEL|SERIAL|MAC",
                                       ledger::history_command)}) {
            sub->add_option("--by", chosen_.by_what, "What it is")
                ->check(CLI::IsMember({"any", "label", "serial", "mac"}))
                ->capture_default_str()
                ->type_name("");
            add_json(sub);
            if (sub->get_name() == "history") {
                sub->add_option("--attempt", chosen_.attempt,
                                "Show what this attempt sent, read back and saw")
                    ->check(CLI::PositiveNumber.description(""))
                    ->type_name("N");
            }
        }

        auto *voided = add_labelled("void", "end an identity; its numbers are never used again",
                                    "LABEL", ledger::void_command);
        add_answer(voided, true);
        add_json(voided);
    }

    void add_files()
    {
        auto *in = add(app_, "import", "register identities given out elsewhere, all or none",
                       ledger::import_command);
        in->add_option("FILE", chosen_.file, "CSV; - is standard input")->required()->type_name("");

        auto *out = add(app_, "export", "print the units", ledger::export_command);
        out->add_option("--format", chosen_.format, "csv, or JSON Lines")
            ->check(CLI::IsMember({"csv", "jsonl"}))
            ->capture_default_str()
            ->type_name("");
        out->add_option("--product", chosen_.filter.product, "Only of this product")
            ->type_name("NAME");
        out->add_option("--state", chosen_.filter.state, "Only in this state")
            ->check(CLI::IsMember(
                {"reserved", "writing", "stored", "verified", "failed", "in doubt", "void"}))
            ->type_name("");
        const CLI::Validator time(take_time, "");
        out->add_option("--since", chosen_.filter.since, "Only reserved from then on (UTC)")
            ->transform(time)
            ->type_name("TIME");
        out->add_option("--until", chosen_.filter.until, "Only reserved before then (UTC)")
            ->transform(time)
            ->type_name("TIME");
    }

    void add_care()
    {
        add_json(add(app_, "check", "whether all of it fits together", ledger::check_command));
        add(app_, "backup", "copy the ledger while it is in use", ledger::backup_command)
            ->add_option("TO", chosen_.file, "Where to: sqlite:FILE or postgresql://HOST/NAME")
            ->required()
            ->type_name("");

        auto *witness = app_.add_subcommand("witness", "the journal's copy in a second place");
        witness->require_subcommand(1);
        auto *set = add(*witness, "set", "keep it in this file", ledger::witness_set_command);
        set->add_option("FILE", chosen_.file, "On another disk")->required()->type_name("");
        set->add_flag("--lost", chosen_.lost, "Although the present one cannot be asked any more");
        add_answer(set, false);
        add_json(add(*witness, "show", "how far it is", ledger::witness_show_command));

        add_answer(add(app_, "reconcile",
                       "burn what a ledger that is behind its witness may have given out",
                       ledger::reconcile_command),
                   true);
    }

    CLI::App app_{"Identities of network switches, handed out once"};
    choices chosen_;
    command run_ = nullptr;
};

int exit_status(ledger::trouble kind)
{
    switch (kind) {
    case ledger::trouble::refused:
        return ledger::exit_refused;
    case ledger::trouble::unusable:
        return 3;
    case ledger::trouble::in_doubt:
        return 4;
    default:
        return 5;
    }
}

int run(const arguments &given)
{
    try {
        const int status = given.run();
        if (std::fflush(stdout) != 0) {
            std::fprintf(stderr, "setmac-ledger: cannot write the answer: %s\n",
                         std::strerror(errno));
            return ledger::exit_refused;
        }
        return status;
    } catch (const ledger::error &wrong) {
        std::fprintf(stderr, "setmac-ledger: %s\n", wrong.what());
        return exit_status(wrong.kind());
    } catch (const std::exception &wrong) {
        std::fprintf(stderr, "setmac-ledger: %s\n", wrong.what());
        return exit_status(ledger::trouble::unusable);
    }
}

} // namespace

int main(int argc, char **argv)
{
    arguments given;
    try {
        given.app().parse(argc, argv);
    } catch (const CLI::ParseError &wrong) {
        return given.app().exit(wrong) == 0 ? 0 : exit_usage;
    }
    return run(given);
}
