#include "store/productinfo.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include <zlib.h>

#include "base/text.h"
#include "base/trace.h"
#include "base/uninterrupted.h"
#include "store/mtd.h"

namespace {

constexpr uint32_t image_length = 8192;
constexpr size_t checksum_size = sizeof(uint32_t);

prod_info_node *head = nullptr;
prod_info_node *tail = nullptr;
prod_info_partition info{};

/** Whether flash is known to hold the image with this checksum word: a save then writes nothing. */
bool flash_holds_image = false;

/** Whether memory ran out: the list is then not what it should be, loaded or edited. */
bool list_is_incomplete = false;

std::span<uint8_t> record_area(const prod_info_partition &partition)
{
    return {partition.image + checksum_size, partition.data_len - checksum_size};
}

/** The checksum word is kept in the byte order of the processor. */
uint32_t stored_checksum()
{
    uint32_t checksum = 0;
    memcpy(&checksum, info.image, checksum_size);
    return checksum;
}

uint32_t computed_checksum()
{
    const auto area = record_area(info);
    return static_cast<uint32_t>(crc32(0, area.data(), static_cast<uInt>(area.size())));
}

template <size_t size>
void copy_text(char (&field)[size], std::string_view text)
{
    const auto kept = first_part(text, size - 1);
    std::fill(std::begin(field), std::end(field), '\0');
    std::copy(kept.begin(), kept.end(), std::begin(field));
}

prod_info_node *find_record(std::string_view name)
{
    for (prod_info_node *node = head; node != nullptr; node = node->next) {
        if (name == node->name) {
            return node;
        }
    }
    return nullptr;
}

void append_record(prod_info_node *node)
{
    if (head == nullptr) {
        head = node;
    } else {
        tail->next = node;
    }
    tail = node;
}

/** Updates or appends; an allocation that fails is reported in the name of `caller`. */
void store_record(std::string_view full_name, std::string_view value, const char *caller)
{
    // Cut before the look-up: two long names that are cut to the same text are one name.
    const auto name = first_part(full_name, prod_info_name_size - 1);
    prod_info_node *node = find_record(name);
    if (node == nullptr) {
        node = static_cast<prod_info_node *>(calloc(1, sizeof(prod_info_node)));
        if (node == nullptr) {
            printf("%s: Out of memory.\r\n", caller);
            mark_product_info_incomplete();
            return;
        }
        copy_text(node->name, name);
        append_record(node);
    }
    copy_text(node->value, value);
}

void remove_record(std::string_view name)
{
    prod_info_node *previous = nullptr;
    for (prod_info_node *node = head; node != nullptr; previous = node, node = node->next) {
        if (name != node->name) {
            continue;
        }
        if (previous == nullptr) {
            head = node->next;
        } else {
            previous->next = node->next;
        }
        if (node == tail) {
            tail = previous;
        }
        free(node);
        return;
    }
}

void release_image()
{
    free(info.image);
    info.image = nullptr;
    flash_holds_image = false;
    list_is_incomplete = false;
}

/** One record of an image: name and value around its first "=". */
void parse_record(std::string_view record)
{
    const size_t equals = record.find('=');
    if (equals == std::string_view::npos) {
        printf("Warning: invliad product info: %.*s.\r\n", TEXT_ARGS(record));
        return;
    }
    if (equals >= prod_info_name_size) {
        puts("Warning: product info name is too long\r");
        return;
    }
    update_prod_info(first_part(record, equals), rest_after(record, equals + 1));
}

/** Bytes that the records take in an image, with the empty record that ends them. */
size_t packed_size()
{
    size_t size = 1;
    for (const prod_info_node *node = head; node != nullptr; node = node->next) {
        size += strlen(node->name) + 1 + strlen(node->value) + 1;
    }
    return size;
}

/** Rebuilds the image from the list, which fits. */
void build_image()
{
    memset(info.image, 0, info.mtd_size);
    auto rest = record_area(info);
    for (const prod_info_node *node = head; node != nullptr; node = node->next) {
        const int length = snprintf(reinterpret_cast<char *>(rest.data()), rest.size(), "%s=%s",
                                    node->name, node->value);
        rest = rest.subspan(static_cast<size_t>(length) + 1);
    }
    const uint32_t checksum = computed_checksum();
    memcpy(info.image, &checksum, checksum_size);
}

/** Writes the image to its partition and to the mirror, where `mirror` is not negative. */
int32_t write_image(int32_t mirror)
{
    const uninterrupted writing;
    const auto length = static_cast<int32_t>(info.data_len);
    const int32_t primary_result = mtd_write(info.mtd_index, info.image, length);
    if (mirror < 0) {
        flash_holds_image = primary_result == 0;
        return primary_result;
    }
    const int32_t mirror_result = mtd_write(mirror, info.image, length);
    if (mirror_result == -1) {
        SETMAC_TRACE_AS("save_product_info", __LINE__, "\r\nSync Failed");
    }
    flash_holds_image = primary_result == 0 && mirror_result == 0;
    return mirror_result;
}

} // namespace

