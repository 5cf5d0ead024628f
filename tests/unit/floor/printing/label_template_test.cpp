#include <gtest/gtest.h>

#include "floor/printing/label_template.h"
#include "station/jobs/job_file.h"

namespace {

using shopfloor::label_template;

station::product switch_product()
{
    station::product made;
    made.name = "SW-48X6Q";
    station::value_form serial;
    serial.name = "serial";
    station::value_form mac;
    mac.name = "mac";
    mac.kind = station::value_kind::mac;
    mac.count = 64;
    made.values = {serial, mac};
    return made;
}

std::string filled(const std::string &text, const std::string &label = "L-7",
                   const std::string &serial = "ABCD")
{
    const label_template made("sw.zpl", text, switch_product());
    return made.filled({label, {{"serial", serial}, {"mac", "00:1A:2B:00:00:3F"}}, "2026-11-21"});
}

std::string mistake_of(const std::string &text, const std::string &label = "L-7",
                       const std::string &serial = "ABCD")
{
    try {
        filled(text, label, serial);
        return "";
    } catch (const station::job_error &wrong) {
        return wrong.what();
    }
}

TEST(label_template, has_the_values_of_a_unit_at_their_places)
{
    EXPECT_EQ(filled("^XA\n^FD{serial} {mac} {mac+1}^FS\n^FD{label} {product} {today}^FS\n^XZ\n"),
              "^XA\n^FDABCD 00:1A:2B:00:00:3F 00:1A:2B:00:00:40^FS\n"
              "^FDL-7 SW-48X6Q 2026-11-21^FS\n^XZ\n");
    EXPECT_EQ(filled("{{{serial}}}"), "{ABCD}");
    EXPECT_EQ(filled("no end of line"), "no end of line");
    EXPECT_EQ(filled(""), "");
}

TEST(label_template, with_a_place_for_nothing_is_refused_when_it_is_made)
{
    EXPECT_TRUE(mistake_of("^XA\n{color}").starts_with("sw.zpl:2: ")) << mistake_of("^XA\n{color}");
    EXPECT_TRUE(mistake_of("{serial").starts_with("sw.zpl:1: "));
}

TEST(label_template, takes_no_command_of_a_printer_from_a_value)
{
    EXPECT_EQ(mistake_of("{serial}", "L-7", "A^XZ^XA"),
              "serial A^XZ^XA holds a ^ or ~, which printers take for a command");
    EXPECT_EQ(mistake_of("{serial}", "L-7", "A~JR"),
              "serial A~JR holds a ^ or ~, which printers take for a command");
}

TEST(label_template, takes_no_command_of_a_printer_from_a_scanned_label)
{
    EXPECT_EQ(mistake_of("{label}", "A^XZ"),
              "label A^XZ holds a ^ or ~, which printers take for a command");
    EXPECT_NE(mistake_of("{serial}", "~JR"), "");
}

TEST(label_template, puts_what_a_scanned_label_holds_in_once)
{
    EXPECT_EQ(filled("{label}", "{serial}"), "{serial}");
}

} // namespace
