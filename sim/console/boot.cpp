#include "sim/console/boot.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace sim {
namespace {

/** With what a station may take for a login or a prompt, as real boot messages have it. */
constexpr std::array<std::string_view, 8> messages = {
    "Booting Linux on physical CPU 0x0",
    "Memory: 979200K/1048576K available",
    "3 fixed-partitions found on MTD device",
    "i2c /dev entries driver",
    "random: login: 12 bits of entropy",
    "eth0: Link is Up - 1Gbps/Full",
    "sensors: 4 found # 0 failed",
    "Starting switch services: OK",
};

std::string message(uint64_t number, int64_t since_start_us)
{
    std::array<char, 32> stamp{};
    std::snprintf(stamp.data(), stamp.size(), "[%5lld.%06lld] ",
                  static_cast<long long>(since_start_us / 1000000),
                  static_cast<long long>(since_start_us % 1000000));
    return stamp.data() + std::string(messages[number % messages.size()]) + "\r\n";
}

} // namespace

std::string on_console(const std::string &text)
{
    std::string shown;
    for (const char letter : text) {
        shown.append(letter == '\n' ? 1 : 0, '\r');
        shown += letter;
    }
    return shown;
}

boot::boot(const console_description &console, int64_t power_on_us)
    : begin_us_(power_on_us + int64_t{console.silence_ms} * 1000),
      length_us_(int64_t{console.boot_ms} * 1000), lines_(console.boot_lines)
{
}

int64_t boot::next_us() const
{
    return begin_us_ +
           (said_ < lines_ ? length_us_ * static_cast<int64_t>(said_) / static_cast<int64_t>(lines_)
                           : length_us_);
}

std::string boot::take(int64_t now_us)
{
    std::string due;
    while (said_ < lines_ && next_us() <= now_us) {
        due += message(said_, next_us() - begin_us_);
        ++said_;
    }
    return due;
}

} // namespace sim
