#include "station/jobs/eeprom_job.h"
#include "unit/station/job_files.h"

using namespace station;

namespace {

class eeprom_jobs : public job_files {
protected:
    static eeprom_job job(const std::string &text) { return read_as(read_eeprom_job, text); }
    static std::string told(const std::string &text) { return told_by(read_eeprom_job, text); }

    static std::string text_node(const std::string &name, const std::string &text)
    {
        return "[[node]]\nname = \"" + name + "\"\ntext = \"" + text + "\"\n";
    }

    static std::string hex_node(const std::string &name, const std::string &hex)
    {
        return "[[node]]\nname = \"" + name + "\"\nhex = \"" + hex + "\"\n";
    }

    static bytes record(const eeprom_job &job, std::uint8_t code)
    {
        const auto *value = job.image.find(code);
        return value == nullptr ? bytes{'n', 'o', 'n', 'e'} : *value;
    }
};

using eeprom_payload_of = eeprom_jobs;
using eeprom_job_reading = eeprom_jobs;
using eeprom_job_room = eeprom_jobs;
using eeprom_listing = eeprom_jobs;

const char names[] =
    "ProductModel, Part Number, Serial Number, MacAddress, setmac_time, Device Version, Label "
    "Revision, Platform Name, ONIE Version, ethaddr_scale, Manufacturer, Country Code, Vendor "
    "Name, Diag Version, Service Tag, Vendor Extension, CRC-32, ProductID, HardwareVersion, "
    "MainFile, fdtname, serial0, serial1, serial2, serial3, projectid, setmac_ver, e2type, "
    "e2_write_en_reg";

} // namespace

TEST_F(eeprom_payload_of, nodes_is_one_part_with_texts_ended_by_a_counted_nul)
{
    const auto found = job(text_node("serial0", "A1") + hex_node("e2type", "00 05"));
    EXPECT_EQ(eeprom_payload(found.parts),
              (bytes{0x01, 0x00, 0x00, 0x00, 0x23,                   // part of 35 bytes
                     's',  'e',  'r',  'i',  'a',  'l',  '0',  0x00, // name
                     0x01, 0x00, 0x00, 0x00, 0x03, 'A',  '1',  0x00, // text, 3 bytes
                     'e',  '2',  't',  'y',  'p',  'e',  0x00,       // name
                     0x02, 0x00, 0x00, 0x00, 0x02, 0x00, 0x05}));    // binary, 2 bytes
}

TEST_F(eeprom_payload_of, parts_keeps_their_order_and_flags)
{
    const auto found = job("[[part]]\nflag = 0\n[[part.node]]\nname = \"serial0\"\ntext = \"\"\n"
                           "[[part]]\nflag = 255\n"
                           "[[part.node]]\nname = \"e2_write_en_reg\"\nhex = \"31\"\n"
                           "[[part]]\n[[part.node]]\nname = \"serial1\"\ntext = \"\"\n");
    EXPECT_EQ(eeprom_payload(found.parts),
              (bytes{0x00, 0x00, 0x00, 0x00, 0x13,                        //
                     's',  'e',  'r',  'i',  'a',  'l',  '0',  0x00,      //
                     0x01, 0x00, 0x00, 0x00, 0x01, 0x00,                  //
                     0xFF, 0x00, 0x00, 0x00, 0x1B,                        //
                     'e',  '2',  '_',  'w',  'r',  'i',  't',  'e',  '_', //
                     'e',  'n',  '_',  'r',  'e',  'g',  0x00,            //
                     0x02, 0x00, 0x00, 0x00, 0x01, 0x31,                  //
                     0x01, 0x00, 0x00, 0x00, 0x13,                        //
                     's',  'e',  'r',  'i',  'a',  'l',  '1',  0x00,      //
                     0x01, 0x00, 0x00, 0x00, 0x01, 0x00}));
}

