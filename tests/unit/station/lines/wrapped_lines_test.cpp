#include <cstdio>
#include <cstdlib>

#include "station/lines/stoppable_line.h"
#include "station/lines/traced_line.h"
#include "unit/station/scripted_line.h"

using namespace std::chrono_literals;

namespace {

station::bytes bytes_of(const std::string &text)
{
    return {text.begin(), text.end()};
}

/** A line on which nothing comes. */
class counting_line : public scripted_line {
public:
    int reads = 0;

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override
    {
        ++reads;
        return scripted_line::read(buffer, limit);
    }
};

/** What a traced line has written down. */
class trace_file {
public:
    trace_file() : file_(open_memstream(&text_, &size_)) {}
    ~trace_file()
    {
        std::fclose(file_);
        std::free(text_); // NOLINT(cppcoreguidelines-no-malloc)
    }
    trace_file(const trace_file &) = delete;
    trace_file &operator=(const trace_file &) = delete;

    std::FILE *file() { return file_; }
    std::string text()
    {
        std::fflush(file_);
        return {text_, size_};
    }

private:
    char *text_ = nullptr;
    std::size_t size_ = 0;
    std::FILE *file_;
};

} // namespace

TEST(traced_line, notes_no_password_and_no_echo_of_it)
{
    trace_file notes;
    scripted_line far;
    far.expects(bytes_of("geheim"))
        .expects(bytes_of("\r"))
        .shows("geheim\r\n# ")
        .expects(bytes_of("ls"))
        .shows("ls");
    station::traced_line traced(far, notes.file());
    std::array<std::uint8_t, 64> buffer{};
    traced.write_secret(bytes_of("geheim"), 1s);
    traced.write(bytes_of("\r"), 1s);
    EXPECT_EQ(traced.read(buffer, 1s), 10U);
    EXPECT_EQ(buffer[0], 'g');
    traced.write(bytes_of("ls"), 1s);
    EXPECT_EQ(traced.read(buffer, 1s), 2U);
    const auto text = notes.text();
    EXPECT_EQ(text.find("geheim"), std::string::npos) << text;
    EXPECT_EQ(text.find("67 65"), std::string::npos) << text;
    EXPECT_NE(text.find("2A 2A 2A 2A 2A 2A 0D 0A 2A 2A"), std::string::npos) << text;
    EXPECT_NE(text.find("<  6C 73"), std::string::npos) << text;
}

TEST(stoppable_line, passes_everything_on_until_a_stop_is_wanted)
{
    scripted_line far;
    far.expects(bytes_of("a")).answers(bytes_of("b"), 200ms);
    std::stop_source stop;
    station::stoppable_line line(far, stop.get_token());
    std::array<std::uint8_t, 4> buffer{};
    line.write(bytes_of("a"), 1s);
    EXPECT_EQ(line.read(buffer, 100ms), 0U);
    EXPECT_EQ(far.elapsed(), 100ms);
    EXPECT_EQ(line.read(buffer, 1s), 1U);
    EXPECT_EQ(far.elapsed(), 200ms);
    stop.request_stop();
    EXPECT_THROW(line.read(buffer, 1s), station::line_stopped);
    EXPECT_THROW(line.write(bytes_of("a"), 1s), station::line_stopped);
    EXPECT_EQ(far.elapsed(), 200ms);
}

TEST(stoppable_line, waits_in_slices_only_where_somebody_can_stop_it)
{
    const auto reads_of = [](std::stop_token stop) {
        counting_line far;
        station::stoppable_line line(far, std::move(stop));
        std::array<std::uint8_t, 4> buffer{};
        EXPECT_EQ(line.read(buffer, 1s), 0U);
        EXPECT_EQ(far.elapsed(), 1s);
        return far.reads;
    };
    const std::stop_source stop;
    EXPECT_EQ(reads_of(stop.get_token()), 20);
    EXPECT_EQ(reads_of({}), 1);
}
