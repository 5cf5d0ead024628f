#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "sim/board/board.h"
#include "store/productinfo.h"
#include "unit/switch/support.h"

// The power fails before each single step of a save: before each erase of a block, which leaves it
// half erased, and before each byte that is programmed.

namespace {

using support::printed;

constexpr std::string_view old_serial = "OLDSERIAL0001";
constexpr std::string_view new_serial = "NEWSERIAL0002";

constexpr std::size_t image_size = 8192;

/** Where each step takes long, the sanitizers or an emulated processor, not every byte is struck.
 */
constexpr std::size_t stride = POWER_CUT_STRIDE;

const sim::partition nor_part = {.name = "product_info", .erase_size = 0x1000, .blocks = 3};
const sim::partition nor_mirror = {.name = "product_info_other", .erase_size = 0x1000, .blocks = 3};
const sim::partition nand_part = {
    .name = "product_info", .type = sim::nand, .erase_size = 0x2000, .blocks = 4, .bad = {0}};
const sim::partition nand_mirror = {.name = "product_info_other",
                                    .type = sim::nand,
                                    .erase_size = 0x2000,
                                    .blocks = 4,
                                    .bad = {1, 3}};

/** What the next start finds. */
enum class found { old_identity, new_identity, damaged };

/** A board whose flash holds the old serial number, and what a cut of its power leaves. */
class power_cut : public testing::Test {
protected:
    void TearDown() override { clr_prod_info(); }

    void fit(std::vector<sim::partition> partitions)
    {
        board_.emplace(sim::board_description{.partitions = std::move(partitions)});
        printed([] { init_product_info(); });
        update_prod_info("SerialNO", old_serial);
        ASSERT_EQ(save_product_info(), 0);
        clr_prod_info();
        for (std::size_t i = 0; i < board_->description().partitions.size(); ++i) {
            old_.push_back(copy_of(i));
        }
    }

    /** The power fails after so many steps of a save. False: the save needs no more than that. */
    bool cut(std::size_t steps)
    {
        for (std::size_t i = 0; i < old_.size(); ++i) {
            std::ranges::copy(old_[i], bytes(i).begin());
        }
        init_product_info();
        update_prod_info("SerialNO", new_serial);
        board_->cut_after(steps);
        const int32_t result = save_product_info();
        const bool failed = !board_->powered();
        EXPECT_EQ(result, failed ? -1 : 0) << steps;
        clr_prod_info();
        board_->cut_after({});
        return failed;
    }

    /** The start that follows. */
    static found next_start()
    {
        EXPECT_EQ(init_product_info(), 0);
        const char *serial = get_product_info("SerialNO");
        const found what = serial == nullptr      ? found::damaged
                           : serial == old_serial ? found::old_identity
                                                  : found::new_identity;
        EXPECT_TRUE(serial == nullptr || serial == old_serial || serial == new_serial) << serial;
        clr_prod_info();
        return what;
    }

    /**
     * All cuts: up to that of number `steps`, which is the first that the save does without, the
     * next start finds the records damaged, and new ones from the `first_new`-th on.
     */
    void expect_damaged_until(std::size_t first_new, std::size_t steps)
    {
        std::size_t damaged = 0;
        const std::string said = printed([&] {
            for (std::size_t cut_at = 0; cut_at < steps; cut_at += stride) {
                ASSERT_TRUE(cut(cut_at)) << cut_at;
                const found what = next_start();
                ASSERT_EQ(what, cut_at < first_new ? found::damaged : found::new_identity)
                    << cut_at;
                damaged += what == found::damaged ? 1 : 0;
                expect_of_mirror(cut_at, first_new);
            }
            EXPECT_FALSE(cut(steps));
            EXPECT_EQ(next_start(), found::new_identity);
        });
        // Every damage is told, and nothing else is said.
        std::string wanted;
        for (std::size_t i = 0; i < damaged; ++i) {
            wanted += "!!!Warning: CRC check failed.\r\n";
        }
        EXPECT_TRUE(said == wanted);
    }

private:
    std::span<uint8_t> bytes(std::size_t partition)
    {
        return board_->flash(static_cast<int>(partition)).bytes();
    }

    std::vector<uint8_t> copy_of(std::size_t partition)
    {
        return {bytes(partition).begin(), bytes(partition).end()};
    }

    /** While the first copy is damaged, its mirror is still what it was. */
    void expect_of_mirror(std::size_t cut_at, std::size_t first_new)
    {
        if (old_.size() > 1 && cut_at < first_new) {
            EXPECT_TRUE(std::ranges::equal(bytes(1), old_[1])) << cut_at;
        }
    }

    std::optional<sim::board> board_;
    std::vector<std::vector<uint8_t>> old_;
};

TEST_F(power_cut, on_nor_is_found_as_damage_at_every_byte)
{
    fit({nor_part});
    expect_damaged_until(3 + image_size, 3 + image_size);
}

TEST_F(power_cut, on_nor_with_a_mirror_never_harms_both_copies)
{
    fit({nor_part, nor_mirror});
    expect_damaged_until(3 + image_size, 2 * (3 + image_size));
}

TEST_F(power_cut, on_nand_is_made_good_by_the_first_whole_copy)
{
    fit({nand_part});
    expect_damaged_until(3 + image_size, 3 + 3 * image_size);
}

TEST_F(power_cut, on_nand_with_a_mirror_never_harms_both_partitions)
{
    fit({nand_part, nand_mirror});
    expect_damaged_until(3 + image_size, 3 + 3 * image_size + 2 + 2 * image_size);
}

} // namespace
