#include "input.h"
#include "repair.h"
#include "store/productinfo.h"
#include "switch_program.h"

// Any bytes in the partition of the product information.

namespace {

constexpr size_t partition_size = 2 * 0x4000;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    auto content = in.take(partition_size);
    // Records that fill the area to its last byte come from one byte repeated.
    content.resize(partition_size,
                   fuzz::chosen(choice, 1) && !content.empty() ? content.back() : 0);
    if (!fuzz::chosen(choice, 0)) {
        fuzz::right_store_checksum(content);
    }

    fuzz::switch_program program(
        fuzz::identity_board(fuzz::chosen(choice, 2) ? sim::nand : sim::nor));
    auto cells = program.board().flash(0).bytes();
    std::copy(content.begin(), content.end(), cells.begin());
    if (init_product_info() == 0) {
        show_prod_info();
        set_product_info("SerialNO", "ABCDEFGHJ1234");
        if (save_product_info() == 0) {
            program.require_store_of_its_own();
        }
    }
    return 0;
}
