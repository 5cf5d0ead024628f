#pragma once

#include "sim/parts/device.h"

namespace sim {

/** A text of sysfs, read only. */
class text_file : public device {
public:
    text_file(std::string path, std::string text) : device(std::move(path)), text_(std::move(text))
    {
    }

    const std::string &text() const { return text_; }

    void describe(struct stat &status) const override;
    int64_t read(open_file &file, std::span<uint8_t> out) override;
    int64_t seek(open_file &file, int64_t offset, int whence) override;

private:
    std::string text_;
};

} // namespace sim
