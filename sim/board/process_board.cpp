#include "sim/board/process_board.h"

#include "sim/description/board_file.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <unistd.h>
#include <utility>

namespace sim {
namespace {

constexpr int status_without_board = 125; // what a launcher says when it could not launch

/** Never destroyed: a program may use its devices until its very end. */
void make_board(const char *folder)
{
    try {
        board_description description = read_board_file(folder);
        if (const char *steps = std::getenv(cut_variable)) {
            description.cut_after = std::strtoull(steps, nullptr, 10);
        }
        static board *of_folder = new board(std::move(description), folder);
        static_cast<void>(of_folder);
    } catch (const std::exception &wrong) {
        std::fprintf(stderr, "simboard: %s\n", wrong.what());
        ::_exit(status_without_board);
    }
}

} // namespace

board *process_board()
{
    static std::once_flag once;
    if (board::current() == nullptr) {
        std::call_once(once, [] {
            if (const char *folder = std::getenv(folder_variable)) {
                make_board(folder);
            }
        });
    }
    return board::current();
}

} // namespace sim
