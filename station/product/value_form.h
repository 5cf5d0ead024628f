#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/jobs/job_file.h"

namespace re2 {
class RE2;
}

namespace station {

enum class value_kind { text, mac, number, date };

/** What a value that differs from unit to unit has to look like. */
struct value_form {
    std::string name;
    value_kind kind = value_kind::text;
    int line = 1;                                 // of the product file
    std::string pattern_text = {};                // of a text; empty: any
    std::shared_ptr<const re2::RE2> pattern = {}; // nullptr: any
    std::size_t shortest = 1;                     // of a text, in characters
    std::size_t longest = 0;                      // 0: any
    std::int64_t least = 0;                       // of a number
    std::int64_t most = 0;
    std::int64_t align = 1; // of a MAC address: what it must be a multiple of
    std::int64_t count = 1; // how many MAC addresses a unit has, from this one on
};

/** Texts by the names of the values that they are for. */
using given_values = std::map<std::string, std::string, std::less<>>;

/** The values of a product file: its [[value]] tables. Every mistake is told. */
std::vector<value_form> read_value_forms(const job_table &product, mistakes &wrong);

/** A text that was looked at as a value. */
struct checked_value {
    std::string text;      // as it is stored: a MAC address as "00:1A:2B:3C:4D:5E"
    std::string complaint; // what was expected; empty where the text fits the form
};

checked_value check_value(const value_form &form, const std::string &text);

/** The values that stand at the places of a product's job files. */
struct filled_values {
    const std::vector<value_form> &forms;
    given_values given; // in the form in which they are stored
    std::string today;  // "2024-01-31"
};

/**
 * Puts values in place of "{name}", "{name+1}" and "{today}" in all texts of a job; "{{" and "}}"
 * stand for the brackets themselves. Every mistake is told.
 */
job_table filled(const job_table &job, const filled_values &values, mistakes &wrong);

} // namespace station
