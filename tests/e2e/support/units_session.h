#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "board_checks.h"
#include "board_folder.h"
#include "bytes.h"
#include "pc_side.h"
#include "program.h"
#include "terminal_session.h"

namespace e2e {

/** Part of a board: the two EEPROMs of a backplane behind the FPGA's bridge. */
constexpr std::string_view backplane_eeproms = R"toml(
[[fpga.eeprom]]
bus = 4
channel = 0
address = 0x52
kind = "backplane"

[[fpga.eeprom]]
bus = 4
channel = 1
address = 0x54
kind = "backplane"
)toml";

// "prov_setmac" with a command for units at a terminal. It waits for the PC for ever, so nothing
// has to be typed ahead.

/** The sum of some bytes, going on from `before`, as the one byte that it is on the line. */
std::string sum_of(std::string_view content, int before = 0);

/** Bytes in a field of `size`, filled up with NUL. */
std::string field(std::string_view content, std::size_t size);

/** Whose "prov_setmac" it is. */
enum class flavour { records, tlv };

/** A unit command that waits for the PC's first byte, on a board without records in its flash. */
struct unit_session {
    /**
     * units: what is fitted besides the flash, in terms of board.toml. greeting: what the command
     * prints first.
     */
    unit_session(std::string_view units, std::string_view command, std::string_view greeting,
                 flavour program = flavour::records);

    /** Sends these bytes and waits for these others. */
    void exchange(std::string_view sent, std::string_view answered);

    /** The log up to now without its lines of single bytes, and without times and line numbers. */
    std::string steps() const;

    /**
     * The command comes to its end: what it says then, whether the terminal is as it was, and that
     * nothing reached the flash.
     */
    void expect_end(const outcome &wanted);
    /** That of result 0: the records are saved, though none of them has changed. */
    void expect_saved() { expect_end(saved_on_terminal); }
    /** That of a positive result. */
    void expect_unsaved() { expect_end({.status = 0}); }

    board_folder board;
    std::filesystem::path log = board.path() / "trace.log";
    terminal_session session;
};

// Lists of fans, PoE units and power supplies: elements of 23 bytes behind a head of three.

/** An element: its type and length, and its record. */
std::string unit_element(int type, std::string_view record);
/** `count`, and what else is in the head. */
std::string unit_list(int count, std::string_view elements);
/** A list as it crosses the line: header, length, payload and a sum that goes on from `before`. */
std::string unit_message(std::string_view list, int before = 0);

// The bytes of these exchanges.
inline const std::string unit_start = bytes({0x20});
inline const std::string unit_acknowledge = bytes({0x06});
inline const std::string unit_answer_offer = bytes({0x06, 0x20});

} // namespace e2e
