#include "unit/station/product_folder.h"

namespace {

using plan_of_product = product_folder;
using product_file = product_folder;
using product_values = product_folder;

/** The value as it is stored, or what was expected of it in brackets. */
std::string checked(const station::value_form &form, const std::string &text)
{
    const auto [kept, complaint] = station::check_value(form, text);
    return complaint.empty() ? kept : "(" + complaint + ")";
}

} // namespace

TEST_F(plan_of_product, lists_what_the_switch_shall_hold)
{
    const std::vector<std::string> expected = {"ethaddr=00:1A:2B:3C:4D:40",
                                               "SerialNO=ABCDEFGHJ1234", "ProductModel=SW-48X6Q"};
    EXPECT_EQ(planned().lines, expected);
}

TEST_F(plan_of_product, lets_a_later_step_replace_what_an_earlier_one_leaves)
{
    write("serial.toml", "serial = \"X{serial}\"\n");
    steps += step("setsn", "serial.toml");
    EXPECT_EQ(planned().lines[1], "SerialNO=XABCDEFGHJ1234");
}

TEST_F(plan_of_product, knows_what_the_log_of_a_backplane_has_to_tell)
{
    steps += step("setbackplane", "backplane.toml");
    const std::vector<std::string> expected = {"BP type 31 .",
                                               "BP version 1.02 .",
                                               "BP serial_no ABCDEFGHJ1234 .",
                                               "BP mac_addr 00:1A:2B:3C:4D:41 .",
                                               "BP serial_0 0 .",
                                               "BP serial_1 0 .",
                                               "BP serial_2 0 .",
                                               "BP serial_3 7 ."};
    EXPECT_EQ(planned().steps[1].job.logged.lines, expected);
}

TEST_F(plan_of_product, lists_the_whole_eeprom_of_the_other_flavour)
{
    head = "name = \"sw\"\nflavour = \"tlv\"\n";
    write("identity.toml", "[[node]]\nname = \"ProductModel\"\ntext = \"SW\"\n"
                           "[[node]]\nname = \"Serial Number\"\ntext = \"{serial}\"\n"
                           "[[node]]\nname = \"MacAddress\"\nhex = \"{mac}\"\n"
                           "[[node]]\nname = \"ethaddr_scale\"\ntext = \"40\"\n"
                           "[[node]]\nname = \"setmac_time\"\ntext = \"{today} 00:00:00\"\n"
                           "[[node]]\nname = \"ProductID\"\ntext = \"4806\"\n");
    const auto lines = planned().lines;
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[0], "SerialNO=ABCDEFGHJ1234");
    EXPECT_EQ(lines[1], "ethaddr=00:1A:2B:3C:4D:40");
    EXPECT_EQ(lines[4], "setmac_time=01/31/2024 00:00:00");
}

TEST_F(product_values, stand_in_place_of_their_names)
{
    values += "[[value]]\nname = \"slot\"\nkind = \"number\"\nleast = 1\nmost = 9\n";
    given["slot"] = "07";
    write("fan.toml", "[[fan]]\nindex = \"{slot}\"\ntype = 5\nchannel = \"{slot+1}\"\nserial = "
                      "\"{{{slot}}}\"\nhardware = \"1.23\"\n");
    steps += step("setfansn", "fan.toml");
    const auto items = planned().steps[1].job.items({});
    EXPECT_EQ(items.rows.at(0),
              (std::vector<std::string>{"7", "8", "0x05", "{7}", "1.23", "not written"}));
}

