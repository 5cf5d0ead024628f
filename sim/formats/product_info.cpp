#include "sim/formats/product_info.h"

#include <algorithm>
#include <zlib.h>

namespace sim {
namespace {

constexpr std::size_t checksum_size = 4;

uint32_t little_endian(std::span<const uint8_t, checksum_size> word)
{
    return uint32_t{word[0]} | uint32_t{word[1]} << 8 | uint32_t{word[2]} << 16 |
           uint32_t{word[3]} << 24;
}

/** The texts up to the first empty one. */
std::vector<std::string> split(std::span<const uint8_t> area)
{
    std::vector<std::string> texts;
    auto start = area.begin();
    while (start != area.end() && *start != 0) {
        const auto end = std::find(start, area.end(), uint8_t{0});
        texts.emplace_back(start, end);
        start = end == area.end() ? end : end + 1;
    }
    return texts;
}

} // namespace

std::optional<product_info> decode_product_info(std::span<const uint8_t> image)
{
    if (image.size() < product_info_size) {
        return std::nullopt;
    }
    const auto area = image.first(product_info_size).subspan(checksum_size);
    product_info info;
    info.stored_checksum = little_endian(image.first<checksum_size>());
    info.checksum = static_cast<uint32_t>(::crc32(0, area.data(), static_cast<uInt>(area.size())));
    if (info.checksum == info.stored_checksum) {
        info.records = split(area);
    }
    return info;
}

} // namespace sim
