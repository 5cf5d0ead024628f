#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/**
 * What befalls the console's line or the switch, once, at one place of a run. Places are counted
 * from 1: bytes from the start of the console on, or from the start of the command.
 */
struct console_fault {
    enum class kinds {
        reboot,    // the switch restarts, as by its watchdog
        power_cut, // it loses its power, and gets it back
        cut,       // the line carries nothing any more; the switch goes on
        hang_up,   // the console ends
        change,    // the byte arrives changed
        drop,      // it does not arrive
        twice      // it arrives twice
    };
    kinds what = reboot;
    std::optional<uint64_t> command = {};    // the n-th one; alone: before it begins
    std::optional<uint64_t> received = {};   // the n-th byte from the PC
    std::optional<uint64_t> sent = {};       // the n-th byte to the PC
    std::optional<uint64_t> programmed = {}; // after n steps of programming of a process
    uint8_t bits = 0x01;                     // those that change

    using enum kinds;
};

/** The serial console of a switch: what is seen on it from power-on to a prompt, and its line. */
struct console_description {
    enum class starts { power_on, login, shell };
    enum class flavours { legacy, tlv };

    starts start = starts::power_on;
    std::string running = {};                 // a command that waits at the prompt already
    flavours flavour = flavours::legacy;      // of prov_setmac
    unsigned silence_ms = 0;                  // from power-on to the first byte
    unsigned boot_lines = 20;                 // messages of a boot,
    unsigned boot_ms = 500;                   // which take so long together
    std::string activate = {};                // asks for Enter before anything else; empty: no
    std::string issue = "Simulated switch\n"; // before the first login prompt
    std::string login_prompt = "switch login: ";
    std::string user = "root"; // empty: no login
    std::string password = {}; // empty: none is asked for
    unsigned refusal_ms = 0;   // from a wrong password to its refusal
    std::string motd = {};     // after the login
    std::string prompt = "switch# ";

    bool echo = true;
    unsigned wrap = 0;               // columns of a typed line; 0: no end
    std::string wrap_with = " \r";   // what the shell writes there
    unsigned baud = 0;               // 10 bits a byte; 0: as fast as it goes
    unsigned kernel_every_ms = 0;    // a line of the kernel so often; 0: never
    uint64_t kernel_every_bytes = 0; // or after so many other bytes
    uint64_t kernel_lines = 0;       // at most so many; 0: no end
    std::string kernel_text = "eth0: link is not ready";
    uint32_t noise = 0; // on average one byte of so many is harmed; 0: none
    uint32_t seed = 1;  // of the noise
    std::vector<console_fault> faults = {};
};

/** What is wrong with a fault of the console, or nothing. */
std::optional<std::string> find_mistake(const console_fault &fault);

/** What contradicts itself in the rest, or nothing. */
std::optional<std::string> find_mistake(const console_description &console);

} // namespace sim
