#include <algorithm>

#include "station/console/console.h"
#include "station/exchanges/unit_status.h"
#include "unit/station/provision_runs.h"

// Consoles that do what no switch should: a run ends all the same, in a time and a memory that are
// bounded, and tells nothing that is not so.

namespace {

using namespace std::chrono_literals;

/** Passes on to a switch and, once that is wanted, talks without an end. */
class talking_line : public station::line {
public:
    explicit talking_line(station::line &inner) : inner_(inner) {}

    void says(std::string what)
    {
        text_ = std::move(what);
        said_ = 0;
    }

    std::function<bool()> talks = [] { return true; };
    milliseconds pause{88}; // ahead of each reading that gets some of it: 115200 baud
    std::size_t most_of_a_read = 1024;

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override
    {
        if (!talks()) {
            return inner_.read(buffer, limit);
        }
        extra_ += pause;
        said_ += buffer.size();
        if (said_ > std::size_t(64) << 20) {
            throw std::logic_error("reads without an end");
        }
        const auto count = std::min(buffer.size(), most_of_a_read);
        for (std::size_t at = 0; at < count; ++at) {
            buffer[at] = static_cast<std::uint8_t>(text_[at % text_.size()]);
        }
        return count;
    }
    void write(std::span<const std::uint8_t> data, milliseconds limit) override
    {
        inner_.write(data, limit);
    }
    time_point now() const override { return inner_.now() + extra_; }

private:
    station::line &inner_;
    std::string text_ = "word"; // that is said over and over again
    milliseconds extra_{0};
    std::size_t said_ = 0;
};

/** Notes how long the pieces are in which a console's text comes. */
class measuring_observer : public station::run_observer {
public:
    std::size_t longest = 0;
    bool reads = false; // what the switch holds

    void phase(std::string_view what) override { reads = what == "reads what the switch holds"; }
    void console(std::string_view shown) override { longest = std::max(longest, shown.size()); }
};

/** Takes the start of a list and says nothing more. */
class mute_backplane : public model_operation {
public:
    explicit mute_backplane(switch_model &board) : board_(board) {}
    bool take(std::uint8_t byte, std::chrono::nanoseconds /*silence*/) override
    {
        if (byte == 0x15) {
            board_.say("\x06");
        }
        return true;
    }

private:
    switch_model &board_;
};

/** Finds the sum of every list wrong. */
class insatiable_backplane : public model_operation {
public:
    explicit insatiable_backplane(switch_model &board) : board_(board) {}
    bool take(std::uint8_t byte, std::chrono::nanoseconds silence) override
    {
        if (silence > 500ms) {
            got_.clear();
        }
        got_.push_back(byte);
        if (got_.front() != 0x15 || (got_.size() > 1 && got_[1] != 1)) {
            got_.clear();
        } else if (got_.size() == 1) {
            board_.say("\x06");
        } else if (got_.size() > 2 && got_.size() == list_frame + got_[2]) {
            board_.say("\x15");
            got_.clear();
        }
        return true;
    }

private:
    static constexpr std::size_t list_frame = 5; // start, header, length, count, sum
    switch_model &board_;
    station::bytes got_;
};

class hostile_console : public provision_runs {
protected:
    talking_line far{board};
    measuring_observer measured;

    station::run_result run_talking()
    {
        return station::provision(far, planned(), options, measured, stop.get_token());
    }

    void expect_bounded(const station::run_result &result) const
    {
        EXPECT_LT(result.transcript.size(), std::size_t(4) << 20);
        EXPECT_LT(result.reason.size(), 1000U);
        EXPECT_LE(measured.longest, 4096U);
        EXPECT_LT(result.seconds, 3600);
    }
};

} // namespace

TEST_F(hostile_console, that_floods_an_operation_does_not_hold_the_run)
{
    console += "boot = 20\n";
    far.talks = [&] { return board.in_operation(); };
    for (const std::string text : {"word", "word\r", "word\r\n", "\xFF"}) {
        renew();
        far.says(text);
        const auto result = run_talking();
        EXPECT_EQ(result.end, station::run_end::not_reached) << words(result);
        expect_bounded(result);
    }
}

TEST_F(hostile_console, that_floods_the_list_of_a_backplane_does_not_hold_the_run)
{
    console += "boot = 20\n";
    steps.clear();
    add_backplane();
    steps += step("setmac", "identity.toml");
    for (const std::string text : {"word", "word\r", "word\r\n", "\xFF", "\xFFword"}) {
        renew();
        far.says(text);
        bool listed = false;
        board.at_byte_to_switch = [&](std::size_t) { listed = board.in_operation(); };
        far.talks = [&] { return listed; };
        const auto result = run_talking();
        board.at_byte_to_switch = nullptr;
        EXPECT_EQ(result.end, station::run_end::not_reached) << words(result);
        expect_bounded(result);
    }
}

TEST_F(hostile_console, that_floods_its_prompt_does_not_hold_the_run)
{
    console += "boot = 20\n";
    far.talks = [&] { return measured.reads; };
    const auto result = run_talking();
    EXPECT_EQ(result.end, station::run_end::not_reached) << words(result);
    expect_bounded(result);
}

TEST_F(hostile_console, that_says_a_little_for_ever_in_place_of_a_prompt_does_not_hold_the_run)
{
    console += "boot = 20\n";
    far.says("tick\r\n");
    far.most_of_a_read = 6;
    far.pause = 1s;
    far.talks = [&] { return measured.reads; };
    const auto result = run_talking();
    EXPECT_EQ(result.end, station::run_end::not_reached) << words(result);
    EXPECT_LT(result.seconds, 600);
}

