#include <csignal>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/tlv_board.h"

// The power fails while "prov_setmac setmac" of the TLV flavour programs the system EEPROM.

namespace {

using e2e::board_folder;
using e2e::bytes;
using e2e::damaged_listing;
using e2e::default_image;
using e2e::eeprom_content;
using e2e::memory_is;
using e2e::outcome;
using e2e::repeated;
using e2e::system_eeprom_file;

const std::string blank = repeated(256, 0xFF);
const e2e::command_line set_mac = {e2e::tlv_prov_setmac, "setmac"};

board_folder blank_board()
{
    return e2e::board_with_eeprom(e2e::protected_tlv_board, blank);
}

/** The PC's side of a whole run, sent in one go. */
const std::string empty_run =
    e2e::setmac_sign + e2e::version_1 + e2e::empty_frame.length + e2e::empty_frame.value;

/** The power fails after so many bytes of the default image. */
void cut_power(const board_folder &board, std::size_t programmed)
{
    const std::string description = e2e::read_file(board.path() / "board.toml");
    e2e::write_file(board.path() / "board.toml",
                    description + "[power]\ncut_after = " + std::to_string(programmed) + "\n");
    EXPECT_EQ(e2e::run_on_board(board, set_mac, empty_run).status, -SIGKILL);
    e2e::write_file(board.path() / "board.toml", description);
    const auto all = board.operations();
    EXPECT_EQ(all.back(), "power_cut board = 0");
}

TEST(tlv_power_cut, leaves_an_image_that_the_next_start_knows_as_damaged)
{
    const std::string no_header = "read_eeprom: can't find productinfo.\r\n";
    const outcome without_header = {.output = no_header + damaged_listing.output, .status = 1};
    const outcome whole = {.output = "ProductInfo=0B0EFACE\r\n", .status = 1};
    const struct {
        std::size_t programmed;
        outcome found;
    } cuts[] = {{0, without_header},   {1, without_header},   {8, without_header},
                {10, without_header},  {11, damaged_listing}, {44, damaged_listing},
                {72, damaged_listing}, {73, whole},           {255, whole}};
    for (const auto &cut : cuts) {
        const auto board = blank_board();
        cut_power(board, cut.programmed);
        const auto programmed = eeprom_content(default_image, 0x00).substr(0, cut.programmed);
        EXPECT_TRUE(memory_is(board, system_eeprom_file, eeprom_content(programmed, 0xFF)));
        EXPECT_TRUE(e2e::nor_holds(board, e2e::no_product_records));
        EXPECT_EQ(e2e::listed(board), cut.found) << cut.programmed;
        const bool is_valid = e2e::checked(board.memory(system_eeprom_file)).status == 0;
        EXPECT_EQ(is_valid, cut.programmed >= 73) << cut.programmed;
    }
}

TEST(tlv_power_cut, is_made_good_by_the_next_payload)
{
    const auto board = blank_board();
    cut_power(board, 44);
    // The enable is still set, as the disable did not come.
    EXPECT_EQ(board.memory("cpld0.bin").at(0x25), '\xFB');
    const auto again = e2e::run_on_board(board, set_mac, empty_run);
    EXPECT_EQ(again, (outcome{.output = "!!!Warning: CRC check failed.\r\n" +
                                        std::string(e2e::setmac_banner) + bytes({0x15, 0x01}) +
                                        e2e::applied_by_default}));
    EXPECT_TRUE(e2e::eeprom_holds(board, default_image));
    EXPECT_TRUE(memory_is(board, "cpld0.bin", blank));
}

} // namespace
