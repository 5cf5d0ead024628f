#include "floor/requests/rows.h"

#include <gtest/gtest.h>

#include "floor/requests/answers.h"
#include "floor/requests/event_text.h"

namespace {

using namespace shopfloor;

TEST(rows, name_their_columns_in_csv_only)
{
    EXPECT_EQ(
        head_of_rows(row_kind::units, row_form::csv),
        "label,product,serial,mac,mac_count,state,reserved_at,changed_at,void_reason,void_by\n");
    EXPECT_EQ(head_of_rows(row_kind::attempts, row_form::csv),
              "id,label,product,number,station,slot,operator,product_file,product_sha256,"
              "program_version,started_at,stored_at,ended_at,outcome,reason\n");
    EXPECT_EQ(head_of_rows(row_kind::units, row_form::json_lines), "");
}

TEST(rows, have_a_cell_for_each_column_in_csv)
{
    EXPECT_EQ(row_text(row_kind::units, row_form::csv,
                       {{"mac_count", 64},
                        {"label", "A,\"B\""},
                        {"serial", nullptr},
                        {"void_reason", "two\nlines"},
                        {"other", "x"}}),
              "\"A,\"\"B\"\"\",,,,64,,,,\"two\nlines\",\n");
}

TEST(rows, are_whole_objects_in_json_lines)
{
    EXPECT_EQ(row_text(row_kind::units, row_form::json_lines,
                       {{"id", 7}, {"label", "two\nlines"}, {"more", true}}),
              "{\"id\":7,\"label\":\"two\\nlines\",\"more\":true}\n");
}

TEST(rows, of_bytes_that_are_no_utf8_can_be_read)
{
    EXPECT_EQ(text_of({{"text", "a\xFF"
                                "b"}}),
              "{\"text\":\"a\xEF\xBF\xBD"
              "b\"}");
}

TEST(transcript, is_empty_where_nothing_was_kept)
{
    EXPECT_EQ(transcript_text(json::object()), "");
    EXPECT_EQ(transcript_text({{"console", nullptr}}), "");
}

TEST(event_text, has_number_kind_and_content)
{
    EXPECT_EQ(event_text("ab12", {17, "slot", "{\"slot\":3}"}),
              "id: ab12-17\nevent: slot\ndata: {\"slot\":3}\n\n");
}

TEST(event_text, cannot_be_ended_by_its_content)
{
    EXPECT_EQ(event_text("s", {1, "slot", "{\n\"a\":\r\n1}"}),
              "id: s-1\nevent: slot\ndata: { \"a\":  1}\n\n");
}

} // namespace
