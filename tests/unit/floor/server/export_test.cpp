#include <atomic>

#include <gtest/gtest.h>

#include "unit/floor/server/served_floor.h"

namespace {

using namespace std::chrono_literals;
using floor_tests::body_of;
using floor_tests::get;
using floor_tests::raw_connection;
using floor_tests::served_floor;
using floor_tests::stand_in;
using floor_tests::status_of;
using floor_tests::unchunked;
using shopfloor::json;

/** A floor whose ledger goes away after some pages. */
class failing_floor : public stand_in {
public:
    using stand_in::stand_in;

    std::atomic<int> pages_left = 0;

    void units(const shopfloor::list_request &wanted, shopfloor::reply to) override
    {
        if (pages_left-- > 0) {
            stand_in::units(wanted, std::move(to));
        } else {
            to({{}, shopfloor::refusal{"ledger_away", "the ledger is away", ""}});
        }
    }
};

std::string all_of(std::uint16_t port, const std::string &target)
{
    raw_connection to(port);
    to.send(get(port, target));
    return to.read_all();
}

std::size_t lines_of(const std::string &text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(export_stream, has_all_rows_page_by_page)
{
    const served_floor at({.rows = 1234}, {.page_rows = 100});
    const auto given = all_of(at.port(), "/api/export/units.csv");
    const auto body = unchunked(given);
    EXPECT_TRUE(body.whole);
    EXPECT_EQ(lines_of(body.content), 1235U);
    EXPECT_TRUE(body.content.starts_with("label,product,serial,"));
    EXPECT_NE(
        body.content.find("\nLABEL-001234,SW-48X6Q,ABCD001234,00:1A:2B:01:34:80,64,verified,"),
        std::string::npos);
    EXPECT_EQ(at.floor.pages(), 13U);
    EXPECT_NE(given.find("Content-Type: text/csv; charset=utf-8\r\n"), std::string::npos);
    EXPECT_NE(given.find("Content-Disposition: attachment; filename=\"units.csv\"\r\n"),
              std::string::npos);
}

TEST(export_stream, of_json_lines_has_a_row_each)
{
    const served_floor at({.rows = 250}, {.page_rows = 100});
    const auto body = unchunked(all_of(at.port(), "/api/export/attempts.jsonl"));
    EXPECT_TRUE(body.whole);
    ASSERT_EQ(lines_of(body.content), 250U);
    EXPECT_EQ(json::parse(body.content.substr(0, body.content.find('\n')))["id"], 1);
}

TEST(export_stream, of_nothing_is_whole)
{
    const served_floor at;
    const auto units = unchunked(all_of(at.port(), "/api/export/units.jsonl"));
    EXPECT_TRUE(units.whole);
    EXPECT_EQ(units.content, "");
    EXPECT_EQ(lines_of(unchunked(all_of(at.port(), "/api/export/attempts.csv")).content), 1U);
}

TEST(export_stream, does_not_begin_while_the_ledger_is_away)
{
    const served_floor<failing_floor> at({.rows = 1000});
    const auto given = all_of(at.port(), "/api/export/units.csv");
    EXPECT_EQ(status_of(given), 503);
    EXPECT_EQ(json::parse(unchunked(given).content)["error"]["code"], "ledger_away");
}

TEST(export_stream, is_not_called_whole_where_the_ledger_went_away)
{
    served_floor<failing_floor> at({.rows = 1000}, {.page_rows = 100});
    at.floor.pages_left = 3;
    const auto body = unchunked(all_of(at.port(), "/api/export/units.csv"));
    EXPECT_FALSE(body.whole);
    EXPECT_LE(lines_of(body.content), 301U);
}

TEST(export_stream, ends_when_nobody_reads_it)
{
    served_floor at({.rows = 100'000'000}, {.write = 200ms, .page_rows = 100});
    {
        raw_connection gone(at.port());
        gone.send(get(at.port(), "/api/export/units.csv"));
        gone.read_to("LABEL-000300");
    }
    raw_connection lazy(at.port(), 4096);
    lazy.send(get(at.port(), "/api/export/units.csv"));
    std::size_t before = 0;
    while (at.floor.pages() != before) { // still at it
        before = at.floor.pages();
        std::this_thread::sleep_for(400ms);
    }
    EXPECT_LT(before * 100, 10'000'000U);
    EXPECT_EQ(status_of(at.response_to(get(at.port(), "/api/state"))), 200);
}

} // namespace
