#include "sim/app/show_text.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace sim {
namespace {

constexpr std::size_t row = 16;

char printable_byte(uint8_t byte)
{
    return byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
}

} // namespace

std::string digits(uint32_t number, int count)
{
    std::ostringstream text;
    text << std::hex << std::setfill('0') << std::setw(count) << number;
    return text.str();
}

std::string printable(std::string text)
{
    std::ranges::transform(text, text.begin(), [](char letter) {
        const auto byte = static_cast<uint8_t>(letter);
        return byte >= 0x80 ? letter : printable_byte(byte);
    });
    return text;
}

void dump(std::span<const uint8_t> bytes, std::ostream &out)
{
    bool left_out = false;
    for (std::size_t offset = 0; offset < bytes.size(); offset += row) {
        const auto line = bytes.subspan(offset, row);
        if (offset > 0 && std::ranges::equal(line, bytes.subspan(offset - row, row))) {
            out << (left_out ? "" : "  *\n");
            left_out = true;
            continue;
        }
        left_out = false;
        out << "  " << digits(static_cast<uint32_t>(offset), 2) << " ";
        std::string text;
        for (const uint8_t byte : line) {
            out << " " << digits(byte, 2);
            text += printable_byte(byte);
        }
        out << "  |" << text << "|\n";
    }
}

} // namespace sim
