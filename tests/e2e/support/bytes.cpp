#include "bytes.h"

#include <array>
#include <cstdio>

namespace e2e {

std::string readable(std::string_view all)
{
    std::string text;
    for (const char letter : all) {
        if (letter >= ' ' && letter <= '~' && letter != '\\') {
            text += letter;
            continue;
        }
        std::array<char, 4> escaped{};
        std::snprintf(escaped.data(), escaped.size(), "\\%02x",
                      static_cast<unsigned>(static_cast<uint8_t>(letter)));
        text += escaped.data();
    }
    return text;
}

std::string product_image(uint32_t checksum, std::initializer_list<std::string_view> records)
{
    constexpr std::size_t image_size = 8192;
    std::string image;
    for (int shift = 0; shift < 32; shift += 8) {
        image += static_cast<char>(checksum >> shift & 0xFF);
    }
    for (const std::string_view record : records) {
        image.append(record).append(1, '\0');
    }
    image.resize(image_size, '\0');
    return image;
}

} // namespace e2e
