#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "station/app/display.h"
#include "station/base/report.h"
#include "station/lines/traced_line.h"
#include "unit/station/scripted_line.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

/** A file in memory. */
class memory_file {
public:
    memory_file() : file_(open_memstream(&data_, &size_)) {}
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;
    ~memory_file()
    {
        std::fclose(file_);
        std::free(data_);
    }

    std::FILE *get() const { return file_; }

    std::string text() const
    {
        std::fflush(file_);
        return {data_, size_};
    }

private:
    char *data_ = nullptr;
    std::size_t size_ = 0;
    std::FILE *file_;
};

report stored()
{
    report told;
    told.command = "setmac";
    told.items = {{"property", "sent back", "result"},
                  {{"SerialNO", "", "stored"}, {"a", "x \"1\" \\", "stored"}}};
    told.result.end = ending::stored;
    told.result.attempts = 1;
    told.result.replies = {{0x15, "hand sign accepted"}, {0x06, "stored"}};
    told.seconds = 0.25;
    told.console = "one\ntwo\n";
    return told;
}

std::string as_text(const report &told)
{
    memory_file out;
    print_text(out.get(), told);
    return out.text();
}

std::string as_json(const report &told)
{
    memory_file out;
    print_json(out.get(), told);
    return out.text();
}

std::string_view word(ending end, bool taken)
{
    outcome result;
    result.end = end;
    result.taken = taken;
    return word_for_items(result);
}

} // namespace

TEST(print_text, aligns_the_items_and_says_how_it_ended)
{
    auto told = stored();
    told.program = "exit status 0";
    EXPECT_EQ(as_text(told), "Property  Sent back  Result\n"
                             "SerialNO             stored\n"
                             "a         x \"1\" \\    stored\n"
                             "\n"
                             "Stored: the switch has confirmed it.\n"
                             "Program: exit status 0.\n"
                             "1 attempt, 0.2 s.\n");
}

TEST(print_text, says_why_it_failed)
{
    auto told = stored();
    told.items = {{"serial"}, {{"A1"}}};
    told.result.end = ending::broken;
    told.result.reason = "the program ended with exit status 3";
    told.result.attempts = 2;
    told.program = "exit status 3";
    EXPECT_EQ(as_text(told), "Serial\n"
                             "A1\n"
                             "\n"
                             "Failed: the program ended with exit status 3.\n"
                             "2 attempts, 0.2 s.\n");
}

TEST(print_json, holds_all_that_is_told)
{
    EXPECT_EQ(as_json(stored()),
              "{\n"
              "  \"command\": \"setmac\",\n"
              "  \"ok\": true,\n"
              "  \"ending\": \"stored\",\n"
              "  \"reason\": \"\",\n"
              "  \"attempts\": 1,\n"
              "  \"seconds\": 0.250,\n"
              "  \"replies\": [\n"
              "    {\"byte\": \"15\", \"meaning\": \"hand sign accepted\"},\n"
              "    {\"byte\": \"06\", \"meaning\": \"stored\"}\n"
              "  ],\n"
              "  \"items\": [\n"
              "    {\"property\": \"SerialNO\", \"sent_back\": \"\", \"result\": \"stored\"},\n"
              "    {\"property\": \"a\", \"sent_back\": \"x \\\"1\\\" \\\\\", \"result\": "
              "\"stored\"}\n"
              "  ],\n"
              "  \"console\": \"one\\ntwo\\n\",\n"
              "  \"program\": null\n"
              "}\n");
}

TEST(print_json, tells_a_failure)
{
    auto told = stored();
    told.result = {};
    told.result.end = ending::refused;
    told.result.reason = "a\tb";
    told.items.rows.clear();
    told.program = "exit status 1";
    const auto text = as_json(told);
    EXPECT_NE(
        text.find("\"ok\": false,\n  \"ending\": \"refused\",\n  \"reason\": \"a\\u0009b\",\n"),
        std::string::npos)
        << text;
    EXPECT_NE(text.find("\"replies\": [],\n  \"items\": [],\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\"program\": \"exit status 1\"\n"), std::string::npos) << text;
}

TEST(word_for_items, says_no_more_than_the_switch_has_said)
{
    EXPECT_EQ(word(ending::stored, true), "stored");
    EXPECT_EQ(word(ending::refused, true), "refused");
    EXPECT_EQ(word(ending::failed, true), "failed");
    EXPECT_EQ(word(ending::mismatch, true), "wrong");
    EXPECT_EQ(word(ending::damaged, false), "not stored");
    EXPECT_EQ(word(ending::silent, false), "not stored");
    EXPECT_EQ(word(ending::silent, true), "not known");
    EXPECT_EQ(word(ending::broken, true), "not known");
}

TEST(display, puts_a_line_for_each_step)
{
    memory_file out;
    display shown(out.get(), display::style::lines, " on /dev/ttyS0");
    shown.console("hello\r\n\r\nwor");
    shown.console("ld");
    shown.attempt(1, 3);
    shown.answered({0x15, "hand sign accepted"});
    shown.sent(256, 300);
    shown.sent(300, 300);
    shown.answered({0x12, "failed"});
    shown.retrying("because");
    shown.console("bye\x07");
    shown.finish();
    EXPECT_EQ(out.text(), "| hello\n"
                          "| world\n"
                          "Attempt 1 of 3\n"
                          "  0x15  hand sign accepted\n"
                          "  sent  300 bytes\n"
                          "  0x12  failed\n"
                          "  because\n"
                          "| bye\\x07\n");
    EXPECT_EQ(shown.console_text(), "hello\nworld\nbye\\x07\n");
}

TEST(display, changes_the_progress_in_place_on_a_terminal)
{
    memory_file out;
    display shown(out.get(), display::style::live, "");
    shown.sent(100, 300);
    shown.sent(300, 300);
    shown.finish();
    EXPECT_EQ(out.text(), "\r  [##########....................] 33 %  100 of 300 bytes\x1b[K"
                          "\r\x1b[K"
                          "  sent  300 bytes\n");
}

TEST(display, tells_that_it_waits_once_that_takes_long)
{
    memory_file out;
    display shown(out.get(), display::style::lines, " on /dev/ttyS0");
    shown.waiting();
    EXPECT_EQ(out.text(), "");
    std::this_thread::sleep_for(600ms);
    shown.waiting();
    shown.waiting();
    EXPECT_EQ(out.text(), "Waiting for the switch on /dev/ttyS0 ...\n");
}

TEST(display, keeps_the_consoles_text_when_hidden)
{
    memory_file out;
    display shown(out.get(), display::style::hidden, "");
    shown.attempt(1, 1);
    shown.sent(1, 2);
    shown.console("hello");
    shown.finish();
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(shown.console_text(), "hello\n");
}

TEST(traced_line, notes_the_bytes_of_both_directions)
{
    scripted_line far;
    far.expects({0x15, 'A'})
        .answers({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 'z'}, 1500ms);
    memory_file out;
    traced_line traced(far, out.get());
    traced.write(bytes{0x15, 'A'}, 1s);
    bytes buffer(32);
    EXPECT_EQ(traced.read(buffer, 2s), 17U);
    EXPECT_EQ(out.text(),
              "     0.000 >  15 41                                            .A\n"
              "     1.500 <  00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F  ................\n"
              "     1.500 <  7A                                               z\n");
}
