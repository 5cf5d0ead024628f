#pragma once

#include "sim/base/memory.h"
#include "sim/parts/device.h"

#include <memory>

namespace sim {

/** A device of byte registers, as /dev/cpld0: the position in the file is the register's number. */
class register_device : public device {
public:
    register_device(std::string path, std::unique_ptr<memory> cells)
        : device(std::move(path)), cells_(std::move(cells))
    {
    }

    /** All registers as they are; a test may change them. */
    std::span<uint8_t> bytes() { return cells_->bytes(); }

    void describe(struct stat &status) const override;
    bool logs_bytes() const override { return true; }
    int64_t read(open_file &file, std::span<uint8_t> out) override;
    int64_t write(open_file &file, std::span<const uint8_t> data) override;
    int64_t seek(open_file &file, int64_t offset, int whence) override;

protected:
    /** What reading a register gives, and what writing one does. */
    virtual uint8_t load(std::size_t number) { return bytes()[number]; }
    virtual void store(std::size_t number, uint8_t value) { bytes()[number] = value; }

private:
    /** How many of so many registers there are from the position on. */
    std::size_t available(const open_file &file, std::size_t count);

    std::unique_ptr<memory> cells_;
};

} // namespace sim
