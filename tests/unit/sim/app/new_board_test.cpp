#include "sim/app/new_board.h"
#include "sim/board/board.h"
#include "sim/description/board_file.h"
#include "sim/formats/product_info.h"
#include "sim/formats/tlv_info.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

/** The folder of a board that is made and gone with the test. */
class sim_new_board : public testing::Test {
protected:
    fs::path folder_ = fs::path(testing::TempDir()) / ("new-" + std::to_string(::getpid()));

    void TearDown() override { fs::remove_all(folder_); }

    sim::board opened() const { return sim::board(sim::read_board_file(folder_), folder_); }
};

using texts = std::vector<std::string>;

} // namespace

TEST_F(sim_new_board, is_blank_where_no_identity_is_given)
{
    sim::make_board(folder_, "nor", {});
    sim::board board = opened();
    EXPECT_EQ(board.flash(2).bytes()[0], 0xFF);
}

TEST_F(sim_new_board, holds_an_identity_in_every_good_block_of_nand)
{
    sim::make_board(folder_, "nand", {.serial = "ABCDEFGHJ1234", .mac = "00:1A:2B:3C:4D:5E"});
    sim::board board = opened();
    const texts wanted = {"ProductInfo=0B0EFACE", "SerialNO=ABCDEFGHJ1234",
                          "ethaddr=00:1A:2B:3C:4D:5E"};
    EXPECT_EQ(board.flash(1).block(0)[0], 0xFF);
    for (const uint32_t block : {1U, 7U}) {
        EXPECT_EQ(sim::decode_product_info(board.flash(1).block(block))->records, wanted);
    }
}

TEST_F(sim_new_board, holds_the_image_that_a_save_leaves)
{
    sim::make_board(folder_, "nor", {.mac = "00:1A:2B:3C:4D:5E"});
    sim::board board = opened();
    // Checksum 67236E1B, least significant byte first, then the records.
    const auto image = board.flash(2).bytes();
    const std::string begin(image.begin(), image.begin() + 51);
    EXPECT_EQ(begin, std::string("\x1B\x6E\x23\x67ProductInfo=0B0EFACE\0"
                                 "ethaddr=00:1A:2B:3C:4D:5E\0",
                                 51));
    EXPECT_EQ(image[8191], 0x00);
    EXPECT_EQ(image[8192], 0xFF);
}

TEST_F(sim_new_board, holds_an_identity_of_the_tlv_flavour_in_its_eeprom)
{
    sim::make_board(folder_, "tlv", {.serial = "AB", .mac = "00:1A:2B:3C:4D:5E"});
    sim::board board = opened();
    const auto info = sim::decode_tlv_info(board.eeprom(0x56));
    EXPECT_EQ(info.problems, texts());
    ASSERT_EQ(info.records.size(), 3U);
    EXPECT_EQ(info.records[0].code, 0x23);
    EXPECT_EQ(info.records[0].value, (std::vector<uint8_t>{'A', 'B'}));
    EXPECT_EQ(info.records[1].code, 0x24);
    EXPECT_EQ(info.records[1].value, (std::vector<uint8_t>{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}));
    EXPECT_EQ(info.records[2].code, 0xFD);
    EXPECT_EQ(info.records[2].value, (std::vector<uint8_t>{0x00, 0x00, 0x7E, 0xD9}));
}

TEST_F(sim_new_board, is_not_made_with_an_identity_that_cannot_be_held)
{
    for (const char *wrong : {"001A2B3C4D5E", "00:1A:2B:3C:4D", "00:1A:2B:3C:4D:5E:6F",
                              "00-1A-2B-3C-4D-5E", "0G:1A:2B:3C:4D:5E", "00:1A:2B:3C:4D5:E"}) {
        EXPECT_THROW(sim::make_board(folder_, "nor", {.mac = wrong}), std::invalid_argument);
    }
    EXPECT_THROW(sim::make_board(folder_, "nor", {.serial = std::string(9000, 'a')}),
                 std::invalid_argument);
    EXPECT_THROW(sim::make_board(folder_, "tlv", {.serial = std::string(250, 'a')}),
                 std::invalid_argument);
    EXPECT_FALSE(fs::exists(folder_));
}
