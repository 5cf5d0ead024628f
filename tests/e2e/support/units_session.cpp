#include "units_session.h"

#include <numeric>
#include <regex>

#include "tlv_board.h"

namespace e2e {
namespace {

board_folder board_of(flavour program, std::string_view units)
{
    if (program == flavour::tlv) {
        return board_with_eeprom(std::string(tlv_board).append(units),
                                 eeprom_content(default_image, 0xFF));
    }
    return board_folder(std::string(nor_board).append(units),
                        {{product_info_file, nor_content(no_product_records)}});
}

} // namespace

std::string sum_of(std::string_view content, int before)
{
    const auto add = [](int sum, char byte) { return (sum + static_cast<uint8_t>(byte)) % 256; };
    return bytes({std::accumulate(content.begin(), content.end(), before, add)});
}

std::string field(std::string_view content, std::size_t size)
{
    std::string filled(content);
    filled.resize(size, '\0');
    return filled;
}

unit_session::unit_session(std::string_view units, std::string_view command,
                           std::string_view greeting, flavour program)
    : board(board_of(program, units)),
      session(board, {program == flavour::tlv ? tlv_prov_setmac : "prov_setmac",
                      std::string(command), log.string()})
{
    session.expect(greeting);
}

void unit_session::exchange(std::string_view sent, std::string_view answered)
{
    session.send(sent);
    session.expect(answered);
}

std::string unit_session::steps() const
{
    const std::regex single_byte(
        "\\[SETMAC <com_read_timeout>:<N>\\] Get char count:1 time:N \r\n");
    return std::regex_replace(unnumbered_log(log), single_byte, "");
}

void unit_session::expect_end(const outcome &wanted)
{
    EXPECT_EQ(session.finish(), wanted);
    EXPECT_TRUE(same_settings(session.settings(), session.settings_before()));
    EXPECT_EQ(session.flags_after(), session.flags_before());
    EXPECT_EQ(board.operations("erase "), std::vector<std::string>{});
    EXPECT_EQ(board.operations("write /dev/mtd"), std::vector<std::string>{});
}

std::string unit_element(int type, std::string_view record)
{
    return bytes({type, 23}).append(record);
}

std::string unit_list(int count, std::string_view elements)
{
    return bytes({count, 3, count * 25}).append(elements);
}

std::string unit_message(std::string_view list, int before)
{
    return bytes({0x01, static_cast<int>(list.size())}).append(list) + sum_of(list, before);
}

} // namespace e2e
