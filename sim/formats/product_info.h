#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sim {

/** What a product-info image holds. */
struct product_info {
    uint32_t stored_checksum = 0;
    uint32_t checksum = 0;                 // of what is there
    std::vector<std::string> records = {}; // "name=value", only with a right checksum
};

/** Bytes of an image: a CRC-32 and the records that it covers. */
constexpr std::size_t product_info_size = 8192;

/** Decodes an image: nothing when there are fewer bytes than one has. */
std::optional<product_info> decode_product_info(std::span<const uint8_t> image);

/** The image that holds these records, "name=value". Throws std::invalid_argument: no room. */
std::vector<uint8_t> encode_product_info(const std::vector<std::string> &records);

} // namespace sim
