#include <nlohmann/json.hpp>

#include "ledger/app/commands.h"
#include "ledger/app/display.h"

namespace ledger {

namespace {

void print_identity(const unit &of, bool as_json)
{
    if (as_json) {
        print(identity_json(of));
        return;
    }
    print(table{{"Label", "Product", "Serial", "MAC", "State"},
                {{of.label, of.product, of.serial.value_or("-"), addresses_text(of),
                  std::string(state_text(of.state))}}});
}

} // namespace

int reserve_command(const choices &chosen)
{
    const auto given = book(chosen.place)
                           .reserve({.label = chosen.label,
                                     .product = chosen.product,
                                     .serial = chosen.serial,
                                     .mac = chosen.mac});
    print_identity(given.identity, chosen.as_json);
    for (const auto &warning : given.warnings) {
        std::fprintf(stderr, "setmac-ledger: warning: %s\n", warning.c_str());
    }
    return 0;
}

int void_command(const choices &chosen)
{
    print_identity(book(chosen.place).void_unit(chosen.label, chosen.reason, chosen.by),
                   chosen.as_json);
    return 0;
}

} // namespace ledger
