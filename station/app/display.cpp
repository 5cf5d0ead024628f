#include "station/app/display.h"

namespace station {

namespace {

using namespace std::chrono_literals;

// A program started by the station is there at once: nothing to tell.
constexpr auto worth_telling = 500ms;
constexpr std::size_t bar_width = 30;
constexpr std::size_t longest_line = 4096; // of a console; it goes on in the next
constexpr std::size_t most_of_text = 1 << 20;

std::string progress_bar(std::size_t done, std::size_t total)
{
    const auto filled = bar_width * done / total;
    return "  [" + std::string(filled, '#') + std::string(bar_width - filled, '.') + "] " +
           std::to_string(100 * done / total) + " %  " + std::to_string(done) + " of " +
           std::to_string(total) + " bytes";
}

} // namespace

display::display(std::FILE *out, style how, std::string place)
    : out_(out), style_(how), place_(std::move(place))
{
}

display::~display()
{
    finish();
}

void display::waiting()
{
    const auto now = std::chrono::steady_clock::now();
    if (!waits_) {
        waits_ = true;
        told_waiting_ = false;
        waits_since_ = now;
    }
    const auto waited = now - waits_since_;
    if (waited < worth_telling) {
        return;
    }
    const auto text = "Waiting for the switch" + place_ + " ...";
    if (style_ == style::live) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(waited).count();
        put_changing(text + " " + std::to_string(seconds) + " s");
    } else if (!told_waiting_) {
        put_line(text);
    }
    told_waiting_ = true;
}

void display::attempt(int number, int of)
{
    waits_ = false;
    put_console_line();
    put_line("Attempt " + std::to_string(number) + " of " + std::to_string(of));
}

void display::answered(const reply &given)
{
    put_console_line();
    put_line("  0x" + to_hex({&given.byte, 1}) + "  " + std::string(given.meaning));
}

void display::sent(std::size_t done, std::size_t total)
{
    if (done == total) {
        put_line("  sent  " + std::to_string(total) + " bytes");
    } else if (style_ == style::live) {
        put_changing(progress_bar(done, total));
    }
}

void display::console(std::string_view text)
{
    for (const char character : text) {
        if (character == '\n' || character == '\r') {
            put_console_line();
        } else {
            console_line_ += character;
            if (console_line_.size() == longest_line) {
                put_console_line();
            }
        }
    }
}

void display::retrying(std::string_view reason)
{
    put_console_line();
    put_line("  " + std::string(reason));
}

void display::tell(const std::string &text)
{
    waits_ = false;
    put_console_line();
    put_line(text);
}

void display::finish()
{
    put_console_line();
    put_changing("");
    std::fflush(out_);
}

void display::put_console_line()
{
    if (console_line_.empty()) {
        return;
    }
    const auto text = printable(console_line_);
    console_line_.clear();
    if (console_text_.size() < most_of_text) {
        console_text_ += text + "\n";
    }
    put_line("| " + text);
}

void display::put_line(const std::string &text)
{
    put_changing("");
    if (style_ != style::hidden) {
        std::fprintf(out_, "%s\n", text.c_str());
        std::fflush(out_);
    }
}

void display::put_changing(const std::string &text)
{
    if (text != changing_) {
        std::fprintf(out_, "\r%s\x1b[K", text.c_str());
        std::fflush(out_);
        changing_ = text;
    }
}

} // namespace station
