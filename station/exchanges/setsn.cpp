#include "station/exchanges/setsn.h"

#include <array>

namespace station {

namespace {

using namespace std::chrono_literals;

constexpr std::array<std::uint8_t, 4> hand_sign{0x10, 0x03, 0x18, 0x15};
constexpr std::uint8_t call = '{';
constexpr std::uint8_t answer = '}';

// Often enough to meet the 100 ms in which the switch looks. Calls that come before it has switched
// its console to raw mode wait there for it; those that come too late it skips.
constexpr auto between_calls = 20ms;

/** Listens until the deadline; true when the answer came. */
bool answered(conversation &talk, conversation::time_point deadline)
{
    while (const auto byte = talk.next_byte(deadline)) {
        // In cooked mode "}" is a piece of text, and the hand sign's 0x03 would interrupt the
        // program.
        if (*byte == answer && talk.raw()) {
            talk.show_text();
            return true;
        }
        // A console in cooked mode sends the calls back.
        if (*byte != call) {
            talk.keep_text(*byte);
        }
        if (talk.now() >= deadline) {
            break;
        }
    }
    talk.show_text();
    return false;
}

found find_setsn(conversation &talk, search &looking)
{
    while (looking.goes_on()) {
        talk.send(bytes{call});
        if (answered(talk, talk.now() + between_calls)) {
            return found::ready;
        }
    }
    return found::nothing;
}

} // namespace

framed_kind setsn_exchange(bytes serial)
{
    framed_kind kind;
    kind.message.hand_sign = hand_sign;
    kind.message.payload = std::move(serial);
    kind.message.echoed = true;
    kind.message.hand_sign_offers = 1;
    kind.find = {find_setsn, "no \"}\" in answer to \"{\""};
    kind.find_each_time = true;
    return kind;
}

framed_kind setsn_eeprom_exchange(bytes serial)
{
    auto kind = setsn_exchange(std::move(serial));
    kind.message.not_applied = "the switch holds no serial number to replace, or could not program "
                               "its EEPROM: it does not tell which";
    kind.message.echo_of_zeros = "the switch has no serial number any more: its EEPROM has no room "
                                 "for the new one";
    return kind;
}

} // namespace station
