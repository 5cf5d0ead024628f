#include "exchange/format_info.h"

#include <cerrno>
#include <optional>
#include <regex>

#include "eeprom/e2prom.h"
#include "exchange/protocol.h"
#include "payloads.h"
#include "sim/board/board.h"
#include "store/productinfo.h"
#include "unit/switch/console/console_fixture.h"
#include "unit/switch/support.h"

namespace {

using support::bytes;
using support::node;
using support::operator+;
using support::part;
using support::printed;
using support::trace_log;

using byte_list = std::vector<uint8_t>;

class payload : public testing::Test {
protected:
    void SetUp() override
    {
        sdd_my_type = 0;
        fit({.partitions = {{.name = "product_info", .erase_size = 0x4000, .blocks = 1}}});
    }

    void TearDown() override
    {
        clr_prod_info();
        sdd_my_type = 0;
    }

    void fit(sim::board_description description)
    {
        clr_prod_info();
        board_.emplace(std::move(description));
        printed([] { EXPECT_EQ(init_product_info(), 0); });
    }

    /** A board whose card type is 5. */
    void fit_with_card()
    {
        byte_list card(128, 0);
        card[0] = 1;
        card[3] = 5;
        fit({.partitions = {{.name = "product_info", .erase_size = 0x4000, .blocks = 1}},
             .eeproms = {{.address = 0x57, .content = card}}});
    }

    /** Applies a payload that ends where its memory ends. */
    static int32_t apply(const byte_list &content)
    {
        const byte_list exact(content);
        return apply_data(exact.data(), static_cast<int32_t>(exact.size()));
    }

    static std::string shown()
    {
        return printed([] { show_prod_info(); });
    }

