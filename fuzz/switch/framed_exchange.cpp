#include "eeprom/tlv_info.h"
#include "exchange/format_info.h"
#include "exchange/protocol.h"
#include "fuzz/board/console.h"
#include "fuzz/board/repair.h"
#include "fuzz/board/switch_program.h"
#include "fuzz/input.h"
#include "store/productinfo.h"

// A stream of bytes into the framed exchange of both flavours, with the console underneath it and
// the payload handlers behind it.

namespace {

struct framed_operation {
    int32_t (*run)();
    bool stores_product_info; // when it ends by itself, with 0
};

constexpr framed_operation operations[] = {
    {[] { return enter_setmac(mode_product_info); }, true},
    {[] { return enter_setsn(mode_product_serial); }, false},
    {[] { return enter_setmac(mode_tlv); }, true},
    {[] { return enter_setsn(mode_tlv_serial); }, false},
    {[] { return set_module_info(do_set_sn); }, false},
    {[] { return set_module_info(nullptr); }, false},
    {[] { return __set_product_info(0); }, false},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    auto stream = in.rest();
    if (!fuzz::chosen(choice, 7)) {
        fuzz::right_frames(stream);
    }
    if ((choice & 0x78) == 0x40) { // rarely, for its checksum takes as long as a hundred other runs
        stream.resize(stream.size() + setmac_data_size + 1); // a PC that sends on and on
    }

    fuzz::switch_program program(fuzz::identity_board(), in.tells_much());
    init_product_info();
    read_eeprom(g_data_eeprom);
    const auto &operation = operations[choice % 8 % std::size(operations)];
    const auto result = fuzz::run_on_console(operation.run, stream);
    if (result == 0 && operation.stores_product_info) {
        program.require_store_of_its_own();
    }
    fuzz::require(fuzz::is_whole_image(g_data_eeprom), "the TlvInfo image stays whole");
    return 0;
}
