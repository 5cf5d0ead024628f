#include <algorithm>
#include <array>
#include <cstdio>

#include "base/text.h"
#include "store/productinfo.h"

namespace {

constexpr size_t serial_length = 13;
constexpr size_t mac_length = 17;       // 00:d0:f8:a1:b2:c3
constexpr size_t plain_mac_length = 12; // 00d0f8a1b2c3

bool is_mac_with_colons(std::string_view text)
{
    for (size_t i = 0; i < text.size(); ++i) {
        const bool separator = i % 3 == 2;
        if (separator ? text[i] != ':' : !is_hex_digit(text[i])) {
            return false;
        }
    }
    return text.size() == mac_length;
}

bool is_plain_mac(std::string_view text)
{
    return text.size() == plain_mac_length && std::all_of(text.begin(), text.end(), is_hex_digit);
}

} // namespace

int32_t set_product_info_serialnum(std::string_view text)
{
    const bool valid =
        text.size() == serial_length &&
        std::all_of(text.begin(), text.end(), [](char c) { return is_letter(c) || is_digit(c); });
    if (!valid) {
        printf("Error: Invalid serial number: %.*s\r\n", TEXT_ARGS(text));
        return -1;
    }
    update_prod_info("SerialNO", text);
    return 0;
}

int32_t set_product_info_country(std::string_view def, std::string_view map, std::string_view map1,
                                 std::string_view change)
{
    update_prod_info("country_def", def);
    update_prod_info("country_map", map);
    update_prod_info("country_map1", map1);
    update_prod_info("country_change", change);
    return 0;
}

int32_t set_product_info_macaddr(std::string_view text)
{
    if (is_mac_with_colons(text)) {
        update_prod_info("ethaddr", text);
        return 0;
    }
    if (!is_plain_mac(text)) {
        printf("Error: Invalid Mac Address: %.*s\r\n", TEXT_ARGS(text));
        return -1;
    }
    std::array<char, mac_length + 1> mac{};
    snprintf(mac.data(), mac.size(), "%c%c:%c%c:%c%c:%c%c:%c%c:%c%c", text[0], text[1], text[2],
             text[3], text[4], text[5], text[6], text[7], text[8], text[9], text[10], text[11]);
    update_prod_info("ethaddr", mac.data());
    return 0;
}

int32_t set_product_info_hardver(std::string_view text)
{
    if (std::all_of(text.begin(), text.end(), [](char c) { return c == '.' || is_digit(c); })) {
        update_prod_info("HardwareVersion", text);
    }
    return 0;
}
