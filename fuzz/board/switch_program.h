#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "fuzz/input.h"
#include "sim/board/board.h"

namespace fuzz {

/**
 * The switch program as a new process has it, with or without its log, on a board of its own. Its
 * end checks that the program has kept no file open.
 */
class switch_program {
public:
    switch_program(sim::board_description description, bool keeps_log);
    switch_program(const switch_program &) = delete;
    switch_program &operator=(const switch_program &) = delete;
    ~switch_program();

    sim::board &board() { return *board_; }

    /** Requires that what is stored in the first partition is an image with a right checksum. */
    void require_saved_store();

    /**
     * Requires that the store finds its own image right when it loads it, and that what it loads
     * is what it saves: after one save, loading and saving again writes nothing.
     */
    void require_store_of_its_own();

    /** What the program lists of its store. */
    static std::string listed_store();

    /** Requires that the system EEPROM holds the TlvInfo image in memory, which is right. */
    void require_programmed_image();

private:
    std::optional<sim::board> board_;
    int first_free_;
};

/** The CPLD register by which payloads can lift the EEPROM's protection, beside the default one. */
constexpr uint8_t named_enable_register = 0x31;

/** A board with the partition of the product information, system and card EEPROM and CPLD. */
sim::board_description identity_board(sim::flash_type type = sim::nor);

/** Whether an image is right, and the first CRC record of it the one that closes it. */
bool is_whole_image(const uint8_t *image);

/** Requires that an edit has kept a whole image whole, and any image within the EEPROM. */
void require_kept_image(const uint8_t *image, bool was_whole);

} // namespace fuzz
