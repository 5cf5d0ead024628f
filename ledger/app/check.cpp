#include <nlohmann/json.hpp>

#include "ledger/app/commands.h"
#include "ledger/app/display.h"

namespace ledger {

namespace {

std::string finding_text(const finding &each)
{
    return each.entry == 0 ? each.what : "entry " + std::to_string(each.entry) + ": " + each.what;
}

} // namespace

int check_command(const choices &chosen)
{
    const auto result = book(chosen.place).check();
    if (chosen.as_json) {
        auto findings = json::array();
        for (const auto &each : result.findings) {
            findings.push_back({{"entry", each.entry == 0 ? json(nullptr) : json(each.entry)},
                                {"what", each.what}});
        }
        print(json{{"fits", result.findings.empty()},
                   {"entries", result.entries},
                   {"units", result.units},
                   {"witness", result.has_witness},
                   {"findings", findings}});
        return result.findings.empty() ? 0 : exit_refused;
    }
    if (!result.findings.empty()) {
        for (const auto &each : result.findings) {
            std::printf("%s\n", finding_text(each).c_str());
        }
        std::printf("The ledger does not fit together.\n");
        return exit_refused;
    }
    std::printf("%lld entries and %lld units fit together%s.\n",
                static_cast<long long>(result.entries), static_cast<long long>(result.units),
                result.has_witness ? ", and with the witness" : "; there is no witness");
    return 0;
}

} // namespace ledger
