#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace ledger_tests {

/**
 * Records what SQLite does to files, from its construction to stop(), and makes the images that a
 * cut of the power may leave: what was synced is there; of what was not, any part may be, down to a
 * sector of a write. A file that was removed may be back until its folder is synced.
 */
class recording_disk {
public:
    /** Faults of a disk, or of settings, that keep nothing safe. */
    struct faults {
        bool no_syncs = false;        // of files: as with synchronous=OFF
        bool no_folder_syncs = false; // after a removal: as with synchronous=FULL
    };

    /** A state of the files, by name; one that is not there is left out. */
    using image = std::map<std::string, std::string>;

    explicit recording_disk(faults with);
    ~recording_disk();
    recording_disk(const recording_disk &) = delete;
    recording_disk &operator=(const recording_disk &) = delete;

    /** From here on folders are synced, or not. */
    void sync_folders(bool on) { faults_.no_folder_syncs = !on; }

    /** From here on nothing is recorded any more. */
    void stop();

    /** How many writes, syncs and removals there were so far. */
    std::size_t events() const { return log_.size(); }

    /** With nothing of what was not synced after that many events, or all of it. */
    image oldest_after(std::size_t events) const;
    image newest_after(std::size_t events) const;
    /** With any of it. */
    image any_after(std::size_t events, std::mt19937 &chance) const;

    enum class kind { opened, written, truncated, synced, removed };
    struct event {
        kind what = kind::opened;
        std::string file = {};
        std::int64_t at = 0; // or the new size
        std::string data = {};
        bool folder_synced = false;
    };
    void record(event one);

private:
    struct pending_file {
        std::optional<std::string> durable = {}; // as the disk has it for sure
        std::vector<event> since = {};           // what may have come to it
    };
    std::map<std::string, pending_file> state_after(std::size_t events) const;

    faults faults_;
    std::vector<event> log_;
};

} // namespace ledger_tests