int32_t init_product_info()
{
    const int32_t index = get_mtd_nm("product_info");
    if (index < 0) {
        printf("%s: can't find productinfo.\r\n", __func__);
        return -1;
    }
    info = {.mtd_index = index, .mtd_size = 0, .data_len = image_length, .image = nullptr};
    // A partition without room for the image, or of a type that has no size here, is of no use.
    if (mtd_get_size(index, &info.mtd_size) < 0 || info.mtd_size < image_length) {
        printf("%s: can't get mtd size.\r\n", __func__);
        return -1;
    }
    // Zeroed, because a NAND without a good block is "read" without a byte arriving.
    info.image = static_cast<uint8_t *>(calloc(1, info.mtd_size));
    if (info.image == nullptr) {
        printf("%s: system is out of memory.\r\n", __func__);
        return -1;
    }
    if (mtd_read(index, info.image, static_cast<int32_t>(info.mtd_size)) <= 0) {
        printf("%s: mtd read failed.\r\n", __func__);
        release_image();
        return -1;
    }
    flash_holds_image = stored_checksum() == computed_checksum();
    if (!flash_holds_image) {
        puts("!!!Warning: CRC check failed.\r");
        return 0;
    }
    return parse_product_info(info);
}

int32_t save_product_info()
{
    const int32_t mirror = get_mtd_nm("product_info_other");
    if (info.mtd_index < 0 || info.image == nullptr) {
        return -1;
    }
    if (list_is_incomplete) {
        SETMAC_TRACE("\r\nProduct info is incomplete: out of memory");
        return -1;
    }
    if (packed_size() > record_area(info).size()) {
        SETMAC_TRACE("\r\nProduct info does not fit: %zu bytes", packed_size());
        return -1;
    }
    const uint32_t previous = stored_checksum();
    build_image();
    if (flash_holds_image && stored_checksum() == previous) {
        return 0;
    }
    return write_image(mirror);
}

void mark_product_info_incomplete()
{
    list_is_incomplete = true;
}

void clr_prod_info()
{
    while (head != nullptr) {
        prod_info_node *next = head->next;
        free(head);
        head = next;
    }
    tail = nullptr;
    release_image();
}

void show_prod_info()
{
    for (const prod_info_node *node = head; node != nullptr; node = node->next) {
        printf("%s=%s\r\n", node->name, node->value);
    }
}

void update_prod_info(std::string_view name, std::string_view value)
{
    store_record(name, value, __func__);
}

int32_t set_product_info(std::string_view name, std::string_view value)
{
    update_prod_info(name, value);
    return 0;
}

const char *get_product_info(const char *name)
{
    const prod_info_node *node = name == nullptr ? nullptr : find_record(name);
    return node == nullptr ? nullptr : node->value;
}

void setproduct_info(std::string_view line)
{
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
        printf("Warning: invliad product info: %.*s.\r\n", TEXT_ARGS(line));
        return;
    }
    if (equals >= prod_info_name_size) {
        puts("Warning: product info name is too long.\r");
        return;
    }
    const auto name = first_part(line, equals);
    const auto value = rest_after(line, equals + 1);
    if (value.empty()) {
        remove_record(name);
    } else {
        store_record(name, value, "update_or_remove_prod_info");
    }
}

int32_t parse_product_info(const prod_info_partition &partition)
{
    // The first empty record ends the list, and so does the end of the area: a checksum can be
    // right over an area without that record.
    std::span<const uint8_t> rest = record_area(partition);
    while (!rest.empty() && rest.front() != 0) {
        const auto record = text_of(rest);
        parse_record(record);
        rest = rest.subspan(std::min(record.size() + 1, rest.size()));
    }
    return 0;
}
