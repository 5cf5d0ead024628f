#include "sim/formats/product_info.h"

#include <algorithm>
#include <stdexcept>
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

uint32_t checksum_of(std::span<const uint8_t> area)
{
    return static_cast<uint32_t>(::crc32(0, area.data(), static_cast<uInt>(area.size())));
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
    info.checksum = checksum_of(area);
    if (info.checksum == info.stored_checksum) {
        info.records = split(area);
    }
    return info;
}

std::vector<uint8_t> encode_product_info(const std::vector<std::string> &records)
{
    std::vector<uint8_t> image(checksum_size);
    for (const std::string &record : records) {
        image.insert(image.end(), record.begin(), record.end());
        image.push_back(0);
    }
    if (image.size() >= product_info_size) {
        throw std::invalid_argument("the records have no room in an image");
    }
    image.resize(product_info_size);
    const uint32_t checksum = checksum_of(std::span(image).subspan(checksum_size));
    for (std::size_t i = 0; i < checksum_size; ++i) {
        image[i] = static_cast<uint8_t>(checksum >> 8 * i);
    }
    return image;
}

} // namespace sim
