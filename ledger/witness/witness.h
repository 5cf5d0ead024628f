#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "ledger/model/journal_entry.h"

namespace ledger {

/** The last entry that a witness knows, and of which ledger. */
struct witnessed {
    std::string ledger = {};
    std::int64_t number = 0;
    std::string hash = {};
};

/**
 * A copy of the journal in a second place: a file with a line of JSON for each entry, after a first
 * line that names the ledger and the entry that the copy begins behind. While the object lives, no
 * other program uses the file. Throws error: unusable where the file cannot be used.
 */
class witness {
public:
    explicit witness(std::string path);
    ~witness();
    witness(const witness &) = delete;
    witness &operator=(const witness &) = delete;

    /** Makes the file, durably, or what of it is missing; another file stays as it is. */
    static void create(const std::string &path, const witnessed &start);

    /** The entry that the copy begins behind. */
    const witnessed &first() const { return first_; }
    const witnessed &last() const { return last_; }

    /** Adds an entry; only sync() makes it durable. */
    void append(const journal_entry &entry);
    void sync();

    /** Hands on the entries behind that number, in order. Refuses a file that is damaged before. */
    void entries_after(std::int64_t number,
                       const std::function<void(const journal_entry &)> &take) const;

    /**
     * Begins a new copy of the journal in the same place, filled by the function. The old one is
     * kept beside it, under the name that is returned.
     */
    std::string start_anew(const witnessed &start, const std::function<void(witness &)> &fill);

private:
    bool open_locked();
    void read_last();
    [[noreturn]] void fail(const std::string &what) const;

    std::string path_;
    int file_ = -1;
    std::int64_t end_ = 0; // of the last whole line
    witnessed first_;
    witnessed last_;
};

} // namespace ledger
