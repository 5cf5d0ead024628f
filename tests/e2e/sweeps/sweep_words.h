#pragma once

#include <span>
#include <string>
#include <string_view>

#include "e2e/support/pc_side.h"
#include "sweep.h"

namespace e2e {

// What swept commands say, and what the PC of a sweep says to them.

constexpr std::string_view crc_warning = "!!!Warning: CRC check failed.\r\n";

/** What the program says when there is no memory; the product information is not saved then. */
constexpr std::string_view out_of_memory[] = {
    "update_prod_info: Out of memory.\r\n",
    "update_or_remove_prod_info: Out of memory.\r\n",
    "read_strings: Out of memory.\r\n",
};

/** What a run told whoever gave the command. */
enum class told { success, failure, nonsense };

/** Takes a text off the front; false where it is not there. */
bool take(std::string_view &text, std::string_view front);

/** Takes these texts out, wherever they stand; whether there were any. */
bool take_out(std::string &said, std::span<const std::string_view> texts);

/** The lines of a cooked terminal as the program printed them. */
std::string uncooked(std::string text);

/** Whether the program ended because the product information in /dev/mtd1 cannot be loaded. */
bool is_load_failure(const outcome &end);

/**
 * The PC of "prov_setmac setmac". It tries its payload three times, and sends a damaged one in the
 * end, which ends the command.
 */
std::function<pc_reaction()> setmac_pc(const frame &payload);

/** The PC of "prov_setmac setsn" with `serial_frame`. Its start byte is typed ahead. */
std::function<pc_reaction()> setsn_pc();

} // namespace e2e
