#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "station/base/bytes.h"

namespace station {

/** How an exchange ended. */
enum class ending {
    stored,     // the switch said that it holds what was sent
    refused,    // the switch says that the payload is not for its board
    failed,     // the switch could not apply or store the payload
    damaged,    // the value did not arrive intact, or not in time
    mismatch,   // the switch echoes something else than was sent
    silent,     // no answer in time
    unexpected, // an answer that does not belong here
    broken,     // the line closed or failed
};

/** One word for each ending: "stored", "refused", ... */
std::string_view name_of(ending end);

/** A reply byte of the switch and what it means. */
struct reply {
    std::uint8_t byte;
    std::string_view meaning; // of static storage
};

/** What came out of an exchange. */
struct outcome {
    ending end = ending::silent;
    int attempts = 0;
    std::vector<reply> replies; // of the last attempt that got any
    std::string reason;         // why it is not "stored", in words; empty when it is
    bytes echo;                 // what the switch sent back as stored, where it does so
    bool taken = false;         // it may have stored something, however the exchange went on

    bool ok() const { return end == ending::stored; }
};

/** Is told of each step of an exchange as it happens. */
class listener {
public:
    listener() = default;
    listener(const listener &) = delete;
    listener &operator=(const listener &) = delete;
    virtual ~listener() = default;

    /** Called several times a second while there is no sign of the switch yet. */
    virtual void waiting() {}
    virtual void attempt(int /*number*/, int /*of*/) {}
    virtual void answered(const reply & /*given*/) {}
    /** Bytes of the value sent so far. */
    virtual void sent(std::size_t /*done*/, std::size_t /*total*/) {}
    /** Text that the switch's console shows beside the exchange, in pieces as they arrive. */
    virtual void console(std::string_view /*text*/) {}
    /** An attempt ended without success, and another one follows. */
    virtual void retrying(std::string_view /*reason*/) {}
};

} // namespace station
