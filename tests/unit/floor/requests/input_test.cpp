#include <gtest/gtest.h>

#include "floor/requests/answers.h"
#include "floor/requests/json_input.h"
#include "floor/requests/parameters.h"
#include "floor/requests/target.h"
#include "floor/requests/texts.h"

namespace {

using shopfloor::row_kind;

/** Why something is refused: "code: reason"; "" where it is not. */
template <class Function>
std::string refusal_of(Function &&read)
{
    try {
        read();
        return "";
    } catch (const shopfloor::request_error &why) {
        const auto error = shopfloor::json::parse(why.answered().body)["error"];
        return error["code"].get<std::string>() + ": " + error["reason"].get<std::string>();
    }
}

std::string start_refusal(const std::string &body)
{
    return refusal_of([&] { shopfloor::read_start(3, body); });
}

std::string list_refusal(row_kind kind, const std::string &target)
{
    return refusal_of([&] { shopfloor::read_list(kind, shopfloor::read_target(target), true); });
}

TEST(start_body, is_read_field_by_field)
{
    const auto wanted = shopfloor::read_start(
        3, R"({"label": "A-1", "product": "SW", "serial": "S1", "mac": "00:1A:2B:3C:4D:5E",
               "operator": "0017", "again": true, "take_over": true, "replace": true,
               "only_check": true})");
    EXPECT_EQ(wanted.slot, 3);
    EXPECT_EQ(wanted.label, "A-1");
    EXPECT_EQ(wanted.product, "SW");
    EXPECT_EQ(wanted.serial, "S1");
    EXPECT_EQ(wanted.mac, "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(wanted.operator_badge, "0017");
    EXPECT_TRUE(wanted.again && wanted.take_over && wanted.replace && wanted.only_check);
}

TEST(start_body, leaves_out_what_is_not_told)
{
    const auto wanted = shopfloor::read_start(1, R"({"label": "<b>\"ü</b>"})");
    EXPECT_EQ(wanted.label, "<b>\"ü</b>");
    EXPECT_EQ(wanted.product + wanted.serial + wanted.mac + wanted.operator_badge, "");
    EXPECT_FALSE(wanted.again || wanted.take_over || wanted.replace || wanted.only_check);
}

TEST(start_body, must_have_a_label_that_can_be_one)
{
    EXPECT_EQ(start_refusal("{}"), "bad_label: \"label\" is missing or empty");
    EXPECT_EQ(start_refusal(R"({"label": ""})"), "bad_label: \"label\" is missing or empty");
    EXPECT_EQ(start_refusal(R"({"label": "A\u0000B"})"),
              "bad_label: the label has control characters");
    EXPECT_EQ(start_refusal(R"({"label": "A\u001bB"})"),
              "bad_label: the label has control characters");
    EXPECT_EQ(start_refusal("{\"label\": \"" + std::string(501, 'x') + "\"}"),
              "bad_label: the label has 501 bytes: at most 500 are taken");
}

TEST(start_body, refuses_what_is_there_twice)
{
    EXPECT_EQ(start_refusal(R"({"label": "A", "label": "B"})"),
              "bad_request: \"label\" is there twice");
    EXPECT_EQ(start_refusal(R"({"label": "A", "l\u0061bel": "B"})"),
              "bad_request: \"label\" is there twice");
}

TEST(start_body, refuses_wrong_types_and_unknown_fields)
{
    EXPECT_EQ(start_refusal(R"({"label": 7})"), "bad_request: \"label\" is no text");
    EXPECT_EQ(start_refusal(R"({"label": null})"),
              "bad_request: \"label\" is null: leave out what is not told");
    EXPECT_EQ(start_refusal(R"({"label": "A", "again": 1})"),
              "bad_request: \"again\" is neither true nor false");
    EXPECT_EQ(start_refusal(R"({"label": "A", "again": "true"})"),
              "bad_request: \"again\" is neither true nor false");
    EXPECT_EQ(start_refusal(R"({"label": "A", "slot": "2"})"),
              "bad_request: \"slot\" is not known here");
}

TEST(start_body, refuses_what_is_no_object_of_one_level)
{
    const std::string deep = "bad_request: the content has lists or objects in it: only texts, "
                             "true and false are taken";
    EXPECT_EQ(start_refusal(R"({"label": ["A"]})"), deep);
    EXPECT_EQ(start_refusal(std::string(60000, '[')), deep);
    EXPECT_EQ(start_refusal("[]"), "bad_request: the content is no JSON object");
    EXPECT_EQ(start_refusal("\"A\""), "bad_request: the content is no JSON object");
}

TEST(start_body, refuses_what_is_no_json)
{
    const std::string none = "bad_request: the content is no JSON";
    EXPECT_EQ(start_refusal(""), none);
    EXPECT_EQ(start_refusal("{\"label\": \"A\""), none);
    EXPECT_EQ(start_refusal("{\"label\": \"A\"} x"), none);
    EXPECT_EQ(start_refusal("{'label': 'A'}"), none);
    EXPECT_EQ(start_refusal("{\"label\": \"A\",}"), none);
    EXPECT_EQ(start_refusal("{\"label\": \"\xC3\x28\"}"), none);
    EXPECT_EQ(start_refusal("{\"label\": \"\\ud800\"}"), none);
    EXPECT_EQ(start_refusal("{\"label\": \"A\x01\"}"), none);
}

