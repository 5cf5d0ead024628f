#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "bytes.h"
#include "terminal_session.h"

namespace e2e {

// What the provisioning program on the PC sends. All checksums were worked out elsewhere.

/** What opens an exchange: four bytes, and their CRC. */
inline const std::string setmac_sign = bytes({0x15, 0x18, 0x03, 0x10, 0xBD, 0x3D, 0x0E, 0x81});
inline const std::string setsn_sign = bytes({0x10, 0x03, 0x18, 0x15, 0xF3, 0xB4, 0x6D, 0x0B});

/** A payload as it crosses the line: its length, and then itself with its CRC. */
struct frame {
    std::string length;
    std::string value;
};

/** One part of one property: MacAddress, binary, 00 1A 2B 3C 4D 5E. */
inline const frame mac_frame = {
    bytes({0x00, 0x00, 0x00, 0x1F}),
    bytes({0x02, 0x00, 0x00, 0x00, 0x1B}) + "MacAddress" +
        bytes({0x00, 0x02, 0x00, 0x00, 0x00, 0x06, 0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}) +
        bytes({0x9F, 0x5A, 0xE4, 0x89}),
};

/** A part of a flag that does not exist. */
inline const frame flag_3_frame = {
    bytes({0x00, 0x00, 0x00, 0x09}),
    bytes({0x03, 0x00, 0x00, 0x00, 0x05, 0x8B, 0xC2, 0x78, 0x60}),
};

inline const frame empty_frame = {
    bytes({0x00, 0x00, 0x00, 0x04}),
    bytes({0xFF, 0xFF, 0xFF, 0xFF}),
};

/** The serial number ABCDEFGHJ1234. */
inline const frame serial_frame = {
    bytes({0x00, 0x00, 0x00, 0x11}),
    "ABCDEFGHJ1234" + bytes({0xBC, 0x52, 0x7E, 0xA8}),
};

/** The same payload after the line has turned one bit of it over. */
frame damaged(frame sent);

// What the switch answers.
inline const std::string accepted_sign = bytes({0x15});
inline const std::string accepted_serial_sign = bytes({0x10});
inline const std::string version_1 = bytes({0x01});
inline const std::string applied = bytes({0x07, 0x06});
inline const std::string failed = bytes({0x07, 0x12});
inline const std::string refused_board = bytes({0x07, 0x19});
inline const std::string bad_value = bytes({0x14});

constexpr std::string_view setmac_banner =
    "Setmac Model setup ...\r\nDisconnect your console terminal first \r\n"
    " Using your PC SetMac program to perform Setmac Operation ...\r\n";

/** The end of "prov_setmac" after its save: on a cooked terminal again. */
inline const outcome saved_on_terminal = {.output = "Save product info success.\r\r\n"};

/** Hand sign and version, and the switch's answers to them. */
void sign_in(terminal_session &session, std::string_view sign = setmac_sign);

/** A whole exchange up to the last byte that the PC sends. */
void send_frame(terminal_session &session, const frame &payload,
                std::string_view sign = setmac_sign);

/** A log file with "N" for the microseconds of a read and "P" for every address in it. */
std::string settled_log(const std::filesystem::path &file);

/** The same with "N" for every source line number too. */
std::string unnumbered_log(const std::filesystem::path &file);

/** Waits until a text stands that many times in a log file. Throws when it does not come. */
void wait_for_log(const std::filesystem::path &file, std::string_view text, int times = 1);

} // namespace e2e
