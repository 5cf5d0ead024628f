#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "station/base/bytes.h"
#include "station/jobs/job_file.h"

namespace station {

/**
 * Reads an entry of a job: a name and a value, given either as text = "..." or in hexadecimal as
 * hex = "00 1A 2B". Every mistake is told.
 */
class entry_reader {
public:
    /** kind is what the job calls such an entry, as in "property". All must outlive the reader. */
    entry_reader(const job_table &table, std::string_view kind, mistakes &wrong)
        : table_(table), kind_(kind), wrong_(wrong)
    {
    }

    /** The entry's name; none where it is missing or no text. example is one that is right. */
    std::optional<std::string> read_name(std::string_view example);

    /** The entry's value; none where it is not as it should be. */
    std::optional<bytes> read_value();

    /** Whether the value is given as a text. */
    bool has_text() const { return table_.has("text"); }

    /** Adds a mistake on the line of a key, or of the entry where it has no such key. */
    void complain(std::string_view key, const std::string &what);

    /** The same on the line of the value. */
    void complain_of_value(const std::string &what) { complain(has_text() ? "text" : "hex", what); }

private:
    std::optional<bytes> read_text();
    std::optional<bytes> read_hex();

    const job_table &table_;
    std::string_view kind_;
    mistakes &wrong_;
    std::string name_;
};

/** "1 byte", "2 bytes" */
std::string size_of(const bytes &value);

} // namespace station
