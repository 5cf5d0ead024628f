#include "ledger/model/mac.h"

#include <array>
#include <charconv>

#include "ledger/model/error.h"

namespace ledger {

namespace {

constexpr std::size_t octets = 6;

// Boards that nobody has provisioned show these.
constexpr std::array default_addresses{
    mac_address{0x00037FBADBAD},
    mac_address{0x001122334455},
};

/** The characters from one octet to the next in a text of that length; none: no such text. */
std::optional<std::size_t> octet_step(std::string_view text)
{
    if (text.size() == 2 * octets) {
        return 2;
    }
    if (text.size() != 3 * octets - 1 || (text[2] != ':' && text[2] != '-')) {
        return std::nullopt;
    }
    for (std::size_t at = 2; at < text.size(); at += 3) {
        if (text[at] != text[2]) {
            return std::nullopt;
        }
    }
    return 3;
}

} // namespace

std::optional<mac_address> read_mac(std::string_view text)
{
    const auto step = octet_step(text);
    if (!step) {
        return std::nullopt;
    }
    mac_address address = 0;
    for (std::size_t at = 0; at < text.size(); at += *step) {
        unsigned octet = 0;
        const auto *end = text.data() + at + 2;
        const auto [stop, failure] = std::from_chars(text.data() + at, end, octet, 16);
        if (failure != std::errc() || stop != end) {
            return std::nullopt;
        }
        address = (address << 8) | octet;
    }
    return address;
}

std::string mac_text(mac_address address)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t left = octets; left-- > 0;) {
        const auto octet = static_cast<unsigned>(address >> (8 * left)) & 0xFFU;
        text += digits[octet >> 4];
        text += digits[octet & 0xFU];
        text += left > 0 ? ":" : "";
    }
    return text;
}

void check_addresses(mac_address first, mac_address last)
{
    const auto named = mac_text(first) + " to " + mac_text(last);
    if (first < 0 || last > last_mac_address || first > last) {
        refuse(
            "no range of MAC addresses: the last is before the first, or behind the last of all");
    }
    if (first == 0) {
        refuse(named + " holds 00:00:00:00:00:00, which no device may have");
    }
    for (auto octet = first >> 40; octet <= last >> 40; ++octet) {
        if ((octet & 1) != 0) {
            refuse(named + " holds group addresses (an odd first octet), which no device may have");
        }
    }
    for (const auto each : default_addresses) {
        if (first <= each && each <= last) {
            refuse(named + " holds " + mac_text(each) + ", the default of unprovisioned boards");
        }
    }
}

mac_address aligned(mac_address from, std::int64_t align)
{
    return (from + align - 1) / align * align;
}

} // namespace ledger
