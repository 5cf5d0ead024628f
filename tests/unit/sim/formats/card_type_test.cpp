#include "sim/formats/card_type.h"

#include <gtest/gtest.h>

namespace {

using bytes = std::vector<uint8_t>;
using enum sim::card_form;

/** As an EEPROM holds them. */
sim::card_record decode(bytes content)
{
    content.resize(256, 0xFF);
    return sim::decode_card_type(content);
}

std::string text_of(const bytes &content)
{
    const auto record = decode(content);
    EXPECT_FALSE(record.type.has_value());
    return record.text;
}

} // namespace

TEST(sim_card_type, each_form_has_its_bytes)
{
    EXPECT_EQ(sim::encode_card_type(tlv, 14), (bytes{0x01, 0x7E, 0x00, 0xF1, 0x00, 0x06, 0x06, 0x04,
                                                     0x00, 0x00, 0x00, 0x0E, 0x01, 0x8E}));
    EXPECT_EQ(sim::encode_card_type(direct, 5),
              (bytes{0x01, 0x7E, 0x00, 0x05, 0x00, 0x03, 0x01, 0x01, 0x00, 0x00, 0x89}));
    EXPECT_EQ(sim::encode_card_type(format2, 0x01020304),
              (bytes{0x02, 0x7E, 0x00, 0xF1, 0x00, 0x00, 0x00, 0x00, 0x00, 0x06, 0x06, 0x04, 0x01,
                     0x02, 0x03, 0x04}));
    EXPECT_EQ(sim::encode_card_type(legacy, 5), (bytes{0x01, 0x00, 0x00, 0x05}));
    EXPECT_EQ(sim::encode_card_type(legacy, 42), (bytes{0x01, 0x00, 0x00, 0x9E}));
    EXPECT_EQ(sim::encode_card_type(legacy2, 43),
              (bytes{0x02, 0x00, 0x00, 0x16, 0x00, 0x00, 0x00, 0x15}));
}

TEST(sim_card_type, the_old_family_is_told_apart_by_a_further_byte)
{
    const std::pair<uint32_t, uint8_t> members[] = {{14, 0x11}, {15, 0x01}, {41, 0x00}};
    for (const auto &[type, member] : members) {
        const auto record = sim::encode_card_type(legacy, type).value();
        ASSERT_EQ(record.size(), 65U) << type;
        EXPECT_EQ(record[0], 1);
        EXPECT_EQ(record[1], 0);
        EXPECT_EQ(record[3], 0x9C);
        EXPECT_EQ(record[64], member);
    }
}

TEST(sim_card_type, a_form_that_cannot_hold_a_type_refuses_it)
{
    EXPECT_FALSE(sim::encode_card_type(direct, 256));
    EXPECT_FALSE(sim::encode_card_type(direct, 0xF1));
    EXPECT_FALSE(sim::encode_card_type(legacy, 256));
    EXPECT_FALSE(sim::encode_card_type(legacy, 0x9C));
    EXPECT_FALSE(sim::encode_card_type(legacy, 0x9E));
    EXPECT_FALSE(sim::encode_card_type(legacy2, 511));
}

TEST(sim_card_type, each_form_is_read_back)
{
    const std::pair<sim::card_form, std::vector<uint32_t>> types[] = {
        {tlv, {0, 14, 0xFFFFFFFF}},     {direct, {0, 14, 255}},
        {format2, {0, 14, 0xFFFFFFFF}}, {legacy, {0, 5, 14, 15, 41, 42, 255}},
        {legacy2, {0, 1, 42, 510}},
    };
    for (const auto &[form, all] : types) {
        for (const uint32_t type : all) {
            EXPECT_EQ(decode(sim::encode_card_type(form, type).value()).type, type)
                << static_cast<int>(form);
        }
    }
}

TEST(sim_card_type, forms_go_by_their_names)
{
    EXPECT_EQ(sim::card_form_named("tlv"), tlv);
    EXPECT_EQ(sim::card_form_named("direct"), direct);
    EXPECT_EQ(sim::card_form_named("format2"), format2);
    EXPECT_EQ(sim::card_form_named("legacy"), legacy);
    EXPECT_EQ(sim::card_form_named("legacy2"), legacy2);
    EXPECT_EQ(sim::card_form_named("plum"), std::nullopt);
}

TEST(sim_card_type, tells_the_form_of_a_record)
{
    EXPECT_EQ(
        decode({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x06, 0x06, 0x04, 0x00, 0x00, 0x00, 0x0E, 0x01, 0x8E})
            .text,
        "format 1, in the TLV area");
    EXPECT_EQ(decode({0x01, 0x7E, 0x00, 0x05, 0x00, 0x03, 0x01, 0x01, 0x00, 0x00, 0x89}).text,
              "format 1, in the type byte");
    EXPECT_EQ(decode({0x02, 0x7E, 0x00, 0x09}).text, "format 2, in the type byte");
    EXPECT_EQ(decode({0x02, 0x00, 0x00, 0x28, 0x00, 0x00, 0x00, 0x02}).text, "format 2, old form");
    const auto family_rest = decode({0x01, 0x00, 0x00, 0x9C});
    EXPECT_EQ(family_rest.type, 41U) << "byte 64 is none of the known ones";
    EXPECT_EQ(family_rest.text, "format 1, old form");
}

TEST(sim_card_type, finds_the_type_behind_other_entries)
{
    EXPECT_EQ(decode({0x02, 0x7E, 0x00, 0xF1, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0A,
                      0x01, 0x02, 0xAA, 0xBB, 0x06, 0x04, 0x00, 0x00, 0x00, 0x0E})
                  .type,
              14U);
}

TEST(sim_card_type, tells_what_is_wrong)
{
    EXPECT_EQ(text_of({}), "no record: it begins with 0xff in the place of 0x1 or 0x2");
    EXPECT_EQ(text_of({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x02}),
              "format 1, a TLV area of 2 bytes in the place of 3 to 244");
    EXPECT_EQ(text_of({0x01, 0x7E, 0x00, 0xF1, 0x00, 0xF5}),
              "format 1, a TLV area of 245 bytes in the place of 3 to 244");
    EXPECT_EQ(text_of({0x01, 0x7E, 0x00, 0xF1, 0x00, 0x06, 0x06, 0x04, 0x00, 0x00, 0x00, 0x0E, 0x01,
                       0x8F}),
              "format 1, the checksum is 0x18f in the place of 0x18e");
    const char *no_entry = "format 2, no entry of type 6 and length 4 in the TLV area";
    EXPECT_EQ(
        text_of({0x02, 0x7E, 0x00, 0xF1, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x01, 0x01, 0x00}),
        no_entry);
    EXPECT_EQ(text_of({0x02, 0x7E, 0x00, 0xF1, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0x06, 0x04, 0x00,
                       0x00}),
              no_entry);
    EXPECT_EQ(text_of({0x02, 0x7E, 0x00, 0xF1, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF}), no_entry);
}
