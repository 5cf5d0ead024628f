#include "exchange/protocol.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/byte_order.h"
#include "base/trace.h"
#include "exchange/format_info.h"
#include "store/productinfo.h"

uint8_t g_setmac_data[setmac_data_size];

namespace {

constexpr uint32_t crc_polynomial = 0x04C11DB7;
constexpr uint8_t protocol_version = 0x01;
constexpr uint8_t start_request = '{'; // the PC announces a serial number
constexpr uint8_t start_answer = '}';
constexpr int32_t crc_size = 4;

/** The status bytes that the PC program waits for. */
enum reply : uint8_t {
    reply_applied = 0x06,
    reply_received = 0x07,
    reply_failed = 0x12,
    reply_bad_value = 0x14,
    reply_refused = 0x19,
};

constexpr int64_t sign_limit_ms = 500;
constexpr int64_t version_limit_ms = 10000;
constexpr int64_t length_limit_ms = 1000;
constexpr int64_t value_limit_ms_per_byte = 50;

constexpr int32_t start_wait_us = 100000;
constexpr int start_polls = 1000;

constexpr std::string_view setmac_banner =
    "Setmac Model setup ...\r\n"
    "Disconnect your console terminal first \r\n"
    " Using your PC SetMac program to perform Setmac Operation ...\r\n";

constexpr com_data_provider console_provider = {com_read_timeout, com_write_complete};

uint32_t setmac_crc32_table[256];
/** [n]: the checksum of a byte and of n + 1 zero bytes behind it. */
uint32_t setmac_crc32_ahead[3][256];

struct mode_entry {
    int32_t mode;
    payload_handler handler;
    const uint8_t *hand_sign;
};

constexpr mode_entry modes[] = {
    {mode_product_info, apply_data, setmac_hand_sign},
    {mode_product_serial, do_set_sn, setsn_hand_sign},
    {mode_tlv, tlv_data_apply, setmac_hand_sign},
    {mode_tlv_serial, tlv_set_sn, setsn_hand_sign},
};

/** What a step of the exchange leads to: the next step, or the end with this result. */
struct step_result {
    bool over;
    int32_t result;
};
constexpr step_result go_on = {false, 0};

constexpr step_result end_with(int32_t result)
{
    return {true, result};
}

/** Sends one status byte at once: the PC waits for it before it sends on. */
void send_reply(const com_data_provider *provider, uint8_t byte)
{
    provider->write(&byte, 1);
    com_flush();
}

step_result receive_hand_sign(const com_data_provider *provider, const uint8_t *hand_sign)
{
    uint8_t block[8] = {};
    if (provider->read(block, 1, sign_limit_ms) != 0) {
        SETMAC_TRACE_AS("smp_recv", 104, "\r\nRead the First sign error-Timeout");
        return end_with(1);
    }
    // The PC repeats its start byte until it is answered, so more of them may be on their way.
    while (hand_sign[0] == setsn_hand_sign[0] && block[0] == start_request) {
        if (provider->read(block, 1, sign_limit_ms) != 0) {
            SETMAC_TRACE_AS("smp_recv", 112, "\r\nRead the First sign error-Timeout");
            if (console_is_gone()) {
                return end_with(-1);
            }
        }
    }
    if (block[0] != hand_sign[0]) {
        SETMAC_TRACE_AS("smp_recv", 119, "\r\nRead the First sign error-char:%x", block[0]);
        return end_with(block[0]);
    }
    SETMAC_TRACE_AS("smp_recv", 124, "\r\nRead the First sign OK");
    if (provider->read(block + 1, sizeof(block) - 1, sign_limit_ms) != 0) {
        SETMAC_TRACE_AS("smp_recv", 127, "\r\nRead the hand sign error-timeout");
        return end_with(1);
    }
    if (setmac_crc32(block, sizeof(block)) != 0) {
        SETMAC_TRACE_AS("smp_recv", 132, "\r\nRead the hand sign error-CRC");
        return end_with(1);
    }
    send_reply(provider, hand_sign[0]);
    SETMAC_TRACE_AS("smp_recv", 137, "\r\nWrite the Hand Sign");
    return go_on;
}

step_result receive_version(const com_data_provider *provider)
{
    uint8_t version = 0;
    const bool received = provider->read(&version, 1, version_limit_ms) == 0;
    if (!received) {
        SETMAC_TRACE_AS("smp_recv", 143, "\r\nRead the version error-timeout");
    }
    send_reply(provider, protocol_version);
    if (!received) {
        return end_with(1);
    }
    if (version != protocol_version) {
        SETMAC_TRACE_AS("smp_recv", 151, "\r\nRead the hand sign error-value:%x", version);
        return end_with(1);
    }
    return go_on;
}

step_result receive_length(const com_data_provider *provider, int32_t *length)
{
    uint8_t bytes[4] = {};
    while (provider->read(bytes, sizeof(bytes), length_limit_ms) != 0) {
        SETMAC_TRACE_AS("smp_recv", 157, "\r\nRead the length error-timeout");
        if (console_is_gone()) {
            return end_with(-1);
        }
    }
    *length = static_cast<int32_t>(load_be32(bytes));
    SETMAC_TRACE_AS("smp_recv", 164, "\r\nRead the length %d \n", *length);
    return go_on;
}

/** Reads a value of `length` bytes, whatever the PC announced, into g_setmac_data. */
step_result receive_value(const com_data_provider *provider, int32_t length)
{
    memset(g_setmac_data, 0, sizeof(g_setmac_data));
    if (length > static_cast<int32_t>(setmac_data_size)) {
        SETMAC_TRACE_AS("smp_recv", __LINE__, "\r\nRead the value error-too long");
        send_reply(provider, reply_bad_value);
        return end_with(1);
    }
    if (length < 0 || provider->read(g_setmac_data, static_cast<uint64_t>(length),
                                     length * value_limit_ms_per_byte) != 0) {
        SETMAC_TRACE_AS("smp_recv", 169, "\r\nRead the value error-timeout");
        send_reply(provider, reply_bad_value);
        return end_with(1);
    }
    SETMAC_TRACE_AS("smp_recv", 176, "\r\n");
    if (setmac_crc32(g_setmac_data, length) != 0) {
        // The operation ends here on purpose: only a value that came too slowly is tried again.
        SETMAC_TRACE_AS("smp_recv", 178, "\r\nRead the value error-CRC");
        send_reply(provider, reply_bad_value);
        return end_with(0);
    }
    return go_on;
}

int32_t apply_value(const com_data_provider *provider, payload_handler handler, int32_t length)
{
    SETMAC_TRACE_AS("smp_recv", 184, "\r\n write pre sucess");
    send_reply(provider, reply_received);
    int32_t status = 0;
    {
        const waiting_output output;
        status = handler(g_setmac_data, length - crc_size);
        com_flush();
    }
    if (status == 0) {
        SETMAC_TRACE_AS("smp_recv", 195, "\r\nSetMac Success");
        send_reply(provider, reply_applied);
        return 0;
    }
    SETMAC_TRACE_AS("smp_recv", 200, "\r\nSetMac Fail:write");
    send_reply(provider, status == payload_refused ? reply_refused : reply_failed);
    return 1;
}

} // namespace

