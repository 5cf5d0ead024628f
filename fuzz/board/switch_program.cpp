#include "fuzz/board/switch_program.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include "base/trace.h"
#include "eeprom/e2prom.h"
#include "eeprom/tlv_info.h"
#include "exchange/format_info.h"
#include "exchange/protocol.h"
#include "fuzz/board/board_files.h"
#include "fuzz/board/small_allocations.h"
#include "store/productinfo.h"
#include "units/setsn_device.h"

namespace fuzz {

namespace {

constexpr size_t store_image_size = 8192;

int lowest_free_descriptor()
{
    const int number = dup(STDOUT_FILENO);
    close(number);
    return number;
}

ssize_t discard(void *, const char *, size_t count)
{
    return static_cast<ssize_t>(count);
}

/** A file of which nothing is kept, without a call of the system for each piece of it. */
FILE *open_nowhere()
{
    FILE *file = fopencookie(nullptr, "w", {.read = {}, .write = discard, .seek = {}, .close = {}});
    require(file != nullptr, "the file opens");
    return file;
}

void forget_everything()
{
    clr_prod_info();
    sdd_my_type = 0;
    eeprom_writeable = 0;
    setdevice_zk80chassis = 0;
    dev_setsn = {};
    memset(g_data_eeprom, 0, tlv_image_size);
}

/** What the operator would see goes nowhere, and nothing comes from the fuzzer's own input. */
const bool silenced = [] {
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nowhere, STDIN_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    stdout = open_nowhere();
    return true;
}();

} // namespace

switch_program::switch_program(sim::board_description description, bool keeps_log)
    : first_free_(lowest_free_descriptor())
{
    {
        const small_allocations here;
        board_.emplace(std::move(description));
    }
    static FILE *log = open_nowhere();
    setmac_debug_fd = keeps_log ? log : nullptr;
    fit_devices(*board_);
    forget_everything();
}

switch_program::~switch_program()
{
    remove_devices();
    require(lowest_free_descriptor() == first_free_, "every file is closed");
    clr_prod_info();
    board_.reset();
    release_small_allocations();
}

void switch_program::require_saved_store()
{
    const auto image = board_->flash(0).bytes().first(store_image_size);
    uint32_t stored = 0;
    memcpy(&stored, image.data(), sizeof(stored));
    const auto area = image.subspan(sizeof(stored));
    require(crc32(0, area.data(), static_cast<uInt>(area.size())) == stored,
            "the saved image has a right checksum");
}

void switch_program::require_store_of_its_own()
{
    const auto load_and_save = [] {
        clr_prod_info();
        require(init_product_info() == 0, "the saved image loads");
        require(save_product_info() == 0, "what was loaded is saved");
    };
    require_saved_store();
    load_and_save();
    require_saved_store();
    const auto programmed = writes_of_devices();
    load_and_save();
    require(writes_of_devices() == programmed, "what was saved is what the next start loads");
}

std::string switch_program::listed_store()
{
    char *text = nullptr;
    size_t size = 0;
    FILE *const terminal = std::exchange(stdout, open_memstream(&text, &size));
    show_prod_info();
    fclose(std::exchange(stdout, terminal));
    std::string listed(text, size);
    free(text);
    return listed;
}

void switch_program::require_programmed_image()
{
    const auto chip = board_->eeprom(system_e2prom_address);
    require(std::equal(chip.begin(), chip.end(), g_data_eeprom),
            "the EEPROM holds the image that was programmed");
    require(is_whole_image(g_data_eeprom), "the programmed image is whole");
}

sim::board_description identity_board(sim::flash_type type)
{
    const small_allocations here;
    // NOR without room behind the image, so that no step past its end goes unseen.
    const uint32_t blocks = type == sim::nor ? 1 : 2;
    return {.partitions = {{.name = "product_info",
                            .type = type,
                            .erase_size = store_image_size,
                            .blocks = blocks}},
            .eeproms = {{.address = system_e2prom_address,
                         .write_cycle_ms = 0,
                         .lifted_by_cpld = {{0x25, {0xFB}}, {named_enable_register, {0x00}}},
                         .lifted_by_driver = true},
                        {.address = card_e2prom_address, .write_cycle_ms = 0}},
            .cpld = sim::cpld{}};
}

bool is_whole_image(const uint8_t *image)
{
    int32_t crc_at = 0;
    return is_checksum_valid(image) && tlvinfo_find_tlv(image, tlv_crc, &crc_at) &&
           crc_at == static_cast<int32_t>(tlv_total_length(image)) + 5;
}

void require_kept_image(const uint8_t *image, bool was_whole)
{
    require(tlv_total_length(image) <= tlv_max_total_length, "the records fit into the EEPROM");
    require(!was_whole || is_whole_image(image), "an edit keeps the image whole");
}

} // namespace fuzz