TEST_F(hostile_console, that_answers_with_statuses_only_is_not_listened_to_for_ever)
{
    station::conversation talk(far, observer);
    for (const std::string text : {"\xFF", "\x15\xFF", "x\xFF"}) {
        far.says(text);
        EXPECT_LT(station::status_report(talk).hear(0x15, 120s).size(), 5000U);
    }
}

TEST_F(hostile_console, that_acknowledges_lists_but_never_answers_them_is_given_up)
{
    add_backplane();
    board.start_program(std::make_unique<mute_backplane>(board));
    const auto result = run();
    EXPECT_EQ(words(result), "not_reached: the switch waits for the list of a backplane, which "
                             "cannot be called off");
    EXPECT_LT(result.seconds, 1800);
}

TEST_F(hostile_console, that_asks_for_the_list_of_a_backplane_for_ever_is_given_all_sums_once)
{
    add_backplane();
    bool listing = false;
    board.at_byte_to_switch = [&](std::size_t) {
        if (!listing && board.in_operation() &&
            board.commands.back().starts_with("prov_setmac setbackplane")) {
            listing = true;
            board.start_program(std::make_unique<insatiable_backplane>(board));
        }
    };
    const auto result = run();
    EXPECT_EQ(words(result), "not_reached: the switch waits for the list of a backplane, which "
                             "cannot be called off");
    EXPECT_EQ(std::count(observer.told.begin(), observer.told.end(),
                         "ends an operation that the switch waits in"),
              1);
    EXPECT_LT(result.seconds, 120);
}

TEST_F(hostile_console, that_refuses_a_password_with_many_words_does_not_get_it_again_and_again)
{
    board.asks_for_login = true;
    board.refusal = "\r\nLogin incorrect\r\n";
    for (int line = 0; line < 20; ++line) {
        board.refusal += "Only for those who are allowed to.\r\n";
    }
    board.power_on();
    options.password = "wrong";
    EXPECT_EQ(words(run()), "not_reached: the switch refuses the user or the password");
    EXPECT_LE(board.typed_secrets, "wrongwrong"); // once more, as after a restart of the switch
}

TEST_F(hostile_console, of_a_switch_that_was_swapped_in_the_middle_is_left_alone)
{
    for (const std::size_t lines : {3, 4}) {
        renew();
        steps.clear();
        steps = step("setmac", "identity.toml") + step("setsn", "serial.toml");
        board.reboot_after_lines = lines; // of which two read what it holds
        board.at_power_on = [&] {
            board.stored = {{"SerialNO", "ZZZZZZZZZ9999"}, {"ethaddr", "00:1A:2B:00:00:00"}};
        };
        const auto result = run();
        EXPECT_EQ(words(result),
                  "other_identity: in the middle of the run the switch holds SerialNO "
                  "\"ZZZZZZZZZ9999\" and not \"ABCDEFGHJ1234\", ethaddr \"00:1A:2B:00:00:00\" and "
                  "not \"00:1A:2B:3C:4D:40\"");
        EXPECT_EQ(board.record("SerialNO"), "ZZZZZZZZZ9999");
    }
}

TEST_F(hostile_console, that_waited_in_the_backplane_operation_of_another_unit_is_told)
{
    add_backplane();
    board.stored = {{"SerialNO", "ZZZZZZZZZ9999"}};
    board.start_operation("prov_setmac setbackplane");
    const auto result = run();
    EXPECT_EQ(result.end, station::run_end::other_identity);
    EXPECT_EQ(board.record("SerialNO"), "ZZZZZZZZZ9999");
    EXPECT_NE(result.advice.find("It waited in setbackplane and was given this unit's list: "
                                 "program its backplane again"),
              std::string::npos)
        << result.advice;
}

TEST_F(hostile_console, is_left_in_a_known_state_by_a_run_that_is_cancelled_in_a_login)
{
    options.password = "secret";
    std::map<std::string, int> left;
    for (std::size_t byte = 0; byte < 40; ++byte) {
        renew();
        board.asks_for_login = true;
        board.power_on();
        stop = std::stop_source();
        board.at_byte_to_switch = [&](std::size_t number) {
            if (number == byte) {
                stop.request_stop();
            }
        };
        const auto result = run();
        board.at_byte_to_switch = nullptr;
        EXPECT_EQ(words(result), "cancelled: it was stopped") << byte;
        EXPECT_EQ(board.typed(), "") << byte;
        EXPECT_FALSE(board.asks_for_password()) << byte;
        EXPECT_LE(board.typed_secrets, "secret") << byte;
        EXPECT_EQ(result.console == "at the prompt", board.logged_in) << byte << result.console;
        ++left[result.console];
    }
    EXPECT_EQ(left.size(), 3U); // not yet logging in, in the login, and behind it
    EXPECT_EQ(left.count("as it was found"), 1U);
    EXPECT_EQ(left.count("at the login"), 1U);
    EXPECT_EQ(left.count("at the prompt"), 1U);
}

TEST_F(hostile_console, that_waits_for_a_long_value_over_a_slow_line_takes_no_longer_than_its_limit)
{
    board.a_byte = 1041667ns; // 9600 baud, ten bits a byte
    board.start_operation("prov_setmac setmac");
    const std::uint8_t begun[] = {0x15, 0x18, 0x03, 0x10, 0xBD, 0x3D, 0x0E,
                                  0x81, 0x01, 0x00, 0x01, 0x00, 0x00};
    board.write(begun, {});
    const auto start = board.now();
    station::console_settings settings;
    settings.quiet = 700ms;
    EXPECT_EQ(station::console(board, settings, observer).reach_prompt(15s),
              station::arrival::silence);
    EXPECT_LT(board.now() - start, 20s);
}
