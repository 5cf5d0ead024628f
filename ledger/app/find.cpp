#include <nlohmann/json.hpp>

#include "ledger/app/commands.h"
#include "ledger/app/display.h"
#include "ledger/model/texts.h"

namespace ledger {

namespace {

search search_named(const std::string &name)
{
    if (name == "label") {
        return search::label;
    }
    if (name == "serial") {
        return search::serial;
    }
    return name == "mac" ? search::mac : search::any;
}

unit found_unit(book &in, const choices &chosen)
{
    const auto found = in.find(chosen.label, search_named(chosen.by_what));
    if (!found) {
        refuse("nothing is known of " + shown(chosen.label));
    }
    return *found;
}

/** What a switch has said, fit for a terminal: its control characters do nothing here. */
std::string harmless(const std::string &text)
{
    std::string told;
    for (const char each : text) {
        const auto byte = static_cast<unsigned char>(each);
        if (each == '\n' || each == '\t' || (byte >= 0x20 && byte < 0x7F)) {
            told += each;
        } else if (each != '\r') {
            told += shown({&each, 1});
        }
    }
    return told;
}

void print_attempt(const attempt &one)
{
    for (const auto &[what, text] : {std::pair{"Sent", &one.evidence.sent},
                                     {"Read back", &one.evidence.read_back},
                                     {"Transcript", &one.evidence.transcript}}) {
        std::printf("%s:\n%s\n", what, harmless(*text).c_str());
    }
}

std::string outcome_text(const attempt &one)
{
    return one.outcome ? std::string(state_text(state_after(*one.outcome))) : "open";
}

} // namespace

int find_command(const choices &chosen)
{
    book in(chosen.place);
    const auto of = found_unit(in, chosen);
    const auto attempts = in.attempts_of(of);
    if (chosen.as_json) {
        print(identity_json(of, attempts));
        return 0;
    }
    std::printf("Label    %s\nProduct  %s\nSerial   %s\nMAC      %s\nState    %s\n",
                of.label.c_str(), of.product.c_str(), of.serial.value_or("-").c_str(),
                addresses_text(of).c_str(), std::string(state_text(of.state)).c_str());
    if (of.state == unit_state::voided) {
        std::printf("Void     %s (%s)\n", of.void_reason.value_or("").c_str(),
                    of.void_by.value_or("").c_str());
    }
    if (!attempts.empty()) {
        std::printf("\n");
    }
    table shown{{"Attempt", "Started", "Station", "Slot", "Outcome", "Reason"}, {}};
    for (const auto &each : attempts) {
        shown.rows.push_back({std::to_string(each.number), each.started_at, each.start.station,
                              each.start.slot, outcome_text(each), harmless(each.reason)});
    }
    if (!shown.rows.empty()) {
        print(shown);
    }
    return 0;
}

int history_command(const choices &chosen)
{
    book in(chosen.place);
    const auto of = found_unit(in, chosen);
    if (chosen.attempt > 0) {
        for (const auto &each : in.attempts_of(of)) {
            if (each.number == chosen.attempt) {
                print_attempt(each);
                return 0;
            }
        }
        refuse("label " + of.label + " has no attempt " + std::to_string(chosen.attempt));
    }
    table shown{{"Entry", "Time", "Change", "State"}, {}};
    auto forms = json::array();
    for (const auto &each : in.history(of.label)) {
        const auto content = json::parse(each.content);
        forms.push_back({{"entry", each.number},
                         {"at", each.at},
                         {"change", each.kind},
                         {"content", content},
                         {"hash", each.hash}});
        shown.rows.push_back({std::to_string(each.number), each.at, each.kind,
                              content.at("unit").at("state").get<std::string>()});
    }
    if (chosen.as_json) {
        print(forms);
    } else {
        print(shown);
    }
    return 0;
}

} // namespace ledger
