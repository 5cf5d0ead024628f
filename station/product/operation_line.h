#pragma once

#include <string>

#include "station/console/console.h"
#include "station/lines/line.h"

namespace station {

/** The operation has ended: its console stands at a prompt. */
class operation_over : public line_closed {
public:
    using line_closed::line_closed;
};

/**
 * The line to an operation on the switch. Once nothing has followed a prompt of the shell or of a
 * login for a while, nothing more comes from the operation, however long an answer may take:
 * reading then throws operation_over.
 */
class operation_line : public line {
public:
    /** Both must outlive this. */
    operation_line(line &inner, const console &shell)
        : inner_(inner), shell_(shell), last_arrival_(inner.now())
    {
    }

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t> data, milliseconds limit) override;
    bool raw() const override { return inner_.raw(); }
    time_point now() const override { return inner_.now(); }

private:
    line &inner_;
    const console &shell_;
    bool looked_at_ = false; // what was heard is no prompt
    std::string heard_;      // the last of it
    time_point last_arrival_;
};

} // namespace station
