#pragma once

#include <string_view>

#include <gtest/gtest.h>

#include "board_folder.h"

namespace e2e {

/** A board like `nor_board` whose product information is this image. */
board_folder nor_board_holding(std::string_view image);

/** Whether a memory of the board is exactly these bytes; else where it differs. */
testing::AssertionResult memory_is(const board_folder &board, std::string_view file,
                                   std::string_view content);

/** Whether the flash of a `nor_board` is exactly this image and an erased rest. */
testing::AssertionResult nor_holds(const board_folder &board, std::string_view image);

/** The same, and whether nothing was erased or written to get there. */
testing::AssertionResult untouched_nor_holds(const board_folder &board, std::string_view image);

} // namespace e2e
