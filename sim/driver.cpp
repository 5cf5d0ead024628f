#include "sim/board.h"
#include "sim/interpose.h"
#include "sim/process_board.h"

// The simulated board behind the stand-in of the maker's driver library, which calls these when
// they are there.

namespace {

constexpr int32_t refused = -1;
constexpr int32_t system_eeprom = 0;

/** Does and logs one call: the answer, or refused where a fault or the supply forbids it. */
int32_t call(sim::board &board, std::string name, const std::string &arguments,
             const std::function<int32_t()> &act)
{
    int32_t answer = refused;
    const auto logged = [&](sim::operation &log, std::size_t) {
        answer = act();
        log.arguments +=
            (arguments.empty() ? "" : " ") + std::string("answer=") + std::to_string(answer);
        return int64_t{0};
    };
    const int64_t result =
        board.operate({.name = std::move(name), .path = "libdev_drv", .arguments = arguments},
                      sim::board::call_kind::plain, logged);
    return result < 0 ? refused : answer;
}

} // namespace

extern "C" {

SIMBOARD_EXPORT int32_t simboard_dev_drv_init()
{
    sim::board *board = sim::process_board();
    if (board == nullptr) {
        return 0;
    }
    return call(*board, "dev_drv_init", "",
                [&] { return board->description().driver.init_result; });
}

SIMBOARD_EXPORT int32_t simboard_drv_set_e2_wr_pro(int32_t index, int32_t protect)
{
    sim::board *board = sim::process_board();
    if (board == nullptr) {
        return refused;
    }
    const auto set = [&] {
        if (index != system_eeprom) {
            return refused;
        }
        const int32_t answer = board->description().driver.e2_wr_pro_result;
        if (answer == 0) {
            board->protect_by_driver(protect != 0);
        }
        return answer;
    };
    return call(*board, "drv_set_e2_wr_pro",
                "index=" + std::to_string(index) + " protect=" + std::to_string(protect), set);
}
}