    sim::board &board() { return *board_; }

private:
    std::optional<sim::board> board_;
};

const std::string started = "ProductInfo=0A0A0A0A\r\n";
const std::string applied = "ProductInfo=0B0EFACE\r\n";

TEST_F(payload, of_no_bytes_stores_the_marker_and_saves)
{
    EXPECT_EQ(apply_data(nullptr, 0), 0);
    EXPECT_EQ(shown(), applied);
    EXPECT_EQ(board().count("write"), 1U);
}

TEST_F(payload, of_negative_length_is_empty)
{
    EXPECT_EQ(apply_data(g_setmac_data, -1), 0);
    EXPECT_EQ(apply_data(g_setmac_data, -4), 0);
    EXPECT_EQ(shown(), applied);
}

TEST_F(payload, mac_address_byte_by_byte)
{
    // 02, part length 27, "MacAddress" NUL, 02, length 6, the address.
    EXPECT_EQ(
        apply({0x02, 0x00, 0x00, 0x00, 0x1B, 'M',  'a',  'c',  'A',  'd',  'd',  'r',  'e', 's',
               's',  0x00, 0x02, 0x00, 0x00, 0x00, 0x06, 0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}),
        0);
    EXPECT_EQ(shown(), applied + "ethaddr=00:1A:2B:3C:4D:5E\r\n");
}

TEST_F(payload, logs_parts_and_nodes)
{
    const trace_log log;
    ASSERT_EQ(apply(part(2, node("a", 1, bytes("x")) + node("b", 2, {0xAB}))), 0);
    const auto text = std::regex_replace(log.text(), std::regex("Value:0x[0-9a-f]+"), "Value:P");
    EXPECT_EQ(text.substr(0, text.find("[SETMAC <save")),
              "[SETMAC <apply_data>:<479>] \r\nFlag at 0 Bytes"
              "[SETMAC <apply_data>:<490>] \r\nnPartLen:16"
              "[SETMAC <apply_property>:<127>] \r\nName:a,Type:1,Len:1,Value:P"
              "[SETMAC <apply_property>:<127>] \r\nName:b,Type:2,Len:1,Value:P");
}

TEST_F(payload, logs_where_each_part_begins)
{
    const trace_log log;
    ASSERT_EQ(apply(part(1, bytes("skipped")) + part(2, {})), 0);
    EXPECT_EQ(log.text(), "[SETMAC <apply_data>:<479>] \r\nFlag at 0 Bytes"
                          "[SETMAC <apply_data>:<490>] \r\nnPartLen:7"
                          "[SETMAC <apply_data>:<479>] \r\nFlag at 12 Bytes"
                          "[SETMAC <apply_data>:<490>] \r\nnPartLen:0");
}

TEST_F(payload, mac_address_of_fewer_bytes_is_filled_with_zeros)
{
    EXPECT_EQ(apply(part(2, node("MacAddress", 2, {0x00, 0x1A}))), 0);
    EXPECT_EQ(shown(), applied + "ethaddr=00:1A:00:00:00:00\r\n");
}

TEST_F(payload, mac_address_of_more_bytes_is_cut)
{
    EXPECT_EQ(apply(part(2, node("MacAddress", 2, {1, 2, 3, 4, 5, 6, 7}))), 0);
    EXPECT_EQ(shown(), applied + "ethaddr=01:02:03:04:05:06\r\n");
}

TEST_F(payload, mac_address_of_type_text_is_a_text)
{
    EXPECT_EQ(apply(part(2, node("MacAddress", 1, bytes("x")))), 0);
    EXPECT_EQ(shown(), applied + "MacAddress=x\r\n");
}

TEST_F(payload, binary_values_are_stored_as_hexadecimal)
{
    EXPECT_EQ(apply(part(2, node("b", 2, {0x01, 0xAB, 0xFF}) + node("e", 2, {}))), 0);
    EXPECT_EQ(shown(), applied + "b=01ABFF\r\ne=\r\n");
}

TEST_F(payload, binary_values_keep_64_bytes)
{
    EXPECT_EQ(apply(part(2, node("b", 2, byte_list(100, 0xC3)))), 0);
    std::string expected;
    for (int i = 0; i < 64; ++i) {
        expected += "C3";
    }
    EXPECT_EQ(shown(), applied + "b=" + expected + "\r\n");
}

TEST_F(payload, text_values_keep_128_characters)
{
    EXPECT_EQ(apply(part(2, node("t", 1, byte_list(200, 'x')) + node("u", 1, byte_list(128, 'y')))),
              0);
    EXPECT_EQ(shown(),
              applied + "t=" + std::string(128, 'x') + "\r\nu=" + std::string(128, 'y') + "\r\n");
}

TEST_F(payload, text_values_end_at_a_nul)
{
    EXPECT_EQ(apply(part(2, node("t", 1, {'a', 0, 'b'}) + node("u", 1, {}))), 0);
    EXPECT_EQ(shown(), applied + "t=a\r\nu=\r\n");
}

TEST_F(payload, names_are_cut_to_63_characters)
{
    EXPECT_EQ(apply(part(2, node(std::string(70, 'n'), 1, bytes("x")))), 0);
    EXPECT_EQ(shown(), applied + std::string(63, 'n') + "=x\r\n");
}

TEST_F(payload, properties_of_an_unknown_type_are_passed_over)
{
    EXPECT_EQ(apply(part(2, node("u", 3, bytes("x")) + node("t", 1, bytes("y")))), 0);
    EXPECT_EQ(shown(), applied + "t=y\r\n");
}

TEST_F(payload, parts_follow_each_other)
{
    EXPECT_EQ(apply(part(2, node("a", 1, bytes("1"))) + part(1, bytes("zz")) +
                    part(2, node("b", 1, bytes("2")))),
              0);
    EXPECT_EQ(shown(), applied + "a=1\r\nb=2\r\n");
}

TEST_F(payload, an_empty_part_to_skip_ends_it)
{
    EXPECT_EQ(
        apply(part(2, node("a", 1, bytes("1"))) + part(1, {}) + part(2, node("b", 1, bytes("2")))),
        1);
    EXPECT_EQ(shown(), started + "a=1\r\n");
    EXPECT_EQ(board().count("write"), 0U);
}

TEST_F(payload, of_an_unknown_flag_is_told_of_that_whatever_its_length)
{
    // A part length of 4, below that of the header, and one that runs past the payload.
    for (const byte_list &content : {byte_list{3, 0, 0, 0, 4}, byte_list{3, 0, 0, 1, 0, 'x'}}) {
        const trace_log log;
        EXPECT_EQ(apply(content), -2);
        EXPECT_TRUE(log.text().ends_with("[SETMAC <apply_data>:<501>] \r\nflag error:3"))
            << log.text();
    }
}

TEST_F(payload, of_an_unknown_flag_is_told_of_that_where_its_length_is_cut_off)
{
    for (const byte_list &content : {byte_list{3}, byte_list{3, 0, 0, 0}}) {
        const trace_log log;
        EXPECT_EQ(apply(content), -2);
        EXPECT_EQ(log.text(), "[SETMAC <apply_data>:<479>] \r\nFlag at 0 Bytes"
                              "[SETMAC <apply_data>:<501>] \r\nflag error:3");
    }
}

TEST_F(payload, with_a_stray_byte_behind_it_is_told_of_that_byte)
{
    const trace_log log;
    EXPECT_EQ(apply(part(1, bytes("skipped")) + byte_list{7}), -2);
    EXPECT_EQ(log.text(), "[SETMAC <apply_data>:<479>] \r\nFlag at 0 Bytes"
                          "[SETMAC <apply_data>:<490>] \r\nnPartLen:7"
                          "[SETMAC <apply_data>:<479>] \r\nFlag at 12 Bytes"
                          "[SETMAC <apply_data>:<501>] \r\nflag error:7");
}

TEST_F(payload, of_a_known_flag_whose_length_is_cut_off_is_told_of_its_place_only)
{
    for (const uint8_t flag : byte_list{1, 2}) {
        const trace_log log;
        EXPECT_EQ(apply({flag, 0, 0, 0}), -2);
        EXPECT_EQ(log.text(), "[SETMAC <apply_data>:<479>] \r\nFlag at 0 Bytes");
    }
}

TEST_F(payload, of_an_unknown_flag_is_malformed)
{
    for (const uint8_t flag : byte_list{0, 3, 0xFF}) {
        const trace_log log;
        EXPECT_EQ(apply(part(flag, bytes("x"))), -2);
        EXPECT_NE(
            log.text().find("[SETMAC <apply_data>:<501>] \r\nflag error:" + std::to_string(flag)),
            std::string::npos);
    }
    EXPECT_EQ(shown(), started);
    EXPECT_EQ(board().count("write"), 0U);
}

TEST_F(payload, whose_part_is_cut_off_or_too_long_stores_none_of_its_nodes)
{
    const byte_list content = node("a", 1, bytes("1"));
    const auto with_length = [&](uint32_t length) {
        auto whole = part(2, content);
        whole[3] = static_cast<uint8_t>(length >> 8);
        whole[4] = static_cast<uint8_t>(length);
        return whole;
    };
    const auto exact = static_cast<uint32_t>(content.size() + 5);
    EXPECT_EQ(apply(with_length(exact + 1)), -2);
    EXPECT_EQ(apply(with_length(0xFFFF)), -2);
    EXPECT_EQ(apply({0x02}), -2);
    EXPECT_EQ(apply({0x02, 0, 0, 0}), -2);
    EXPECT_EQ(shown(), started);
}

TEST_F(payload, with_a_part_length_below_its_header_is_malformed)
{
    for (const uint8_t flag : byte_list{1, 2}) {
        for (const uint8_t length : byte_list{0, 1, 4}) {
            EXPECT_EQ(apply(byte_list{flag, 0, 0, 0, length}), -2);
        }
    }
    EXPECT_EQ(apply({0x02, 0xFF, 0xFF, 0xFF, 0xFF}), -2);
}

TEST_F(payload, with_bytes_behind_its_last_part_is_malformed)
{
    EXPECT_EQ(apply(part(2, node("a", 1, bytes("1"))) + byte_list{0}), -2);
    EXPECT_EQ(shown(), started + "a=1\r\n");
}

TEST_F(payload, keeps_the_nodes_before_one_that_runs_past_its_part)
{
    auto cut = node("b", 1, bytes("22"));
    cut.pop_back();
    const trace_log log;
    EXPECT_EQ(apply(part(2, node("a", 1, bytes("1")) + cut)), -2);
    EXPECT_EQ(shown(), started + "a=1\r\n");
    EXPECT_EQ(log.text().find("Name:b"), std::string::npos);
}

TEST_F(payload, with_a_node_cut_anywhere_is_malformed)
{
    const byte_list whole = node("b", 2, {1, 2});
    for (size_t length = 1; length < whole.size(); ++length) {
        const byte_list cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
        EXPECT_EQ(apply(part(2, cut)), -2) << length;
    }
    EXPECT_EQ(shown(), started);
}

TEST_F(payload, with_a_value_length_of_4_gib_is_malformed)
{
    EXPECT_EQ(apply(part(2, bytes("a") + byte_list{0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 'x'})), -2);
    EXPECT_EQ(shown(), started);
}

TEST_F(payload, for_this_card_type_is_applied_and_its_type_stored)
{
    fit_with_card();
    EXPECT_EQ(apply(part(2, node("e2type", 2, {0x00, 0x05}))), 0);
    EXPECT_EQ(shown(), applied + "e2type=0005\r\n");
}

TEST_F(payload, for_another_card_type_is_refused)
{
    fit_with_card();
    EXPECT_EQ(apply(part(2, node("a", 1, bytes("1")) + node("e2type", 2, {0x05, 0x00}) +
                                node("b", 1, bytes("2")))),
              -13);
    EXPECT_EQ(shown(), started + "a=1\r\n");
    EXPECT_EQ(board().count("write", "/dev/mtd0"), 0U);
}

TEST_F(payload, with_a_card_type_as_text_is_not_checked)
{
    fit_with_card();
    EXPECT_EQ(apply(part(2, node("e2type", 1, bytes("9")))), 0);
    EXPECT_EQ(shown(), applied + "e2type=9\r\n");
}

TEST_F(payload, that_cannot_be_saved_ends_with_the_result_of_the_save)
{
    board().inject({.operation = "write", .path = "/dev/mtd0", .error = EIO});
    const trace_log log;
    EXPECT_EQ(apply(part(2, node("a", 1, bytes("1")))), -1);
    EXPECT_EQ(shown(), applied + "a=1\r\n");
    EXPECT_NE(log.text().find("[SETMAC <apply_data>:<511>] \r\nSave product informat to flash "
                              "error:-1"),
              std::string::npos);
}

TEST_F(payload, whose_save_failed_is_applied_on_a_retry_only_when_flash_holds_it)
{
    const auto content = part(2, node("a", 1, bytes("1")));
    board().inject({.operation = "write", .path = "/dev/mtd0", .times = 2, .error = EIO});
    EXPECT_EQ(apply(content), -1);
    EXPECT_EQ(apply(content), -1);
    EXPECT_EQ(apply(content), 0);
    clr_prod_info();
    ASSERT_EQ(init_product_info(), 0);
    EXPECT_EQ(shown(), applied + "a=1\r\n");
}

/** Serial-number payloads; what goes to the PC is what goes to standard output. */
class serial : public payload {
protected:
    static std::string set(const byte_list &content, int32_t result = 0)
    {
        const byte_list exact(content);
        return printed([&] {
            EXPECT_EQ(do_set_sn(exact.data(), static_cast<int32_t>(exact.size())), result);
        });
    }
};

TEST_F(serial, is_stored_saved_and_echoed)
{
    EXPECT_EQ(set(bytes("ABCDEFGHJ1234")), "\x06\x0D"
                                           "ABCDEFGHJ1234");
    EXPECT_EQ(shown(), "SerialNO=ABCDEFGHJ1234\r\n");
    EXPECT_EQ(board().count("write"), 1U);
}

TEST_F(serial, is_not_checked_for_its_form)
{
    EXPECT_EQ(set(bytes("-")), "\x06\x01-");
}

TEST_F(serial, of_70_bytes_is_stored_as_63_and_echoed_as_70)
{
    EXPECT_EQ(set(byte_list(70, 'S')), "\x06\x46" + std::string(63, 'S') + std::string(7, '\0'));
    EXPECT_EQ(shown(), "SerialNO=" + std::string(63, 'S') + "\r\n");
}

TEST_F(serial, ends_at_a_nul_and_is_echoed_filled_up)
{
    EXPECT_EQ(set({'A', 0, 'B'}), std::string("\x06\x03"
                                              "A\0\0",
                                              5));
    EXPECT_EQ(shown(), "SerialNO=A\r\n");
}

TEST_F(serial, of_no_bytes_is_an_empty_one)
{
    EXPECT_EQ(set({}), std::string("\x06\0", 2));
    EXPECT_EQ(shown(), "SerialNO=\r\n");
}

TEST_F(serial, of_negative_length_is_an_empty_one)
{
    EXPECT_EQ(printed([] { EXPECT_EQ(do_set_sn(g_setmac_data, -3), 0); }),
              std::string("\x06\0", 2));
}

TEST_F(serial, of_more_than_255_bytes_is_echoed_with_the_low_byte_of_its_length)
{
    const auto echo = set(byte_list(300, 'S'));
    ASSERT_EQ(echo.size(), 302U);
    EXPECT_EQ(echo[1], 44);
}

TEST_F(serial, that_cannot_be_saved_is_not_echoed)
{
    board().inject({.operation = "erase", .path = "/dev/mtd0", .error = EIO});
    EXPECT_EQ(set(bytes("ABCDEFGHJ1234"), -3), "");
}

TEST_F(serial, that_is_stored_already_is_not_written_again)
{
    set(bytes("ABCDEFGHJ1234"));
    board().clear_log();
    EXPECT_EQ(set(bytes("ABCDEFGHJ1234")), "\x06\x0D"
                                           "ABCDEFGHJ1234");
    EXPECT_EQ(board().count("erase"), 0U);
}

} // namespace