TEST_F(product_values, have_the_form_that_the_product_wants)
{
    station::value_form mac{
        .name = "mac", .kind = station::value_kind::mac, .align = 64, .count = 64};
    EXPECT_EQ(checked(mac, "00 1a 2b 3c 4d 40"), "00:1A:2B:3C:4D:40");
    EXPECT_EQ(checked(mac, "00:1A:2B:3C:4D:41"), "(expected a multiple of 64)");
    EXPECT_EQ(checked(mac, "01:1A:2B:3C:4D:40"), "(expected the address of a single station)");
    EXPECT_EQ(checked(mac, "00:00:00:00:00:00"), "(expected the address of a single station)");
    EXPECT_EQ(checked(mac, "00:1A:2B:3C:4D"),
              "(expected six bytes in hexadecimal, as in 00:1A:2B:3C:4D:40)");
    mac.count = 128;
    EXPECT_EQ(checked(mac, "FE:FF:FF:FF:FF:C0"), "FE:FF:FF:FF:FF:C0");

    station::value_form date{.name = "made", .kind = station::value_kind::date};
    EXPECT_EQ(checked(date, "2024-02-29"), "2024-02-29");
    EXPECT_EQ(checked(date, "2023-02-29"), "(expected a date, as in 2024-01-31)");
    EXPECT_EQ(checked(date, "2023-2-09"), "(expected a date, as in 2024-01-31)");

    station::value_form number{
        .name = "n", .kind = station::value_kind::number, .least = 1, .most = 12};
    EXPECT_EQ(checked(number, "012"), "12");
    EXPECT_EQ(checked(number, "13"), "(expected a whole number from 1 to 12)");
    EXPECT_EQ(checked(number, "1x"), "(expected a whole number from 1 to 12)");

    station::value_form text{.name = "t", .shortest = 2, .longest = 3};
    EXPECT_EQ(checked(text, "ab"), "ab");
    EXPECT_EQ(checked(text, "a"), "(expected 2 to 3 characters, not 1)");
    EXPECT_EQ(checked(text, "a\n"), "(expected printable ASCII characters, at most 511)");
}

TEST_F(product_values, that_are_missing_wrong_or_not_known_are_told)
{
    given = {{"serial", "abc"}, {"color", "red"}};
    EXPECT_EQ(told(), "product.toml:1: the product has no value \"color\": expected serial, mac\n"
                      "product.toml:3: value \"serial\" is \"abc\": expected what the pattern "
                      "\"[A-Z0-9]{13}\" describes\n"
                      "product.toml:7: no value for \"mac\": expected --value mac=...");
}

TEST_F(product_values, in_jobs_are_told_with_the_line_of_the_job)
{
    write("identity.toml", "[[property]]\nname = \"A\"\ntext = \"{serail}\"\n"
                           "[[property]]\nname = \"B\"\ntext = \"{mac\"\n"
                           "[[property]]\nname = \"C\"\nhex = \"{mac+64}\"\n"
                           "[[property]]\nname = \"D\"\ntext = \"}\"\n"
                           "[[property]]\nname = \"E\"\ntext = \"{serial+1}\"\n");
    EXPECT_EQ(
        told(),
        "identity.toml:3: {serail}: the product has no such value: expected serial, mac, "
        "today\n"
        "identity.toml:6: a \"{\" is never closed in \"{mac\": expected {name}, or {{ for the "
        "bracket itself\n"
        "identity.toml:9: {mac+64}: a unit has 64 addresses: expected at most +63\n"
        "identity.toml:12: a \"}\" without a \"{\" in \"}\": expected {name}, or }} for the "
        "bracket itself\n"
        "identity.toml:15: {serial+1}: expected a value of kind mac or number, and a whole "
        "number behind the \"+\"");
}

TEST_F(product_values, that_do_not_fit_their_record_are_told)
{
    values = "[[value]]\nname = \"serial\"\nkind = \"text\"\nlongest = 200\n"
             "[[value]]\nname = \"mac\"\nkind = \"mac\"\n";
    given["serial"] = std::string(129, 'A');
    EXPECT_EQ(told(), "identity.toml:6: property \"SerialNO\": the value has 129 bytes: expected "
                      "at most 128 for type 1, the switch would cut it");
}

TEST_F(product_file, without_a_form_of_a_value_is_told)
{
    values = "[[value]]\nname = \"serial\"\nkind = \"text\"\n"
             "[[value]]\nname = \"mac\"\nkind = \"address\"\n"
             "[[value]]\nname = \"n\"\nkind = \"number\"\nleast = 1\n"
             "[[value]]\nname = \"today\"\nkind = \"date\"\n"
             "[[value]]\nname = \"p\"\nkind = \"text\"\npattern = \"[A\"\n";
    EXPECT_EQ(
        told(),
        "product.toml:3: value \"serial\" has no form: expected \"pattern\", \"length\" or "
        "\"longest\"\n"
        "product.toml:8: \"kind\" is \"address\": expected text, mac, number or date\n"
        "product.toml:9: value \"n\" has no form: expected \"least\" and \"most\"\n"
        "product.toml:14: \"name\" is \"today\": expected small letters, digits and \"_\", "
        "and another name than \"today\"\n"
        "product.toml:19: \"pattern\" is \"[A\", missing ]: [A: expected a regular expression, "
        "as in pattern = \"[A-Z0-9]{13}\"");
}

