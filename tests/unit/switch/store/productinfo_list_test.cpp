#include "productinfo_fixture.h"

// The list of records: setting, editing by lines, and parsing.

namespace {

using support::bytes;
using support::printed;
using support::productinfo;

TEST_F(productinfo, update_keeps_the_place_of_a_known_name)
{
    load_blank();
    set_product_info("a", "1");
    set_product_info("b", "2");
    set_product_info("a", "3");
    EXPECT_EQ(shown(), "a=3\r\nb=2\r\n");
    EXPECT_STREQ(get_product_info("a"), "3");
}

TEST_F(productinfo, an_update_with_a_shorter_value_leaves_nothing_of_the_longer)
{
    load_blank();
    set_product_info("a", "long value");
    set_product_info("a", "s");
    EXPECT_STREQ(get_product_info("a"), "s");
}

TEST_F(productinfo, names_are_compared_exactly)
{
    load_blank();
    set_product_info("Name", "1");
    EXPECT_EQ(get_product_info("name"), nullptr);
    EXPECT_EQ(get_product_info("Nam"), nullptr);
    EXPECT_EQ(get_product_info(nullptr), nullptr);
}

TEST_F(productinfo, an_empty_value_is_stored_by_the_setter)
{
    load_blank();
    EXPECT_EQ(set_product_info("a", ""), 0);
    EXPECT_EQ(shown(), "a=\r\n");
    ASSERT_EQ(save_product_info(), 0);
    reload();
    EXPECT_EQ(shown(), "a=\r\n");
}

TEST_F(productinfo, values_are_cut_to_511_characters)
{
    load_blank();
    set_product_info("a", std::string(600, 'v'));
    EXPECT_EQ(std::string(get_product_info("a")), std::string(511, 'v'));
}

TEST_F(productinfo, names_are_cut_to_63_characters_before_the_look_up)
{
    load_blank();
    const std::string stem(63, 'n');
    set_product_info(stem + "1", "first");
    set_product_info(stem + "2", "second");
    EXPECT_EQ(shown(), stem + "=second\r\n");
}

TEST_F(productinfo, a_line_updates_appends_and_removes)
{
    load_blank();
    setproduct_info("a=1");
    setproduct_info("b=2=3");
    setproduct_info("c=4");
    setproduct_info("a=5");
    EXPECT_EQ(shown(), "a=5\r\nb=2=3\r\nc=4\r\n");
    setproduct_info("b=");
    EXPECT_EQ(shown(), "a=5\r\nc=4\r\n");
    setproduct_info("c=");
    setproduct_info("d=6");
    EXPECT_EQ(shown(), "a=5\r\nd=6\r\n");
    setproduct_info("a=");
    setproduct_info("d=");
    EXPECT_EQ(shown(), "");
    setproduct_info("e=7");
    EXPECT_EQ(shown(), "e=7\r\n");
}

TEST_F(productinfo, removing_an_absent_name_does_nothing_and_says_nothing)
{
    load_blank();
    setproduct_info("a=1");
    EXPECT_EQ(printed([] { setproduct_info("b="); }), "");
    EXPECT_EQ(shown(), "a=1\r\n");
}

TEST_F(productinfo, a_line_without_equals_is_warned_of)
{
    load_blank();
    EXPECT_EQ(printed([] { setproduct_info("quit"); }), "Warning: invliad product info: quit.\r\n");
    EXPECT_EQ(printed([] { setproduct_info(""); }), "Warning: invliad product info: .\r\n");
    EXPECT_EQ(shown(), "");
}

TEST_F(productinfo, a_line_takes_names_of_63_characters_and_no_more)
{
    load_blank();
    const std::string name(63, 'n');
    EXPECT_EQ(printed([&] { setproduct_info(name + "=1"); }), "");
    EXPECT_EQ(printed([&] { setproduct_info(name + "n=1"); }),
              "Warning: product info name is too long.\r\n");
    EXPECT_EQ(shown(), name + "=1\r\n");
}

TEST_F(productinfo, a_line_may_have_an_empty_name_which_reloads)
{
    load_blank();
    setproduct_info("=value");
    EXPECT_EQ(shown(), "=value\r\n");
    ASSERT_EQ(save_product_info(), 0);
    reload();
    EXPECT_EQ(shown(), "=value\r\n");
}

/** Parsing alone, over an area that no checksum guards. */
class parse : public productinfo {
protected:
    /** What parsing `area` as the record area prints. The buffer ends with the area. */
    static std::string parsed(const std::vector<uint8_t> &area)
    {
        std::vector<uint8_t> image(4);
        image.insert(image.end(), area.begin(), area.end());
        const prod_info_partition partition{.mtd_index = 0,
                                            .mtd_size = static_cast<uint32_t>(image.size()),
                                            .data_len = static_cast<uint32_t>(image.size()),
                                            .image = image.data()};
        return printed([&] { EXPECT_EQ(parse_product_info(partition), 0); });
    }
};

TEST_F(parse, gives_the_later_value_of_a_name_at_the_place_of_the_first)
{
    EXPECT_EQ(parsed(bytes({"a=1\0b=2\0a=3\0\0", 13})), "");
    EXPECT_EQ(shown(), "a=3\r\nb=2\r\n");
}

TEST_F(parse, ends_at_the_first_empty_record)
{
    EXPECT_EQ(parsed(bytes({"a=1\0\0b=2\0\0", 10})), "");
    EXPECT_EQ(shown(), "a=1\r\n");
}

TEST_F(parse, of_an_area_that_begins_with_nul_is_empty)
{
    EXPECT_EQ(parsed(bytes({"\0a=1\0", 5})), "");
    EXPECT_EQ(shown(), "");
}

TEST_F(parse, warns_of_malformed_records_and_goes_on)
{
    const std::string name(64, 'n');
    EXPECT_EQ(parsed(bytes("bad" + std::string(1, '\0') + name + "=1" + std::string(1, '\0') +
                           "a=1" + std::string(2, '\0'))),
              "Warning: invliad product info: bad.\r\n"
              "Warning: product info name is too long\r\n");
    EXPECT_EQ(shown(), "a=1\r\n");
}

TEST_F(parse, never_looks_past_the_area)
{
    EXPECT_EQ(parsed(bytes("a=1")), "");
    EXPECT_EQ(shown(), "a=1\r\n");
}

TEST_F(parse, takes_a_full_area_whose_last_record_just_ends)
{
    EXPECT_EQ(parsed(bytes({"a=1\0", 4})), "");
    EXPECT_EQ(shown(), "a=1\r\n");
}

} // namespace
