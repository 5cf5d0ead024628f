#include "sim/app/show.h"

#include "sim/app/show_eeprom.h"
#include "sim/app/show_text.h"
#include "sim/app/show_units.h"
#include "sim/formats/product_info.h"

#include <algorithm>
#include <iomanip>
#include <optional>
#include <sstream>
#include <string>

namespace sim {
namespace {

/** A size as a reader thinks of it: "64 KiB", "512 bytes". */
std::string size_text(uint64_t bytes)
{
    return bytes % 1024 == 0 ? std::to_string(bytes / 1024) + " KiB"
                             : std::to_string(bytes) + " bytes";
}

std::string type_name(flash_type type)
{
    switch (type) {
    case nor:
        return "nor";
    case nand:
        return "nand";
    case ram:
        return "ram";
    case ubi:
        break;
    }
    return "ubi";
}

void show_partition(int index, const partition &what, std::ostream &out)
{
    out << std::left << "  " << std::setw(7) << "mtd" + std::to_string(index) << std::setw(20)
        << what.name << " " << std::setw(5) << type_name(what.type) << what.blocks << " x "
        << size_text(what.erase_size);
    const char *separator = ", bad: ";
    for (const uint32_t block : what.bad) {
        out << separator << block;
        separator = ", ";
    }
    out << "\n";
}

/** The first good block, which is where the switch program reads; nothing: all are bad. */
std::optional<uint32_t> first_good_block(const flash_memory &chip)
{
    for (uint32_t block = 0; block < chip.description().blocks; ++block) {
        if (!chip.is_bad(block)) {
            return block;
        }
    }
    return std::nullopt;
}

void show_product_info(int index, flash_memory &chip, std::ostream &out)
{
    const partition &what = chip.description();
    out << "\n" << what.name << " (mtd" << index;
    const auto block = first_good_block(chip);
    if (!block) {
        out << "): every block is bad\n";
        return;
    }
    if (what.type == nand) {
        out << ", block " << *block;
    }
    const auto image = chip.bytes().subspan(std::size_t{*block} * what.erase_size);
    if (std::ranges::all_of(image.first(what.erase_size),
                            [](uint8_t byte) { return byte == 0xFF; })) {
        out << "): erased\n";
        return;
    }
    const auto info = decode_product_info(image);
    if (!info) {
        out << "): smaller than the " << product_info_size << " bytes of an image\n";
        return;
    }
    const bool valid = info->checksum == info->stored_checksum;
    out << "): checksum 0x" << digits(info->stored_checksum, 8);
    out << (valid ? ", valid" : ", invalid (0x" + digits(info->checksum, 8) + " expected)") << "\n";
    for (const std::string &record : info->records) {
        out << "  " << printable(record) << "\n";
    }
}

bool holds_product_info(const partition &what)
{
    return what.name == "product_info" || what.name == "product_info_other";
}

void show_eeprom(board &what, const eeprom &chip, std::ostream &out)
{
    constexpr uint8_t system_address = 0x56;
    constexpr uint8_t card_address = 0x57;
    const auto content = what.eeprom(chip.address);
    out << "\nEEPROM " << hex(chip.address) << " on " << what.description().i2c_bus;
    if (chip.is_protected()) {
        out << (what.is_protected(chip.address) ? ", write-protected"
                                                : ", write protection lifted");
    }
    out << "\n";
    if (std::ranges::all_of(content, [](uint8_t byte) { return byte == 0xFF; })) {
        out << "  blank\n";
        return;
    }
    if (chip.address == system_address) {
        show_tlv_info(content, out);
    } else if (chip.address == card_address) {
        show_card_type(content, out);
    }
    dump(content, out);
}

} // namespace

void show_board(board &what, std::ostream &out)
{
    const board_description &fitted = what.description();
    const std::vector<int> indexes = indexes_of(fitted.partitions);
    out << "Partitions\n";
    for (std::size_t i = 0; i < indexes.size(); ++i) {
        show_partition(indexes[i], fitted.partitions[i], out);
    }
    for (std::size_t i = 0; i < indexes.size(); ++i) {
        if (holds_product_info(fitted.partitions[i])) {
            show_product_info(indexes[i], what.flash(indexes[i]), out);
        }
    }
    if (fitted.cpld) {
        out << "\nCPLD registers (/dev/cpld0)\n";
        dump(what.cpld(), out);
    }
    for (const auto &chip : fitted.eeproms) {
        show_eeprom(what, chip, out);
    }
    show_fpga(what, out);
    show_driver_units(what, out);
}

} // namespace sim