TEST_F(product_file, with_a_pattern_that_counts_without_end_is_told)
{
    for (const std::string pattern : {"[A-Z]{1001}", "[A-Z]{1,1001}", "(([A-Z]{999}){999}){999}"}) {
        values = "[[value]]\nname = \"serial\"\nkind = \"text\"\npattern = \"" + pattern + "\"\n" +
                 "[[value]]\nname = \"mac\"\nkind = \"mac\"\n";
        EXPECT_TRUE(told().starts_with("product.toml:6: \"pattern\" is \"")) << told();
    }
    values = "[[value]]\nname = \"serial\"\nkind = \"text\"\npattern = "
             "\"ABCD[A-Z]{1,3},EF[0-9]{2}12{3}\"\n"
             "[[value]]\nname = \"mac\"\nkind = \"mac\"\n";
    given["serial"] = "ABCDGHJ,EF341222";
    EXPECT_EQ(told(), "nothing");
}

TEST_F(product_file, with_a_pattern_that_refers_back_is_told)
{
    values = "[[value]]\nname = \"serial\"\nkind = \"text\"\npattern = '([A-Z])\\1'\n"
             "[[value]]\nname = \"mac\"\nkind = \"mac\"\n";
    EXPECT_EQ(told(),
              "product.toml:6: \"pattern\" is \"([A-Z])\\1\", invalid escape sequence: \\1: "
              "expected a regular expression, as in pattern = \"[A-Z0-9]{13}\"");
}

// There are 2^500 ways to read it, and an operator waits for the answer.
TEST_F(product_file, with_a_pattern_of_many_readings_decides_at_once)
{
    values = "[[value]]\nname = \"serial\"\nkind = \"text\"\npattern = \"([A-Z]|[A-Z0-9])*!\"\n"
             "[[value]]\nname = \"mac\"\nkind = \"mac\"\n";
    given["serial"] = std::string(500, 'A');
    EXPECT_EQ(told(), "product.toml:3: value \"serial\" is \"" + given["serial"] +
                          "\": expected what the pattern \"([A-Z]|[A-Z0-9])*!\" describes");
}

TEST_F(product_file, with_steps_that_the_flavour_does_not_have_is_told)
{
    head = "name = \"sw\"\nflavour = \"tlv\"\n";
    steps = step("setpoesn", "fan.toml");
    EXPECT_EQ(told(), "product.toml:22: \"operation\" is \"setpoesn\": expected one of "
                      "setbackplane, setdevice, setfansn, setmac, setsn");
}

TEST_F(product_file, whose_identity_no_step_leaves_is_told)
{
    identity += "[[identity]]\nrecord = \"Asset\"\n";
    EXPECT_EQ(told(), "product.toml:21: no step leaves a record \"Asset\" that the switch lists: "
                      "expected one that does");
}

TEST_F(product_file, that_is_no_such_file_is_told)
{
    head = "nam = \"sw\"\nflavour = 3\nprogram = \"a;b\"\n";
    console = "[console]\nprompt = \"\"\nboot = 0\npassword_env = \"A\"\npassword_file = \"b\"\n";
    identity = "";
    const auto text = told();
    for (const auto *part :
         {"product.toml:1: missing \"name\": expected a text, as in name = \"sw-48x6q\"",
          "product.toml:1: unknown key \"nam\": expected name, flavour, program, listing, log, "
          "value, identity, step, console",
          "product.toml:2: \"flavour\" is a whole number: expected legacy (the identity is in "
          "flash) or tlv (in the system EEPROM)",
          "product.toml:3: \"program\" is \"a;b\": expected letters, digits, blanks and any of "
          "-_./+:=@%,",
          "\"prompt\" is empty", "\"boot\" is 0: expected a whole number from 1 to 86400",
          "both \"password_env\" and \"password_file\"", "a password without \"user\"",
          "no identity: expected at least one [[identity]]"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " in\n" << text;
    }
}

TEST_F(product_file, names_the_place_of_the_password_but_does_not_hold_it)
{
    console = "[console]\nuser = \"root\"\npassword_file = \"password\"\n";
    write("password", "secret\nsecond line\n");
    EXPECT_EQ(station::password_of(planned().what), "secret");
    write("password", "secret\r\n"); // as other systems end lines
    EXPECT_EQ(station::password_of(planned().what), "secret");
    std::filesystem::remove(path("password"));
    EXPECT_THROW(station::password_of(planned().what), station::job_error);
}