void setmac_crc32_init()
{
    if (setmac_crc32_table[1] != 0) {
        return; // filled by an exchange before
    }
    for (uint32_t index = 0; index < 256; ++index) {
        uint32_t value = index << 24;
        for (int bit = 0; bit < 8; ++bit) {
            const uint32_t carry = (value & 0x80000000U) != 0 ? crc_polynomial : 0;
            value = value << 1 ^ carry;
        }
        setmac_crc32_table[index] = value;
    }
    for (size_t index = 0; index < 256; ++index) {
        uint32_t value = setmac_crc32_table[index];
        for (auto &table : setmac_crc32_ahead) {
            value = setmac_crc32_table[value >> 24] ^ value << 8;
            table[index] = value;
        }
    }
}

uint32_t setmac_crc32(const uint8_t *data, int32_t len)
{
    uint32_t crc = 0xFFFFFFFF;
    int32_t i = 0;
    // Four bytes at a time: the checksum of a whole value is otherwise a third of its reception.
    for (; len - i >= 4; i += 4) {
        crc ^= load_be32(data + i);
        crc = setmac_crc32_ahead[2][crc >> 24] ^ setmac_crc32_ahead[1][crc >> 16 & 0xFF] ^
              setmac_crc32_ahead[0][crc >> 8 & 0xFF] ^ setmac_crc32_table[crc & 0xFF];
    }
    for (; i < len; ++i) {
        crc = setmac_crc32_table[crc >> 24 ^ data[i]] ^ crc << 8;
    }
    SETMAC_TRACE_AT(71, "crc is 0x%x \r\n", crc);
    return crc;
}

int32_t smp_recv(const com_data_provider *provider, payload_handler handler,
                 const uint8_t *hand_sign)
{
    const step_result signed_in = receive_hand_sign(provider, hand_sign);
    if (signed_in.over) {
        return signed_in.result;
    }
    const step_result agreed = receive_version(provider);
    if (agreed.over) {
        return agreed.result;
    }
    int32_t length = 0;
    const step_result announced = receive_length(provider, &length);
    if (announced.over) {
        return announced.result;
    }
    const step_result received = receive_value(provider, length);
    if (received.over) {
        return received.result;
    }
    return apply_value(provider, handler, length);
}

int32_t __set_product_info(int32_t mode)
{
    for (const mode_entry &entry : modes) {
        if (entry.mode == mode) {
            return smp_recv(&console_provider, entry.handler, entry.hand_sign);
        }
    }
    return 0;
}

int32_t enter_setmac(int32_t mode)
{
    clear_input();
    setmac_crc32_init();
    com_write_text(setmac_banner);
    while (__set_product_info(mode) != 0) {
        // The PC starts again from the hand sign.
        if (console_is_gone()) {
            return -1;
        }
    }
    save_product_info();
    return 0;
}

int32_t enter_setsn(int32_t mode)
{
    if (kbhit(start_wait_us) == 0) {
        return -1;
    }
    SETMAC_TRACE_AT(299, "enter setsn \r\n");
    clear_input();
    setmac_crc32_init();
    int polls = 0;
    while (getkey() != start_request) {
        if (++polls == start_polls) {
            SETMAC_TRACE_AT(312, "Not get setsn char.\r\n");
            return 0;
        }
    }
    send_reply(&console_provider, start_answer);
    return __set_product_info(mode);
}

int32_t set_module_info(payload_handler handler)
{
    if (handler == nullptr || kbhit(0) == 0) {
        return -1;
    }
    setmac_crc32_init();
    if (getkey() != start_request) {
        return 0;
    }
    send_reply(&console_provider, start_answer);
    return smp_recv(&console_provider, handler, setsn_hand_sign);
}

void clear_input()
{
    // Nothing is thrown away: what the PC has sent so far is the start of the exchange.
}
