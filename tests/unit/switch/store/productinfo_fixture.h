#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sim/board/board.h"
#include "store/productinfo.h"
#include "unit/switch/support.h"

namespace support {

inline sim::partition nor_partition()
{
    return {.name = "product_info", .erase_size = 0x4000, .blocks = 2};
}

/** A store over a board, loaded at first and released in the end. */
class productinfo : public testing::Test {
protected:
    void TearDown() override { clr_prod_info(); }

    void fit(std::vector<sim::partition> partitions)
    {
        board_.emplace(sim::board_description{.partitions = std::move(partitions)});
    }

    void load_blank(std::vector<sim::partition> partitions = {nor_partition()})
    {
        fit(std::move(partitions));
        EXPECT_EQ(printed([] { EXPECT_EQ(init_product_info(), 0); }),
                  "!!!Warning: CRC check failed.\r\n");
    }

    /** Starts over from what flash holds. */
    std::string reload()
    {
        clr_prod_info();
        return printed([] { EXPECT_EQ(init_product_info(), 0); });
    }

    static std::string shown()
    {
        return printed([] { show_prod_info(); });
    }

    sim::board &board() { return *board_; }
    std::span<uint8_t> flash(int index = 0) { return board_->flash(index).bytes(); }

private:
    std::optional<sim::board> board_;
};

} // namespace support
