#include "setmac.h"

#include <algorithm>
#include <array>

namespace station {

namespace {

using namespace std::chrono_literals;

constexpr std::array<std::uint8_t, 4> hand_sign{0x15, 0x18, 0x03, 0x10};

// Each is enough: the kernel's messages may break into the others.
constexpr std::string_view banner_pieces[] = {
    "Setmac Model setup ...",
    "Disconnect your console terminal first",
    "perform Setmac Operation ...",
};

constexpr auto listening_step = 100ms;

// Offering the hand sign to a console that still talks would only disturb it.
constexpr auto quiet_before_probe = 1s;

bool banner_shown(const conversation &talk)
{
    return std::any_of(std::begin(banner_pieces), std::end(banner_pieces),
                       [&](std::string_view piece) { return talk.has_shown(piece); });
}

found find_switch(conversation &talk, search &looking)
{
    auto quiet_since = talk.now();
    bool probed = false;
    while (looking.goes_on()) {
        const auto byte = talk.next_reply(talk.now() + listening_step);
        if (probed && byte == hand_sign[0]) {
            return found::hand_shaken;
        }
        // In cooked mode the hand sign's 0x03 would interrupt the program.
        if (!talk.raw()) {
            continue;
        }
        if (banner_shown(talk)) {
            return found::ready;
        }
        quiet_since = std::max(quiet_since, talk.last_arrival());
        if (talk.now() - quiet_since >= quiet_before_probe) {
            talk.send(hand_sign_block(hand_sign));
            probed = true;
            quiet_since = talk.now();
        }
    }
    return found::nothing;
}

framed_kind exchange_of(bytes payload)
{
    framed_kind kind;
    kind.message.hand_sign = hand_sign;
    kind.message.payload = std::move(payload);
    kind.find = find_switch;
    kind.missed = "neither its banner nor an answer to the hand sign";
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
