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

// Throughput. All receive the same number of bytes.

constexpr std::size_t message_size = 131072;

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

/** Microseconds of a whole transfer by ZMODEM, from the start of the program that sends. */
double transfer_zmodem(const std::filesystem::path &folder, std::size_t size)
{
    const std::filesystem::path pc = folder / "pc";
    std::filesystem::create_directory(pc);
    std::ofstream(pc / "sent.bin") << std::string(size, '\x5A');
    const line to({"rz", "--overwrite", "--quiet"}, folder);
    to.wait_for("B0100000023be50");
    const clock::time_point start = clock::now();
    to.hand_to({"sz", "--quiet", "--binary", pc / "sent.bin"});
    const double elapsed = since(start);
    if (std::filesystem::file_size(folder / "sent.bin") != size) {
        throw std::runtime_error("rz has not received the file");
    }
    return elapsed;
}

/** Microseconds that the bytes take, without what every transfer begins and ends with. */
double receive_zmodem(const std::filesystem::path &folder)
{
    const double nearly_nothing = transfer_zmodem(folder, 1);
    return transfer_zmodem(folder, message_size) - nearly_nothing;
}

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

double mib_per_second(double microseconds_of_message)
{
    return message_size / microseconds_of_message * 1e6 / (1024 * 1024);
}

// Latency.

constexpr int cycles = 2000;

/** Microseconds from a message to its answer. */
double answer_time(const line &to, std::string_view message, std::string_view answer)
{
    const clock::time_point start = clock::now();
    to.send(message);
    to.wait_for(answer);
    return since(start);
}

} // namespace

void compare_throughput(const std::filesystem::path &scratch)
{
    constexpr int rounds = 21;
    make_board(scratch);
    std::vector<double> framed;
    std::vector<double> zmodem;
    std::vector<double> bare;
    for (int i = 0; i < rounds; ++i) {
        framed.push_back(receive_framed(scratch));
        zmodem.push_back(receive_zmodem(scratch));
        bare.push_back(receive_bare(scratch));
    }
    const double ours = mib_per_second(median(framed));
    print({"128 KiB received",
           ours,
           "rz",
           mib_per_second(median(zmodem)),
           "MiB/s",
           1,
           {wish::at_least, 2.0}});
    print({"128 KiB received", ours, "a bare reader", mib_per_second(median(bare)), "MiB/s", 1});
}

void compare_latency(const std::filesystem::path &scratch)
{
    make_board(scratch);
    const line switch_line(receiver, scratch);
    const line echo_line({BENCH_BIN_FOLDER "/echo_byte"}, scratch);
    switch_line.wait_for(ready);
    echo_line.wait_for("R");
    // A length above all limits is refused, and the switch takes the next hand sign.
    const std::string too_long = be32(0x00FFFFFF);
    std::vector<double> framed;
    std::vector<double> echoed;
    for (int i = 0; i < cycles; ++i) {
        framed.push_back(answer_time(switch_line, hand_sign, accepted));
        framed.push_back(answer_time(switch_line, version, version));
        framed.push_back(answer_time(switch_line, too_long, "\x14"));
        for (int bytes = 0; bytes < 3; ++bytes) {
            echoed.push_back(answer_time(echo_line, "E", "E"));
        }
    }
    print({"Last byte in to answer out",
           median(framed),
           "an echo program",
           median(echoed),
           "us",
           1,
           {wish::at_most, 2.0}});
}

void compare_with_eeprom(const std::filesystem::path &scratch)
{
    constexpr int rounds = 5;
    constexpr double pages = 32;
    constexpr double pause_ms = 10; // the program's pause for the write cycle of a page
    make_board(scratch);
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        const line to(eeprom_receiver, scratch);
        to.wait_for(ready);
        const clock::time_point start = clock::now();
        to.send(hand_sign);
        to.wait_for(accepted);
        to.send(version);
        to.wait_for(version);
        to.send(be32(4) + with_crc(""));
        to.wait_for(applied);
        times.push_back(since(start) / 1000);
    }
    print({"System EEPROM received and written",
           median(times),
           "32 pauses after pages",
           pages * pause_ms,
           "ms",
           1,
           {wish::at_most, 1.05}});
}

} // namespace bench
