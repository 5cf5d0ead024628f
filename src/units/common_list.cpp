#include "units/common_list.h"

#include <algorithm>
#include <numeric>

#include "console/com_data_provider.h"

namespace {

constexpr int32_t byte_limit_ms = 500;
constexpr int32_t last_word_limit_ms = 1000;
constexpr int acknowledge_reads = 20;

// What stands in the second and third byte of a list of records.
constexpr uint8_t record_list_mark = 3;

/** Reads the payload of a list and adds it up; false on a time-out. */
bool receive_payload(unit_list *list, uint8_t *sum)
{
    list->bytes.fill(0);
    for (size_t i = 0; i < list->length; ++i) {
        const int32_t byte = serial_recv(byte_limit_ms);
        if (byte < 0) {
            return false;
        }
        list->bytes[i] = static_cast<uint8_t>(byte);
        *sum = static_cast<uint8_t>(*sum + byte);
    }
    return true;
}

/** Waits for the start byte, as the PC starts when its operator does; false on a console gone. */
bool receive_start(uint8_t start)
{
    while (serial_recv(byte_limit_ms) != start) {
        if (console_is_gone()) {
            return false;
        }
    }
    serial_putc_raw(unit_acknowledge);
    return true;
}

/** Offers an answer; false when the PC does not acknowledge it, whatever else it sends. */
bool offer_answer()
{
    serial_putc_raw(unit_acknowledge);
    serial_putc_raw(unit_request);
    for (int i = 0; i < acknowledge_reads; ++i) {
        if (serial_recv(byte_limit_ms) == unit_acknowledge) {
            return true;
        }
    }
    return false;
}

} // namespace

unit_list_outcome receive_unit_list(const unit_list_kind &kind, unit_list *list)
{
    uint8_t sum = 0;
    while (receive_start(kind.start)) {
        if (serial_recv(byte_limit_ms) != unit_header) {
            continue;
        }
        const int32_t length = serial_recv(byte_limit_ms);
        if (length < 0) {
            continue;
        }
        if (length > kind.max_length) {
            serial_putc_raw(unit_bad_length);
            return unit_list_outcome::too_long;
        }
        const int32_t count = kind.counted ? serial_recv(byte_limit_ms) : 0;
        if (count < 0) {
            continue;
        }
        list->length = static_cast<uint8_t>(length);
        list->count = static_cast<uint8_t>(count);
        if (!receive_payload(list, &sum)) {
            continue;
        }
        // Compared as a number, so that a byte that does not come (-1) is never a sum of 0xFF.
        if (serial_recv(byte_limit_ms) == sum) {
            return unit_list_outcome::received;
        }
        serial_putc_raw(kind.start);
    }
    return unit_list_outcome::console_gone;
}

bool send_unit_list(std::span<const uint8_t> length, std::span<const uint8_t> bytes)
{
    if (!offer_answer()) {
        return false;
    }
    serial_putc_raw(unit_header);
    com_write_complete(length.data(), length.size());
    com_write_complete(bytes.data(), bytes.size());
    serial_putc_raw(
        std::accumulate(bytes.begin(), bytes.end(), uint8_t{0},
                        [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a + b); }));
    serial_recv(last_word_limit_ms);
    return true;
}

std::span<const uint8_t> unit_element(const unit_list &list, size_t k, uint8_t type)
{
    const size_t at = unit_list_header_size + k * unit_element_size;
    if (at + unit_element_size > list.length || list.bytes[at] != type ||
        list.bytes[at + 1] != unit_record_size) {
        return {};
    }
    return std::span(list.bytes).subspan(at + 2, unit_record_size);
}

bool send_unit_records(uint8_t type, const uint8_t *records, size_t count)
{
    std::array<uint8_t, 256> reply{};
    reply[0] = static_cast<uint8_t>(count);
    reply[1] = record_list_mark;
    reply[2] = static_cast<uint8_t>(count * unit_element_size);
    size_t at = unit_list_header_size;
    for (size_t k = 0; k < count; ++k) {
        reply[at] = type;
        reply[at + 1] = unit_record_size;
        std::copy_n(records + k * unit_record_size, unit_record_size, reply.begin() + at + 2);
        at += unit_element_size;
    }
    const auto length = static_cast<uint8_t>(at);
    return send_unit_list(std::span(&length, 1), std::span(reply).first(at));
}
