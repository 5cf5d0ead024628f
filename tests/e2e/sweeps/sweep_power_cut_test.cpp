#include <csignal>
#include <iostream>

#include "sweep.h"
#include "sweep_boards.h"
#include "sweep_words.h"

// The power fails while a program saves: in flash at some steps of a save (the unit tests take all
// of them), in the system EEPROM at every byte. What the next start finds, and how to go on.

namespace {

using namespace e2e;

void make_board(const board_folder &board,
                const std::vector<std::pair<std::string, std::string>> &memories)
{
    for (const auto &[file, content] : memories) {
        write_file(board.path() / file, content);
    }
}

/** Runs a program whose power fails after so many steps, and then switches it on again. */
outcome cut_power(const board_folder &board, std::size_t steps, const command_line &command,
                  std::string_view input = {})
{
    const auto file = board.path() / "board.toml";
    const std::string description = read_file(file);
    write_file(file, description + "\n[power]\ncut_after = " + std::to_string(steps) + "\n");
    const outcome end = run(command, joined(sleepless, on_board(board)), input);
    write_file(file, description);
    return end;
}

const command_line set_serial = {"setsn", "NEWSERIAL0002"};
const std::string new_records_listing =
    "ethaddr=00:D0:F8:00:00:01\r\nSerialNO=NEWSERIAL0002\r\ncountry_def=CN\r\n";

/** A save on flash: its steps, and after how many the first copy is whole. */
struct flash_save {
    const flash_layout &layout;
    std::size_t first_new;
    std::size_t steps;
};

void PrintTo(const flash_save &save, std::ostream *out)
{
    *out << save.layout.name;
}

const flash_save saves[] = {
    {flash_layouts[0], 4 + 8192, 4 + 8192},
    {flash_layouts[1], 4 + 8192, 2 * (4 + 8192)},
    {flash_layouts[2], 3 + 8192, 3 + 3 * 8192},
    {flash_layouts[3], 3 + 8192, 3 + 3 * 8192 + 2 + 2 * 8192},
};

class records_power_cut : public testing::TestWithParam<flash_save> {
protected:
    void SetUp() override { make_board(board, GetParam().layout.memories); }

    outcome listed() const { return run_on_board(board, {"prodinfo"}); }

    board_folder board{GetParam().layout.description};
};

TEST_P(records_power_cut, leaves_damage_that_is_told_or_the_new_records)
{
    constexpr std::size_t stride = 499;
    const auto [layout, first_new, steps] = GetParam();
    for (std::size_t cut_at = 0; cut_at < steps; cut_at += stride) {
        make_board(board, layout.memories);
        EXPECT_EQ(cut_power(board, cut_at, set_serial).status, -SIGKILL);
        EXPECT_EQ(listed().output, cut_at < first_new ? crc_warning : new_records_listing)
            << cut_at;
    }
    make_board(board, layout.memories);
    EXPECT_EQ(cut_power(board, steps, set_serial).status, 0);
    EXPECT_EQ(listed().output, new_records_listing);
}

TEST_P(records_power_cut, is_made_good_by_whoever_provisions_again)
{
    ASSERT_EQ(cut_power(board, 4000, set_serial).status, -SIGKILL);
    EXPECT_EQ(run_on_board(board, set_serial).output,
              std::string(crc_warning) + "Save product info success.\r\n");
    EXPECT_EQ(listed().output, "SerialNO=NEWSERIAL0002\r\n");
}

TEST_P(records_power_cut, leaves_the_old_records_in_the_mirror)
{
    const std::string &mirror = GetParam().layout.mirror;
    if (mirror.empty()) {
        // Without one there is nothing left of them.
        ASSERT_EQ(cut_power(board, 4000, set_serial).status, -SIGKILL);
        EXPECT_EQ(board.memory(product_info_file).find("OLDSERIAL0001"), std::string::npos);
        return;
    }
    ASSERT_EQ(cut_power(board, 4000, set_serial).status, -SIGKILL);
    // As the operator does it with the flash tools: the first good block of one to the other.
    const std::string held = board.memory(mirror).substr(0, old_records.size());
    std::string repaired = board.memory(product_info_file);
    const std::size_t first_good = GetParam().layout.name == "nand_mirror" ? 0x2000 : 0;
    repaired.replace(first_good, held.size(), held);
    write_file(board.path() / product_info_file, repaired);
    EXPECT_EQ(listed().output, old_records_listing);
}

std::string name_of_save(const testing::TestParamInfo<flash_save> &info)
{
    return info.param.layout.name;
}

INSTANTIATE_TEST_SUITE_P(on, records_power_cut, testing::ValuesIn(saves), name_of_save);

/** The PC's side of a whole run, sent in one go. */
const std::string payload_run =
    setmac_sign + version_1 + payload_frame.length + payload_frame.value;
const std::string serial_run =
    "{" + setsn_sign + version_1 + serial_frame.length + serial_frame.value;

/** How the EEPROM is written, and from which byte on what was there, and the new image, are whole.
 */
struct eeprom_write {
    const eeprom_layout &layout;
    command_line command;
    std::string_view input;
    const std::string &new_image;
    std::size_t first_change;
    std::size_t first_new;
};

/** What the next start finds of an EEPROM. */
std::string found_in(const board_folder &board, const eeprom_write &writing)
{
    const std::string content = board.memory(system_eeprom_file);
    const std::string said = run_on_board(board, {"setmac-tlv"}).output;
    if (said.find(crc_warning) != said.npos) {
        return "damaged";
    }
    return content.starts_with(writing.new_image)    ? "new"
           : content.starts_with(writing.layout.old) ? "old"
                                                     : "wrong: " + readable(content);
}

void cut_at_every_byte(const eeprom_write &writing)
{
#ifdef E2E_SANITIZED
    constexpr std::size_t stride = 17;
#else
    constexpr std::size_t stride = 1;
#endif
    const board_folder board(eeprom_board);
    for (std::size_t byte = 0; byte < 256; byte += stride) {
        make_board(board, {{std::string(product_info_file), nor_content(no_product_records)},
                           {std::string(system_eeprom_file), writing.layout.content}});
        EXPECT_EQ(cut_power(board, byte, writing.command, writing.input).status, -SIGKILL);
        EXPECT_EQ(found_in(board, writing), byte < writing.first_change ? "old"
                                            : byte < writing.first_new  ? "damaged"
                                                                        : "new")
            << byte;
    }
}

TEST(eeprom_power_cut, on_a_blank_one_is_found_until_the_image_is_whole)
{
    // The image has 98 bytes: 11 of the header, 87 of records.
    cut_at_every_byte(
        {eeprom_layouts[0], {tlv_prov_setmac, "setmac"}, payload_run, payload_image, 0, 98});
}

TEST(eeprom_power_cut, on_an_image_leaves_it_until_the_first_byte_that_differs)
{
    // The first that differs is the low byte of the total length.
    cut_at_every_byte(
        {eeprom_layouts[1], {tlv_prov_setmac, "setmac"}, payload_run, payload_image, 11, 98});
}

TEST(eeprom_power_cut, of_a_serial_number_leaves_the_image_until_the_first_byte_that_differs)
{
    // Header and model, 17 bytes, stay; the whole image has 48.
    cut_at_every_byte(
        {eeprom_layouts[1], {tlv_prov_setmac, "setsn"}, serial_run, other_serial_image, 18, 48});
}

} // namespace
