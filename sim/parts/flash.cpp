#include "sim/parts/flash.h"

#include "sim/parts/text_file.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <mtd/mtd-abi.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>
#include <utility>

namespace sim {
namespace {

struct type_facts {
    std::string_view name;
    uint8_t code;
    uint32_t flags;
};

type_facts facts(flash_type type)
{
    switch (type) {
    case nor:
        return {"nor", MTD_NORFLASH, MTD_CAP_NORFLASH};
    case nand:
        return {"nand", MTD_NANDFLASH, MTD_CAP_NANDFLASH};
    case ram:
        return {"ram", MTD_RAM, MTD_CAP_RAM};
    case ubi:
        break;
    }
    return {"ubi", MTD_UBIVOLUME, MTD_WRITEABLE};
}

uint32_t write_size(const partition &what)
{
    return what.type == nand ? what.page_size : 1;
}

uint32_t spare_size(const partition &what)
{
    return what.type == nand ? what.page_size / 32 : 0;
}

uint32_t flags_of(const partition &what)
{
    return facts(what.type).flags & ~(what.read_only ? uint32_t{MTD_WRITEABLE} : 0U);
}

bool for_writing(int flags)
{
    return (flags & O_ACCMODE) != O_RDONLY;
}

bool can_write(const open_file &file)
{
    return for_writing(file.flags);
}

bool contains(const std::vector<uint32_t> &blocks, uint64_t block)
{
    return std::find(blocks.begin(), blocks.end(), block) != blocks.end();
}

/** The argument of an ioctl, copied, for it need not be aligned. Zero when there is none. */
template <typename record>
record argument_as(const void *argument)
{
    record copy = {};
    if (argument != nullptr) {
        std::memcpy(&copy, argument, sizeof copy);
    }
    return copy;
}

} // namespace

flash_memory::flash_memory(partition what, std::unique_ptr<memory> cells, power &supply)
    : what_(std::move(what)), cells_(std::move(cells)), supply_(supply)
{
}

bool flash_memory::is_bad(uint64_t block) const
{
    return contains(what_.bad, block);
}

bool flash_memory::is_readable(uint64_t offset, uint64_t length) const
{
    return std::ranges::none_of(what_.no_read, [&](uint64_t block) {
        const uint64_t start = block * what_.erase_size;
        return start < offset + length && offset < start + what_.erase_size;
    });
}

std::vector<uint8_t> flash_memory::block(uint32_t index)
{
    const auto cells = bytes().subspan(std::size_t{index} * what_.erase_size, what_.erase_size);
    return {cells.begin(), cells.end()};
}

int64_t flash_memory::erase(uint64_t offset, uint64_t length)
{
    if (offset >= size() || length > size() - offset || offset % what_.erase_size != 0 ||
        length % what_.erase_size != 0) {
        return -EINVAL;
    }
    const uint64_t first = offset / what_.erase_size;
    for (uint64_t block = first; block < first + length / what_.erase_size; ++block) {
        if (is_bad(block) || contains(what_.no_erase, block) || !erase_block(block)) {
            return -EIO;
        }
    }
    return 0;
}

bool flash_memory::erase_block(uint64_t block)
{
    const auto cells = bytes().subspan(block * what_.erase_size, what_.erase_size);
    const auto erase_half = [&] { std::ranges::fill(cells.first(cells.size() / 2), 0xFF); };
    if (!supply_.step(erase_half)) {
        return false;
    }
    std::ranges::fill(cells, 0xFF);
    return true;
}

int64_t flash_memory::program(uint64_t offset, std::span<const uint8_t> data)
{
    const uint32_t unit = write_size(what_);
    if (offset % unit != 0 || data.size() % unit != 0) {
        return -EINVAL;
    }
    const auto cells = bytes().subspan(offset, data.size());
    for (std::size_t i = 0; i < data.size();) {
        const uint64_t block = (offset + i) / what_.erase_size;
        if (is_bad(block) || contains(what_.no_write, block)) {
            return -EIO;
        }
        const uint64_t block_end = (block + 1) * what_.erase_size - offset;
        const std::size_t count = std::min<uint64_t>(data.size(), block_end) - i;
        if (!program_cells(cells.subspan(i, count), data.subspan(i, count))) {
            return -EIO;
        }
        i += count;
    }
    return 0;
}

/** False where the power failed behind some of them. */
bool flash_memory::program_cells(std::span<uint8_t> cells, std::span<const uint8_t> data)
{
    const std::size_t powered = supply_.powered(cells.size());
    supply_.take(powered);
    const bool overwrites = what_.type == ram;
    for (std::size_t i = 0; i < powered; ++i) {
        cells[i] = overwrites ? data[i] : static_cast<uint8_t>(cells[i] & data[i]);
    }
    return powered == cells.size() || supply_.step(); // which is the one that finds none
}

mtd_device::mtd_device(int index, flash_memory &chip)
    : device("/dev/mtd" + std::to_string(index)), index_(index), chip_(chip)
{
}

void mtd_device::describe(struct stat &status) const
{
    status.st_nlink = 1;
    status.st_mode = S_IFCHR | 0600;
    status.st_rdev = makedev(90, static_cast<unsigned>(index_) * 2);
}

int64_t mtd_device::open(int flags) const
{
    return for_writing(flags) && chip_.description().read_only ? -EACCES : 0;
}

int64_t mtd_device::read(open_file &file, std::span<uint8_t> out)
{
    const uint64_t left = chip_.size() - std::min(file.position, chip_.size());
    const std::size_t count = std::min<uint64_t>(out.size(), left);
    if (!chip_.is_readable(file.position, count)) {
        return -EIO;
    }
    std::ranges::copy(chip_.bytes().subspan(chip_.size() - left, count), out.begin());
    file.position += count;
    return static_cast<int64_t>(count);
}

int64_t mtd_device::write(open_file &file, std::span<const uint8_t> data)
{
    if (file.position >= chip_.size()) {
        return -ENOSPC;
    }
    const std::size_t count = std::min<uint64_t>(data.size(), chip_.size() - file.position);
    if (const int64_t result = chip_.program(file.position, data.first(count)); result < 0) {
        return result;
    }
    file.position += count;
    return static_cast<int64_t>(count);
}

int64_t mtd_device::seek(open_file &file, int64_t offset, int whence)
{
    return seek_within(file, offset, whence, chip_.size());
}

operation mtd_device::name_ioctl(unsigned long request, const void *argument) const
{
    const auto of_area = [&](std::string name, uint64_t start, uint64_t length) {
        return operation{.name = std::move(name),
                         .offset = start,
                         .length = length,
                         .arguments = "start=" + hex(start) + " length=" + hex(length)};
    };
    const auto area = [&](std::string name) {
        const auto what = argument_as<erase_info_user>(argument);
        return of_area(std::move(name), what.start, what.length);
    };
    switch (request) {
    case MEMGETINFO:
        return {.name = "getinfo"};
    case MEMERASE:
        return area("erase");
    case MEMERASE64: {
        const auto what = argument_as<erase_info_user64>(argument);
        return of_area("erase", what.start, what.length);
    }
    case MEMLOCK:
        return area("lock");
    case MEMUNLOCK:
        return area("unlock");
    case MEMGETBADBLOCK: {
        const auto offset = argument_as<uint64_t>(argument);
        return {.name = "getbadblock", .offset = offset, .arguments = "offset=" + hex(offset)};
    }
    default:
        return device::name_ioctl(request, argument);
    }
}

int64_t mtd_device::ioctl(open_file &file, unsigned long request, void *argument, std::size_t,
                          operation &)
{
    if (argument == nullptr) {
        return -EFAULT;
    }
    const partition &what = chip_.description();
    switch (request) {
    case MEMGETINFO: {
        mtd_info_user info = {};
        info.type = facts(what.type).code;
        info.flags = flags_of(what);
        info.size = static_cast<uint32_t>(chip_.size());
        info.erasesize = what.erase_size;
        info.writesize = write_size(what);
        info.oobsize = spare_size(what);
        std::memcpy(argument, &info, sizeof info);
        return 0;
    }
    case MEMERASE: {
        const auto area = argument_as<erase_info_user>(argument);
        return erase(file, area.start, area.length);
    }
    case MEMERASE64: {
        const auto area = argument_as<erase_info_user64>(argument);
        return erase(file, area.start, area.length);
    }
    case MEMLOCK:
    case MEMUNLOCK:
        return can_write(file) ? 0 : -EPERM;
    case MEMGETBADBLOCK:
        return bad_block(argument_as<int64_t>(argument));
    case MEMGETREGIONCOUNT: {
        const int all_blocks_are_alike = 0;
        std::memcpy(argument, &all_blocks_are_alike, sizeof all_blocks_are_alike);
        return 0;
    }
    default:
        return -ENOTTY;
    }
}

int64_t mtd_device::erase(const open_file &file, uint64_t start, uint64_t length)
{
    return can_write(file) ? chip_.erase(start, length) : -EPERM;
}

int64_t mtd_device::bad_block(int64_t offset) const
{
    if (offset < 0 || static_cast<uint64_t>(offset) >= chip_.size()) {
        return -EINVAL;
    }
    return chip_.is_bad(static_cast<uint64_t>(offset) / chip_.description().erase_size) ? 1 : 0;
}

std::vector<std::unique_ptr<device>> mtd_texts(int index, const partition &what)
{
    const std::string folder = "/sys/class/mtd/mtd" + std::to_string(index) + "/";
    std::vector<std::unique_ptr<device>> texts;
    const auto add = [&](const char *name, const std::string &text) {
        texts.push_back(std::make_unique<text_file>(folder + name, text + "\n"));
    };
    const auto kind = facts(what.type);
    add("name", what.name);
    add("dev", "90:" + std::to_string(index * 2));
    add("type", std::string(kind.name));
    add("flags", hex(flags_of(what)));
    add("size", std::to_string(uint64_t{what.erase_size} * what.blocks));
    add("erasesize", std::to_string(what.erase_size));
    add("writesize", std::to_string(write_size(what)));
    add("subpagesize", std::to_string(write_size(what)));
    add("oobsize", std::to_string(spare_size(what)));
    add("oobavail", std::to_string(spare_size(what)));
    add("numeraseregions", "0");
    return texts;
}

} // namespace sim