TEST(other_bodies, are_as_strict)
{
    EXPECT_EQ(shopfloor::read_badge(R"({"badge": "0017"})"), "0017");
    EXPECT_EQ(refusal_of([] { shopfloor::read_badge("{}"); }),
              "bad_request: \"badge\" is missing or empty");
    EXPECT_EQ(refusal_of([] { shopfloor::read_nothing(""); }), "");
    EXPECT_EQ(refusal_of([] { shopfloor::read_nothing("{}"); }), "");
    EXPECT_EQ(refusal_of([] { shopfloor::read_nothing("{\"slot\": true}"); }),
              "bad_request: \"slot\" is not known here");
}

TEST(request_target, has_a_path_and_parameters)
{
    const auto read = shopfloor::read_target("/api/units?label=A%2BB+C&state=in%20doubt");
    EXPECT_EQ(read.path, "/api/units");
    ASSERT_EQ(read.parameters.size(), 2U);
    EXPECT_EQ(read.parameters[0].name, "label");
    EXPECT_EQ(read.parameters[0].value, "A+B C");
    EXPECT_EQ(read.parameters[1].value, "in doubt");
    EXPECT_TRUE(shopfloor::read_target("/?").parameters.empty());
}

TEST(request_target, refuses_what_can_be_read_in_two_ways)
{
    const auto refused = [](const std::string &text) {
        return refusal_of([&] { shopfloor::read_target(text); });
    };
    EXPECT_EQ(refused("*"), "bad_request: the address does not begin with /");
    EXPECT_EQ(refused("http://localhost:8080/api/state"),
              "bad_request: the address does not begin with /");
    EXPECT_EQ(refused("/api/units?label"), "bad_request: a parameter of the address has no value");
    EXPECT_EQ(refused("/api/units?label=a&label=b"),
              "bad_request: the parameter label is there twice");
    for (const auto *escape : {"%", "%4", "%4g", "%-1", "%+1", "% 1"}) {
        EXPECT_EQ(refused("/api/units?label=" + std::string(escape)),
                  "bad_request: an escape in the address is not of the form %41")
            << escape;
    }
    EXPECT_EQ(refused("/api/units?label=%00"),
              "bad_request: the parameter label has control characters");
    EXPECT_EQ(refused("/api/units?label=%c3%28"), "bad_request: the parameter label is no UTF-8");
    EXPECT_EQ(refused("/api/units?a%0d%0ab=1"),
              "bad_request: the name of a parameter has control characters");
}

TEST(list_parameters, are_the_filters_of_the_kind)
{
    const auto units = shopfloor::read_list(
        row_kind::units,
        shopfloor::read_target("/api/units?label=A&product=P&state=void&since=2026-11-21"
                               "&until=2026-11-22T08:00:00Z&after=17&limit=5"),
        true);
    EXPECT_EQ(units.label, "A");
    EXPECT_EQ(units.product, "P");
    EXPECT_EQ(units.state, "void");
    EXPECT_EQ(units.since, "2026-11-21");
    EXPECT_EQ(units.until, "2026-11-22T08:00:00") << "the times of that second are behind it";
    EXPECT_EQ(units.after, 17);
    EXPECT_EQ(units.limit, 5U);
    const auto attempts = shopfloor::read_list(
        row_kind::attempts,
        shopfloor::read_target("/api/attempts?outcome=failed&slot=3&operator=7"), true);
    EXPECT_EQ(attempts.outcome, "failed");
    EXPECT_EQ(attempts.slot, "3");
    EXPECT_EQ(attempts.operator_badge, "7");
    EXPECT_EQ(attempts.after, 0);
    EXPECT_EQ(attempts.limit, 100U);
}

TEST(list_parameters, of_another_kind_are_refused)
{
    EXPECT_EQ(list_refusal(row_kind::units, "/api/units?slot=3"),
              "bad_request: the parameter slot is not known here");
    EXPECT_EQ(list_refusal(row_kind::attempts, "/api/attempts?state=void"),
              "bad_request: the parameter state is not known here");
    EXPECT_EQ(list_refusal(row_kind::attempts, "/api/attempts?%1b=1"),
              "bad_request: the name of a parameter has control characters");
}

TEST(list_parameters, have_bounds)
{
    const auto limit_of = [](const std::string &text) {
        return shopfloor::read_list(row_kind::units, shopfloor::read_target("/u?limit=" + text),
                                    true)
            .limit;
    };
    EXPECT_EQ(limit_of("0"), 1U);
    EXPECT_EQ(limit_of("1000000"), 1000U);
    for (const auto *number : {"", "-1", "1.5", "007", "0x10", "99999999999999999999"}) {
        EXPECT_EQ(list_refusal(row_kind::units, "/api/units?after=" + std::string(number)),
                  "bad_request: the parameter after is no whole number")
            << number;
    }
    for (const auto *time : {"yesterday", "2026-11", "2026-11-21T08", "2026-11-21'%20OR%201=1",
                             "2026-99-99", "2026-02-30", "2026-11-21T24:00Z"}) {
        EXPECT_EQ(list_refusal(row_kind::units, "/api/units?since=" + std::string(time)),
                  "bad_request: the parameter since is no time")
            << time;
    }
    EXPECT_EQ(list_refusal(row_kind::units, "/api/units?until=yesterday"),
              "bad_request: the parameter until is no time");
}

TEST(search, needs_a_text)
{
    EXPECT_EQ(shopfloor::read_search(shopfloor::read_target("/api/find?text=A%20B")), "A B");
    const auto refused = [](const std::string &text) {
        return refusal_of([&] { shopfloor::read_search(shopfloor::read_target(text)); });
    };
    EXPECT_EQ(refused("/api/find"), "bad_request: the parameter text is missing or empty");
    EXPECT_EQ(refused("/api/find?text="), "bad_request: the parameter text is missing or empty");
    EXPECT_EQ(refused("/api/find?label=A"), "bad_request: the parameter label is not known here");
}

} // namespace
