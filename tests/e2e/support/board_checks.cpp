#include "board_checks.h"

#include <algorithm>

#include "bytes.h"

namespace e2e {

board_folder nor_board_holding(std::string_view image)
{
    return board_folder(nor_board, {{product_info_file, nor_content(image)}});
}

testing::AssertionResult memory_is(const board_folder &board, std::string_view file,
                                   std::string_view content)
{
    const std::string found = board.memory(file);
    const auto [there, wanted] = std::ranges::mismatch(found, content);
    if (there == found.end() && wanted == content.end()) {
        return testing::AssertionSuccess();
    }
    constexpr std::size_t excerpt = 32;
    const auto at = static_cast<std::size_t>(there - found.begin());
    return testing::AssertionFailure()
           << file << " of " << found.size() << " bytes, not " << content.size()
           << ", differs at offset " << at << ": \"" << readable(found.substr(at, excerpt))
           << "\", not \"" << readable(content.substr(at, excerpt)) << "\"";
}

testing::AssertionResult nor_holds(const board_folder &board, std::string_view image)
{
    return memory_is(board, product_info_file, nor_content(image));
}

testing::AssertionResult untouched_nor_holds(const board_folder &board, std::string_view image)
{
    const auto changes = board.changes();
    if (!changes.empty()) {
        return testing::AssertionFailure()
               << changes.size() << " changes, the first: " << changes[0];
    }
    return nor_holds(board, image);
}

} // namespace e2e
