// The station without a ledger, as on a board's own processor.

#include "station/app/registry.h"

namespace station {

void add_registry_options(CLI::App & /*sub*/, registry_choices & /*chosen*/) {}

std::unique_ptr<registry> open_registry(const registry_choices & /*chosen*/)
{
    return nullptr;
}

} // namespace station
