#include <nlohmann/json.hpp>

#include "ledger/app/commands.h"
#include "ledger/app/display.h"
#include "ledger/model/error.h"

namespace ledger {

namespace {

/** A source without its name is what a script leaves where a variable is empty. */
number_source source_of(const std::string &text)
{
    if (text.empty() || text == "scanned:") {
        refuse("\"" + text +
               "\" is no source: a pool's name, scanned, scanned:POOL or none is one");
    }
    return read_source(text);
}

} // namespace

int product_add_command(const choices &chosen)
{
    product wanted;
    wanted.name = chosen.name;
    wanted.mac = source_of(chosen.mac_source);
    wanted.serial = source_of(chosen.serial_source);
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
