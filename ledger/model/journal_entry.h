#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ledger {

/** The SHA-256 of the bytes, as 64 hexadecimal digits. */
std::string sha256_of(std::string_view bytes);

/** The hash that the first entry is chained to. */
inline const std::string no_entry_hash(64, '0');

/** A change of the ledger, chained to the one before. */
struct journal_entry {
    std::int64_t number = 0; // from 1, without gaps
    std::string at = {};
    std::string topic = {};   // what it is about: "ledger", "pool", "product", "unit"
    std::string subject = {}; // its name or label
    std::string kind = {};    // what was done: "reserve"
    std::string content = {}; // JSON on one line: the records as they are after it
    std::string previous = {};
    std::string hash = {};
};

/** SHA-256 over all of its fields but the hash, a line each. */
std::string hash_of(const journal_entry &entry);

/** The entry as a line of JSON, and back; refuses a line that is none. */
std::string entry_line(const journal_entry &entry);
journal_entry read_entry_line(std::string_view line);

} // namespace ledger
