#include <nlohmann/json.hpp>

#include "ledger/app/commands.h"
#include "ledger/app/display.h"

namespace ledger {

int product_add_command(const choices &chosen)
{
    product wanted;
    wanted.name = chosen.name;
    wanted.mac = read_source(chosen.mac_source);
    wanted.serial = read_source(chosen.serial_source);
    wanted.mac_count = chosen.mac_count;
    book(chosen.place).add_product(wanted);
    return 0;
}

int product_list_command(const choices &chosen)
{
    table shown{{"Product", "MAC", "Addresses", "Serial"}, {}};
    auto forms = json::array();
    for (const auto &each : book(chosen.place).products()) {
        forms.push_back(journal_form(each));
        shown.rows.push_back({each.name, source_text(each.mac), std::to_string(each.mac_count),
                              source_text(each.serial)});
    }
    if (chosen.as_json) {
        print(forms);
    } else {
        print(shown);
    }
    return 0;
}

} // namespace ledger