TEST_F(eeprom_payload_of, a_date_has_the_blank_behind_it_that_the_switch_wants)
{
    const bytes payload{0x01, 0x00, 0x00, 0x00, 0x2B,                                //
                        's',  'e',  't',  'm',  'a',  'c',  '_', 't', 'i', 'm', 'e', //
                        0x00, 0x01, 0x00, 0x00, 0x00, 0x15,                          //
                        '2',  '0',  '2',  '4',  '-',  '0',  '1', '-', '0', '2', ' ', //
                        '0',  '3',  ':',  '0',  '4',  ':',  '0', '5', ' ', 0x00};
    EXPECT_EQ(eeprom_payload(job(text_node("setmac_time", "2024-01-02 03:04:05")).parts), payload);
    EXPECT_EQ(eeprom_payload(job(text_node("setmac_time", "2024-01-02 03:04:05 ")).parts), payload);
}

TEST_F(eeprom_job_reading, follows_what_the_switch_keeps_of_each_value)
{
    const auto found =
        job(text_node("Serial Number", "AB") + hex_node("MacAddress", "00 1A 2B 3C 4D 5E") +
            text_node("setmac_time", "2024-01-02 03:04:05") + text_node("ethaddr_scale", "1aF") +
            text_node("Device Version", "0x64") + text_node("Manufacturer", ""));
    EXPECT_EQ(record(found, 0x23), (bytes{'A', 'B'}));
    EXPECT_EQ(record(found, 0x24), (bytes{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}));
    EXPECT_EQ(record(found, 0x25), (bytes{'0', '1', '/', '0', '2', '/', '2', '0', '2', '4',
                                          ' ', '0', '3', ':', '0', '4', ':', '0', '5', 0x00}));
    EXPECT_EQ(record(found, 0x2A), (bytes{0x01, 0xAF}));
    EXPECT_EQ(record(found, 0x26), bytes{100});
    EXPECT_EQ(record(found, 0x2B), bytes{});
    EXPECT_EQ(record(found, 0x2D), (bytes{'t', 'a', 'l', 'v', 'e', 'x'}));
}

TEST_F(eeprom_job_reading, gathers_the_values_of_the_vendor_extension)
{
    const auto found = job(text_node("serial0", "A1") + hex_node("e2type", "00 07"));
    EXPECT_EQ(record(found, 0xFD),
              (bytes{0x00, 0x00, 0x00, 0x00, 0x44, 0x02, 'A', '1', 0x4A, 0x02, 0x00, 0x07}));
}

TEST_F(eeprom_job_reading, goes_on_behind_a_vendor_extension_given_whole)
{
    const auto found =
        job(hex_node("Vendor Extension", "00 00 7E D9 44 01 41") + text_node("serial1", "B"));
    EXPECT_EQ(record(found, 0xFD),
              (bytes{0x00, 0x00, 0x7E, 0xD9, 0x44, 0x01, 'A', 0x45, 0x01, 'B'}));
}

TEST_F(eeprom_job_reading, derives_records_of_the_hardware_version)
{
    const struct {
        const char *text;
        std::uint8_t device;
        bytes label;
    } versions[] = {{"1.00", 100, {'0', '0'}}, {"2.1", 21, {'1'}},       {"1.0", 10, {'0'}},
                    {"0.1", 1, {'1'}},         {"0.10", 8, {'1', '0'}},  {"0.9", 0, {'9'}},
                    {"A.B", 0, {'B'}},         {"0.xF", 15, {'x', 'F'}}, {"2.55", 255, {'5', '5'}}};
    for (const auto &each : versions) {
        const auto found = job(text_node("HardwareVersion", each.text));
        EXPECT_EQ(record(found, 0x26), bytes{each.device}) << each.text;
        EXPECT_EQ(record(found, 0x27), each.label) << each.text;
    }
}

TEST_F(eeprom_job_reading, derives_the_platform_name_of_the_product_model)
{
    const auto found = job(text_node("ProductModel", "ABC"));
    const std::string name = "x86-64-ABC-v1";
    EXPECT_EQ(record(found, 0x28), bytes(name.begin(), name.end()));
    EXPECT_EQ(record(found, 0x21), (bytes{'A', 'B', 'C'}));
}

