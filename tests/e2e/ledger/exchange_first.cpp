// exchange_first URL LABEL PRODUCT.toml COMMAND: a station that does the right things in the wrong
// order. It says something to the switch before the identity is the label's. The test of the order
// must notice.

#include <chrono>
#include <cstdio>
#include <exception>

#include "station/lines/pty_line.h"
#include "station/registered/registered_run.h"

int main(int argc, char **argv)
{
    if (argc != 5) {
        return 2;
    }
    try {
        ledger::book in({.url = argv[1]});
        station::pty_line far(argv[4]);
        const std::uint8_t wake[] = {'\r'};
        far.write(wake, std::chrono::seconds(1));
        const auto unit =
            station::reserve_unit(in, station::read_product(argv[3]),
                                  {.label = argv[2], .product = {}, .serial = {}, .mac = {}}, {},
                                  station::date_of_today());
        station::begin_run(in, unit, {.station = "too early"});
        return 0;
    } catch (const std::exception &wrong) {
        std::fprintf(stderr, "%s\n", wrong.what());
        return 1;
    }
}
