#include "sim/interpose/folder_listing.h"

#include <algorithm>
#include <cstddef>
#include <mutex>

namespace sim {
namespace {

std::mutex listings_mutex;
std::vector<std::unique_ptr<folder_listing>> listings;

auto position_of(DIR *folder)
{
    return std::ranges::find_if(listings, [&](const auto &one) {
        return static_cast<void *>(one.get()) == static_cast<void *>(folder);
    });
}

} // namespace

DIR *folder_listing::open(std::vector<std::string> names)
{
    const std::lock_guard lock(listings_mutex);
    listings.push_back(std::unique_ptr<folder_listing>(new folder_listing(std::move(names))));
    return static_cast<DIR *>(static_cast<void *>(listings.back().get()));
}

folder_listing *folder_listing::find(DIR *folder)
{
    const std::lock_guard lock(listings_mutex);
    const auto found = position_of(folder);
    return found != listings.end() ? found->get() : nullptr;
}

void folder_listing::close(DIR *folder)
{
    const std::lock_guard lock(listings_mutex);
    listings.erase(position_of(folder));
}

dirent64 *folder_listing::next()
{
    if (next_ == names_.size()) {
        return nullptr;
    }
    const std::string &name = names_[next_++];
    entry_ = {};
    entry_.d_ino = next_;
    entry_.d_off = static_cast<off64_t>(next_);
    entry_.d_reclen = sizeof entry_;
    entry_.d_type = DT_UNKNOWN;
    name.copy(entry_.d_name, sizeof entry_.d_name - 1);
    return &entry_;
}

} // namespace sim