TEST_F(eeprom_job_reading, refuses_a_hardware_version_that_gives_no_device_version)
{
    EXPECT_EQ(told(text_node("HardwareVersion", "2.56")),
              "job:3: node \"HardwareVersion\": the switch makes a device version above 255 of it "
              "and leaves that out: expected at most 255, or a \"Device Version\" behind it");
    const auto found =
        job(text_node("HardwareVersion", "3.00") + text_node("Device Version", "30"));
    EXPECT_EQ(record(found, 0x26), bytes{30});
    EXPECT_EQ(record(found, 0x27), (bytes{'0', '0'}));
}

TEST_F(eeprom_job_reading, refuses_a_hardware_version_of_another_form)
{
    for (const auto *text : {"", "1", "1.", "12.3", "1.000", "1.0 ", " .1", "1-00", "-.1"}) {
        EXPECT_EQ(told(text_node("HardwareVersion", text)),
                  "job:3: node \"HardwareVersion\": \"" + std::string(text) +
                      "\": expected a letter or digit, a point and one or two more, as in text = "
                      "\"1.02\"");
    }
}

TEST_F(eeprom_job_reading, refuses_a_record_that_a_later_node_derives_anew)
{
    EXPECT_EQ(told(text_node("Platform Name", "p") + text_node("ProductModel", "m")),
              "job:5: node \"ProductModel\": the switch makes \"Platform Name\" of it, in place of "
              "that of line 2: expected it before that");
    EXPECT_EQ(told(text_node("Device Version", "1") + text_node("Label Revision", "1") +
                   text_node("HardwareVersion", "1.0")),
              "job:8: node \"HardwareVersion\": the switch makes \"Device Version\" of it, in "
              "place of that of line 2: expected it before that\n"
              "job:8: node \"HardwareVersion\": the switch makes \"Label Revision\" of it, in "
              "place of that of line 5: expected it before that");
    EXPECT_EQ(told(text_node("ProductModel", "m") + text_node("Platform Name", "p")), "nothing");
}

TEST_F(eeprom_job_reading, refuses_a_vendor_extension_behind_its_values)
{
    EXPECT_EQ(told(text_node("serial0", "A") + hex_node("Vendor Extension", "00 00 00 00")),
              "job:5: node \"Vendor Extension\": it replaces the values of the vendor extension "
              "ahead of it: expected before them");
}

TEST_F(eeprom_job_reading, refuses_a_vendor_extension_that_its_values_do_not_fill)
{
    const std::string expected = ": expected 4 bytes of enterprise number, then values that fill "
                                 "it, each a code, a length and its bytes";
    EXPECT_EQ(told(hex_node("Vendor Extension", "00 00 00")),
              "job:3: node \"Vendor Extension\": 3 bytes, 00 00 00" + expected);
    EXPECT_EQ(told(hex_node("Vendor Extension", "00 00 00 00 44")),
              "job:3: node \"Vendor Extension\": 5 bytes, 00 00 00 00 44" + expected);
    EXPECT_EQ(told(hex_node("Vendor Extension", "00 00 00 00 44 02 41")),
              "job:3: node \"Vendor Extension\": 7 bytes, 00 00 00 00 44 02 41" + expected);
    EXPECT_EQ(told(hex_node("Vendor Extension", "00 00 00 00 44 01 41")), "nothing");
}

TEST_F(eeprom_job_reading, refuses_mac_addresses_that_are_no_single_station)
{
    for (const std::string hex : {"01 02 03 04 05 06", "FF FF FF FF FF FF", "00 00 00 00 00 00"}) {
        EXPECT_EQ(told(hex_node("MacAddress", hex)),
                  "job:3: node \"MacAddress\": 6 bytes, " + hex +
                      ": expected the 6 bytes of a single station, as in hex = \"00 1A 2B 3C 4D "
                      "5E\"");
    }
    EXPECT_EQ(told(hex_node("MacAddress", "02")),
              "job:3: node \"MacAddress\": 1 byte, 02: expected the 6 bytes of a single station, "
              "as in hex = \"00 1A 2B 3C 4D 5E\"");
}

