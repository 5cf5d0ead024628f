#pragma once

#include <chrono>
#include <optional>
#include <thread>

#include "sim/board/board.h"
#include "unit/switch/console/console_fixture.h"
#include "unit/switch/console/timed_pc.h"
#include "unit/switch/support.h"

namespace support {

using byte_list = std::vector<uint8_t>;

/** Bytes and the sum of them, modulo 256, which goes on from `before`. */
inline byte_list with_sum(const byte_list &content, uint8_t before = 0)
{
    uint8_t sum = before;
    for (const uint8_t byte : content) {
        sum = static_cast<uint8_t>(sum + byte);
    }
    return content + byte_list{sum};
}

/** The bytes of a text in a field of `size`, filled up with NUL. */
inline byte_list field(std::string_view text, size_t size)
{
    byte_list result = bytes(text);
    result.resize(size, 0);
    return result;
}

/** A list of unit records of 23 bytes, as it comes and as it goes back. */
inline byte_list record_list(uint8_t type, const std::vector<byte_list> &records)
{
    const auto count = static_cast<uint8_t>(records.size());
    byte_list result = {count, 3, static_cast<uint8_t>(count * 25)};
    for (const auto &one : records) {
        result = result + byte_list{type, 23} + one;
    }
    return result;
}

/** A list on its way to the switch: start byte, header, length, list and sum. */
inline byte_list list_message(const byte_list &payload, uint8_t sum_before = 0)
{
    return byte_list{0x20, 0x01, static_cast<uint8_t>(payload.size())} +
           with_sum(payload, sum_before);
}

/** The PC's two last words: it acknowledges the offer, and the answer. */
inline const byte_list acknowledged = {0x06, 0x06};

/** The answer with a list: the start's acknowledge, the offer, the list and its sum. */
inline byte_list list_answer(const byte_list &content)
{
    return byte_list{0x06, 0x06, 0x20, 0x01, static_cast<uint8_t>(content.size())} +
           with_sum(content);
}

/** Bytes that come one by one, each so long after the one before it. */
inline timed_script one_by_one(const byte_list &all, int64_t after_ms)
{
    timed_script script;
    for (const uint8_t byte : all) {
        script.push_back({after_ms, {byte}});
    }
    return script;
}

/** A unit command on a raw console; the PC has sent all of its bytes beforehand. */
class unit_command : public console {
protected:
    void fit(sim::board_description description) { board_.emplace(std::move(description)); }

    /** What the PC gets from a command that it sends `input` to. */
    byte_list run(int32_t (*command)(), const byte_list &input, int32_t result = 0)
    {
        const raw_mode raw;
        send(input);
        EXPECT_EQ(command(), result);
        com_flush();
        return received();
    }

    /** The same for a PC that falls silent for much longer than any time limit. */
    byte_list run_with_pause(int32_t (*command)(), const byte_list &before, const byte_list &after)
    {
        const raw_mode raw;
        send(before);
        std::thread pc([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(1500));
            send(after);
        });
        EXPECT_EQ(command(), 0);
        pc.join();
        com_flush();
        return received();
    }

    /** The same for a PC whose bytes come when the script says. */
    byte_list run_timed(int32_t (*command)(), timed_script script)
    {
        const raw_mode raw;
        const timed_pc pc(std::move(script));
        EXPECT_EQ(command(), 0);
        com_flush();
        return received();
    }

    sim::board &board() { return *board_; }

private:
    std::optional<sim::board> board_;
};

} // namespace support
