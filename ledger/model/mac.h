#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ledger {

/** A MAC address as the number of its 48 bits. */
using mac_address = std::int64_t;

constexpr mac_address last_mac_address = 0xFFFFFFFFFFFF;

/** Addresses that a unit may take: more than a maker's block of them holds is a slip. */
constexpr std::int64_t most_addresses = 1 << 24;

/** Reads "00:1A:2B:3C:4D:5E", "00-1a-2b-3c-4d-5e" or "001A2B3C4D5E"; none where it is another. */
std::optional<mac_address> read_mac(std::string_view text);

/** "00:1A:2B:3C:4D:5E" */
std::string mac_text(mac_address address);

/** Refuses addresses that no device may have: group and all-zero ones, defaults of blank boards. */
void check_addresses(mac_address first, mac_address last);

/** The first address from that one on that is a multiple of align. */
mac_address aligned(mac_address from, std::int64_t align);

} // namespace ledger
