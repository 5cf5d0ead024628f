#include "sim/parts/i2c_bus.h"

#include <algorithm>
#include <cstring>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <set>
#include <sys/sysmacros.h>

namespace sim {
namespace {

constexpr std::size_t longest_message = 8192; // what the kernel's i2c-dev takes
constexpr std::size_t longest_plain_io = 8192;
constexpr unsigned long functions = I2C_FUNC_I2C | I2C_FUNC_NOSTART;

bool is_read(const i2c_bus::message &one)
{
    return (one.flags & I2C_M_RD) != 0;
}

/** What i2c-dev and the adapter check before anything goes over the bus. */
int check(std::span<const i2c_bus::message> messages)
{
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const auto &one = messages[i];
        // As an adapter that declares both: no addresses of ten bits, no empty messages.
        if ((one.flags & I2C_M_TEN) != 0 || one.bytes.empty()) {
            return EOPNOTSUPP;
        }
        const bool goes_on = (one.flags & I2C_M_NOSTART) != 0;
        if (goes_on && (i == 0 || is_read(messages[i - 1]) != is_read(one))) {
            return EINVAL;
        }
    }
    return 0;
}

void log_message(const i2c_bus::message &one, std::size_t moved, operation &log)
{
    if ((one.flags & I2C_M_NOSTART) == 0) {
        log.arguments += is_read(one) ? " read=" : " write=";
    }
    const auto bytes = one.bytes.first(moved);
    log.arguments += hex_digits(bytes);
    log.data.insert(log.data.end(), bytes.begin(), bytes.end());
}

/** What was to be written: nothing has crossed the bus. */
void log_refused(std::span<const i2c_bus::message> messages, operation &log)
{
    for (const auto &one : messages) {
        if ((one.flags & I2C_M_NOSTART) == 0) {
            log.arguments += is_read(one) ? " read=" : " write=";
        }
        log.arguments += is_read(one) ? "" : hex_digits(one.bytes);
    }
}

/** Word address and length, of what crossed the bus. */
void log_extent(std::span<const i2c_bus::message> messages, operation &log)
{
    const bool addressed = !messages.empty() && !is_read(messages[0]) && !log.data.empty();
    log.offset = addressed ? log.data[0] : 0;
    log.length = log.data.size() - (addressed ? 1 : 0);
}

} // namespace

void i2c_bus::describe(struct stat &status) const
{
    status.st_nlink = 1;
    status.st_mode = S_IFCHR | 0600;
    status.st_rdev = makedev(89, 0);
}

i2c_chip *i2c_bus::find(uint16_t address) const
{
    const auto found =
        std::ranges::find_if(chips_, [&](const auto &chip) { return chip->address() == address; });
    return found != chips_.end() ? found->get() : nullptr;
}

int64_t i2c_bus::carry(const message &one, i2c_chip *&chip, operation &log)
{
    if ((one.flags & I2C_M_NOSTART) == 0) {
        chip = find(one.address);
        if (chip == nullptr || !chip->start(is_read(one))) {
            log_message(one, 0, log);
            return -ENXIO;
        }
    }
    std::size_t moved = 0;
    for (uint8_t &byte : one.bytes) {
        if (is_read(one)) {
            byte = chip->read();
        } else if (!chip->write(byte)) {
            break;
        }
        ++moved;
    }
    log_message(one, moved, log);
    return moved == one.bytes.size() ? 0 : -EIO;
}

int64_t i2c_bus::transfer(std::span<const message> messages, operation &log)
{
    log.address = messages.empty() ? uint8_t{0} : static_cast<uint8_t>(messages[0].address);
    log.arguments = "address=" + hex(log.address);
    if (const int error = check(messages); error != 0) {
        log_refused(messages, log);
        return -error;
    }
    int64_t result = static_cast<int64_t>(messages.size());
    i2c_chip *chip = nullptr;
    std::set<i2c_chip *> addressed;
    for (const message &one : messages) {
        const int64_t carried = carry(one, chip, log);
        if (chip != nullptr) {
            addressed.insert(chip);
        }
        if (carried < 0) {
            result = carried;
            break;
        }
    }
    for (i2c_chip *one : addressed) {
        one->stop();
    }
    log_extent(messages, log);
    return result;
}

int64_t i2c_bus::read(open_file &file, std::span<uint8_t> out)
{
    const message one = {file.slave, I2C_M_RD, out.first(std::min(out.size(), longest_plain_io))};
    operation unused;
    const int64_t result = transfer({&one, 1}, unused);
    return result < 0 ? result : static_cast<int64_t>(one.bytes.size());
}

int64_t i2c_bus::write(open_file &file, std::span<const uint8_t> data)
{
    std::vector<uint8_t> copy(data.begin(), data.end());
    copy.resize(std::min(copy.size(), longest_plain_io));
    const message one = {file.slave, 0, copy};
    operation unused;
    const int64_t result = transfer({&one, 1}, unused);
    return result < 0 ? result : static_cast<int64_t>(copy.size());
}

operation i2c_bus::name_ioctl(unsigned long request, const void *argument) const
{
    switch (request) {
    case I2C_RDWR:
        return {.name = "transfer"};
    case I2C_SLAVE:
    case I2C_SLAVE_FORCE: {
        const auto address = reinterpret_cast<uintptr_t>(argument);
        return {.name = "slave",
                .address = static_cast<uint8_t>(address),
                .arguments = "address=" + hex(address)};
    }
    default:
        return device::name_ioctl(request, argument);
    }
}

int64_t i2c_bus::rdwr(const void *argument, std::size_t limit, operation &log)
{
    i2c_rdwr_ioctl_data data = {};
    std::memcpy(&data, argument, sizeof data);
    if (data.nmsgs == 0 || data.nmsgs > I2C_RDWR_IOCTL_MAX_MSGS || data.msgs == nullptr) {
        return -EINVAL;
    }
    std::vector<message> messages;
    for (const i2c_msg &one : std::span(data.msgs, data.nmsgs)) {
        if (one.len > longest_message) {
            return -EINVAL;
        }
        messages.push_back({one.addr, one.flags, {one.buf, one.len}});
    }
    messages.resize(std::min(messages.size(), limit));
    return transfer(messages, log);
}

int64_t i2c_bus::ioctl(open_file &file, unsigned long request, void *argument, std::size_t limit,
                       operation &log)
{
    const bool is_number = request == I2C_SLAVE || request == I2C_SLAVE_FORCE;
    if (!is_number && argument == nullptr) {
        return -EFAULT;
    }
    switch (request) {
    case I2C_SLAVE:
    case I2C_SLAVE_FORCE: {
        const auto address = reinterpret_cast<uintptr_t>(argument);
        if (address > 0x7F) {
            return -EINVAL;
        }
        file.slave = static_cast<uint16_t>(address);
        return 0;
    }
    case I2C_FUNCS:
        std::memcpy(argument, &functions, sizeof functions);
        return 0;
    case I2C_RDWR:
        return rdwr(argument, limit, log);
    default:
        return -ENOTTY;
    }
}

} // namespace sim
