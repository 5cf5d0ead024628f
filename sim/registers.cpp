#include "sim/registers.h"

#include <algorithm>
#include <sys/sysmacros.h>

namespace sim {

void register_device::describe(struct stat &status) const
{
    constexpr unsigned miscellaneous = 10; // the kernel's major number of devices of no class
    constexpr unsigned first_dynamic_minor = 255;
    status.st_nlink = 1;
    status.st_mode = S_IFCHR | 0600;
    status.st_rdev = makedev(miscellaneous, first_dynamic_minor);
}

std::span<uint8_t> register_device::from(const open_file &file, std::size_t count)
{
    const auto rest = bytes().subspan(std::min<uint64_t>(file.position, bytes().size()));
    return rest.first(std::min(count, rest.size()));
}

int64_t register_device::read(open_file &file, std::span<uint8_t> out)
{
    const auto taken = from(file, out.size());
    std::ranges::copy(taken, out.begin());
    file.position += taken.size();
    return static_cast<int64_t>(taken.size());
}

int64_t register_device::write(open_file &file, std::span<const uint8_t> data)
{
    const auto changed = from(file, data.size());
    if (changed.empty() && !data.empty()) {
        return -ENOSPC;
    }
    std::ranges::copy(data.first(changed.size()), changed.begin());
    file.position += changed.size();
    return static_cast<int64_t>(changed.size());
}

int64_t register_device::seek(open_file &file, int64_t offset, int whence)
{
    return seek_within(file, offset, whence, bytes().size());
}

} // namespace sim
