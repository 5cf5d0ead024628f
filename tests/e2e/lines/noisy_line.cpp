// A line that loses, changes, repeats and delays bytes, between a terminal and a program:
//
//   noisy_line SEED MEAN REPORT PROGRAM [ARGUMENT]...
//
// runs the program on a pseudo-terminal of its own and carries bytes between that and standard
// input and output. On average every MEAN-th byte of each direction comes to harm, chosen by the
// seed and the byte's place alone; 0: none does. Each harm is a line in REPORT: direction, place,
// kind. Ends with the program, or ends it (SIGTERM, or the end of the other side).

#include <array>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <string_view>

#include <poll.h>
#include <unistd.h>

#include "far_program.h"

namespace {

constexpr int first_program_word = 4;
constexpr std::size_t most_at_once = 4096;

/** One direction of the line. */
class noise {
public:
    noise(std::string_view direction, unsigned seed, unsigned mean, std::ostream &report)
        : direction_(direction), random_(seed), mean_(mean), report_(report)
    {
    }

    /** What arrives of these bytes; a delay is spent here. */
    std::string harm(std::string_view sent)
    {
        std::string arriving;
        for (const char byte : sent) {
            pass(byte, arriving);
            ++place_;
        }
        return arriving;
    }

private:
    void pass(char byte, std::string &arriving)
    {
        const auto chance = random_();
        const auto detail = random_();
        if (mean_ == 0 || chance % mean_ != 0) {
            arriving += byte;
            return;
        }
        switch (detail % 4) {
        case 0:
            tell("drop");
            break;
        case 1:
            tell("flip");
            arriving += static_cast<char>(byte ^ (1 << (detail >> 8) % 8));
            break;
        case 2:
            tell("repeat");
            arriving.append(2, byte);
            break;
        default:
            tell("delay");
            // Up to a bit more than the longest limit of the exchanges for single bytes.
            usleep(static_cast<useconds_t>((detail >> 8) % 1200 * 1000));
            arriving += byte;
        }
    }

    void tell(std::string_view what)
    {
        report_ << direction_ << ' ' << place_ << ' ' << what << std::endl;
    }

    std::string_view direction_;
    std::mt19937 random_;
    unsigned mean_;
    std::ostream &report_;
    std::size_t place_ = 0;
};

void carry(int program, noise &to_program, noise &from_program)
{
    while (!line::is_to_end()) {
        std::string bytes;
        std::array<pollfd, 2> sides{{{STDIN_FILENO, POLLIN, 0}, {program, POLLIN, 0}}};
        if (poll(sides.data(), sides.size(), -1) < 0) {
            continue; // by a signal
        }
        if (sides[1].revents != 0) {
            if (!line::take(program, bytes, most_at_once)) {
                return;
            }
            line::give(STDOUT_FILENO, from_program.harm(bytes));
        }
        if (sides[0].revents != 0) {
            bytes.clear();
            if (!line::take(STDIN_FILENO, bytes, most_at_once)) {
                return;
            }
            line::give(program, to_program.harm(bytes));
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc <= first_program_word) {
        std::cerr << "usage: noisy_line SEED MEAN REPORT PROGRAM [ARGUMENT]...\n";
        return 2;
    }
    const auto seed = static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10));
    const auto mean = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10));
    std::ofstream report(argv[3]);

    line::far_program program(argv + first_program_word);
    noise to_program("to", 2 * seed, mean, report);
    noise from_program("from", 2 * seed + 1, mean, report);
    carry(program.descriptor(), to_program, from_program);
    return program.finish();
}
