#include "eeprom/tlv_info.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "eeprom/e2prom.h"
#include "fuzz/board/repair.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/input.h"
#include "platform/dev_drv.h"

// Any bytes in the system EEPROM: loading, display and edits of what is found there.

namespace {

void look_for(const uint8_t *image, uint8_t code)
{
    char text[tlv_text_size];
    tlvinfo_decode_tlv(image, code, text);
    std::array<uint8_t, tlv_max_value_length> value{};
    decode_ext_tlv_value(image, code, value.data());
}

/**
 * Looks at all records, and for codes that mean something, and those around them: for one of four
 * of them, by a choice.
 */
void look_at_all(const uint8_t *image, uint8_t choice)
{
    show_eeprom(image);
    list_ext_tlv_info(image);
    for (uint8_t code = 0x20 + (choice >> 6); code <= 0x51; code += 4) {
        look_for(image, code);
    }
    for (const uint8_t code : std::to_array<uint8_t>({0x00, 0xFC, 0xFD, 0xFE, 0xFF})) {
        look_for(image, code);
    }
}

/** One edit: what is done, to which code, with how long a text. */
void edit(uint8_t *image, fuzz::input &in)
{
    const uint8_t what = in.choice();
    const uint8_t code = in.choice();
    // Nobody adds records of the two codes that end every search.
    const bool was_whole = fuzz::is_whole_image(image) && is_valid_tlv(&code);
    const size_t length = in.choice();
    const auto bytes = in.take(length << 8 | in.choice());
    const std::string text(bytes.begin(), bytes.end());
    switch (what) {
    case 0:
        tlvinfo_delete_tlv(image, code);
        break;
    case 1:
        update_crc(image);
        break;
    case 4:
        update_eeprom_header(image);
        break;
    case 5:
        e2prom_value_default_init(image);
        break;
    case 6:
        tlvinfo_delete_tlv(image, name_to_type(text));
        break;
    default:
        tlvinfo_add_tlv(image, code, text.c_str(), static_cast<int32_t>(text.size()));
        break;
    }
    fuzz::require_kept_image(image, was_whole);
}

void program_image(fuzz::switch_program &program, bool transfers_fail)
{
    drv_set_e2_wr_pro(0, 0);
    prog_eeprom(g_data_eeprom);
    const auto stored = program.board().eeprom(system_e2prom_address);
    fuzz::require(transfers_fail || std::equal(stored.begin(), stored.end(), g_data_eeprom),
                  "what is programmed is the image");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    auto content = in.take(in.choice());
    content.resize(tlv_image_size, 0xFF);
    if (!fuzz::chosen(choice, 0)) {
        fuzz::right_tlv_crc(content);
    }
    auto board = fuzz::identity_board();
    board.eeproms.front().content = content;
    if (fuzz::chosen(choice, 1)) {
        board.faults.push_back({.operation = "transfer", .call = 2, .times = 0, .error = EIO});
    }

    fuzz::switch_program program(std::move(board), in.tells_much());
    look_at_all(content.data(), choice); // before the load has looked at it
    read_eeprom(g_data_eeprom);
    fuzz::require(is_checksum_valid(g_data_eeprom), "a loaded image is right");
    look_at_all(g_data_eeprom, choice);
    while (!in.at_end()) {
        edit(g_data_eeprom, in);
    }
    look_at_all(g_data_eeprom, choice);
    if (fuzz::chosen(choice, 2)) {
        program_image(program, fuzz::chosen(choice, 1));
    }
    return 0;
}
