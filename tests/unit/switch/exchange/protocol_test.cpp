#include "exchange/protocol.h"

#include <cstring>
#include <deque>
#include <optional>

#include "frames.h"

namespace {

using support::byte_list;
using support::bytes;
using support::digits_length;
using support::digits_value;
using support::setmac_sign;
using support::setsn_sign;
using support::trace_log;

/** A line whose other side is written down: bytes, and moments at which a read runs out of time. */
struct scripted_line {
    std::deque<std::optional<uint8_t>> input;
    byte_list output;
    std::vector<std::pair<uint64_t, int64_t>> reads; // count and time limit of each
    std::string steps;                               // "r" for each read, "w" for each write
};
scripted_line line;

int32_t read_script(uint8_t *buffer, uint64_t count, int64_t timeout_ms)
{
    line.reads.emplace_back(count, timeout_ms);
    line.steps += 'r';
    for (uint64_t i = 0; i < count; ++i) {
        if (line.input.empty()) {
            fprintf(stderr, "the script ended while the switch reads\n");
            abort();
        }
        const auto byte = line.input.front();
        line.input.pop_front();
        if (!byte) {
            return 1;
        }
        buffer[i] = *byte;
    }
    return 0;
}

int32_t write_script(const uint8_t *buffer, uint64_t count)
{
    line.steps += 'w';
    line.output.insert(line.output.end(), buffer, buffer + count);
    return 0;
}

constexpr com_data_provider provider = {read_script, write_script};

int32_t handler_result = 0;
int handler_calls = 0;
int32_t handler_length = 0;

int32_t handler(const uint8_t *data, int32_t length)
{
    EXPECT_EQ(data, g_setmac_data);
    ++handler_calls;
    handler_length = length;
    return handler_result;
}

class smp : public testing::Test {
protected:
    void SetUp() override
    {
        line = {};
        handler_result = 0;
        handler_calls = 0;
        handler_length = -99;
        setmac_crc32_init();
    }

    static void send(const byte_list &list)
    {
        line.input.insert(line.input.end(), list.begin(), list.end());
    }
    static void send_silence() { line.input.emplace_back(std::nullopt); }