TEST_F(eeprom_job_reading, refuses_what_is_no_date)
{
    for (const auto *text :
         {"", "2024-01-02", "2024-01-02T03:04:05", "01/02/2024 03:04:05", "2024-01-02 03:04:05  ",
          "2024-13-02 03:04:05", "2023-02-29 03:04:05", "2024-01-02 24:04:05",
          "2024-01-02 03:60:05", "2024-01-02 03:04:60", "0999-01-02 03:04:05"}) {
        EXPECT_EQ(told(text_node("setmac_time", text)),
                  "job:3: node \"setmac_time\": \"" + std::string(text) +
                      "\": expected a date and time, as in text = \"2024-01-02 03:04:05\"");
    }
    EXPECT_EQ(told(text_node("setmac_time", "2024-02-29 23:59:59")), "nothing");
}

TEST_F(eeprom_job_reading, refuses_numbers_out_of_range_or_in_another_form)
{
    for (const auto *text : {"", "256", "-1", "010", "0x", "0x100", "1 ", "4294967296", "one"}) {
        EXPECT_EQ(told(text_node("Device Version", text)),
                  "job:3: node \"Device Version\": \"" + std::string(text) +
                      "\": expected a number from 0 to 255, as in text = \"100\" or text = "
                      "\"0x64\"");
    }
    for (const auto *text : {"", "10000", "0x80", "-1", "80h"}) {
        EXPECT_EQ(told(text_node("ethaddr_scale", text)),
                  "job:3: node \"ethaddr_scale\": \"" + std::string(text) +
                      "\": expected a hexadecimal number from 0 to ffff, as in text = \"80\"");
    }
    EXPECT_EQ(told(text_node("Device Version", "0") + text_node("ethaddr_scale", "ffff")),
              "nothing");
}

TEST_F(eeprom_job_reading, refuses_a_product_model_that_gives_no_platform_name)
{
    EXPECT_EQ(told(text_node("ProductModel", std::string(18, 'm'))), "nothing");
    EXPECT_EQ(told(text_node("ProductModel", std::string(19, 'm'))),
              "job:3: node \"ProductModel\": \"mmmmmmmmmmmmmmmmmmm\": expected at most 18 bytes of "
              "text: the switch also makes the platform name of them");
}

TEST_F(eeprom_job_reading, refuses_board_types_and_registers_of_other_lengths)
{
    EXPECT_EQ(told(hex_node("e2type", "")),
              "job:3: node \"e2type\": 0 bytes: expected 1 to 4 bytes, as in hex = \"00 05\"");
    EXPECT_EQ(told(hex_node("e2type", "01 02 03 04 05")),
              "job:3: node \"e2type\": 5 bytes, 01 02 03 04 05: expected 1 to 4 bytes, as in hex = "
              "\"00 05\"");
    EXPECT_EQ(told(hex_node("e2_write_en_reg", "31 32")),
              "job:3: node \"e2_write_en_reg\": 2 bytes, 31 32: expected 1 byte, as in hex = "
              "\"31\"");
    EXPECT_EQ(told(hex_node("e2type", "01 02 03 04") + hex_node("e2_write_en_reg", "31")),
              "nothing");
}

TEST_F(eeprom_job_reading, refuses_a_checksum)
{
    EXPECT_EQ(told(text_node("CRC-32", "0")),
              "job:2: node \"CRC-32\": given: expected none: the switch computes it");
}

TEST_F(eeprom_job_reading, refuses_a_value_of_the_other_kind)
{
    EXPECT_EQ(told(text_node("MacAddress", "00:1A:2B:3C:4D:5E")),
              "job:3: node \"MacAddress\": a text: expected the 6 bytes of a single station, as in "
              "hex = \"00 1A 2B 3C 4D 5E\"");
    EXPECT_EQ(told(hex_node("serial0", "41 31")),
              "job:3: node \"serial0\": a value in hexadecimal: expected a text, as in text = "
              "\"A1\"");
}

