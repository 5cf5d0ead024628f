#include "sim/board.h"

// The simulated board behind the stand-in of the maker's driver library, which calls these when
// they are there.

extern "C" [[gnu::visibility("default")]] int32_t simboard_dev_drv_init()
{
    sim::board *board = sim::board::current();
    if (board == nullptr) {
        return 0;
    }
    const auto answer = [&](sim::operation &, std::size_t) -> int64_t {
        return board->driver_init_result();
    };
    const int64_t result = board->operate({.name = "dev_drv_init", .path = "libdev_drv"},
                                          sim::board::call_kind::plain, answer);
    return result < 0 ? -1 : static_cast<int32_t>(result);
}