    static int32_t receive(const uint8_t *hand_sign = setmac_hand_sign)
    {
        const int32_t result = smp_recv(&provider, handler, hand_sign);
        EXPECT_TRUE(line.input.empty())
            << line.input.size() << " items of the script were not read";
        return result;
    }
};

TEST_F(smp, crc_has_the_published_check_value)
{
    const auto digits = bytes("123456789");
    EXPECT_EQ(setmac_crc32(digits.data(), 9), 0x0376E6E7U);
}

TEST_F(smp, crc_of_nothing_is_the_initial_value)
{
    EXPECT_EQ(setmac_crc32(nullptr, 0), 0xFFFFFFFFU);
}

TEST_F(smp, crc_of_bytes_and_their_crc_is_zero)
{
    EXPECT_EQ(setmac_crc32(digits_value.data(), 13), 0U);
    EXPECT_EQ(setmac_crc32(setmac_sign.data(), 8), 0U);
    EXPECT_EQ(setmac_crc32(setsn_sign.data(), 8), 0U);
}

TEST_F(smp, crc_is_logged_on_every_call)
{
    const trace_log log;
    setmac_crc32(bytes("123456789").data(), 9);
    EXPECT_EQ(log.text(), "[SETMAC <setmac_crc32>:<71>] crc is 0x376e6e7 \r\n");
}

TEST_F(smp, applies_an_intact_payload)
{
    send(setmac_sign);
    send({0x01});
    send(digits_length);
    send(digits_value);
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(line.output, (byte_list{0x15, 0x01, 0x07, 0x06}));
    EXPECT_EQ(handler_calls, 1);
    EXPECT_EQ(handler_length, 9);
    EXPECT_EQ(memcmp(g_setmac_data, digits_value.data(), 13), 0);
}

TEST_F(smp, reads_with_the_limits_of_each_field)
{
    send(setmac_sign);
    send({0x01});
    send(digits_length);
    send(digits_value);
    receive();
    EXPECT_EQ(line.reads, (std::vector<std::pair<uint64_t, int64_t>>{
                              {1, 500}, {7, 500}, {1, 10000}, {4, 1000}, {13, 650}}));
    EXPECT_EQ(line.steps, "rrwrwrrww");
}

TEST_F(smp, logs_a_good_exchange_line_by_line)
{
    send(setmac_sign);
    send({0x01});
    send(digits_length);
    send(digits_value);
    const trace_log log;
    receive();
    EXPECT_EQ(log.text(), "[SETMAC <smp_recv>:<124>] \r\nRead the First sign OK"
                          "[SETMAC <setmac_crc32>:<71>] crc is 0x0 \r\n"
                          "[SETMAC <smp_recv>:<137>] \r\nWrite the Hand Sign"
                          "[SETMAC <smp_recv>:<164>] \r\nRead the length 13 \n"
                          "[SETMAC <smp_recv>:<176>] \r\n"
                          "[SETMAC <setmac_crc32>:<71>] crc is 0x0 \r\n"
                          "[SETMAC <smp_recv>:<184>] \r\n write pre sucess"
                          "[SETMAC <smp_recv>:<195>] \r\nSetMac Success");
}

TEST_F(smp, the_payload_is_followed_by_its_crc_and_zeros)
{
    memset(g_setmac_data, 0xAA, sizeof(g_setmac_data));
    send(setmac_sign);
    send({0x01});
    send(digits_length);
    send(digits_value);
    receive();
    EXPECT_EQ(g_setmac_data[12], 0xE7);
    EXPECT_EQ(g_setmac_data[13], 0);
    EXPECT_EQ(g_setmac_data[setmac_data_size - 1], 0);
}

TEST_F(smp, silence_at_first_is_logged_and_answered_with_nothing)
{
    send_silence();
    const trace_log log;
    EXPECT_EQ(receive(), 1);
    EXPECT_TRUE(line.output.empty());
    EXPECT_EQ(log.text(), "[SETMAC <smp_recv>:<104>] \r\nRead the First sign error-Timeout");
}

TEST_F(smp, a_wrong_first_sign_is_the_result)
{
    send({0x7B});
    const trace_log log;
    EXPECT_EQ(receive(), 0x7B);
    EXPECT_TRUE(line.output.empty());
    EXPECT_EQ(log.text(), "[SETMAC <smp_recv>:<119>] \r\nRead the First sign error-char:7b");
}

TEST_F(smp, a_first_sign_of_zero_ends_with_zero)
{
    send({0x00});
    EXPECT_EQ(receive(), 0);
    EXPECT_TRUE(line.output.empty());
}

TEST_F(smp, serial_exchange_skips_repeated_start_bytes)
{
    send({0x7B, 0x7B, 0x7B});
    send(setsn_sign);
    send({0x01});
    send(digits_length);
    send(digits_value);
    EXPECT_EQ(receive(setsn_hand_sign), 0);
    EXPECT_EQ(line.output, (byte_list{0x10, 0x01, 0x07, 0x06}));
}

TEST_F(smp, serial_exchange_waits_after_a_start_byte_without_end)
{
    send({0x7B});
    for (int i = 0; i < 20; ++i) {
        send_silence();
    }
    send({0x22});
    const trace_log log;
    EXPECT_EQ(receive(setsn_hand_sign), 0x22);
    std::string expected;
    for (int i = 0; i < 20; ++i) {
        expected += "[SETMAC <smp_recv>:<112>] \r\nRead the First sign error-Timeout";
    }
    expected += "[SETMAC <smp_recv>:<119>] \r\nRead the First sign error-char:22";
    EXPECT_EQ(log.text(), expected);
}

TEST_F(smp, a_hand_sign_cut_off_is_answered_with_nothing)
{
    send({0x15, 0x18, 0x03});
    send_silence();
    const trace_log log;
    EXPECT_EQ(receive(), 1);
    EXPECT_TRUE(line.output.empty());
    EXPECT_EQ(log.text(), "[SETMAC <smp_recv>:<124>] \r\nRead the First sign OK"
                          "[SETMAC <smp_recv>:<127>] \r\nRead the hand sign error-timeout");
}

TEST_F(smp, a_hand_sign_with_a_wrong_crc_is_answered_with_nothing)
{
    send({0x15, 0x18, 0x03, 0x10, 0xBD, 0x3D, 0x0E, 0x80});
    const trace_log log;
    EXPECT_EQ(receive(), 1);
    EXPECT_TRUE(line.output.empty());
    EXPECT_NE(log.text().find("[SETMAC <smp_recv>:<132>] \r\nRead the hand sign error-CRC"),
              std::string::npos);
}

TEST_F(smp, a_hand_sign_is_known_by_its_first_byte_and_crc_alone)
{
    send({0x15, 0xFF, 0xFF, 0xFF, 0xD8, 0xEC, 0x5B, 0x6A});
    send({0x01});
    send(digits_length);
    send(digits_value);
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(line.output, (byte_list{0x15, 0x01, 0x07, 0x06}));
}

TEST_F(smp, silence_in_place_of_the_version_is_answered_with_the_version)
{
    send(setmac_sign);
    send_silence();
    const trace_log log;
    EXPECT_EQ(receive(), 1);
    EXPECT_EQ(line.output, (byte_list{0x15, 0x01}));
    EXPECT_NE(log.text().find("[SETMAC <smp_recv>:<143>] \r\nRead the version error-timeout"),
              std::string::npos);
}

TEST_F(smp, another_version_is_answered_with_the_version_and_ends_the_attempt)
{
    send(setmac_sign);
    send({0x02});
    const trace_log log;
    EXPECT_EQ(receive(), 1);
    EXPECT_EQ(line.output, (byte_list{0x15, 0x01}));
    EXPECT_NE(log.text().find("[SETMAC <smp_recv>:<151>] \r\nRead the hand sign error-value:2"),
              std::string::npos);
}

TEST_F(smp, the_length_is_read_again_from_its_start_after_silence)
{
    send(setmac_sign);
    send({0x01});
    send({0xFF, 0xFF});
    send_silence();
    send_silence();
    send(digits_length);
    send(digits_value);
    const trace_log log;
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(handler_length, 9);
    EXPECT_NE(log.text().find("[SETMAC <smp_recv>:<157>] \r\nRead the length error-timeout"
                              "[SETMAC <smp_recv>:<157>] \r\nRead the length error-timeout"),
              std::string::npos);
}

TEST_F(smp, a_value_too_slow_is_answered_and_tried_again)
{
    send(setmac_sign);
    send({0x01});
    send(digits_length);
    send({'1', '2'});
    send_silence();
    const trace_log log;
    EXPECT_EQ(receive(), 1);
    EXPECT_EQ(line.output, (byte_list{0x15, 0x01, 0x14}));
    EXPECT_EQ(handler_calls, 0);
    EXPECT_NE(log.text().find("[SETMAC <smp_recv>:<169>] \r\nRead the value error-timeout"),
              std::string::npos);
}

TEST_F(smp, a_damaged_value_is_answered_and_ends_the_operation)
{
    send(setmac_sign);
    send({0x01});
    send(digits_length);
    auto damaged = digits_value;
    damaged[4] ^= 0x40;
    send(damaged);
    const trace_log log;
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(line.output, (byte_list{0x15, 0x01, 0x14}));
    EXPECT_EQ(handler_calls, 0);
    EXPECT_NE(log.text().find("[SETMAC <smp_recv>:<178>] \r\nRead the value error-CRC"),
              std::string::npos);
}

TEST_F(smp, a_length_of_4_is_an_empty_payload)
{
    send(setmac_sign);
    send({0x01, 0, 0, 0, 4, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(line.output, (byte_list{0x15, 0x01, 0x07, 0x06}));
    EXPECT_EQ(handler_length, 0);
}

TEST_F(smp, a_length_of_0_fails_the_crc_and_ends_the_operation)
{
    send(setmac_sign);
    send({0x01, 0, 0, 0, 0});
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(line.output, (byte_list{0x15, 0x01, 0x14}));
    EXPECT_EQ(handler_calls, 0);
}

TEST_F(smp, a_length_above_the_buffer_is_refused_without_reading)
{
    send(setmac_sign);
    send({0x01, 0x00, 0x02, 0x00, 0x01});
    EXPECT_EQ(receive(), 1);
    EXPECT_EQ(line.output, (byte_list{0x15, 0x01, 0x14}));
    EXPECT_EQ(line.reads.size(), 4U);
}

TEST_F(smp, a_negative_length_is_refused_without_reading)
{
    for (const byte_list &length : {byte_list{0xFF, 0xFF, 0xFF, 0xFF}, byte_list{0x80, 0, 0, 1}}) {
        line = {};
        send(setmac_sign);
        send({0x01});
        send(length);
        EXPECT_EQ(receive(), 1);
        EXPECT_EQ(line.output, (byte_list{0x15, 0x01, 0x14}));
    }
}

TEST_F(smp, takes_a_value_of_the_whole_buffer)
{
    byte_list payload(setmac_data_size - 4, 0x5A);
    const uint32_t crc = setmac_crc32(payload.data(), static_cast<int32_t>(payload.size()));
    for (const int shift : {24, 16, 8, 0}) {
        payload.push_back(static_cast<uint8_t>(crc >> shift));
    }
    send(setmac_sign);
    send({0x01, 0x00, 0x02, 0x00, 0x00});
    send(payload);
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(handler_length, 131068);
    EXPECT_EQ(line.reads.back(), (std::pair<uint64_t, int64_t>{131072, 6553600}));
}

TEST_F(smp, handler_results_become_replies)
{
    const struct {
        int32_t result;
        uint8_t reply;
    } cases[] = {{-13, 0x19}, {-1, 0x12}, {1, 0x12}, {-2, 0x12}};
    for (const auto &[result, reply] : cases) {
        line = {};
        handler_result = result;
        send(setmac_sign);
        send({0x01});
        send(digits_length);
        send(digits_value);
        const trace_log log;
        EXPECT_EQ(receive(), 1);
        EXPECT_EQ(line.output, (byte_list{0x15, 0x01, 0x07, reply}));
        EXPECT_NE(log.text().find("[SETMAC <smp_recv>:<200>] \r\nSetMac Fail:write"),
                  std::string::npos);
    }
}

TEST_F(smp, an_unknown_mode_reads_nothing)
{
    EXPECT_EQ(__set_product_info(0), 0);
    EXPECT_EQ(__set_product_info(99), 0);
}

} // namespace
