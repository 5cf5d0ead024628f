#pragma once

#include "sim/parts/device.h"

#include <memory>
#include <vector>

namespace sim {

/** A chip on an I2C bus, as it sees the bus. */
class i2c_chip {
public:
    explicit i2c_chip(uint8_t address) : address_(address) {}
    virtual ~i2c_chip() = default;
    i2c_chip(const i2c_chip &) = delete;
    i2c_chip &operator=(const i2c_chip &) = delete;

    uint8_t address() const { return address_; }

    /** Start, or start again, with its address: whether it answers. */
    virtual bool start(bool reading) = 0;
    /** A byte to it: whether it takes it. */
    virtual bool write(uint8_t byte) = 0;
    /** A byte from it. */
    virtual uint8_t read() = 0;
    virtual void stop() = 0;

private:
    uint8_t address_;
};

/** /dev/i2c-N: transfers of plain messages. */
class i2c_bus : public device {
public:
    explicit i2c_bus(std::string path) : device(std::move(path)) {}

    void fit(std::unique_ptr<i2c_chip> chip) { chips_.push_back(std::move(chip)); }

    void describe(struct stat &status) const override;
    int64_t read(open_file &file, std::span<uint8_t> out) override;
    int64_t write(open_file &file, std::span<const uint8_t> data) override;
    operation name_ioctl(unsigned long request, const void *argument) const override;
    int64_t ioctl(open_file &file, unsigned long request, void *argument, std::size_t limit,
                  operation &log) override;

    /** One message: a part of a transfer in one direction. */
    struct message {
        uint16_t address = 0;
        uint16_t flags = 0; // I2C_M_RD, I2C_M_NOSTART, …
        std::span<uint8_t> bytes;
    };

private:
    /** The messages from start to stop: how many there were. */
    int64_t transfer(std::span<const message> messages, operation &log);
    /** One message with the chip it goes to: 0 or a negative errno. */
    int64_t carry(const message &one, i2c_chip *&chip, operation &log);
    int64_t rdwr(const void *argument, std::size_t limit, operation &log);
    i2c_chip *find(uint16_t address) const;

    std::vector<std::unique_ptr<i2c_chip>> chips_;
};

} // namespace sim
