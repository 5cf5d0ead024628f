#include "sim/parts/registers.h"

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

std::size_t register_device::available(const open_file &file, std::size_t count)
{
    return std::min<std::size_t>(count, bytes().size() - std::min(file.position, bytes().size()));
}

int64_t register_device::read(open_file &file, std::span<uint8_t> out)
{
    const std::size_t count = available(file, out.size());
    for (uint8_t &byte : out.first(count)) {
        byte = load(file.position++);
    }
    return static_cast<int64_t>(count);
}

int64_t register_device::write(open_file &file, std::span<const uint8_t> data)
{
    const std::size_t count = available(file, data.size());
    if (count == 0 && !data.empty()) {
        return -ENOSPC;
    }
    for (const uint8_t byte : data.first(count)) {
        store(file.position++, byte);
    }
    return static_cast<int64_t>(count);
}

int64_t register_device::seek(open_file &file, int64_t offset, int whence)
{
    return seek_within(file, offset, whence, bytes().size());
}

} // namespace sim
