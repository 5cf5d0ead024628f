#pragma once

#include <cstdio>

#include "station/lines/line.h"

namespace station {

/** Passes everything on to another line and notes the bytes of both directions. */
class traced_line : public line {
public:
    /** Both the line and the file must outlive this. */
    traced_line(line &inner, std::FILE *out) : inner_(inner), out_(out), start_(inner.now()) {}

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t> data, milliseconds limit) override;
    /**
     * Notes a star for each byte, and for each that comes until something else than the end of the
     * password's line is written: it may be an echo.
     */
    void write_secret(std::span<const std::uint8_t> data, milliseconds limit) override;
    bool raw() const override { return inner_.raw(); }
    time_point now() const override { return inner_.now(); }

private:
    void note(char direction, std::span<const std::uint8_t> data);
    void note_read(std::span<const std::uint8_t> data);

    line &inner_;
    std::FILE *out_;
    time_point start_;
    int writes_to_hide_ = 0; // until then what comes may be the echo of a secret
};

} // namespace station
