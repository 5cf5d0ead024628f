#include "store/mtd.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/descriptor.h"
#include "base/text.h"
#include "base/trace.h"

namespace {

constexpr int32_t max_mtd_index = 63;
constexpr size_t max_name_length = 63;

int open_mtd(int32_t index)
{
    std::array<char, 32> path{};
    snprintf(path.data(), path.size(), "/dev/mtd%d", index);
    return open(path.data(), O_RDWR);
}

bool is_bad_block(int device, uint32_t offset)
{
    // A driver that cannot tell (a negative result) has no bad block there.
    auto position = static_cast<loff_t>(offset);
    return ioctl(device, MEMGETBADBLOCK, &position) > 0;
}

int erase(int device, uint32_t start, uint32_t length)
{
    erase_info_user range{.start = start, .length = length};
    return ioctl(device, MEMERASE, &range);
}

/**
 * Reads on where a read comes short. The bytes read, fewer than `length` at the end of the
 * partition only; -1 for a failure.
 */
ssize_t read_whole(int device, void *buffer, size_t length)
{
    auto *bytes = static_cast<uint8_t *>(buffer);
    size_t done = 0;
    while (done < length) {
        const ssize_t got = read(device, bytes + done, length - done);
        if (got < 0) {
            return got;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

/** Writes on where a write comes short: half an image is no image. `length`, or -1. */
ssize_t write_whole(int device, const void *buffer, size_t length)
{
    const auto *bytes = static_cast<const uint8_t *>(buffer);
    for (size_t done = 0; done < length;) {
        const ssize_t written = write(device, bytes + done, length - done);
        if (written <= 0) {
            return -1;
        }
        done += static_cast<size_t>(written);
    }
    return static_cast<ssize_t>(length);
}

int32_t clamp_result(int64_t result)
{
    return static_cast<int32_t>(std::min<int64_t>(result, std::numeric_limits<int32_t>::max()));
}

uint32_t block_count(const mtd_info_user &geometry)
{
    return geometry.erasesize == 0 ? 0 : geometry.size / geometry.erasesize;
}

int32_t read_nand(int device, const mtd_info_user &geometry, void *buffer, int32_t length)
{
    const uint32_t blocks = block_count(geometry);
    int64_t result = 0;
    for (uint32_t block = 0; block < blocks; ++block) {
        const uint32_t offset = block * geometry.erasesize;
        result = lseek(device, offset, SEEK_SET);
        if (result < 0) {
            SETMAC_TRACE_AS("mtd_read", __LINE__, "%s: read nand failed.\r\n", "mtd_read");
            return clamp_result(result);
        }
        if (is_bad_block(device, offset)) {
            SETMAC_TRACE_AS("mtd_read", __LINE__, "\r\nBlock %d is bad, skip", block);
            continue;
        }
        result = read_whole(device, buffer, static_cast<size_t>(length));
        if (result != -1) {
            break;
        }
        SETMAC_TRACE_AS("mtd_read", __LINE__, "%s: read mtd failed.\r\n", "mtd_read");
    }
    return clamp_result(result);
}

int32_t write_nor(int device, const mtd_info_user &geometry, const void *buffer, int32_t length)
{
    if (erase(device, 0, geometry.size) < 0) {
        SETMAC_TRACE_AS("mtd_write", __LINE__, "%s: erase mtd failed.\r\n", "mtd_write");
        return -1;
    }
    return write_whole(device, buffer, static_cast<size_t>(length)) > 0 ? 0 : -1;
}

bool erase_good_blocks(int device, const mtd_info_user &geometry)
{
    for (uint32_t block = 0; block < block_count(geometry); ++block) {
        const uint32_t offset = block * geometry.erasesize;
        if (is_bad_block(device, offset)) {
            SETMAC_TRACE_AS("mtd_write", __LINE__, "\r\nBlock %d is bad, skip", block);
            continue;
        }
        if (erase(device, offset, geometry.erasesize) < 0) {
            SETMAC_TRACE_AS("mtd_write", __LINE__, "%s: erase mtd failed.\r\n", "mtd_write");
            return false;
        }
    }
    return true;
}

int32_t write_good_blocks(int device, const mtd_info_user &geometry, const void *buffer,
                          int32_t length)
{
    int64_t result = 0;
    for (uint32_t block = 0; block < block_count(geometry); ++block) {
        const uint32_t offset = block * geometry.erasesize;
        result = lseek(device, offset, SEEK_SET);
        if (result < 0) {
            SETMAC_TRACE_AS("mtd_write", __LINE__, "%s: write nand failed.\r\n", "mtd_write");
            return -1;
        }
        if (is_bad_block(device, offset)) {
            SETMAC_TRACE_AS("mtd_write", __LINE__, "\r\nBlock %d is bad, skip", block);
            continue;
        }
        result = write_whole(device, buffer, static_cast<size_t>(length));
        if (result < 0) {
            SETMAC_TRACE_AS("mtd_write", __LINE__, "%s: write mtd failed.\r\n", "mtd_write");
            return -1;
        }
    }
    return result > 0 ? 0 : -1;
}

int32_t write_nand(int device, const mtd_info_user &geometry, const void *buffer, int32_t length)
{
    // Every good block is erased before the first is written, and every one gets its own copy.
    if (block_count(geometry) == 0 || !erase_good_blocks(device, geometry)) {
        return -1;
    }
    return write_good_blocks(device, geometry, buffer, length);
}

} // namespace

int32_t get_mtd_nm(const char *name)
{
    for (int32_t index = 0; index <= max_mtd_index; ++index) {
        std::array<char, 64> path{};
        snprintf(path.data(), path.size(), "/sys/class/mtd/mtd%d/name", index);
        const descriptor file(open(path.data(), O_RDONLY));
        if (!file) {
            return -1;
        }
        std::array<char, max_name_length> text{};
        const ssize_t got = read(file.get(), text.data(), text.size());
        if (got <= 0) {
            continue;
        }
        const std::string_view line(text.data(), static_cast<size_t>(got));
        if (first_part(line, line.find_first_of("\r\n")) == name) {
            return index;
        }
    }
    return -1;
}

int32_t mtd_get_size(int32_t index, uint32_t *size)
{
    const descriptor device(open_mtd(index));
    if (!device) {
        printf("%s: Open mtd%d failed.\r\n", "mtd_get_size", index);
        return -1;
    }
    mtd_info_user geometry{};
    const int result = ioctl(device.get(), MEMGETINFO, &geometry);
    if (result < 0) {
        printf("%s: get mtd info failed.\r\n", "mtd_get_size");
        return result;
    }
    if (geometry.type == MTD_NORFLASH) {
        *size = geometry.size;
    } else if (geometry.type == MTD_NANDFLASH) {
        *size = geometry.erasesize;
    }
    return result;
}

int32_t mtd_read(int32_t index, void *buffer, int32_t length)
{
    const descriptor device(open_mtd(index));
    if (!device) {
        SETMAC_TRACE("%s: Open mtd%d failed.\r\n", "mtd_read", index);
        return -1;
    }
    mtd_info_user geometry{};
    const int result = ioctl(device.get(), MEMGETINFO, &geometry);
    if (result < 0) {
        SETMAC_TRACE("%s: get mtd info failed.\r\n", "mtd_read");
        return result;
    }
    if (geometry.type == MTD_NORFLASH) {
        return clamp_result(read_whole(device.get(), buffer, static_cast<size_t>(length)));
    }
    if (geometry.type == MTD_NANDFLASH) {
        return read_nand(device.get(), geometry, buffer, length);
    }
    return 0;
}

int32_t mtd_write(int32_t index, const void *buffer, int32_t length)
{
    const descriptor device(open_mtd(index));
    if (!device) {
        SETMAC_TRACE("%s: Open mtd%d failed.\r\n", "mtd_write", index);
        return -1;
    }
    mtd_info_user geometry{};
    if (ioctl(device.get(), MEMGETINFO, &geometry) < 0) {
        SETMAC_TRACE("%s: get mtd info failed.\r\n", "mtd_write");
        return -1;
    }
    if (geometry.type == MTD_NORFLASH) {
        return write_nor(device.get(), geometry, buffer, length);
    }
    if (geometry.type == MTD_NANDFLASH) {
        return write_nand(device.get(), geometry, buffer, length);
    }
    return -1;
}
