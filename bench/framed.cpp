#include "framed.h"

#include <chrono>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

#include "line.h"
#include "table.h"

namespace bench {
namespace {

using namespace std::string_literals;

using clock = std::chrono::steady_clock;
using microseconds = std::chrono::duration<double, std::micro>;

const std::string hand_sign = "\x15\x18\x03\x10\xBD\x3D\x0E\x81";
const std::string accepted = "\x15";
const std::string version = "\x01";
const std::string received = "\x07";
const std::string applied = "\x06";
const std::string ready = "perform Setmac Operation ...\r\n";
const command receiver = {BENCH_BIN_FOLDER "/prov_setmac", "setmac"};
const command eeprom_receiver = {BENCH_BIN_FOLDER "/tlv/prov_setmac", "setmac"};

/** A length or checksum as it goes over the line. */
std::string be32(std::uint32_t value)
{
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
            static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::string with_crc(std::string payload)
{
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : payload) {
        crc ^= static_cast<std::uint32_t>(static_cast<std::uint8_t>(byte)) << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc << 1 ^ ((crc & 0x80000000U) != 0 ? 0x04C11DB7U : 0);
        }
    }
    return payload + be32(crc);
}

void make_board(const std::filesystem::path &folder)
{
    std::ofstream(folder / "board.toml")
        << "[[partition]]\nname = \"product_info\"\nerase_size = 0x1000\nblocks = 2\n"
           "[[eeprom]]\naddress = 0x56\n";
}

void sign_in(const line &to)
{
    to.wait_for(ready);
    to.send(hand_sign);
    to.wait_for(accepted);
    to.send(version);
    to.wait_for(version);
}

double since(clock::time_point start)
{
    return microseconds(clock::now() - start).count();
}

// Throughput.

constexpr std::size_t message_size = 131072; // the most that one exchange takes
constexpr int messages_of_sample = 16;
constexpr std::size_t file_size = 32U
                                  << 20; // beside it, what ZMODEM begins and ends with is little

double mib_per_second(std::size_t bytes, double us)
{
    return static_cast<double>(bytes) / us * 1e6 / (1024 * 1024);
}

/** Microseconds from the first byte of the value to the answer that it has arrived. */
double receive_framed(const std::filesystem::path &folder)
{
    // Skipped by the switch: one part of another flag.
    static const std::string value =
        with_crc("\x03"s + be32(message_size - 4) + std::string(message_size - 9, '\x5A'));
    const line to(receiver, folder);
    sign_in(to);
    to.send(be32(message_size));
    const clock::time_point start = clock::now();
    to.send(value);
    to.wait_for(received);
    return since(start);
}

/** The same for a program that does nothing but read. */
double receive_bare(const std::filesystem::path &folder)
{
    static const std::string content(message_size, '\x5A');
    const line to({BENCH_BIN_FOLDER "/bare_reader", std::to_string(message_size)}, folder);
    to.wait_for("R");
    const clock::time_point start = clock::now();
    to.send(content);
    to.wait_for("A");
    return since(start);
}

/** Microseconds of a whole transfer by ZMODEM, from the start of the program that sends. */
double receive_zmodem(const std::filesystem::path &folder, const std::filesystem::path &file)
{
    const line to({"rz", "--overwrite", "--quiet"}, folder);
    to.wait_for("B0100000023be50");
    const clock::time_point start = clock::now();
    to.hand_to({"sz", "--quiet", "--binary", file});
    const double elapsed = since(start);
    if (std::filesystem::file_size(folder / file.filename()) != file_size) {
        throw std::runtime_error("rz has not received the file");
    }
    return elapsed;
}

// Latency.

constexpr int cycles_of_sample = 20;
constexpr int answers_of_cycle = 3;

/** Microseconds from a message to its answer. */
double answer_time(const line &to, std::string_view message, std::string_view answer)
{
    const clock::time_point start = clock::now();
    to.send(message);
    to.wait_for(answer);
    return since(start);
}

/** The mean of the answers to a hand sign, a version and a length. */
double framed_answer_time(const line &to)
{
    // A length above all limits is refused, and the switch takes the next hand sign.
    static const std::string too_long = be32(0x00FFFFFF);
    return (answer_time(to, hand_sign, accepted) + answer_time(to, version, version) +
            answer_time(to, too_long, "\x14")) /
           answers_of_cycle;
}

/** Milliseconds from a hand sign to the answer that an image of the EEPROM is programmed. */
double program_eeprom(const std::filesystem::path &folder)
{
    const line to(eeprom_receiver, folder);
    to.wait_for(ready);
    const clock::time_point start = clock::now();
    to.send(hand_sign);
    to.wait_for(accepted);
    to.send(version);
    to.wait_for(version);
    to.send(be32(4) + with_crc(""));
    to.wait_for(applied);
    return since(start) / 1000;
}

} // namespace

void compare_throughput(const std::filesystem::path &scratch)
{
    constexpr int rounds = 21;
    make_board(scratch);
    const auto framed = [&] {
        return mib_per_second(message_size,
                              mean_of(messages_of_sample, [&] { return receive_framed(scratch); }));
    };

    const std::filesystem::path sent = scratch / "pc" / "sent.bin";
    std::filesystem::create_directory(sent.parent_path());
    std::ofstream(sent) << std::string(file_size, '\x5A');
    const auto zmodem = [&] { return mib_per_second(file_size, receive_zmodem(scratch, sent)); };
    const auto bare = [&] {
        return mib_per_second(message_size,
                              mean_of(messages_of_sample, [&] { return receive_bare(scratch); }));
    };
    const auto all = in_turns(rounds, {framed, zmodem, bare});
    print({"Bytes received", all[0], "rz", all[1], "MiB/s", 1, {wish::at_least, 2.0}});
    print({"Bytes received", all[0], "a bare reader", all[2], "MiB/s", 1});
}

void compare_latency(const std::filesystem::path &scratch)
{
    constexpr int rounds = 101;
    make_board(scratch);
    const line switch_line(receiver, scratch);
    const line echo_line({BENCH_BIN_FOLDER "/echo_byte"}, scratch);
    switch_line.wait_for(ready);
    echo_line.wait_for("R");
    const both_sides both = alternate(
        rounds,
        [&] { return mean_of(cycles_of_sample, [&] { return framed_answer_time(switch_line); }); },
        [&] {
            return mean_of(cycles_of_sample * answers_of_cycle,
                           [&] { return answer_time(echo_line, "E", "E"); });
        });
    print({"Last byte in to answer out",
           both.ours,
           "an echo program",
           both.other,
           "us",
           1,
           {wish::at_most, 2.0}});
}

void compare_with_eeprom(const std::filesystem::path &scratch)
{
    constexpr int rounds = 7;
    constexpr double pages = 32;
    constexpr double pause_ms = 10; // the program's pause for the write cycle of a page
    make_board(scratch);
    samples ms;
    for (int i = 0; i < rounds; ++i) {
        ms.push_back(program_eeprom(scratch));
    }
    print({"System EEPROM received and written",
           ms,
           "32 pauses after pages",
           {pages * pause_ms},
           "ms",
           1,
           {wish::at_most, 1.05}});
}

} // namespace bench
