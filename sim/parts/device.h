#pragma once

#include "sim/base/operation.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace sim {

class device;

/** What a program holds after an open. */
struct open_file {
    device *node = nullptr;
    int flags = 0; // as given to open
    uint64_t position = 0;
    uint16_t slave = 0; // the chip chosen on an I2C bus
};

/**
 * One node of the board: a device, or a text of sysfs. The results are those of a driver: what the
 * system call answers, or a negative errno. Access modes, the log, faults and the supply are looked
 * after before a node is asked.
 */
class device {
public:
    explicit device(std::string path) : path_(std::move(path)) {}
    virtual ~device() = default;
    device(const device &) = delete;
    device &operator=(const device &) = delete;

    const std::string &path() const { return path_; }

    /** Fills what stat tells of the node: mode, and the device's number or the size. */
    virtual void describe(struct stat &status) const = 0;

    /** Whether the log keeps the bytes that are read and written. */
    virtual bool logs_bytes() const { return false; }

    /** Whether it can be opened with these flags: 0, or why not. */
    virtual int64_t open(int) const { return 0; }
    virtual int64_t read(open_file &, std::span<uint8_t>) { return -EINVAL; }
    virtual int64_t write(open_file &, std::span<const uint8_t>) { return -EINVAL; }
    virtual int64_t seek(open_file &, int64_t, int) { return -ESPIPE; }

    /** An ioctl in the words of the log, before it is done; the argument may be null. */
    virtual operation name_ioctl(unsigned long request, const void *argument) const
    {
        static_cast<void>(argument);
        return {.name = "ioctl", .arguments = "request=" + hex(request)};
    }

    /** Carries an ioctl out. limit: how many parts of it (messages of a transfer) at most. */
    virtual int64_t ioctl(open_file &, unsigned long, void *, std::size_t, operation &)
    {
        return -ENOTTY;
    }

private:
    std::string path_;
};

/**
 * lseek in something of a size: the new position, or -EINVAL outside of 0 to size.
 */
int64_t seek_within(open_file &file, int64_t offset, int whence, uint64_t size);

} // namespace sim
