#pragma once

#include <stop_token>

#include "station/lines/line.h"

namespace station {

/** Somebody wants the work on the line to end. */
class line_stopped : public line_error {
public:
    using line_error::line_error;
};

/**
 * Passes everything on to another line until a stop is requested, from whatever thread; a reading
 * that waits then ends within 50 ms. Reading and writing throw line_stopped from then on.
 */
class stoppable_line : public line {
public:
    /** The line must outlive this. */
    stoppable_line(line &inner, std::stop_token stop) : inner_(inner), stop_(std::move(stop)) {}

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t> data, milliseconds limit) override;
    void write_secret(std::span<const std::uint8_t> data, milliseconds limit) override;
    bool raw() const override { return inner_.raw(); }
    time_point now() const override { return inner_.now(); }

private:
    void check() const;

    line &inner_;
    std::stop_token stop_;
};

} // namespace station
