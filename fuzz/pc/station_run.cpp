#include "fuzz/pc/station_run.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>

#include "station/base/report.h"
#include "station/exchanges/conversation.h"

namespace fuzz {

namespace {

using milliseconds = std::chrono::milliseconds;
using namespace std::chrono_literals;

// Longer than the pauses between two bytes of a switch, shorter than the wait for an answer.
constexpr auto silence_length = 300ms;
constexpr auto search_limit = 4000ms;
constexpr auto console_limit = 20000ms;
constexpr int attempts = 3;

/** What a console has shown is looked at anew with each piece. */
constexpr std::size_t most_pieces = 16;

/** Waits behind the last byte for which a silent line stays open: enough for a station to give up.
 */
constexpr int patience = 80;

/** A line to a switch that says what the fuzzer wants, whatever the station sends. */
class hostile_line : public station::line {
public:
    /** `piece`: the most bytes at once, where the choice is for small pieces. */
    hostile_line(uint8_t choice, std::span<const uint8_t> stream, std::size_t piece)
        : choice_(choice), most_at_once_(chosen(choice, 3) ? piece : 256), stream_(stream),
          piece_(next_piece(stream)), writes_left_(chosen(choice, 2) ? choice >> 4 : ~0U)
    {
    }

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override
    {
        require(limit.count() >= 0, "the station waits for no time of the past");
        if (!pass_silence(limit)) {
            return 0;
        }
        if (piece_.empty() && (chosen(choice_, 1) || waits_at_end_ == patience)) {
            throw station::line_closed("the program ended");
        }
        if (piece_.empty()) {
            clock_ += limit;
            waits_at_end_ += limit > 0ms ? 1 : 0;
            return 0;
        }
        const auto count = std::min({piece_.size(), buffer.size(), most_at_once_});
        std::copy_n(piece_.begin(), count, buffer.begin());
        stream_ = stream_.subspan(count);
        piece_ = piece_.subspan(count);
        return count;
    }

    void write(std::span<const std::uint8_t> data, milliseconds /*limit*/) override
    {
        require(!data.empty(), "what is sent is something");
        if (writes_left_-- == 0) {
            throw station::line_error("the line does not take it");
        }
    }

    /** A terminal becomes raw when its program has been silent for the first time. */
    bool raw() const override { return !chosen(choice_, 0) || was_silent_; }

    time_point now() const override { return time_point(clock_); }

private:
    /** Waits as long as nothing comes; false where that is longer than the limit. */
    bool pass_silence(milliseconds limit)
    {
        while (piece_.empty() && begins_with_silence(stream_)) {
            const auto waited = std::min(limit, silence_left_);
            clock_ += waited;
            limit -= waited;
            silence_left_ -= waited;
            if (silence_left_ > 0ms) {
                return false;
            }
            stream_ = stream_.subspan(sizeof(silence));
            piece_ = next_piece(stream_);
            silence_left_ = silence_length;
            was_silent_ = true;
        }
        return true;
    }

    uint8_t choice_;
    std::size_t most_at_once_;
    std::span<const uint8_t> stream_; // not yet read
    std::span<const uint8_t> piece_;  // of it: up to the next silence
    unsigned writes_left_;
    int waits_at_end_ = 0;
    milliseconds clock_{0};
    milliseconds silence_left_ = silence_length; // of the silence in front
    bool was_silent_ = false;
};

/** The report goes nowhere, but is written. */
void tell(const station::report &told)
{
    static std::FILE *nowhere = std::fopen("/dev/null", "w");
    station::print_text(nowhere, told);
    station::print_json(nowhere, told);
}

void require_sense(const station::outcome &result)
{
    require(result.ok() == result.reason.empty(), "whatever is not stored has a reason");
    require(result.attempts >= 0 && result.attempts <= attempts, "attempts are those allowed");
    require(!result.ok() || !result.replies.empty(), "nothing is stored unless the switch says so");
}

station::prepared_job prepare(const station_job &job)
{
    const auto path = std::string(FUZZ_EXAMPLES) + "/" + job.example;
    station::mistakes wrong(path);
    const auto commands = station::all_commands();
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&](const auto &each) { return each.name == job.command; });
    const auto reader = job.tlv ? found->prepare_tlv : found->prepare;
    auto ready = reader(station::read_job_file(path), wrong);
    wrong.check();
    return ready;
}

/** A job as it was read once and found right. */
const station::prepared_job &prepared(const station_job &job)
{
    static std::map<const station_job *, station::prepared_job> ready;
    auto found = ready.find(&job);
    if (found == ready.end()) {
        found = ready.emplace(&job, prepare(job)).first;
    }
    return found->second;
}

} // namespace

station::outcome run_station(const station_job &job, input &in)
{
    const auto &run = prepared(job);
    const uint8_t choice = in.choice();
    const auto stream = in.rest();
    hostile_line line(choice, stream, 1);
    station::listener observer;
    station::conversation talk(line, observer);
    station::exchange_options options;
    options.wait = search_limit;
    options.attempts = attempts;
    auto result = run.run(talk, options);
    require_sense(result);
    if (in.tells_much()) {
        tell({std::string(job.command), run.items(result), result, 1.5, {}, {}});
    }
    return result;
}

station::run_result run_product(const char *example, input &in)
{
    static const auto what = station::make_plan(
        station::read_product(std::string(FUZZ_EXAMPLES) + "/" + example),
        {{"serial", "ABCDEFGHJ1234"}, {"mac", "00:1A:2B:3C:4D:40"}}, "2024-01-31");
    const uint8_t choice = in.choice();
    const auto stream = in.rest();
    hostile_line line(choice, stream, std::max<std::size_t>(stream.size() / most_pieces, 1));
    station::run_observer observer;
    station::run_options options;
    options.wait = console_limit;
    options.password = "secret";
    options.only_check = chosen(choice, 7);
    auto result = station::provision(line, what, options, observer, {});
    require((result.end == station::run_end::verified) == result.advice.empty(),
            "whatever is not verified has an advice");
    require(!result.reason.empty(), "every end has a reason");
    return result;
}

std::vector<std::string> item_results(const station_job &job, const station::outcome &result)
{
    std::vector<std::string> words;
    for (const auto &row : prepared(job).items(result).rows) {
        words.push_back(row.back());
    }
    return words;
}

} // namespace fuzz
