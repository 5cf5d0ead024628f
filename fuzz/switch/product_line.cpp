#include <algorithm>
#include <string>

#include "fuzz/board/switch_program.h"
#include "fuzz/input.h"
#include "store/productinfo.h"

// Lines that an operator types: of setproduct, and the fields of the other commands.

namespace {

/** Leaves room for a few lines, which an input of as many bytes would take long to do. */
void fill_up()
{
    for (char number = 'a'; number < 'p'; ++number) {
        setproduct_info(std::string(1, number) + "=" + std::string(prod_info_value_size - 1, 'V'));
    }
}

/** One line, by its first byte to one of those who take lines. */
void type(std::string_view line)
{
    const auto choice = line.empty() ? '\0' : line.front();
    line.remove_prefix(line.empty() ? 0 : 1);
    switch (choice) {
    case 'S':
        set_product_info_serialnum(line);
        break;
    case 'M':
        set_product_info_macaddr(line);
        break;
    case 'H':
        set_product_info_hardver(line);
        break;
    case 'C':
        set_product_info_country(line, line, "", line);
        break;
    case 'F':
        fill_up();
        break;
    case 'G':
        get_product_info(std::string(line).c_str());
        break;
    default:
        setproduct_info(line);
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const fuzz::input in(data, size);
    fuzz::switch_program program(fuzz::identity_board(), in.tells_much());
    init_product_info();
    const std::string typed(data, data + size);
    for (size_t at = 0; at < typed.size();) {
        const size_t end = std::min(typed.find('\n', at), typed.size());
        // What is read from the terminal ends at a NUL.
        std::string line = typed.substr(at, end - at);
        line.resize(std::min(line.find('\0'), line.size()));
        type(line);
        at = end + 1;
    }
    const auto typed_in = fuzz::switch_program::listed_store();
    if (save_product_info() == 0) {
        program.require_store_of_its_own();
        fuzz::require(fuzz::switch_program::listed_store() == typed_in,
                      "all that was typed in is saved");
    }
    return 0;
}
