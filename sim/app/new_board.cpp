#include "sim/app/new_board.h"

#include "sim/board/board.h"
#include "sim/description/board_file.h"
#include "sim/description/layouts.h"
#include "sim/description/table_reader.h"
#include "sim/formats/product_info.h"
#include "sim/formats/tlv_info.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace sim {
namespace {

namespace fs = std::filesystem;

constexpr uint8_t system_eeprom = 0x56;
constexpr uint8_t serial_record = 0x23;
constexpr uint8_t mac_record = 0x24;
// The maker's records, of which there are none: with the number that the registry keeps for
// examples.
const std::vector<uint8_t> no_vendor_records = {0x00, 0x00, 0x7E, 0xD9};
constexpr std::size_t mac_size = 6;
constexpr std::size_t mac_text_size = 17;

std::vector<uint8_t> mac_bytes(std::string text)
{
    const bool is_long_enough = text.size() == mac_text_size;
    for (std::size_t i = 2; is_long_enough && i < text.size(); i += 3) {
        text[i] = text[i] == ':' ? ' ' : 'x';
    }
    const auto bytes = bytes_of(text);
    if (!is_long_enough || !bytes || bytes->size() != mac_size) {
        throw std::invalid_argument("a MAC address is written as 00:1A:2B:3C:4D:5E");
    }
    return *bytes;
}

std::vector<uint8_t> eeprom_image(const board_identity &identity)
{
    std::vector<tlv_record> records;
    if (!identity.serial.empty()) {
        records.push_back({serial_record, {identity.serial.begin(), identity.serial.end()}});
    }
    if (!identity.mac.empty()) {
        records.push_back({mac_record, mac_bytes(identity.mac)});
    }
    // A switch lists nothing of an image that has no such record.
    records.push_back({tlv_vendor_extension, no_vendor_records});
    auto image = encode_tlv_info(records);
    image.resize(eeprom_size, 0xFF);
    return image;
}

std::vector<uint8_t> flash_image(const board_identity &identity)
{
    std::vector<std::string> records = {"ProductInfo=0B0EFACE"};
    if (!identity.serial.empty()) {
        records.push_back("SerialNO=" + identity.serial);
    }
    if (!identity.mac.empty()) {
        mac_bytes(identity.mac);
        records.push_back("ethaddr=" + identity.mac);
    }
    return encode_product_info(records);
}

/** As a save leaves it: once in NOR flash, in each good block of NAND. */
void store_in_flash(flash_memory &chip, std::span<const uint8_t> image)
{
    const uint64_t step =
        chip.description().type == nand ? chip.description().erase_size : chip.size();
    for (uint64_t at = 0; at < chip.size(); at += step) {
        if (!chip.is_bad(at / step)) {
            std::ranges::copy(image, chip.bytes().subspan(at).begin());
        }
    }
}

/** Puts an image where the flavour of the board has it. */
void store(board &where, std::span<const uint8_t> image)
{
    if (image.size() == eeprom_size) {
        std::ranges::copy(image, where.eeprom(system_eeprom).begin());
        return;
    }
    const auto &partitions = where.description().partitions;
    for (std::size_t i = 0; i < partitions.size(); ++i) {
        if (partitions[i].name.starts_with("product_info")) {
            store_in_flash(where.flash(static_cast<int>(i)), image);
        }
    }
}

/** Empty: there is none. */
std::vector<uint8_t> image_of(const board_identity &identity, const board_description &board)
{
    if (identity.serial.empty() && identity.mac.empty()) {
        return {};
    }
    const bool is_tlv = board.console.flavour == console_description::flavours::tlv;
    return is_tlv ? eeprom_image(identity) : flash_image(identity);
}

} // namespace

void make_board(const fs::path &folder, const std::string &like, const board_identity &identity)
{
    const fs::path file = folder / board_file_name;
    if (fs::exists(file)) {
        throw std::runtime_error(file.string() + " is there already; a board is never overwritten");
    }
    const std::string text = layout(like).value();
    const board_description description = parse_board_file(text, file.string());
    const auto image = image_of(identity, description);
    fs::create_directories(folder);
    std::ofstream out(file, std::ios::binary);
    out << text;
    out.close();
    if (!out) {
        throw std::runtime_error(file.string() + " cannot be written");
    }
    if (!image.empty()) {
        board made(description, folder);
        store(made, image);
    }
}

} // namespace sim
