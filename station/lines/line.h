#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

namespace station {

/** The line does not work: it cannot be opened, or bytes do not go out. */
class line_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The far side is gone and everything it sent was read. */
class line_closed : public line_error {
public:
    using line_error::line_error;
};

/** A byte line to a switch. */
class line {
public:
    using time_point = std::chrono::steady_clock::time_point;
    using milliseconds = std::chrono::milliseconds;

    line() = default;
    line(const line &) = delete;
    line &operator=(const line &) = delete;
    virtual ~line() = default;

    /**
     * Reads up to buffer.size() bytes and returns as soon as there are any; 0 when none came within
     * limit. Throws line_closed or line_error.
     */
    virtual std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) = 0;

    /** Writes all bytes. Throws line_error when they are not taken within limit. */
    virtual void write(std::span<const std::uint8_t> data, milliseconds limit) = 0;

    /** Writes a password: as write(), but nobody who notes the line may note it or its echo. */
    virtual void write_secret(std::span<const std::uint8_t> data, milliseconds limit)
    {
        write(data, limit);
    }

    /**
     * Whether every byte reaches the far side as data. A terminal that its program has not yet
     * switched to raw mode takes some as keys: 0x03 would interrupt the program.
     */
    virtual bool raw() const { return true; }

    /** The clock that the limits are measured on. */
    virtual time_point now() const { return std::chrono::steady_clock::now(); }
};

} // namespace station
