#include "fuzz/board/repair.h"

#include <cstring>
#include <numeric>

#include <zlib.h>

#include "base/byte_order.h"
#include "eeprom/tlv_info.h"
#include "exchange/protocol.h"

namespace fuzz {

namespace {

constexpr size_t crc_size = 4;

uint32_t crc_of(std::span<const uint8_t> bytes)
{
    return static_cast<uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
}

/** Hand sign, its CRC, and the version: what stands ahead of a value's length. */
byte_list frame_head(const uint8_t (&hand_sign)[4])
{
    setmac_crc32_init();
    byte_list head(std::begin(hand_sign), std::end(hand_sign));
    const uint32_t crc = setmac_crc32(head.data(), static_cast<int32_t>(head.size()));
    head.resize(head.size() + crc_size);
    store_be32(&head[sizeof(hand_sign)], crc);
    head.push_back(1);
    return head;
}

bool stands_at(const byte_list &stream, size_t at, const byte_list &wanted)
{
    // The first byte by itself: the sanitizers and the fuzzer look at every comparison of several.
    return stream[at] == wanted[0] && stream.size() - at >= wanted.size() &&
           std::equal(wanted.begin(), wanted.end(), stream.begin() + static_cast<ptrdiff_t>(at));
}

/** Corrects the value whose length stands at `at`; the position behind it. */
size_t right_value(byte_list &stream, size_t at)
{
    const size_t value_at = at + crc_size;
    if (stream.size() < value_at + crc_size) {
        return stream.size();
    }
    const size_t room = stream.size() - value_at;
    const auto length = std::clamp<size_t>(load_be32(&stream[at]), crc_size, room);
    store_be32(&stream[at], static_cast<uint32_t>(length));
    const size_t crc_at = value_at + length - crc_size;
    store_be32(&stream[crc_at],
               setmac_crc32(&stream[value_at], static_cast<int32_t>(length - crc_size)));
    return value_at + length;
}

/** The length of `size` bytes at `at`. */
size_t list_length(const byte_list &stream, size_t at, size_t size)
{
    return size == 1 ? stream[at] : load_be32(&stream[at]);
}

void set_list_length(byte_list &stream, size_t at, size_t size, size_t length)
{
    if (size == 1) {
        stream[at] = static_cast<uint8_t>(length);
    } else {
        store_be32(&stream[at], static_cast<uint32_t>(length));
    }
}

/** Corrects the list whose length stands at `at`; the position behind it. */
size_t right_list(byte_list &stream, size_t at, const list_form &form)
{
    const size_t payload_at = at + form.length_size + form.count_size;
    if (payload_at >= stream.size()) {
        return stream.size();
    }
    const size_t room = stream.size() - payload_at - 1; // the sum follows
    const size_t length = std::min(list_length(stream, at, form.length_size), room);
    set_list_length(stream, at, form.length_size, length);
    const auto payload = std::span(stream).subspan(payload_at, length);
    stream[payload_at + length] =
        static_cast<uint8_t>(std::accumulate(payload.begin(), payload.end(), 0U));
    return payload_at + length + 1;
}

} // namespace

void right_store_checksum(byte_list &image)
{
    constexpr size_t checksum_size = 4;
    constexpr size_t image_size = 8192;
    if (image.size() >= image_size) {
        const uint32_t crc =
            crc_of(std::span(image).subspan(checksum_size, image_size - checksum_size));
        memcpy(image.data(), &crc, sizeof(crc)); // in the processor's own byte order
    }
}

void right_tlv_crc(byte_list &image)
{
    constexpr size_t crc_record_size = 6;
    const size_t total = std::min<size_t>(load_be16(&image[9]), tlv_max_total_length);
    store_be16(&image[9], static_cast<uint16_t>(total));
    if (total >= crc_record_size) {
        const size_t crc_at = tlv_header_size + total - crc_size;
        image[crc_at - 2] = tlv_crc;
        image[crc_at - 1] = crc_size;
        store_be32(&image[crc_at], crc_of(std::span(image).first(crc_at)));
    }
}

void right_card_sum(byte_list &content)
{
    constexpr size_t header_size = 6;
    if (content.size() < header_size) {
        return;
    }
    const size_t end = header_size + load_be16(&content[4]);
    if (end + 2 <= content.size()) {
        const auto summed = std::span(content).first(end);
        store_be16(&content[end],
                   static_cast<uint16_t>(std::accumulate(summed.begin(), summed.end(), 0U)));
    }
}

void right_frames(byte_list &stream)
{
    static const byte_list heads[] = {frame_head(setmac_hand_sign), frame_head(setsn_hand_sign)};
    for (size_t at = 0; at < stream.size();) {
        const bool is_head = std::any_of(std::begin(heads), std::end(heads), [&](const auto &head) {
            return stands_at(stream, at, head);
        });
        at = is_head ? right_value(stream, at + heads[0].size()) : at + 1;
    }
}

void right_list_sums(byte_list &stream, const list_form &form)
{
    const byte_list head = {form.start, 1};
    for (size_t at = 0; at < stream.size();) {
        at = stands_at(stream, at, head) && stream.size() - at - head.size() >= form.length_size
                 ? right_list(stream, at + head.size(), form)
                 : at + 1;
    }
}

} // namespace fuzz
