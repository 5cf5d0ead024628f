#include "tlv_board.h"

#include "board_checks.h"

namespace e2e {
namespace {

std::string big_endian(std::size_t number, int count)
{
    std::string all;
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
        all += static_cast<char>(number >> shift & 0xFF);
    }
    return all;
}

} // namespace

std::string tlv_record(int code, std::string_view value)
{
    return bytes({code, static_cast<int>(value.size())}).append(value);
}

std::string tlv_image(std::string_view records, uint32_t crc)
{
    const std::string crc_record = tlv_record(0xFE, big_endian(crc, 4));
    return "TlvInfo" + bytes({0x00, 0x01}) + big_endian(records.size() + crc_record.size(), 2) +
           std::string(records) + crc_record;
}

std::string eeprom_content(std::string_view image, int rest)
{
    constexpr std::size_t eeprom_size = 256;
    return std::string(image) + repeated(eeprom_size - image.size(), rest);
}

board_folder board_with_eeprom(std::string_view description, std::string_view content)
{
    return board_folder(description, {{product_info_file, nor_content(no_product_records)},
                                      {system_eeprom_file, content}});
}

outcome checked(std::string_view content)
{
    const scratch_folder scratch;
    const auto file = scratch.path() / "eeprom.bin";
    write_file(file, content);
    return run({E2E_PYTHON, E2E_SOURCE_FOLDER "/tlv/tlvinfo_check.py", file.string()}, {});
}

testing::AssertionResult eeprom_holds(const board_folder &board, std::string_view image)
{
    const auto same = memory_is(board, system_eeprom_file, eeprom_content(image, 0x00));
    if (!same) {
        return same;
    }
    const outcome verdict = checked(board.memory(system_eeprom_file));
    if (verdict.status != 0) {
        return testing::AssertionFailure() << verdict;
    }
    return testing::AssertionSuccess();
}

std::vector<std::string> eeprom_writes(const board_folder &board)
{
    auto all = board.operations("transfer /dev/i2c-0 address=0x56 ");
    std::erase_if(all, [](const std::string &one) { return one.find(" read=") != one.npos; });
    return all;
}

outcome listed(const board_folder &board)
{
    return run_on_board(board, {"setmac-tlv"});
}

std::string tlv_node(std::string_view name, std::string_view value)
{
    // The type behind the name is carried for the PC's own use.
    return std::string(name) + bytes({0x00, 0x01}) + big_endian(value.size(), 4) +
           std::string(value);
}

std::string text_node(std::string_view name, std::string_view text)
{
    return tlv_node(name, std::string(text) + '\0');
}

std::string tlv_part(int flag, std::string_view nodes)
{
    constexpr std::size_t part_header_size = 5;
    return bytes({flag}) + big_endian(part_header_size + nodes.size(), 4) + std::string(nodes);
}

frame framed(std::string_view payload, uint32_t crc)
{
    return {big_endian(payload.size() + 4, 4), std::string(payload) + big_endian(crc, 4)};
}

} // namespace e2e
