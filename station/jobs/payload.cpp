#include "station/jobs/payload.h"

#include "station/exchanges/framed.h"

namespace station {

namespace {

constexpr std::uint32_t part_header_size = 5;
constexpr std::size_t crc_size = 4;

} // namespace

void put_node(bytes &out, std::string_view name, node_type type,
              std::span<const std::uint8_t> value)
{
    put_text(out, name);
    out.push_back(0);
    out.push_back(static_cast<std::uint8_t>(type));
    put_be32(out, static_cast<std::uint32_t>(value.size()));
    out.insert(out.end(), value.begin(), value.end());
}

void put_part(bytes &out, std::uint8_t flag, std::span<const std::uint8_t> nodes)
{
    out.push_back(flag);
    put_be32(out, static_cast<std::uint32_t>(nodes.size()) + part_header_size);
    out.insert(out.end(), nodes.begin(), nodes.end());
}

std::optional<std::string> excess_of(std::span<const std::uint8_t> payload)
{
    const auto size = payload.size() + crc_size;
    if (size <= largest_value) {
        return std::nullopt;
    }
    return std::to_string(size) + " bytes: the switch takes at most " +
           std::to_string(largest_value);
}

} // namespace station
