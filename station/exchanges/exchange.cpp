#include "station/exchanges/exchange.h"

#include <algorithm>
#include <sstream>

namespace station {

namespace {

using namespace std::chrono_literals;

constexpr auto listening_step = 100ms;

// How long the line is silent once nothing of what was sent before is on its way any more.
constexpr auto quiet_line = 60ms;
constexpr auto longest_wait_for_quiet = 1s;

// In the flavour that keeps its identity in flash, whatever the operation was; the other is silent.
constexpr std::string_view last_words[] = {"Save product info success.\r",
                                           "Save product info failed.\r"};

outcome without_answer(ending end, std::string reason)
{
    outcome result;
    result.end = end;
    result.reason = std::move(reason);
    return result;
}

outcome not_found(const exchange_options &options, const char *missed)
{
    const auto tenths = options.wait.value_or(0ms) / 100ms;
    std::ostringstream reason;
    reason << "no switch within " << static_cast<double>(tenths) / 10 << " s: " << missed;
    return without_answer(ending::silent, reason.str());
}

bool any_shown(const conversation &talk, std::span<const std::string_view> texts)
{
    return std::any_of(texts.begin(), texts.end(),
                       [&](std::string_view text) { return talk.has_shown(text); });
}

/** Takes the rest of a banner of which a piece was seen. */
void hear_banner_out(conversation &talk, std::string_view last)
{
    const auto end = talk.now() + longest_wait_for_quiet;
    while (!talk.has_shown(last) && talk.now() < end &&
           talk.now() - talk.last_arrival() < quiet_line) {
        talk.next_reply_or_text(std::min(end, talk.last_arrival() + quiet_line));
    }
}

} // namespace

search::search(conversation &talk, const exchange_options &options)
    : talk_(talk), quiet_before_probe_(options.quiet_before_probe)
{
    if (options.wait) {
        end_ = talk.now() + *options.wait;
    }
}

bool search::goes_on()
{
    talk_.observer().waiting();
    return !end_ || talk_.now() < *end_;
}

std::pair<found, outcome> find_switch(conversation &talk, const finder &how,
                                      const exchange_options &options)
{
    try {
        search looking(talk, options);
        const auto seen = how.find(talk, looking);
        if (seen == found::nothing) {
            return {seen, not_found(options, how.missed)};
        }
        if (seen == found::another_operation) {
            return {seen,
                    without_answer(ending::unexpected,
                                   "another operation than this command's runs on the switch")};
        }
        return {seen, outcome{}};
    } catch (const line_error &error) {
        return {found::nothing, without_answer(ending::broken, error.what())};
    }
}

found find_by_banner(conversation &talk, search &looking, const banner_signs &signs)
{
    auto quiet_since = talk.now();
    std::optional<std::uint64_t> looked_at; // how many texts there were at the last look at them
    bool probed = false;
    while (looking.goes_on()) {
        const auto byte = talk.next_reply_or_text(talk.now() + listening_step);
        if (probed && byte == signs.answer) {
            return found::hand_shaken;
        }
        // In cooked mode some bytes are keys: a hand sign's 0x03 would interrupt the program.
        if (!talk.raw()) {
            continue;
        }
        const bool shows_more = looked_at != talk.texts_shown();
        looked_at = talk.texts_shown();
        if (shows_more && any_shown(talk, signs.own)) {
            // A program that started after the probe may have taken that, too, and answer it.
            if (probed) {
                wait_for_quiet(talk);
            } else {
                hear_banner_out(talk, signs.last);
            }
            return found::ready;
        }
        if (shows_more && any_shown(talk, signs.others)) {
            return found::another_operation;
        }
        quiet_since = std::max(quiet_since, talk.last_arrival());
        if (looking.may_probe_after(talk.now() - quiet_since)) {
            talk.send(signs.probe);
            probed = true;
            quiet_since = talk.now();
        }
    }
    return found::nothing;
}

void wait_for_quiet(conversation &talk)
{
    talk.drain(quiet_line, longest_wait_for_quiet);
}

bool holds_last_words(std::string_view text)
{
    return std::any_of(std::begin(last_words), std::end(last_words), [&](std::string_view words) {
        return text.find(words) != std::string_view::npos;
    });
}

void hear_last_words(conversation &talk, exchange_options::milliseconds quiet,
                     exchange_options::milliseconds limit)
{
    const auto end = talk.now() + limit;
    while (!holds_last_words(talk.shown()) && talk.now() < end &&
           talk.now() - talk.last_arrival() < quiet) {
        talk.next_reply_or_text(std::min(end, talk.last_arrival() + quiet));
    }
}

outcome joined(const outcome &earlier, const outcome &later, int attempts)
{
    const bool consequence = !earlier.replies.empty() && later.replies.empty() && !later.ok();
    outcome result = consequence ? earlier : later;
    if (consequence) {
        result.reason += "; after that: " + later.reason;
    }
    result.attempts = attempts;
    return result;
}

void attempt::note(std::uint8_t byte, std::string_view meaning)
{
    result_.replies.push_back({byte, meaning});
    talk_.observer().answered(result_.replies.back());
}

bool attempt::end_with(ending end, std::string reason)
{
    result_.end = end;
    result_.reason = std::move(reason);
    return false;
}

} // namespace station
