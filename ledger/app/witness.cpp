#include <nlohmann/json.hpp>

#include "ledger/app/commands.h"
#include "ledger/app/display.h"

namespace ledger {

int witness_set_command(const choices &chosen)
{
    book(chosen.place).set_witness(chosen.file, chosen.lost, chosen.reason, chosen.by);
    return 0;
}

int witness_show_command(const choices &chosen)
{
    constexpr int exit_behind = 5;
    const auto state = book(chosen.place).look_at_witness();
    auto missing = json::array();
    table shown{{"Entry", "Time", "About", "Change"}, {}};
    for (const auto &each : state.missing) {
        missing.push_back({{"entry", each.number},
                           {"at", each.at},
                           {"about", each.topic},
                           {"subject", each.subject},
                           {"change", each.kind}});
        shown.rows.push_back(
            {std::to_string(each.number), each.at, each.topic + " " + each.subject, each.kind});
    }
    const int status = state.trouble.empty() ? 0 : exit_behind;
    if (chosen.as_json) {
        print(json{{"path", state.path.empty() ? json(nullptr) : json(state.path)},
                   {"entries", state.entries},
                   {"witnessed", state.witnessed},
                   {"trouble", state.trouble.empty() ? json(nullptr) : json(state.trouble)},
                   {"missing", missing}});
        return status;
    }
    if (state.path.empty()) {
        std::printf("The ledger has no witness.\n");
        return status;
    }
    std::printf("Witness  %s\nEntries  %lld, of which the witness has seen %lld\n",
                state.path.c_str(), static_cast<long long>(state.entries),
                static_cast<long long>(state.witnessed));
    if (!state.trouble.empty()) {
        std::printf("Trouble  %s\n", state.trouble.c_str());
    }
    if (!shown.rows.empty()) {
        std::printf("\nMissing in the ledger:\n");
        print(shown);
    }
    return status;
}

int reconcile_command(const choices &chosen)
{
    const auto burned = book(chosen.place).reconcile(chosen.reason, chosen.by);
    if (burned.empty()) {
        std::printf("The ledger and its witness fit together: nothing is burned.\n");
    }
    for (const auto &each : burned) {
        std::printf("%s\n", each.c_str());
    }
    return 0;
}

} // namespace ledger
