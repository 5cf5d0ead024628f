#include "units/common.h"

#include <fcntl.h>
#include <unistd.h>

#include "base/descriptor.h"

namespace {

constexpr const char *fpga_device = "/dev/fpga0";
constexpr mode_t creation_mode = 0600;

/** Opens the device at a register and does one `access` there. */
template <typename operation>
int32_t access_register(const char *device, int32_t offset, operation access_it)
{
    const descriptor registers(open(device, O_RDWR, creation_mode));
    if (!registers) {
        return -1;
    }
    const off_t position = lseek(registers.get(), offset, SEEK_SET);
    if (position < 0) {
        return static_cast<int32_t>(position);
    }
    const ssize_t moved = access_it(registers.get());
    return moved < 0 ? static_cast<int32_t>(moved) : 0;
}

} // namespace

int32_t drv_device_read(const char *device, int32_t offset, uint8_t *buffer, int32_t length)
{
    if (device == nullptr || buffer == nullptr) {
        return -1;
    }
    return access_register(device, offset, [=](int registers) {
        return read(registers, buffer, static_cast<size_t>(length));
    });
}

int32_t drv_device_write(const char *device, int32_t offset, const uint8_t *data, int32_t length)
{
    if (device == nullptr || data == nullptr) {
        return -1;
    }
    return access_register(device, offset, [=](int registers) {
        return write(registers, data, static_cast<size_t>(length));
    });
}

int32_t fpga_exist()
{
    return access(fpga_device, R_OK | W_OK) == 0 ? 1 : 0;
}

int32_t fpga_write(uint32_t reg, uint8_t value)
{
    return drv_device_write(fpga_device, static_cast<int32_t>(reg), &value, sizeof(value));
}

int32_t fpga_read(uint32_t reg, uint8_t *value)
{
    return drv_device_read(fpga_device, static_cast<int32_t>(reg), value, sizeof(*value));
}
