#pragma once

namespace sim {

// Keys of a terminal that do something.
constexpr char interrupt_key = 0x03;   // Ctrl-C
constexpr char end_of_file_key = 0x04; // Ctrl-D
constexpr char backspace_key = 0x08;
constexpr char kill_line_key = 0x15; // Ctrl-U
constexpr char rubout_key = 0x7F;

constexpr bool is_enter(char key)
{
    return key == '\r' || key == '\n';
}

constexpr bool is_erase(char key)
{
    return key == backspace_key || key == rubout_key;
}

/** Not to be shown; bytes above 0x7F are parts of letters. */
constexpr bool is_control(char key)
{
    return static_cast<unsigned char>(key) < ' ';
}

} // namespace sim
