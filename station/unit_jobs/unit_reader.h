#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "station/jobs/job_file.h"

namespace station {

/** Reads what a job says of a unit. Every mistake is told; a value that is one reads as nothing. */
class unit_reader {
public:
    /** Both must outlive the reader. */
    unit_reader(const job_table &table, mistakes &wrong) : table_(table), wrong_(wrong) {}

    /** A whole number. */
    std::uint32_t number(std::string_view key, std::uint32_t least, std::uint32_t most);

    /** A number of one byte. */
    std::uint8_t byte(std::string_view key);

    /** A text of printable ASCII characters, at least one. */
    std::string text(std::string_view key, std::size_t most);

    bool has(std::string_view key) const { return table_.has(key); }

    /** Adds a mistake on the line of a key, or of the unit where it has no such key. */
    void complain(std::string_view key, const std::string &what);

    /** The keys that there may be. */
    void allow_only(std::initializer_list<std::string_view> keys)
    {
        table_.allow_only(keys, wrong_);
    }

    int line() const { return table_.line; }

    /** Whether no value read so far was a mistake. */
    bool right() const { return right_; }

private:
    const job_table &table_;
    mistakes &wrong_;
    bool right_ = true;
};

/** Finds units that a job names twice: the switch would write the later one over the earlier. */
class unit_places {
public:
    /** place says in words where the unit is, as in "channel 3"; of no use where that is wrong. */
    void add(const std::string &place, unit_reader &unit);

private:
    std::map<std::string, int> lines_;
};

} // namespace station
