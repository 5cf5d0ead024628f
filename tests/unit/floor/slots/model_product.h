#pragma once

#include <string>

#include "ledger/book/book.h"

namespace floor_tests {

/** The product file of the model of a switch, and its only job, "identity.toml". */
inline constexpr auto model_product = R"(name = "SW"
flavour = "legacy"
[[value]]
name = "serial"
kind = "text"
pattern = "[A-Z0-9]{13}"
[[value]]
name = "mac"
kind = "mac"
align = 64
count = 64
[console]
prompt = "# "
user = "root"
boot = 60
[[identity]]
record = "SerialNO"
blank = ["0000000000000"]
[[identity]]
record = "ethaddr"
blank = ["00:11:22:33:44:55"]
[[step]]
operation = "setmac"
job = "identity.toml"
)";

inline constexpr auto model_job = R"([[property]]
name = "MacAddress"
hex = "{mac}"
[[property]]
name = "SerialNO"
text = "{serial}"
[[property]]
name = "ProductModel"
text = "SW-48X6Q"
)";

/** Gives the units of a product 64 addresses from 00:1A:2B:00:00:00 on, and ABCDEFGH00001. */
inline void add_numbers(ledger::book &to, const std::string &product_name)
{
    ledger::pool macs;
    macs.name = "office";
    macs.of_macs = true;
    macs.first = 0x001A2B000000;
    macs.last = 0x001A2BFFFFFF; // more than a night of tests can use up
    macs.count = 64;
    macs.align = 64;
    to.add_pool(macs);
    ledger::pool serials;
    serials.name = "office-sn";
    serials.pattern = "ABCDEFGH{n:5}";
    serials.first = 1;
    to.add_pool(serials);
    ledger::product product;
    product.name = product_name;
    product.mac.pool = macs.name;
    product.serial.pool = serials.name;
    to.add_product(product);
}

} // namespace floor_tests
