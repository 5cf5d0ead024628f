#include <cerrno>

#include "eeprom/e2prom.h"
#include "exchange/format_info.h"
#include "fuzz/board/repair.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/input.h"

// Any bytes in the card EEPROM.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    const uint8_t room = in.choice();
    const auto wanted = in.take(4);
    auto content = in.take(256);
    content.resize(256, 0xFF);
    if (!fuzz::chosen(choice, 0)) {
        fuzz::right_card_sum(content);
    }
    auto board = fuzz::identity_board();
    board.eeproms.back().content = content;
    if (fuzz::chosen(choice, 1)) {
        const unsigned call = 1 + (choice >> 4);
        board.faults.push_back({.operation = "transfer", .call = call, .times = 5, .error = EIO});
    }

    const fuzz::switch_program program(std::move(board), in.tells_much());
    setmac_check_eeprom_type(wanted.data(), static_cast<uint32_t>(wanted.size()));
    const int32_t type = setmac_get_my_card_type();
    fuzz::require(type == -1 || sdd_my_type == 0 || type == sdd_my_type,
                  "a type is the one that is remembered");

    uint32_t value = 0x5A5A5A5A;
    uint32_t capacity = room % 6;
    const uint32_t given = capacity;
    const int32_t result = setmac_get_e2prom_info_by_type(&value, &capacity);
    fuzz::require(capacity <= given, "no more is delivered than there is room for");
    fuzz::require(result == 0 || value == 0x5A5A5A5A, "a failure leaves the value alone");
    return 0;
}
