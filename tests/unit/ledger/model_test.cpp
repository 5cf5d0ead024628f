#include <gtest/gtest.h>

#include "ledger/model/error.h"
#include "ledger/model/journal_entry.h"
#include "ledger/model/mac.h"
#include "ledger/model/serial_pattern.h"
#include "ledger/model/texts.h"
#include "unit/ledger/support/ledger_test.h"

namespace {

using namespace ledger;
using ledger_tests::error_of;

calendar_day on(const std::string &day)
{
    return day_of(*read_time(day + "T12:00:00Z"));
}

TEST(time_limit, is_a_beginning_of_the_ledgers_times)
{
    EXPECT_EQ(read_time_limit("2026-11-21"), "2026-11-21");
    EXPECT_EQ(read_time_limit("2024-02-29T23:59"), "2024-02-29T23:59");
    EXPECT_EQ(read_time_limit("2026-11-21T08:30Z"), "2026-11-21T08:30");
    EXPECT_EQ(read_time_limit("2026-11-21T08:30:05Z"), "2026-11-21T08:30:05");
    EXPECT_EQ(read_time_limit("2026-11-21T08:30:05.123Z"), "2026-11-21T08:30:05.123");
    for (const auto *text :
         {"", "2026", "2026-11", "2026-11-2", "21.11.2026", "2026-11-21Z", "2026-11-21T08",
          "2026-11-21 08:30", "2026-13-01", "2026-02-29", "2026-00-10", "2026-11-21T24:00",
          "2026-11-21T08:60", "2026-11-21T08:30:60", "2026-11-21T08:30:05,123",
          "2026-11-21T08:30:05.12x", "-026-11-21", "2026-11- 1", "2026-11-21T08:30:05.1234"}) {
        EXPECT_EQ(read_time_limit(text), std::nullopt) << text;
    }
}

TEST(mac, is_read_in_its_three_forms)
{
    for (const auto *text : {"00:1A:2B:3C:4D:5E", "00-1a-2b-3c-4d-5e", "001A2B3C4D5E"}) {
        EXPECT_EQ(read_mac(text), 0x001A2B3C4D5E) << text;
    }
    for (const auto *text : {"", "00:1A:2B:3C:4D", "00:1A:2B:3C:4D:5G", "00:1A-2B:3C:4D:5E",
                             "001A2B3C4D5E0", "0:01A:2B:3C:4D:5E", "00:1A:2B:3C:4D:-E"}) {
        EXPECT_EQ(read_mac(text), std::nullopt) << text;
    }
}

TEST(mac, with_an_octet_fe_is_shown_as_it_is)
{
    EXPECT_EQ(mac_text(0x02FE00FE10FE), "02:FE:00:FE:10:FE");
}

TEST(mac, that_no_device_may_have_is_refused)
{
    const auto refusal = [](mac_address first, mac_address last) {
        return error_of([&] { check_addresses(first, last); });
    };
    EXPECT_EQ(refusal(0x001A2B000000, 0x001A2B00FFFF), "");
    EXPECT_NE(refusal(0, 5), "");
    EXPECT_NE(refusal(0x010000000000, 0x010000000001), "");
    EXPECT_NE(refusal(0x00FFFFFFFFFF, 0x010000000000), "");
    EXPECT_NE(refusal(0xFFFFFFFFFFFF, 0xFFFFFFFFFFFF), "");
    EXPECT_NE(refusal(0x00037FBADB00, 0x00037FBADBFF), "");
    EXPECT_NE(refusal(0x001A2B000001, 0x001A2B000000), "");
}

TEST(serial_pattern, makes_thirteen_characters_of_year_week_and_counter)
{
    EXPECT_EQ(serial_pattern("ABCD{yy}{ww}{n:5}").serial(7, on("2026-11-21")), "ABCD264700007");
}

TEST(serial_pattern, takes_the_year_that_the_week_is_counted_in)
{
    const serial_pattern pattern("{yyyy}{ww}{n:1}");
    EXPECT_EQ(pattern.serial(1, on("2027-01-01")), "2026531");
    EXPECT_EQ(pattern.serial(1, on("2024-12-30")), "2025011");
    EXPECT_EQ(serial_pattern("{yyyy}{mm}{dd}{n:1}").serial(1, on("2027-01-01")), "202701011");
}

TEST(serial_pattern, counts_in_the_bases_10_16_34_and_36)
{
    const auto day = on("2026-11-21");
    EXPECT_EQ(serial_pattern("A{n:3:16}").serial(0xABC, day), "AABC");
    EXPECT_EQ(serial_pattern("A{n:2:36}").serial(35, day), "A0Z");
    EXPECT_EQ(serial_pattern("A{n:2:34}").serial(18, day), "A0J"); // no I
    EXPECT_EQ(serial_pattern("A{n:2:34}").serial(23, day), "A0P"); // no O
    EXPECT_EQ(serial_pattern("A{n:5}").last_counter(), 99999);
    EXPECT_EQ(serial_pattern("A{n:2:36}").last_counter(), 1295);
}

TEST(serial_pattern, ends_with_the_check_character_of_the_standard)
{
    EXPECT_EQ(check_character("A12425GABC1234002"), 'M'); // the standard's own example
    EXPECT_EQ(serial_pattern("A12425GABC{n:7}{check}").serial(1234002, on("2026-11-21")),
              "A12425GABC1234002M");
}

TEST(serial_pattern, finds_the_counter_in_its_serial_numbers_only)
{
    const serial_pattern pattern("AB{yy}{n:3}{check}");
    const auto made = pattern.serial(42, on("2026-11-21"));
    EXPECT_EQ(pattern.counter_of(made), 42);
    EXPECT_EQ(pattern.counter_of(made + "0"), std::nullopt);
    EXPECT_EQ(pattern.counter_of(made.substr(1)), std::nullopt);
    auto mistyped = made;
    mistyped[5] = '9';
    EXPECT_EQ(pattern.counter_of(mistyped), std::nullopt);
}

TEST(serial_pattern, that_is_none_is_refused)
{
    for (const auto *text : {"", "ABC", "{n:5", "{n:0}", "{n:12}", "{n:}", "{n:5:7}", "{n:5}{n:5}",
                             "{what}{n:5}", "{check}{n:5}", "A B{n:5}", "\x01{n:5}"}) {
        EXPECT_TRUE(error_of([&] { serial_pattern pattern(text); }).starts_with("refused: "))
            << text;
    }
}

TEST(label, of_other_than_printable_ascii_is_refused)
{
    EXPECT_EQ(error_of([] { check_label("SN 00/1-x"); }), "");
    EXPECT_NE(error_of([] { check_label(""); }), "");
    EXPECT_NE(error_of([] { check_label(" A"); }), "");
    EXPECT_EQ(
        error_of([] { check_label("AB\tC"); }),
        "refused: the label \"AB\\x09C\" has \"\\x09\" as character 3: labels are of printable "
        "ASCII characters");
    EXPECT_NE(error_of([] { check_label("\xD0\x90\xD0\x91"); }), "");
    EXPECT_NE(error_of([] { check_label(std::string("A\0B", 3)); }), "");
    EXPECT_EQ(error_of([] { check_label(std::string(10240, 'A')); }),
              "refused: the label \"" + std::string(80, 'A') +
                  "...\" has 10240 bytes: at most 64 are taken");
}

TEST(kept_text, shows_what_is_no_utf_8)
{
    EXPECT_EQ(kept_text("a\xC3\xA9\n"), "a\xC3\xA9\n");
    EXPECT_EQ(kept_text(std::string("a\0b\xFF\xC0\x80", 6)), "a\\x00b\\xFF\\xC0\\x80");
    EXPECT_EQ(kept_text("\xED\xA0\x80"), "\\xED\\xA0\\x80");
}

TEST(sha256, is_that_of_the_standard)
{
    EXPECT_EQ(sha256_of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(journal_entry, is_hashed_with_all_its_fields_and_the_entry_before)
{
    const journal_entry entry{1,    "2026-11-21T12:00:00.000Z", "unit", "A", "reserve",
                              "{}", std::string(64, '0'),       ""};
    EXPECT_EQ(hash_of(entry), sha256_of("1\n2026-11-21T12:00:00.000Z\nunit\nA\nreserve\n{}\n" +
                                        std::string(64, '0')));
    auto back = read_entry_line(entry_line(entry));
    EXPECT_EQ(hash_of(back), hash_of(entry));
    EXPECT_NE(error_of([] { read_entry_line("{\"number\":1}"); }), "");
}

} // namespace
