#pragma once

#include <cstdint>
#include <string_view>

// The product-info store: the identity of the switch as an ordered list of name=value records, kept
// as one checksummed image on the flash partition "product_info" and, where there is one, on its
// mirror "product_info_other". One store a process: load it once, edit and look up, save, release.

constexpr size_t prod_info_name_size = 64;   // with the terminating NUL
constexpr size_t prod_info_value_size = 512; // with the terminating NUL

/** The record that tells whether the identity is whole: while it is being changed, and afterwards.
 */
constexpr std::string_view product_info_marker = "ProductInfo";
constexpr std::string_view product_info_incomplete = "0A0A0A0A";
constexpr std::string_view product_info_complete = "0B0EFACE";

/** One record, a heap block of its own. Names are unique in the list. */
struct prod_info_node {
    char name[prod_info_name_size];
    char value[prod_info_value_size];
    prod_info_node *next;
};

/** The partition the store was loaded from, and its image. */
struct prod_info_partition {
    int32_t mtd_index; // N of /dev/mtdN
    uint32_t mtd_size; // bytes of the image buffer and of the read
    uint32_t data_len; // the part of the image that is checksummed and written
    uint8_t *image;    // owned by the store from load to release
};

/**
 * Loads the list from flash. 0, also when the image is blank or damaged: the list is then empty and
 * the next save writes a fresh image. -1 when the partition cannot be found, sized or read. What is
 * wrong is told on standard output.
 */
int32_t init_product_info();

/**
 * Writes the list to flash, unless flash is known to hold this very image. 0 saved or nothing to
 * do; negative when nothing is loaded, memory ran out while it was loaded or edited or the list
 * does not fit into the image (flash is then left alone), or a write failed. With a mirror
 * partition the result is that of the mirror's write.
 */
int32_t save_product_info();

/**
 * Marks the list as incomplete: memory ran out on the way of something into it. It is not saved
 * from now on, so that no record which is in flash, or was entered, gets lost unnoticed.
 */
void mark_product_info_incomplete();

/** Releases the list and the image. */
void clr_prod_info();

/** Prints each record as "name=value" in the order of first insertion. */
void show_prod_info();

/**
 * Stores a value under a name: in place where the name is known, else at the end of the list. The
 * name is cut to 63 characters and the value to 511. Out of memory is told on standard output and
 * leaves the list as it was, which is not saved any more then.
 */
void update_prod_info(std::string_view name, std::string_view value);

/** The same as update_prod_info, for callers that want a result: always 0. */
int32_t set_product_info(std::string_view name, std::string_view value);

/** The value stored under `name`, valid until that record changes; null if absent or null itself.
 */
const char *get_product_info(const char *name);

/** Applies one line of the operator: "name=value" stores, "name=" removes. Warns of anything else.
 */
void setproduct_info(std::string_view line);

/** Appends the records of an image to the list, warning of malformed ones. Always 0. */
int32_t parse_product_info(const prod_info_partition &partition);

// The field setters check what an operator entered and store it. They return 0 when it was stored
// and -1 when it was refused, which they tell on standard output.

/** "SerialNO": exactly 13 letters and digits. */
int32_t set_product_info_serialnum(std::string_view text);

/** "country_def", "country_map", "country_map1", "country_change", unchecked. Always 0. */
int32_t set_product_info_country(std::string_view def, std::string_view map, std::string_view map1,
                                 std::string_view change);

/** "ethaddr": six pairs of hexadecimal digits, with ":" between all of them or none. */
int32_t set_product_info_macaddr(std::string_view text);

/** "HardwareVersion": digits and "." only; anything else is silently not stored. Always 0. */
int32_t set_product_info_hardver(std::string_view text);
