#pragma once

#include "sim/base/memory.h"
#include "sim/base/power.h"
#include "sim/description/description.h"
#include "sim/parts/device.h"

#include <memory>
#include <span>
#include <vector>

namespace sim {

/**
 * The chip behind one partition. Erased it is all 0xFF, and programming only clears bits; RAM is
 * the exception and takes every value. Offsets and lengths are those of the partition.
 */
class flash_memory {
public:
    flash_memory(partition what, std::unique_ptr<memory> cells, power &supply);

    const partition &description() const { return what_; }
    uint64_t size() const { return uint64_t{what_.erase_size} * what_.blocks; }
    bool is_bad(uint64_t block) const;
    /** Whether none of these bytes is in a block that cannot be read. */
    bool is_readable(uint64_t offset, uint64_t length) const;

    /** All bytes as they are in the chip; a test may change them. */
    std::span<uint8_t> bytes() { return cells_->bytes(); }
    /** A copy of one erase block. */
    std::vector<uint8_t> block(uint32_t index);

    /** Erases whole blocks: 0, -EINVAL when not whole or past the end, -EIO at a bad or failing
     * block. */
    int64_t erase(uint64_t offset, uint64_t length);
    /** Programs: 0; -EINVAL unless whole pages of NAND, -EIO at a bad or failing block, or without
     * power. */
    int64_t program(uint64_t offset, std::span<const uint8_t> data);

private:
    bool erase_block(uint64_t block);
    bool program_cells(std::span<uint8_t> cells, std::span<const uint8_t> data);

    partition what_;
    std::unique_ptr<memory> cells_;
    power &supply_;
};

/** /dev/mtdN as the kernel's character device answers for it. */
class mtd_device : public device {
public:
    mtd_device(int index, flash_memory &chip);

    void describe(struct stat &status) const override;
    int64_t open(int flags) const override;
    int64_t read(open_file &file, std::span<uint8_t> out) override;
    int64_t write(open_file &file, std::span<const uint8_t> data) override;
    int64_t seek(open_file &file, int64_t offset, int whence) override;
    operation name_ioctl(unsigned long request, const void *argument) const override;
    int64_t ioctl(open_file &file, unsigned long request, void *argument, std::size_t limit,
                  operation &log) override;

private:
    int64_t erase(const open_file &file, uint64_t start, uint64_t length);
    int64_t bad_block(int64_t offset) const;

    int index_;
    flash_memory &chip_;
};

/** The texts of /sys/class/mtd/mtdN. */
std::vector<std::unique_ptr<device>> mtd_texts(int index, const partition &what);

} // namespace sim
