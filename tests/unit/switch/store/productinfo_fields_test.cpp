#include "productinfo_fixture.h"

// The setters of single fields, and what they refuse.

namespace {

using support::printed;
using support::productinfo;

/** Text, result, and what is stored of it. */
struct field_case {
    const char *text;
    int32_t result;
    const char *stored; // null: nothing
};

TEST_F(productinfo, serial_numbers_are_13_letters_and_digits)
{
    for (const auto &one : {
             field_case{"ABCDEFGHJ1234", 0, "ABCDEFGHJ1234"},
             field_case{"abcdefghj1234", 0, "abcdefghj1234"},
             field_case{"0000000000000", 0, "0000000000000"},
             field_case{"ABCDEFGHJ123", -1, nullptr},
             field_case{"ABCDEFGHJ12345", -1, nullptr},
             field_case{"ABCDEFGH-1234", -1, nullptr},
             field_case{"ABCDEFGH\xE9J123", -1, nullptr},
             field_case{"", -1, nullptr},
         }) {
        const auto text_printed =
            printed([&] { EXPECT_EQ(set_product_info_serialnum(one.text), one.result); });
        EXPECT_EQ(text_printed,
                  one.result == 0
                      ? std::string()
                      : "Error: Invalid serial number: " + std::string(one.text) + "\r\n");
        EXPECT_STREQ(get_product_info("SerialNO"), one.stored) << one.text;
        clr_prod_info();
    }
}

TEST_F(productinfo, mac_addresses_are_six_pairs_with_colons_or_without)
{
    for (const auto &one : {
             field_case{"00d0f8a1b2c3", 0, "00:d0:f8:a1:b2:c3"},
             field_case{"00D0F8A1B2C3", 0, "00:D0:F8:A1:B2:C3"},
             field_case{"00:D0:F8:A1:B2:C3", 0, "00:D0:F8:A1:B2:C3"},
             field_case{"00:d0:f8:A1:b2:c3", 0, "00:d0:f8:A1:b2:c3"},
             field_case{"00-d0-f8-a1-b2-c3", -1, nullptr},
             field_case{"00.d0.f8.a1.b2.c3", -1, nullptr},
             field_case{"00d0f8a1b2cg", -1, nullptr},
             field_case{"00:d0:f8:a1:b2:cg", -1, nullptr},
             field_case{"00:d0:f8:a1:b2-c3", -1, nullptr},
             field_case{"00:d0:f8:a1:b20c3", -1, nullptr},
             field_case{":0:d0:f8:a1:b2:c3", -1, nullptr},
             field_case{"00:d0:f8:a1:b2:c", -1, nullptr},
             field_case{"00:d0:f8:a1:b2:c3:", -1, nullptr},
             field_case{"00d0f8a1b2c", -1, nullptr},
             field_case{"00d0f8a1b2c3d", -1, nullptr},
             field_case{"", -1, nullptr},
         }) {
        const auto text_printed =
            printed([&] { EXPECT_EQ(set_product_info_macaddr(one.text), one.result); });
        EXPECT_EQ(text_printed,
                  one.result == 0
                      ? std::string()
                      : "Error: Invalid Mac Address: " + std::string(one.text) + "\r\n");
        EXPECT_STREQ(get_product_info("ethaddr"), one.stored) << one.text;
        clr_prod_info();
    }
}

TEST_F(productinfo, hardware_versions_are_digits_and_dots_and_others_silently_dropped)
{
    for (const auto &one : {
             field_case{"1.0.3", 0, "1.0.3"},
             field_case{"", 0, ""},
             field_case{"V1.0", 0, nullptr},
             field_case{"1.0-3", 0, nullptr},
         }) {
        EXPECT_EQ(printed([&] { EXPECT_EQ(set_product_info_hardver(one.text), one.result); }), "");
        EXPECT_STREQ(get_product_info("HardwareVersion"), one.stored) << one.text;
        clr_prod_info();
    }
}

TEST_F(productinfo, country_settings_are_stored_unchecked_in_their_order)
{
    EXPECT_EQ(set_product_info_country("CN", "a b", "", "=x"), 0);
    EXPECT_EQ(shown(),
              "country_def=CN\r\ncountry_map=a b\r\ncountry_map1=\r\ncountry_change==x\r\n");
    EXPECT_EQ(set_product_info_country("", "", "", ""), 0);
    EXPECT_EQ(shown(), "country_def=\r\ncountry_map=\r\ncountry_map1=\r\ncountry_change=\r\n");
}

} // namespace
