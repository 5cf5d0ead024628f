#include "units_session.h"

#include <numeric>
#include <regex>

namespace e2e {

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
                           std::string_view greeting)
    : board(std::string(nor_board).append(units),
            {{product_info_file, nor_content(product_image(0xAAC184F9, {}))}}),
      session(board, {"prov_setmac", std::string(command), log.string()})
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
