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
    bool raw() const override { return inner_.raw(); }
    time_point now() const override { return inner_.now(); }

private:
    void note(char direction, std::span<const std::uint8_t> data);

    line &inner_;
    std::FILE *out_;
    time_point start_;
};

} // namespace station