TEST_F(eeprom_job_reading, refuses_texts_that_would_disturb_the_console)
{
    for (const auto *text : {"\\n", "a\\u0006", "\\u0000", "\\u007F"}) {
        EXPECT_EQ(told(text_node("Service Tag", text)),
                  "job:3: node \"Service Tag\": a control character in the text: the switch's "
                  "console would show it in the midst of the exchange");
    }
    EXPECT_EQ(told(text_node("Service Tag", "Gerät")), "nothing");
}

TEST_F(eeprom_job_reading, refuses_names_that_the_switch_skips)
{
    EXPECT_EQ(told(text_node("SerialNO", "A")),
              "job:2: node \"SerialNO\": the switch skips this name: expected one of " +
                  std::string(names));
    EXPECT_EQ(told(text_node("", "A")),
              "job:2: the name is empty: expected one of " + std::string(names));
    EXPECT_EQ(told("[[node]]\ntext = \"A\"\n"),
              "job:1: missing \"name\": expected a text, as in name = \"Serial Number\"");
}

TEST_F(eeprom_job_reading, refuses_a_name_that_stands_twice_in_what_the_switch_applies)
{
    EXPECT_EQ(told(text_node("serial0", "A") + text_node("serial0", "B")),
              "job:5: node \"serial0\": the job has it on line 2 already");
    EXPECT_EQ(told("[[part]]\nflag = 0\n[[part.node]]\nname = \"serial0\"\ntext = \"A\"\n"
                   "[[part]]\n[[part.node]]\nname = \"serial0\"\ntext = \"B\"\n"),
              "nothing");
}

TEST_F(eeprom_job_reading, refuses_other_keys_and_flags)
{
    EXPECT_EQ(told(""), "job:1: no node: expected at least one [[node]]");
    EXPECT_EQ(told("serial = \"A\"\n" + text_node("serial0", "A")),
              "job:1: unknown key \"serial\": expected node, part");
    EXPECT_EQ(told("[[node]]\nname = \"serial0\"\ntext = \"A\"\ntype = 1\n"),
              "job:4: unknown key \"type\": expected name, text, hex");
    EXPECT_EQ(told("[[part]]\nflag = 256\n[[part.node]]\nname = \"serial0\"\ntext = \"A\"\n"),
              "job:2: flag 256: expected 0 (the switch skips the part) to 255");
    EXPECT_EQ(told("[[part]]\nflag = 1\n"), "job:1: no node: expected at least one [[node]]");
    EXPECT_EQ(told(text_node("serial0", "A") + "[[part]]\n[[part.node]]\nname = \"serial1\"\n"
                                               "text = \"A\"\n"),
              "job:1: both [[node]] and [[part]]: expected either, where there are parts the nodes "
              "are [[part.node]]");
}

// The switch starts from 62 bytes of the 245, so that a new record may have 181 and its header.
TEST_F(eeprom_job_room, is_245_bytes_with_those_that_the_switch_starts_from)
{
    EXPECT_EQ(told(text_node("Serial Number", std::string(181, 's'))), "nothing");
    EXPECT_EQ(told(text_node("Serial Number", std::string(182, 's'))),
              "job:2: node \"Serial Number\": it takes 184 bytes: the EEPROM has 183 left, and the "
              "switch would leave it out");
}

TEST_F(eeprom_job_room, gets_back_what_a_replaced_record_had)
{
    // The default manufacturer takes 8 bytes.
    EXPECT_EQ(told(text_node("Manufacturer", std::string(189, 'm'))), "nothing");
    EXPECT_EQ(told(text_node("Manufacturer", std::string(190, 'm'))),
              "job:2: node \"Manufacturer\": it takes 192 bytes: the EEPROM has 191 left, and the "
              "switch would leave it out");
}

TEST_F(eeprom_job_room, is_taken_by_the_enterprise_number_and_two_bytes_for_each_value_of_its)
{
    EXPECT_EQ(told(text_node("serial0", std::string(100, 'a')) +
                   text_node("serial1", std::string(73, 'b'))),
              "nothing");
    EXPECT_EQ(told(text_node("serial0", std::string(100, 'a')) +
                   text_node("serial1", std::string(74, 'b'))),
              "job:5: node \"serial1\": the vendor extension with it takes 184 bytes: the EEPROM "
              "has 183 left, and the switch would leave it out");
}

