#include "station/exchanges/setmac.h"

#include <array>

namespace station {

namespace {

constexpr std::array<std::uint8_t, 4> hand_sign{0x15, 0x18, 0x03, 0x10};

// Each is enough: the kernel's messages may break into the others.
constexpr std::string_view banner_pieces[] = {
    "Setmac Model setup ...",
    "Disconnect your console terminal first",
    "perform Setmac Operation ...",
};

constexpr std::string_view banner_end = "perform Setmac Operation ...\r\n";

found find_setmac(conversation &talk, search &looking)
{
    return find_by_banner(
        talk, looking,
        {banner_pieces, banner_end, {}, hand_sign_block(hand_sign), hand_sign.front()});
}

framed_kind exchange_of(bytes payload)
{
    framed_kind kind;
    kind.message.hand_sign = hand_sign;
    kind.message.payload = std::move(payload);
    kind.find = {find_setmac, "neither its banner nor an answer to the hand sign"};
    return kind;
}

} // namespace

framed_kind setmac_exchange(bytes payload)
{
    auto kind = exchange_of(std::move(payload));
    kind.message.checks_board = true;
    return kind;
}

framed_kind setmac_eeprom_exchange(bytes payload)
{
    auto kind = exchange_of(std::move(payload));
    kind.message.tabled = true;
    kind.message.not_applied = "the switch could not take over the payload, could not program its "
                               "EEPROM, or is of another type than \"e2type\" says: it does not "
                               "tell which";
    return kind;
}

} // namespace station
