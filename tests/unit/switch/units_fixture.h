#pragma once

#include <chrono>
#include <optional>
#include <thread>

#include "console_fixture.h"
#include "sim/board.h"
#include "support.h"

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

    /** The same for a PC that falls silent for longer than any time limit before it goes on. */
    byte_list run_with_pause(int32_t (*command)(), const byte_list &before, const byte_list &after)
    {
        const raw_mode raw;
        send(before);
        std::thread pc([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(800));
            send(after);
        });
        EXPECT_EQ(command(), 0);
        pc.join();
        com_flush();
        return received();
    }

    sim::board &board() { return *board_; }

private:
    std::optional<sim::board> board_;
};

} // namespace support
