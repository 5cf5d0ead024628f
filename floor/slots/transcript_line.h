#pragma once

#include <string>

#include "station/lines/line.h"

namespace shopfloor {

/**
 * Passes everything on to another line and writes down both directions, with times: JSON Lines of
 * {"at": seconds, "from": "station" or "switch", "text": "..."}. Bytes that are no text stand there
 * as "\xNN". Of a line that says too much the beginning and the end are kept.
 */
class transcript_line : public station::line {
public:
    /** The line must outlive this. */
    explicit transcript_line(station::line &inner) : inner_(inner), start_(inner.now()) {}

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t> data, milliseconds limit) override;
    /**
     * Notes a star for each byte, and for each that comes until something else than the end of the
     * password's line is written: it may be an echo.
     */
    void write_secret(std::span<const std::uint8_t> data, milliseconds limit) override;
    bool raw() const override { return inner_.raw(); }
    time_point now() const override { return inner_.now(); }

    /** What was written down so far. */
    std::string text();

private:
    void note(bool from_switch, std::string_view text);
    void end_entry();

    station::line &inner_;
    time_point start_;
    int writes_to_hide_ = 0; // until then what comes may be the echo of a secret
    bool from_switch_ = false;
    double at_ = 0; // of the entry that is being written
    std::string entry_;
    std::string first_; // whole entries
    std::string last_;
    std::size_t left_out_ = 0; // bytes of entries between those
};

} // namespace shopfloor
