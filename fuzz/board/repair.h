#pragma once

#include "fuzz/input.h"

// Hostile bytes with right checksums. A fuzzer would rarely guess one, and few bytes behind it
// would ever be looked at. None of these lets a length run past the end.

namespace fuzz {

/** The checksum of a product-info image. */
void right_store_checksum(byte_list &image);

/** The CRC of a TlvInfo image of 256 bytes, and the CRC record where its length has room for it. */
void right_tlv_crc(byte_list &image);

/** The sum behind a card-type record of format 1. */
void right_card_sum(byte_list &content);

/** The CRC of each value of a framed exchange. */
void right_frames(byte_list &stream);

/** How the list of a unit exchange begins. */
struct list_form {
    uint8_t start;
    size_t length_size; // bytes of the length: 1 or 4
    size_t count_size;  // bytes between length and payload: 1 or 0
};

/** The sum of each list of a unit exchange. */
void right_list_sums(byte_list &stream, const list_form &form);

} // namespace fuzz
