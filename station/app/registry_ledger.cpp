#include "station/app/registry.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "station/registered/registered_run.h"

namespace station {

namespace {

constexpr const char *ledger_variable = "SETMAC_LEDGER";

std::string name_of_machine()
{
    char name[256] = "";
    return gethostname(name, sizeof(name) - 1) == 0 && name[0] != 0 ? name : "unnamed";
}

/** Hands on what the ledger throws as what this program knows. */
template <class work>
auto asking(work what)
{
    try {
        return what();
    } catch (const ledger::error &wrong) {
        throw registry_error(wrong.what());
    }
}

class ledger_registry : public registry {
public:
    explicit ledger_registry(const registry_choices &chosen)
        : chosen_(chosen), book_({.url = chosen.url, .witness = chosen.witness})
    {
    }

    plan planned(const product &what, const given_values &given, bool only_look) override
    {
        const ledger::reservation wanted{chosen_.label, {}, chosen_.serial, chosen_.mac};
        unit_ = asking([&] {
            return only_look ? find_unit(book_, what, wanted, given, date_of_today())
                             : reserve_unit(book_, what, wanted, given, date_of_today());
        });
        for (const auto &each : unit_.from.warnings) {
            std::fprintf(stderr, "setmac-station: warning: %s\n", each.c_str());
        }
        if (!only_look && !chosen_.again &&
            unit_.from.identity.state == ledger::unit_state::verified) {
            throw registry_error("label " + unit_.from.identity.label +
                                 " is verified already: --again writes it once more");
        }
        return unit_.what;
    }

    void begin() override
    {
        attempt_ = asking([&] {
            return begin_run(book_, unit_,
                             {.station = chosen_.station,
                              .slot = chosen_.slot,
                              .operator_name = chosen_.operator_name,
                              .program_version = chosen_.program_version,
                              .again = chosen_.again,
                              .take_over = chosen_.take_over});
        });
    }

    registered_end finish(const run_result &result) override
    {
        const auto &unit = unit_.from.identity;
        registered_end end{.label = unit.label};
        if (attempt_ == 0) { // there is nothing to enter
            end.state = ledger::state_text(unit.state);
            return end;
        }
        try {
            finish_run(book_, attempt_, unit_, result);
            const auto now = book_.find(end.label, ledger::search::label);
            end.state = now ? ledger::state_text(now->state) : "";
            if (now) {
                end.attempt = book_.attempts_of(*now).back().number;
            }
        } catch (const std::exception &wrong) {
            end.trouble = wrong.what();
        }
        return end;
    }

private:
    registry_choices chosen_;
    ledger::book book_;
    registered_unit unit_;
    std::int64_t attempt_ = 0;
};

} // namespace

void add_registry_options(CLI::App &sub, registry_choices &chosen)
{
    if (const char *url = std::getenv(ledger_variable)) {
        chosen.url = url;
    }
    chosen.station = name_of_machine();
    auto *group = sub.add_option_group("Ledger");
    auto *label = group->add_option("--label", chosen.label, "The unit's label, as it was scanned")
                      ->type_name("TEXT");
    const auto add = [&](const std::string &name, std::string &text, const std::string &what,
                         const std::string &type) {
        return group->add_option(name, text, what)->needs(label)->type_name(type);
    };
    // The variable alone asks for nothing: there are switches whose identity is in no ledger.
    add("--ledger", chosen.url,
        "Where the label's identity comes from, and what becomes of it is entered "
        "(Env:SETMAC_LEDGER)",
        "URL");
    group
        ->add_option("--witness", chosen.witness,
                     "Where this machine has the witness, if elsewhere than the ledger says")
        ->envname("SETMAC_LEDGER_WITNESS")
        ->type_name("FILE");
    add("--serial", chosen.serial, "Its serial number, where that is scanned", "TEXT");
    add("--mac", chosen.mac, "Its MAC address, where that is scanned", "MAC");
    add("--station", chosen.station, "Name of this station", "NAME")->capture_default_str();
    add("--slot", chosen.slot, "Where at the station the switch is (the port)", "NAME");
    add("--operator", chosen.operator_name, "Who does it", "NAME");
    group->add_flag("--again", chosen.again, "Although it is verified already")->needs(label);
    group
        ->add_flag("--take-over", chosen.take_over,
                   "Although another station has not told how its attempt ended")
        ->needs(label);
}

std::unique_ptr<registry> open_registry(const registry_choices &chosen)
{
    if (chosen.label.empty()) {
        return nullptr;
    }
    if (chosen.url.empty()) {
        throw registry_error(std::string("no ledger: expected --ledger URL or ") + ledger_variable);
    }
    return asking([&] { return std::make_unique<ledger_registry>(chosen); });
}

} // namespace station
