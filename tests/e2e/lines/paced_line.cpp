// A serial line of a certain speed between a terminal and a program:
//
//   paced_line BAUD REPORT PROGRAM [ARGUMENT]...
//
// runs the program on a pseudo-terminal of its own and carries bytes between that and standard
// input and output, each of which takes the time of ten bits, in both directions at once. Ends with
// the program, once all that it wrote is carried, or ends it (SIGTERM, or the end of the other
// side). REPORT then holds a line for each of these, in nanoseconds:
//
//   began      when the program was started, on the clock CLOCK_MONOTONIC
//   busy       how long bytes were carried, in one direction or both
//   program    how long the line was silent until the program sent something
//   terminal   how long it was silent until the terminal's side sent something
//   end        how long it was silent before its end
//   bytes_from, bytes_to    how many bytes the program sent and got

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include <poll.h>
#include <unistd.h>

#include "far_program.h"

namespace {

using clock_type = std::chrono::steady_clock;
using time_point = clock_type::time_point;
using nanoseconds = std::chrono::nanoseconds;

constexpr int first_program_word = 3;
constexpr long bits_of_a_byte = 10;

// How many bytes wait ahead of the line, so that it never idles while there are more.
constexpr std::size_t fifo = 16;

/** Whose turn each moment of the line was. */
class account {
public:
    explicit account(time_point began) : busy_until_(began) {}

    /** A byte is carried; silence before it goes to who sent it. */
    void carries(time_point start, time_point end, nanoseconds &silence)
    {
        silence += std::max(start - busy_until_, nanoseconds(0));
        busy_ += std::max(end - std::max(start, busy_until_), nanoseconds(0));
        busy_until_ = std::max(busy_until_, end);
    }

    nanoseconds busy() const { return busy_; }
    time_point busy_until() const { return busy_until_; }

private:
    time_point busy_until_;
    nanoseconds busy_{0};
};

/** One direction of the line. */
class direction {
public:
    direction(int from, int to, nanoseconds byte_time, account &whole)
        : from_(from), to_(to), byte_time_(byte_time), whole_(whole)
    {
    }

    /** Takes bytes that wait to be carried, or notes the end of that side. */
    void take()
    {
        const std::size_t before = waiting_.size();
        is_over_ = !line::take(from_, waiting_, fifo - before);
        if (before == 0) {
            arrival_ = std::max(arrival_, clock_type::now() + byte_time_);
        }
    }

    /** Hands over the bytes that have arrived by then. */
    void deliver(time_point now)
    {
        std::size_t count = 0;
        for (; count < waiting_.size() && arrival_ <= now; ++count) {
            whole_.carries(arrival_ - byte_time_, arrival_, silence_);
            arrival_ += byte_time_;
        }
        line::give(to_, std::string_view(waiting_).substr(0, count));
        waiting_.erase(0, count);
        carried_ += count;
    }

    /** What to wait for: nothing, not even the end of that side, while there is no room. */
    pollfd wanted() const
    {
        const bool has_room = waiting_.size() < fifo && !is_over_;
        return {has_room ? from_ : -1, POLLIN, 0};
    }

    bool is_empty() const { return waiting_.empty(); }
    bool is_over() const { return is_over_; }
    time_point arrival() const { return arrival_; }
    std::size_t carried() const { return carried_; }
    nanoseconds &silence() { return silence_; }

private:
    int from_;
    int to_;
    nanoseconds byte_time_;
    account &whole_;
    std::string waiting_;
    time_point arrival_; // of the first of them, or where there is none of the next at the earliest
    std::size_t carried_ = 0;
    nanoseconds silence_{0};
    bool is_over_ = false; // nothing more comes from that side
};

/** Sleeps until there are bytes to take, which it takes, or the next one arrives. */
void wait(const std::array<direction *, 2> &both)
{
    std::array<pollfd, 2> sides{both[0]->wanted(), both[1]->wanted()};
    auto next = time_point::max();
    for (const direction *one : both) {
        next = one->is_empty() ? next : std::min(next, one->arrival());
    }
    constexpr long second = 1'000'000'000;
    const auto left = std::max(next - clock_type::now(), nanoseconds(0)).count();
    const timespec limit{left / second, left % second};
    const bool is_silent = next == time_point::max();
    if (ppoll(sides.data(), sides.size(), is_silent ? nullptr : &limit, nullptr) <= 0) {
        return;
    }
    for (std::size_t side = 0; side < both.size(); ++side) {
        if (sides[side].revents != 0) {
            both[side]->take();
        }
    }
}

void carry(direction &to_program, direction &from_program)
{
    while (!line::is_to_end() && !to_program.is_over() &&
           !(from_program.is_over() && from_program.is_empty())) {
        wait({&to_program, &from_program});
        const auto now = clock_type::now();
        to_program.deliver(now);
        from_program.deliver(now);
    }
}

} // namespace

int main(int argc, char **argv)
{
    const long baud = argc > first_program_word ? std::atol(argv[1]) : 0;
    if (baud <= 0) {
        std::cerr << "usage: paced_line BAUD REPORT PROGRAM [ARGUMENT]...\n";
        return 2;
    }
    const nanoseconds byte_time(bits_of_a_byte * 1'000'000'000 / baud);
    const auto began = clock_type::now();
    line::far_program program(argv + first_program_word);
    account whole(began);
    direction to_program(STDIN_FILENO, program.descriptor(), byte_time, whole);
    direction from_program(program.descriptor(), STDOUT_FILENO, byte_time, whole);
    carry(to_program, from_program);
    const nanoseconds end = clock_type::now() - whole.busy_until();
    const int status = program.finish();
    std::ofstream(argv[2]) << "began " << began.time_since_epoch().count() << "\nbusy "
                           << whole.busy().count() << "\nprogram " << from_program.silence().count()
                           << "\nterminal " << to_program.silence().count() << "\nend "
                           << end.count() << "\nbytes_from " << from_program.carried()
                           << "\nbytes_to " << to_program.carried() << "\n";
    return status;
}
