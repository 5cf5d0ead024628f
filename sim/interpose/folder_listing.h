#pragma once

#include <dirent.h>
#include <memory>
#include <string>
#include <vector>

namespace sim {

/**
 * What opendir gives for a folder of the board. It goes through the program as a DIR that only
 * find() knows to be one of these.
 */
class folder_listing {
public:
    /** Owned by the program until close(). */
    static DIR *open(std::vector<std::string> names);
    /** The listing behind a DIR, or null when it is one of the C library's. */
    static folder_listing *find(DIR *folder);
    static void close(DIR *folder);

    /** The next entry, valid until the next call, or null at the end. */
    dirent64 *next();

private:
    explicit folder_listing(std::vector<std::string> names) : names_(std::move(names)) {}

    std::vector<std::string> names_;
    std::size_t next_ = 0;
    dirent64 entry_ = {};
};

} // namespace sim
