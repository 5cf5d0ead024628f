#include "sim/board.h"
#include "sim/process_board.h"

// The simulated board behind the stand-in of the maker's driver library, which calls these when
// they are there.

extern "C" [[gnu::visibility("default")]] int32_t simboard_dev_drv_init()
{
    sim::board *board = sim::process_board();
    if (board == nullptr) {
        return 0;
    }
    const int32_t answer = board->driver_init_result();
    const auto log_answer = [&](sim::operation &log, std::size_t) {
        log.arguments = "answer=" + std::to_string(answer);
        return int64_t{0};
    };
    const int64_t result = board->operate({.name = "dev_drv_init", .path = "libdev_drv"},
                                          sim::board::call_kind::plain, log_answer);
    return result < 0 ? -1 : answer;
}
