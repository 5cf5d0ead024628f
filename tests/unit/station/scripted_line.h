#pragma once

#include <deque>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "station/exchanges/conversation.h"

/**
 * A switch that follows a script, on a clock of its own that only moves while the station waits. A
 * byte of the station that the script does not expect at its place fails the test.
 */
class scripted_line : public station::line {
public:
    using bytes = station::bytes;

    /** The station now sends these bytes. */
    scripted_line &expects(bytes data)
    {
        script_.push_back({step::expect, std::move(data), milliseconds(0)});
        return *this;
    }

    /** The switch now sends these bytes, after a pause. */
    scripted_line &answers(bytes data, milliseconds after = milliseconds(0))
    {
        script_.push_back({step::answer, std::move(data), after});
        return *this;
    }

    /** The switch's console now shows a text. */
    scripted_line &shows(const std::string &text)
    {
        return answers(bytes(text.begin(), text.end()));
    }

    /** The program now switches its terminal to raw mode. */
    scripted_line &becomes_raw(milliseconds after = milliseconds(0))
    {
        raw_ = false;
        script_.push_back({step::raw_mode, {}, after});
        return *this;
    }

    /** The line now closes. */
    scripted_line &closes()
    {
        script_.push_back({step::close, {}, milliseconds(0)});
        return *this;
    }

    /** The console shows a point after every such pause in which the script has nothing to say. */
    scripted_line &chatters(milliseconds pause)
    {
        chatter_ = pause;
        return *this;
    }

    /** Nothing is left; a closed line stays closed. */
    bool finished() const { return script_.empty() || script_.front().what == step::close; }
    milliseconds elapsed() const { return clock_; }
    milliseconds last_write_limit() const { return last_write_limit_; }

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override
    {
        EXPECT_GE(limit.count(), 0);
        if (script_.empty() || script_.front().what == step::expect) {
            const bool talks = chatter_ > milliseconds(0) && chatter_ <= limit;
            clock_ += talks ? chatter_ : limit;
            buffer[0] = '.';
            return talks ? 1 : 0;
        }
        auto &next = script_.front();
        if (next.after > limit) {
            next.after -= limit;
            clock_ += limit;
            return 0;
        }
        clock_ += next.after;
        next.after = milliseconds(0);
        if (next.what == step::close) {
            throw station::line_closed("the program ended with exit status 5");
        }
        if (next.what == step::raw_mode) {
            raw_ = true;
            script_.pop_front();
            return 0;
        }
        return take(next.data, buffer);
    }

    void write(std::span<const std::uint8_t> data, milliseconds limit) override
    {
        last_write_limit_ = limit;
        for (const auto byte : data) {
            if (!script_.empty() && script_.front().what == step::close) {
                throw station::line_closed("the program ended with exit status 5");
            }
            if (script_.empty() || script_.front().what != step::expect) {
                ADD_FAILURE() << "not expected: " << station::to_hex(data);
                throw station::line_closed("the script does not go on");
            }
            auto &wanted = script_.front().data;
            EXPECT_EQ(byte, wanted.front()) << "of " << station::to_hex(data);
            wanted.erase(wanted.begin());
            if (wanted.empty()) {
                script_.pop_front();
            }
        }
    }

    bool raw() const override { return raw_; }
    time_point now() const override { return time_point(clock_); }

private:
    struct step {
        enum kind { expect, answer, raw_mode, close } what;
        bytes data;
        milliseconds after;
    };

    std::size_t take(bytes &data, std::span<std::uint8_t> buffer)
    {
        const auto count = std::min(data.size(), buffer.size());
        std::copy_n(data.begin(), count, buffer.begin());
        data.erase(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(count));
        if (data.empty()) {
            script_.pop_front();
        }
        return count;
    }

    std::deque<step> script_;
    milliseconds clock_{0};
    milliseconds chatter_{0};
    milliseconds last_write_limit_{0};
    bool raw_ = true;
};

/** Writes down what it is told. */
class noting_listener : public station::listener {
public:
    std::vector<std::string> steps;
    std::string text;
    int waited = 0;

    void waiting() override { ++waited; }
    void attempt(int number, int of) override
    {
        steps.push_back("attempt " + std::to_string(number) + "/" + std::to_string(of));
    }
    void answered(const station::reply &given) override
    {
        steps.push_back(station::to_hex({&given.byte, 1}) + " " + std::string(given.meaning));
    }
    void sent(std::size_t done, std::size_t total) override
    {
        steps.push_back("sent " + std::to_string(done) + "/" + std::to_string(total));
    }
    void console(std::string_view shown) override { text += shown; }
    void retrying(std::string_view reason) override
    {
        steps.push_back("retry: " + std::string(reason));
    }
};

/** The bytes of a reply list. */
inline station::bytes reply_bytes(const station::outcome &result)
{
    station::bytes out;
    for (const auto &each : result.replies) {
        out.push_back(each.byte);
    }
    return out;
}
