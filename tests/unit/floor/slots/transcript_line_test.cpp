#include "floor/slots/transcript_line.h"

#include <gtest/gtest.h>

#include "unit/station/scripted_line.h"

namespace {

using namespace std::chrono_literals;
using shopfloor::transcript_line;

station::bytes bytes_of(std::string_view text)
{
    return {text.begin(), text.end()};
}

std::string read_all(transcript_line &from)
{
    std::array<std::uint8_t, 64> buffer{};
    const auto got = from.read(buffer, 1s);
    return {buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(got)};
}

TEST(transcript, has_the_times_of_both_sides)
{
    scripted_line far;
    far.expects(bytes_of("\r")).answers(bytes_of("login: "), 250ms).expects(bytes_of("root\r"));
    transcript_line noted(far);
    noted.write(bytes_of("\r"), 1s);
    EXPECT_EQ(read_all(noted), "login: ");
    noted.write(bytes_of("root\r"), 1s);
    EXPECT_EQ(noted.text(), "{\"at\":0.0,\"from\":\"station\",\"text\":\"\\r\"}\n"
                            "{\"at\":0.25,\"from\":\"switch\",\"text\":\"login: \"}\n"
                            "{\"at\":0.25,\"from\":\"station\",\"text\":\"root\\r\"}\n");
}

TEST(transcript, begins_a_new_entry_with_each_line_and_gathers_what_belongs_together)
{
    scripted_line far;
    far.answers(bytes_of("one\ntw")).answers(bytes_of("o\n"), 10ms);
    transcript_line noted(far);
    read_all(noted);
    read_all(noted);
    EXPECT_EQ(noted.text(), "{\"at\":0.0,\"from\":\"switch\",\"text\":\"one\\n\"}\n"
                            "{\"at\":0.0,\"from\":\"switch\",\"text\":\"two\\n\"}\n");
}

TEST(transcript, shows_bytes_that_are_no_text_as_numbers)
{
    scripted_line far;
    far.answers({0xFF, 0x00, 'a', 0x1B});
    transcript_line noted(far);
    read_all(noted);
    EXPECT_EQ(noted.text(),
              "{\"at\":0.0,\"from\":\"switch\",\"text\":\"\\\\xFF\\\\x00a\\u001b\"}\n");
}

TEST(transcript, holds_no_password_and_no_echo_of_one)
{
    scripted_line far;
    far.expects(bytes_of("secret"))
        .answers(bytes_of("secret"))
        .expects(bytes_of("\r"))
        .answers(bytes_of("\r\nsecret"))
        .expects(bytes_of("ls\r"))
        .answers(bytes_of("ls"));
    transcript_line noted(far);
    noted.write_secret(bytes_of("secret"), 1s);
    read_all(noted);
    noted.write(bytes_of("\r"), 1s);
    read_all(noted);
    noted.write(bytes_of("ls\r"), 1s);
    read_all(noted);
    const auto text = noted.text();
    EXPECT_EQ(text.find("secret"), std::string::npos) << text;
    EXPECT_NE(text.find("******"), std::string::npos) << text;
    EXPECT_NE(text.find("\"ls\""), std::string::npos) << text;
}

TEST(transcript, keeps_the_beginning_and_the_end_of_a_flood)
{
    class flooding : public station::line {
    public:
        std::size_t count = 0;
        std::size_t read(std::span<std::uint8_t> buffer, milliseconds) override
        {
            const auto text = "line " + std::to_string(count++) + "\n";
            std::copy(text.begin(), text.end(), buffer.begin());
            return text.size();
        }
        void write(std::span<const std::uint8_t>, milliseconds) override {}
    } far;
    transcript_line noted(far);
    for (int count = 0; count < 40000; ++count) {
        read_all(noted);
    }
    const auto text = noted.text();
    EXPECT_LT(text.size(), 1024U * 1024U);
    EXPECT_NE(text.find("line 0\\n"), std::string::npos);
    EXPECT_NE(text.find("line 39999\\n"), std::string::npos);
    EXPECT_NE(text.find("\n{\"left_out\":"), std::string::npos);
}

} // namespace
