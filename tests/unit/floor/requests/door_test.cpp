#include "floor/requests/door.h"

#include <gtest/gtest.h>

#include "floor/requests/answers.h"

namespace {

using shopfloor::door_rules;
using shopfloor::header;
using shopfloor::request;

const door_rules rules{{"localhost:8080", "floor.example.com"},
                       {"http://localhost:8080", "https://floor.example.com"},
                       "0123456789abcdef"};

/** The code that a head with these headers is refused with, "" where it is not. */
std::string code_of(void (*check)(const request &, const door_rules &),
                    const std::vector<header> &headers, const std::string &target = "/api/state")
{
    try {
        check({"GET", target, headers, ""}, rules);
        return "";
    } catch (const shopfloor::request_error &why) {
        return shopfloor::json::parse(why.answered().body)["error"]["code"];
    }
}

std::string source_code(const std::vector<header> &headers)
{
    return code_of(shopfloor::check_source, headers);
}

std::string change_code(const std::vector<header> &headers)
{
    return code_of(shopfloor::check_change, headers);
}

TEST(door, lets_in_by_the_names_of_the_floor_in_any_case)
{
    EXPECT_EQ(source_code({{"Host", "localhost:8080"}}), "");
    EXPECT_EQ(source_code({{"HOST", "LocalHost:8080"}}), "");
    EXPECT_EQ(source_code({{"host", "floor.example.com"}}), "");
}

TEST(door, turns_away_other_names_and_none)
{
    EXPECT_EQ(source_code({}), "wrong_host");
    EXPECT_EQ(source_code({{"Host", ""}}), "wrong_host");
    EXPECT_EQ(source_code({{"Host", "localhost"}}), "wrong_host");
    EXPECT_EQ(source_code({{"Host", "localhost:8080.evil.example"}}), "wrong_host");
    EXPECT_EQ(source_code({{"Host", "evil.example:8080"}}), "wrong_host");
    EXPECT_EQ(source_code({{"Host", "localhost:8080 "}}), "wrong_host");
}

TEST(door, turns_away_a_second_host)
{
    EXPECT_EQ(source_code({{"Host", "localhost:8080"}, {"host", "localhost:8080"}}), "bad_request");
}

TEST(door, turns_away_content_whose_end_is_not_plain)
{
    const header host{"Host", "localhost:8080"};
    const header length{"Content-Length", "5"};
    const header chunks{"Transfer-Encoding", "Chunked"};
    EXPECT_EQ(source_code({host, length}), "");
    EXPECT_EQ(source_code({host, chunks}), "");
    EXPECT_EQ(source_code({host, length, chunks}), "bad_request");
    EXPECT_EQ(source_code({host, length, length}), "bad_request");
    EXPECT_EQ(source_code({host, {"Content-Length", "5, 5"}}), "bad_request");
    EXPECT_EQ(source_code({host, {"Content-Length", ""}}), "bad_request");
    EXPECT_EQ(source_code({host, {"Transfer-Encoding", "chunked, identity"}}), "bad_request");
    EXPECT_EQ(source_code({host, {"Transfer-Encoding", "gzip, chunked"}}), "bad_request");
}

TEST(door, turns_away_pages_of_other_origins)
{
    const header host{"Host", "localhost:8080"};
    EXPECT_EQ(source_code({host, {"Origin", "http://localhost:8080"}}), "");
    EXPECT_EQ(source_code({host, {"Origin", "https://floor.example.com"}}), "");
    EXPECT_EQ(source_code({host, {"Origin", "null"}}), "wrong_origin");
    EXPECT_EQ(source_code({host, {"Origin", ""}}), "wrong_origin");
    EXPECT_EQ(source_code({host, {"Origin", "https://localhost:8080"}}), "wrong_origin");
    EXPECT_EQ(source_code({host, {"Origin", "http://localhost:8081"}}), "wrong_origin");
    EXPECT_EQ(source_code({host, {"Origin", "http://localhost:8080"}, {"origin", "null"}}),
              "bad_request");
}

TEST(door, turns_away_what_a_browser_says_comes_from_another_site)
{
    const header host{"Host", "localhost:8080"};
    EXPECT_EQ(source_code({host, {"Sec-Fetch-Site", "same-origin"}}), "");
    EXPECT_EQ(source_code({host, {"Sec-Fetch-Site", "none"}}), "");
    EXPECT_EQ(source_code({host, {"Sec-Fetch-Site", "cross-site"}}), "wrong_origin");
    EXPECT_EQ(source_code({host, {"Sec-Fetch-Site", "same-site"}}), "wrong_origin");
}

TEST(door, lets_a_link_of_another_site_open_the_page)
{
    EXPECT_EQ(code_of(shopfloor::check_source,
                      {{"Host", "localhost:8080"}, {"Sec-Fetch-Site", "cross-site"}}, "/"),
              "");
}

TEST(door, wants_the_token_of_this_start_for_a_change)
{
    const header type{"Content-Type", "application/json"};
    EXPECT_EQ(change_code({type, {"X-Setmac-Token", "0123456789abcdef"}}), "");
    EXPECT_EQ(change_code({type}), "wrong_token");
    EXPECT_EQ(change_code({type, {"X-Setmac-Token", ""}}), "wrong_token");
    EXPECT_EQ(change_code({type, {"X-Setmac-Token", "0123456789abcdeF"}}), "wrong_token");
    EXPECT_EQ(change_code({type, {"X-Setmac-Token", "0123456789abcde"}}), "wrong_token");
}

TEST(door, wants_json_for_a_change)
{
    const header token{"X-Setmac-Token", "0123456789abcdef"};
    EXPECT_EQ(change_code({token, {"Content-Type", "Application/JSON; charset=utf-8"}}), "");
    EXPECT_EQ(change_code({token}), "bad_request");
    EXPECT_EQ(change_code({token, {"Content-Type", "text/plain"}}), "bad_request");
    EXPECT_EQ(change_code({token, {"Content-Type", "text/plain; application/json"}}),
              "bad_request");
}

TEST(door, makes_a_token_that_is_another_each_time)
{
    const auto token = shopfloor::new_token();
    EXPECT_EQ(token.size(), 64U);
    EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_NE(token, shopfloor::new_token());
}

} // namespace