TEST_F(eeprom_job_room, is_taken_by_derived_records_too)
{
    // The platform name grows from 8 bytes to 2 + 7 + 18 + 3, and the model's own record takes 20.
    EXPECT_EQ(told(text_node("Serial Number", std::string(139, 's')) +
                   text_node("ProductModel", std::string(18, 'm'))),
              "nothing");
    EXPECT_EQ(told(text_node("Serial Number", std::string(140, 's')) +
                   text_node("ProductModel", std::string(18, 'm'))),
              "job:5: node \"ProductModel\": it takes 20 bytes: the EEPROM has 19 left, and the "
              "switch would leave it out");
    EXPECT_EQ(told(text_node("Serial Number", std::string(160, 's')) +
                   text_node("ProductModel", std::string(18, 'm'))),
              "job:5: node \"ProductModel\": the platform name that the switch makes of it takes "
              "30 bytes: the EEPROM has 29 left, and the switch would leave it out");
}

TEST_F(eeprom_job_room, is_not_taken_by_skipped_parts)
{
    EXPECT_EQ(told("[[part]]\nflag = 0\n[[part.node]]\nname = \"Serial Number\"\ntext = \"" +
                   std::string(400, 's') + "\"\n"),
              "nothing");
}

TEST_F(eeprom_listing, has_five_values_and_then_the_vendor_extension_in_its_order)
{
    const auto found =
        job(hex_node("e2type", "00 07") + text_node("serial0", "A1") +
            text_node("setmac_time", "2024-01-02 03:04:05") + text_node("ProductModel", "M") +
            text_node("ethaddr_scale", "80") + hex_node("MacAddress", "00 1A 2B 3C 4D 5E") +
            text_node("Serial Number", "S1"));
    EXPECT_EQ(found.image.listing(),
              (std::vector<std::string>{
                  "SerialNO=S1", "ethaddr=00:1A:2B:3C:4D:5E", "ethaddr_scale=000000000080",
                  "ProductModel=M", "setmac_time=01/02/2024 03:04:05", "e2type=7", "serial0=A1"}));
    EXPECT_EQ(found.image.not_listed(), "");
}

TEST_F(eeprom_listing, shows_board_types_as_the_switch_reads_them)
{
    const auto listed = [](const std::string &hex) {
        return job(hex_node("e2type", hex)).image.listing().at(0);
    };
    EXPECT_EQ(listed("05"), "e2type=5");
    EXPECT_EQ(listed("01 02"), "e2type=102");
    EXPECT_EQ(listed("01 02 03"), "e2type=30201");
    EXPECT_EQ(listed("01 02 03 04"), "e2type=1020304");
}

TEST_F(eeprom_listing, shows_only_known_values_of_a_vendor_extension_given_whole)
{
    EXPECT_EQ(job(hex_node("Vendor Extension",
                           "00 00 00 00 3F 01 41 40 03 42 00 43 4B 00 4A 05 01 02 03 04 05"))
                  .image.listing(),
              (std::vector<std::string>{"ProductID=B", "e2type=4030201"}));
}

TEST_F(eeprom_listing, ends_its_five_values_at_the_first_that_is_missing)
{
    const auto found = job(text_node("Serial Number", "S") + text_node("ProductModel", "M") +
                           text_node("ethaddr_scale", "1") + text_node("serial0", "A"));
    EXPECT_EQ(found.image.listing(), (std::vector<std::string>{"SerialNO=S", "serial0=A"}));
    EXPECT_EQ(found.image.not_listed(),
              "without ethaddr the switch does not list ethaddr_scale, ProductModel");
    EXPECT_EQ(job(text_node("Serial Number", "S") + text_node("serial0", "A")).image.not_listed(),
              "");
}

TEST_F(eeprom_listing, is_empty_without_a_vendor_extension)
{
    const auto found = job(text_node("Serial Number", "S"));
    EXPECT_EQ(found.image.listing(), std::vector<std::string>{});
    EXPECT_EQ(found.image.not_listed(),
              "the switch lists nothing of it: it has no value of the vendor extension");
}
