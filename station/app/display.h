#pragma once

#include <chrono>
#include <cstdio>
#include <string>

#include "station/base/outcome.h"

namespace station {

/** Shows the steps of an exchange to the operator, and keeps what the switch's console showed. */
class display : public listener {
public:
    enum class style {
        hidden, // keeps the console's text only
        lines,  // a line for each step
        live    // lines, and a last line that changes in place: for a terminal
    };

    /** place is where the switch is waited for, as in " on /dev/ttyUSB0", or nothing. */
    display(std::FILE *out, style how, std::string place);
    ~display() override;

    void waiting() override;
    void attempt(int number, int of) override;
    void answered(const reply &given) override;
    void sent(std::size_t done, std::size_t total) override;
    void console(std::string_view text) override;
    void retrying(std::string_view reason) override;

    /** Shows a line of its own. */
    void tell(const std::string &text);

    /** Ends what is still unfinished: a changing line, a line of the console without its end. */
    void finish();

    /** The console's text so far, about 1 MiB of it, line by line; other than printable ASCII as
     * "\xNN". */
    const std::string &console_text() const { return console_text_; }

private:
    void put_line(const std::string &text);
    void put_changing(const std::string &text);
    void put_console_line();

    std::FILE *out_;
    style style_;
    std::string place_;
    bool waits_ = false;
    bool told_waiting_ = false;
    std::chrono::steady_clock::time_point waits_since_;
    std::string changing_;
    std::string console_line_;
    std::string console_text_;
};

} // namespace station
