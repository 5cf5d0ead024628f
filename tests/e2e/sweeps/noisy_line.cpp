// A line that loses, changes, repeats and delays bytes, between a terminal and a program:
//
//   noisy_line SEED MEAN REPORT PROGRAM [ARGUMENT]...
//
// runs the program on a pseudo-terminal of its own and carries bytes between that and standard
// input and output. On average every MEAN-th byte of each direction comes to harm, chosen by the
// seed and the byte's place alone; 0: none does. Each harm is a line in REPORT: direction, place,
// kind. Ends with the program, or ends it (SIGTERM, or the end of the other side).

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <string_view>

#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int cannot_be_run = 127;
constexpr int first_program_word = 4;

volatile std::sig_atomic_t is_ended = 0;

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

/** Bytes that are there; false at the end of that side. */
bool take(int from, std::string &bytes)
{
    std::array<char, 4096> part{};
    const ssize_t count = read(from, part.data(), part.size());
    bytes.assign(part.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
}

void give(int to, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = write(to, bytes.data(), bytes.size());
        if (count <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void carry(int program, noise &to_program, noise &from_program)
{
    std::string bytes;
    while (is_ended == 0) {
        std::array<pollfd, 2> sides{{{STDIN_FILENO, POLLIN, 0}, {program, POLLIN, 0}}};
        if (poll(sides.data(), sides.size(), -1) < 0) {
            continue; // by a signal
        }
        if (sides[1].revents != 0) {
            if (!take(program, bytes)) {
                return;
            }
            give(STDOUT_FILENO, from_program.harm(bytes));
        }
        if (sides[0].revents != 0) {
            if (!take(STDIN_FILENO, bytes)) {
                return;
            }
            give(program, to_program.harm(bytes));
        }
    }
}

void catch_end()
{
    struct sigaction action {};
    action.sa_handler = [](int) { is_ended = 1; };
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
    // The program's keys come through its own terminal.
    signal(SIGINT, SIG_IGN);
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

    termios raw{};
    tcgetattr(STDIN_FILENO, &raw);
    cfmakeraw(&raw);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);

    int master = -1;
    const pid_t program = forkpty(&master, nullptr, nullptr, nullptr);
    if (program == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execvp(argv[first_program_word], argv + first_program_word);
        _exit(cannot_be_run);
    }
    catch_end();
    noise to_program("to", 2 * seed, mean, report);
    noise from_program("from", 2 * seed + 1, mean, report);
    carry(master, to_program, from_program);
    close(master); // which hangs up
    int status = 0;
    while (waitpid(program, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
