#include "fuzz/pc/station_run.h"

// What a console says to a run of a product, from its first byte on.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const auto result = fuzz::run_product("products/sw-48x6q/product.toml", in);
    const auto &step = result.steps.front();
    if (result.end == station::run_end::verified && step.end != station::step_end::not_run) {
        fuzz::require(!step.last.replies.empty(),
                      "nothing is verified unless the switch says that it is stored");
    }
    return 0;
}
