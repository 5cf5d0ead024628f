#include "station/jobs/product_info.h"
#include "unit/station/job_files.h"

using namespace station;

namespace {

bytes of(std::string_view text)
{
    return {text.begin(), text.end()};
}

class product_info_jobs : public job_files {
protected:
    static std::vector<property> properties(const std::string &text)
    {
        return read_as(read_properties, text);
    }

    static bytes serial(const std::string &text) { return read_as(read_serial, text); }

    /** What is told of a setmac job that cannot be used. */
    static std::string told(const std::string &text) { return told_by(read_properties, text); }

    /** What is told of a setsn job that cannot be used. */
    static std::string told_of_serial(const std::string &text)
    {
        return told_by(read_serial, text);
    }

    static std::string named(const std::string &name, const std::string &rest)
    {
        return "[[property]]\nname = \"" + name + "\"\n" + rest;
    }
};

using setmac_job = product_info_jobs;
using setsn_job = product_info_jobs;
using job_file = job_files;

} // namespace

TEST(product_info_payload, is_one_part_of_nodes_with_big_endian_lengths)
{
    const std::vector<property> properties{
        {"MacAddress", node_type::binary, {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}},
        {"S", node_type::text, of("X1")},
    };
    EXPECT_EQ(product_info_payload(properties),
              (bytes{0x02, 0x00, 0x00, 0x00, 0x24,                            // part of 36 bytes
                     'M',  'a',  'c',  'A',  'd',  'd',  'r',  'e', 's', 's', // name
                     0x00, 0x02, 0x00, 0x00, 0x00, 0x06,                      // binary, 6 bytes
                     0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E,                      //
                     'S',  0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 'X', '1'}));   // text, 2 bytes
}

TEST(product_info_payload, of_an_empty_value_ends_with_its_length)
{
    const std::vector<property> properties{{"c", node_type::text, {}}};
    EXPECT_EQ(product_info_payload(properties),
              (bytes{0x02, 0x00, 0x00, 0x00, 0x0C, 'c', 0x00, 0x01, 0x00, 0x00, 0x00, 0x00}));
}

TEST_F(setmac_job, keeps_the_order_of_its_properties)
{
    const auto found =
        properties(named("Zebra", "text = \"1\"\n") + named("Ape", "text = \"2\"\n"));
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].name, "Zebra");
    EXPECT_EQ(found[0].value, bytes{'1'});
    EXPECT_EQ(found[1].name, "Ape");
}

TEST_F(setmac_job, takes_text_as_type_1_and_hex_as_type_2)
{
    const auto found = properties(named("a", "text = \"FF\"\n") + named("b", "hex = \"FF 0a\"\n"));
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].type, node_type::text);
    EXPECT_EQ(found[0].value, of("FF"));
    EXPECT_EQ(found[1].type, node_type::binary);
    EXPECT_EQ(found[1].value, (bytes{0xFF, 0x0A}));
}

TEST_F(setmac_job, follows_an_explicit_type)
{
    const auto found = properties(named("a", "text = \"Hi\"\ntype = 2\n") +
                                  named("b", "hex = \"4869\"\ntype = 1\n"));
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].type, node_type::binary);
    EXPECT_EQ(found[1].type, node_type::text);
    EXPECT_EQ(found[1].value, of("Hi"));
}

