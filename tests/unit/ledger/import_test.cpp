#include "ledger/app/csv.h"
#include "unit/ledger/support/ledger_test.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

class importing : public ledger_test {
protected:
    static std::string imported(book &in, const std::string &csv)
    {
        std::string told;
        for (const auto &each : in.import_units(read_csv(csv))) {
            told += each + "\n";
        }
        return told;
    }
};
ON_BOTH_DATABASES(importing);

TEST_P(importing, registers_identities_with_their_state)
{
    auto in = open();
    add_office(in);
    EXPECT_EQ(imported(in, "label,product,serial,mac,mac_count,state\r\n"
                           "A,SW,S1,00:1A:2B:00:00:00,,verified\r\n"
                           "\"B, \"\"2\"\"\",SW,S2,001A2B004000,2,\r\n"
                           "\r\n"
                           "C,SW,S3,,,void"),
              "");
    EXPECT_EQ(text_of(*in.find("A")), "A S1 00:1A:2B:00:00:00/64 verified");
    EXPECT_EQ(text_of(*in.find("B, \"2\"")), "B, \"2\" S2 00:1A:2B:00:40:00/2 stored");
    EXPECT_EQ(text_of(*in.find("C")), "C S3 -/0 void");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(importing, is_all_or_nothing_and_tells_each_bad_line)
{
    auto in = open();
    add_office(in);
    reserved(in, "HERE");
    EXPECT_EQ(imported(in, "product,label,mac,serial\n"
                           "SW,GOOD,00:1A:2B:00:10:00,S1\n"
                           "SW,GOOD,,S2\n"
                           "SW,HERE,,S3\n"
                           "SW,X,00:1A:2B:00:10:3F,S4\n"
                           "SW,Y,00:1A:2B:00:00:00,S5\n"
                           "SW,Z,,S1\n"
                           "NONE,V,,S6\n"
                           "SW,W,nonsense,S7\n"
                           "SW,U,,\n"
                           "SW,T\n"
                           "SW,\x07,,S8\n"
                           "SW,R,,\"S9\n"),
              "line 3: the label GOOD is there already\n"
              "line 4: the label HERE is there already\n"
              "line 5: the MAC addresses from 00:1A:2B:00:10:3F to 00:1A:2B:00:10:7E overlap those "
              "of label GOOD, from 00:1A:2B:00:10:00 to 00:1A:2B:00:10:3F\n"
              "line 6: the MAC addresses from 00:1A:2B:00:00:00 to 00:1A:2B:00:00:3F overlap those "
              "of label HERE, from 00:1A:2B:00:00:00 to 00:1A:2B:00:00:3F\n"
              "line 7: the serial number S1 belongs to label GOOD\n"
              "line 8: there is no product NONE\n"
              "line 9: \"nonsense\" is no MAC address, as in 00:1A:2B:3C:4D:5E\n"
              "line 10: there is neither a serial number nor a MAC address\n"
              "line 11: 2 fields stand where 4 are expected\n"
              "line 12: the label \"\\x07\" has \"\\x07\" as character 1: labels are of printable "
              "ASCII characters\n"
              "line 13: a quote is not closed\n");
    EXPECT_FALSE(in.find("GOOD"));
    EXPECT_EQ(in.check().units, 1);
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(importing, of_a_state_that_only_an_attempt_leads_to_is_refused)
{
    auto in = open();
    add_office(in);
    EXPECT_EQ(imported(in, "label,product,serial,state\nA,SW,S1,writing\n"),
              "line 2: state is \"writing\": reserved, stored, verified or void is expected, or "
              "nothing for stored\n");
}

TEST_P(importing, passes_what_an_export_has_printed)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    reserved(in, "B");
    in.void_unit("B", "why", "Ada");
    std::vector<std::string> seen;
    in.export_units({}, [&](const unit &each) { seen.push_back(text_of(each)); });
    EXPECT_EQ(seen, (std::vector<std::string>{"A ABCD264700001 00:1A:2B:00:00:00/64 reserved",
                                              "B ABCD264700002 00:1A:2B:00:00:40/64 void"}));
}

TEST_P(importing, lets_an_export_be_narrowed)
{
    auto in = open();
    add_office(in);
    in.add_product({.name = "OTHER", .serial = {false, "office-sn"}});
    reserved(in, "A");
    now += std::chrono::hours(24);
    in.reserve({.label = "B", .product = "OTHER"});
    reserved(in, "C");
    in.void_unit("C", "why", "Ada");
    const auto labels = [&](const unit_filter &filter) {
        std::string all;
        in.export_units(filter, [&](const unit &each) { all += each.label; });
        return all;
    };
    EXPECT_EQ(labels({.product = "SW"}), "AC");
    EXPECT_EQ(labels({.state = "void"}), "C");
    EXPECT_EQ(labels({.since = "2026-11-22"}), "BC");
    EXPECT_EQ(labels({.until = "2026-11-22"}), "A");
    EXPECT_EQ(labels({.product = "SW", .state = "reserved"}), "A");
}

TEST_P(importing, and_exporting_go_past_a_page)
{
    auto in = open();
    add_office(in);
    std::string csv = "label,product,serial\n";
    for (int number = 0; number < 2500; ++number) {
        csv += "L" + std::to_string(number) + ",SW,S" + std::to_string(number) + "\n";
    }
    EXPECT_EQ(imported(in, csv), "");
    int next = 0;
    in.export_units({}, [&](const unit &each) {
        EXPECT_EQ(each.label, "L" + std::to_string(next));
        ++next;
    });
    EXPECT_EQ(next, 2500);
}

TEST(csv, of_other_columns_is_refused)
{
    const auto refusal = [](const std::string &text) { return error_of([&] { read_csv(text); }); };
    EXPECT_EQ(refusal("label,product,colour\n"),
              "refused: line 1: the column \"colour\" is not known: there are label, product, "
              "serial, mac, mac_count and state");
    EXPECT_EQ(refusal("label,serial\n"), "refused: line 1: the column \"product\" is missing");
    EXPECT_EQ(refusal("label,product,label\n"),
              "refused: line 1: the column \"label\" is there twice");
    EXPECT_EQ(refusal("\xEF\xBB\xBFlabel,product\n"),
              "refused: the file begins with a byte-order mark: save it as UTF-8 without one");
    EXPECT_NE(refusal("\xFF\xFEl\0a\0"), "");
    EXPECT_NE(refusal(""), "");
    EXPECT_NE(refusal("label;product;serial\n"), "");
}

TEST(csv, counts_the_lines_of_its_file)
{
    const auto lines = read_csv("label,product\n\"A\nB\",SW\nC,SW\n");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].label, "A\nB");
    EXPECT_EQ(lines[1].line, 4);
    EXPECT_EQ(read_csv("label,product\n\"A\"B,SW\n").at(0).mistakes.at(0),
              "\"B,SW\" stands behind the end of a field");
    EXPECT_EQ(csv_line({"a,b", "c\"d", "e"}), "\"a,b\",\"c\"\"d\",e\n");
}

} // namespace
