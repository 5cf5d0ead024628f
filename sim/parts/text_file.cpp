#include "sim/parts/text_file.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

namespace sim {

int64_t seek_within(open_file &file, int64_t offset, int whence, uint64_t size)
{
    int64_t base = 0;
    switch (whence) {
    case SEEK_SET:
        break;
    case SEEK_CUR:
        base = static_cast<int64_t>(file.position);
        break;
    case SEEK_END:
        base = static_cast<int64_t>(size);
        break;
    default:
        return -EINVAL;
    }
    int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0 ||
        static_cast<uint64_t>(target) > size) {
        return -EINVAL;
    }
    file.position = static_cast<uint64_t>(target);
    return target;
}

void text_file::describe(struct stat &status) const
{
    status.st_nlink = 1;
    status.st_mode = S_IFREG | 0444;
    status.st_size = 4096; // as sysfs says of every text
}

int64_t text_file::read(open_file &file, std::span<uint8_t> out)
{
    const std::size_t start = std::min<std::size_t>(file.position, text_.size());
    const std::size_t count = std::min(out.size(), text_.size() - start);
    std::memcpy(out.data(), text_.data() + start, count);
    file.position = start + count;
    return static_cast<int64_t>(count);
}

int64_t text_file::seek(open_file &file, int64_t offset, int whence)
{
    return seek_within(file, offset, whence, 4096);
}

} // namespace sim
