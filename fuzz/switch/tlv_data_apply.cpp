#include <cerrno>

#include "eeprom/tlv_info.h"
#include "exchange/format_info.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/input.h"
#include "store/productinfo.h"

// The payloads of the flavour that keeps the identity in the system EEPROM.

namespace {

sim::board_description board_for(uint8_t choice)
{
    auto board = fuzz::identity_board();
    if (fuzz::chosen(choice, 2)) {
        // A card of type 5, in the oldest form.
        board.eeproms.back().content = {1, 0, 0, 5};
    }
    if (fuzz::chosen(choice, 5)) {
        board.eeproms.pop_back();
    }
    if (fuzz::chosen(choice, 3)) {
        board.faults.push_back({.operation = "transfer", .call = 7, .times = 5, .error = EIO});
    }
    return board;
}

/** The image that a serial number is put into: with one to replace, or with none. */
void load_image(uint8_t choice)
{
    e2prom_value_default_init(g_data_eeprom);
    if (!fuzz::chosen(choice, 4)) {
        tlvinfo_add_tlv(g_data_eeprom, tlv_serial_number, "ABCDEFGHJ1234", 0);
    }
}

int32_t apply(uint8_t choice, const fuzz::byte_list &payload)
{
    const auto length = static_cast<int32_t>(payload.size());
    switch (choice % 4) {
    case 1:
        load_image(choice);
        return tlv_set_sn(payload.data(), length);
    case 2:
        load_image(choice);
        tlv_insight_node(payload.data(), length);
        return -1; // programs nothing
    default:
        return tlv_data_apply(payload.data(), length);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    const auto payload = in.rest();

    fuzz::switch_program program(board_for(choice), in.tells_much());
    const int32_t result = apply(choice, payload);
    fuzz::require(fuzz::is_whole_image(g_data_eeprom), "the image in memory stays whole");
    // A payload may name a register that does not lift the write protection.
    if (result == 0 && (eeprom_writeable == 0 || eeprom_writeable == fuzz::named_enable_register)) {
        program.require_programmed_image();
    }
    return 0;
}