TEST_F(setmac_job, takes_hex_with_blanks_colons_or_nothing_between_pairs)
{
    const bytes mac{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
    for (const auto *text : {"00 1A 2B 3C 4D 5E", "00:1a:2b:3c:4d:5e", "001A2B3C4D5E"}) {
        const auto found = properties(named("MacAddress", std::string("hex = \"") + text + "\"\n"));
        EXPECT_EQ(found.at(0).value, mac) << text;
    }
}

TEST_F(setmac_job, takes_an_empty_value)
{
    EXPECT_EQ(properties(named("a", "text = \"\"\n")).at(0).value, bytes{});
    EXPECT_EQ(properties(named("a", "hex = \"\"\n")).at(0).value, bytes{});
}

TEST_F(setmac_job, takes_names_and_values_up_to_what_the_switch_keeps)
{
    EXPECT_EQ(told(named(std::string(63, 'n'), "text = \"" + std::string(128, 't') + "\"\n")),
              "nothing");
    EXPECT_EQ(told(named("b", "hex = \"" + std::string(128, 'A') + "\"\n")), "nothing");
}

TEST_F(setmac_job, refuses_a_text_that_the_switch_would_cut)
{
    EXPECT_EQ(
        told(named("a", "text = \"" + std::string(129, 't') + "\"\n")),
        "job:3: property \"a\": the value has 129 bytes: expected at most 128 for type 1, the "
        "switch would cut it");
}

TEST_F(setmac_job, refuses_a_binary_value_that_the_switch_would_cut)
{
    EXPECT_EQ(told(named("a", "hex = \"" + std::string(130, 'A') + "\"\n")),
              "job:3: property \"a\": the value has 65 bytes: expected at most 64 for type 2, the "
              "switch would cut it");
    EXPECT_EQ(told(named("a", "text = \"" + std::string(65, 't') + "\"\ntype = 2\n")),
              "job:3: property \"a\": the value has 65 bytes: expected at most 64 for type 2, the "
              "switch would cut it");
}

TEST_F(setmac_job, refuses_a_name_that_the_switch_would_cut)
{
    const std::string name(64, 'n');
    EXPECT_EQ(told(named(name, "text = \"1\"\n")),
              "job:2: property \"" + name +
                  "\": the name has 64 bytes: expected at most 63, the switch would cut it");
    EXPECT_EQ(told(named("a\\u0000b", "text = \"1\"\n")),
              "job:2: property \"a\\x00b\": a NUL in the name: the switch would end it there");
    EXPECT_EQ(told(named("a=b", "text = \"1\"\n")),
              "job:2: property \"a=b\": a \"=\" in the name: the switch would end it there");
}

TEST_F(setmac_job, refuses_an_empty_name)
{
    EXPECT_EQ(told(named("", "text = \"1\"\n")),
              "job:2: the name is empty: expected 1 to 63 bytes");
}

TEST_F(setmac_job, refuses_the_name_of_the_switchs_own_mark)
{
    EXPECT_EQ(told(named("ProductInfo", "text = \"1\"\n")),
              "job:2: property \"ProductInfo\": the switch keeps its own mark under this name");
}

TEST_F(setmac_job, refuses_a_text_with_a_nul)
{
    EXPECT_EQ(told(named("a", "text = \"1\\u00002\"\n")),
              "job:3: property \"a\": a NUL in a value of type 1: the switch would end it there");
    EXPECT_EQ(told(named("a", "hex = \"31 00\"\ntype = 1\n")),
              "job:3: property \"a\": a NUL in a value of type 1: the switch would end it there");
}

TEST_F(setmac_job, refuses_a_mac_address_of_other_than_six_binary_bytes)
{
    EXPECT_EQ(
        told(named("MacAddress", "hex = \"00 1A 2B 3C 4D\"\n")),
        "job:3: property \"MacAddress\": 5 bytes: expected 6 bytes, as in hex = \"00 1A 2B 3C "
        "4D 5E\"");
    EXPECT_EQ(told(named("MacAddress", "text = \"00:1A:2B:3C:4D:5E\"\n")),
              "job:3: property \"MacAddress\": a text: expected 6 bytes, as in hex = \"00 1A 2B 3C "
              "4D 5E\"");
}

TEST_F(setmac_job, refuses_an_eeprom_type_of_more_than_four_bytes)
{
    EXPECT_EQ(told(named("e2type", "hex = \"00 00 00 00 05\"\n")),
              "job:3: property \"e2type\": 5 bytes: expected 1 to 4 bytes, as in hex = \"00 05\"");
    EXPECT_EQ(told(named("e2type", "hex = \"00 00 00 05\"\n")), "nothing");
}

TEST_F(setmac_job, refuses_hex_that_is_not_in_pairs_of_digits)
{
    for (const auto *text : {"0", "0G", "0 0", "00 1", "0x00"}) {
        EXPECT_EQ(told(named("a", std::string("hex = \"") + text + "\"\n")),
                  "job:3: property \"a\": \"" + std::string(text) +
                      "\" is not hexadecimal: expected pairs of digits, as in hex = \"00 1A 2B\"");
    }
}

TEST_F(setmac_job, refuses_a_property_without_a_value_or_with_two)
{
    EXPECT_EQ(told(named("a", "")), "job:2: property \"a\": no value: expected either text = "
                                    "\"...\" or hex = \"00 1A 2B\"");
    EXPECT_EQ(told(named("a", "text = \"1\"\nhex = \"00\"\n")),
              "job:4: property \"a\": both \"text\" and \"hex\": expected either text = \"...\" or "
              "hex = \"00 1A 2B\"");
}

TEST_F(setmac_job, refuses_values_of_another_kind)
{
    EXPECT_EQ(told("[[property]]\nname = 5\ntext = \"1\"\n"),
              "job:2: \"name\" is a whole number: expected a text, as in name = \"SerialNO\"");
    EXPECT_EQ(told(named("a", "text = true\n")),
              "job:3: \"text\" is true or false: expected a text, as in text = \"CN\"");
    EXPECT_EQ(told(named("a", "hex = [0, 1]\n")),
              "job:3: \"hex\" is a list: expected a text, as in hex = \"00 1A 2B\"");
    EXPECT_EQ(told(named("a", "text = \"1\"\ntype = \"1\"\n")),
              "job:4: \"type\" is a text: expected 1 (text) or 2 (binary)");
    EXPECT_EQ(told(named("a", "text = \"1\"\ntype = 3\n")),
              "job:4: property \"a\": type 3: expected 1 (text) or 2 (binary)");
    EXPECT_EQ(told("property = 1.5\n"),
              "job:1: \"property\" is a number with a point: expected at least one [[property]]");
}

TEST_F(setmac_job, refuses_unknown_and_missing_keys)
{
    EXPECT_EQ(told("[[property]]\ntext = \"1\"\n"),
              "job:1: missing \"name\": expected a text, as in name = \"SerialNO\"");
    EXPECT_EQ(told(named("a", "text = \"1\"\nsize = 1\n")),
              "job:4: unknown key \"size\": expected name, text, hex, type");
    EXPECT_EQ(told("serial = \"1\"\n"), "job:1: unknown key \"serial\": expected property\n"
                                        "job:1: no property: expected at least one [[property]]");
}

TEST_F(setmac_job, refuses_two_properties_stored_under_one_name)
{
    EXPECT_EQ(told(named("a", "text = \"1\"\n") + named("a", "text = \"2\"\n")),
              "job:5: property \"a\": the switch stores it as \"a\", as it does that of line 2");
    EXPECT_EQ(
        told(named("ethaddr", "text = \"1\"\n") +
             named("MacAddress", "hex = \"00 1A 2B 3C 4D 5E\"\n")),
        "job:5: property \"MacAddress\": the switch stores it as \"ethaddr\", as it does that "
        "of line 2");
}

TEST_F(setmac_job, refuses_more_than_the_switch_can_receive)
{
    // A node is 5 digits, 6 bytes and 128 of text: 942 of them, the part's 5 bytes and the 4 of the
    // CRC make 130947 bytes, and 943 make 131086.
    std::string text;
    for (int number = 10000; number < 10942; ++number) {
        text += named(std::to_string(number), "text = \"" + std::string(128, 't') + "\"\n");
    }
    EXPECT_EQ(told(text), "nothing");
    text += named("10942", "text = \"" + std::string(128, 't') + "\"\n");
    EXPECT_EQ(told(text),
              "job:1: the properties make 131086 bytes: the switch takes at most 131072");
}

TEST_F(setmac_job, tells_all_its_mistakes_in_the_order_of_their_lines)
{
    EXPECT_EQ(told(named("", "text = 1\n") + "more = 1\n"),
              "job:2: the name is empty: expected 1 to 63 bytes\n"
              "job:3: \"text\" is a whole number: expected a text, as in text = \"CN\"\n"
              "job:4: unknown key \"more\": expected name, text, hex, type");
}

TEST_F(setsn_job, holds_a_serial_of_1_to_63_bytes)
{
    EXPECT_EQ(serial("serial = \"A\"\n"), bytes{'A'});
    EXPECT_EQ(serial("serial = \"" + std::string(63, 's') + "\"\n"), bytes(63, 's'));
}

TEST_F(setsn_job, refuses_any_other_serial)
{
    EXPECT_EQ(told_of_serial("serial = \"\"\n"),
              "job:1: the serial number has 0 bytes: expected 1 to 63");
    EXPECT_EQ(told_of_serial("\nserial = \"" + std::string(64, 's') + "\"\n"),
              "job:2: the serial number has 64 bytes: expected 1 to 63");
    EXPECT_EQ(told_of_serial("serial = \"a\\u0000\"\n"),
              "job:1: a NUL in the serial number: the switch would end it there");
    EXPECT_EQ(told_of_serial("serial = 1234\n"), "job:1: \"serial\" is a whole number: expected a "
                                                 "text, as in serial = \"ABCDEFGHJ1234\"");
    EXPECT_EQ(told_of_serial("# nothing\n"),
              "job:1: missing \"serial\": expected a text, as in serial = \"ABCDEFGHJ1234\"");
    EXPECT_EQ(told_of_serial("serial = \"1\"\n\n[[property]]\nname = \"a\"\n"),
              "job:3: unknown key \"property\": expected serial");
}

TEST_F(job_file, that_is_no_toml_is_told_with_its_line)
{
    try {
        read("# a comment\nserial = ABC\n");
        FAIL() << "read";
    } catch (const job_error &error) {
        EXPECT_EQ(std::string(error.what()).rfind(path() + ":2: ", 0), 0U) << error.what();
    }
}

TEST_F(job_file, that_cannot_be_read_is_told_with_the_reason)
{
    try {
        read_job_file(path());
        FAIL() << "read";
    } catch (const job_error &error) {
        EXPECT_EQ(std::string(error.what()),
                  path() + ": cannot read it: No such file or directory");
    }
}

TEST_F(job_file, may_be_empty)
{
    EXPECT_TRUE(read("").values.empty());
}
