#pragma once

#include <algorithm>
#include <optional>

#include "eeprom/e2prom.h"
#include "exchange/format_info.h"
#include "sim/board/board.h"
#include "store/productinfo.h"
#include "unit/switch/eeprom/tlv_fixture.h"

namespace support {

constexpr const char *e2prom_path = "/dev/i2c-0";
constexpr const char *cpld_path = "/dev/cpld0";

/** A board whose system EEPROM is protected until its CPLD or its driver library says otherwise. */
inline sim::board_description protected_board()
{
    return {.eeproms = {{.address = 0x56,
                         .lifted_by_cpld = {{0x25, {0xFB}}, {0x31, {0x00}}},
                         .lifted_by_driver = true},
                        {.address = 0x57}},
            .cpld = sim::cpld{}};
}

class tlv_payload : public testing::Test {
protected:
    void SetUp() override
    {
        sdd_my_type = 0;
        eeprom_writeable = 0;
        std::fill(std::begin(g_data_eeprom), std::end(g_data_eeprom), uint8_t{0});
        board_.emplace(protected_board());
    }

    void TearDown() override
    {
        clr_prod_info();
        sdd_my_type = 0;
        eeprom_writeable = 0;
    }

    /** Puts a record that says card type 5 into the card EEPROM. */
    void insert_card()
    {
        byte_list card(128, 0);
        card[0] = 1;
        card[3] = 5;
        std::copy(card.begin(), card.end(), board_->eeprom(0x57).begin());
    }

    /** Applies a payload that ends where its memory ends; what it prints. */
    std::string apply(const byte_list &content, int32_t result = 0)
    {
        const byte_list exact(content);
        return printed([&] {
            EXPECT_EQ(tlv_data_apply(exact.data(), static_cast<int32_t>(exact.size())), result);
        });
    }

    void load(const byte_list &image) { std::copy(image.begin(), image.end(), g_data_eeprom); }

    /** The records of the image, header and CRC included. */
    static byte_list image()
    {
        return {g_data_eeprom, g_data_eeprom + 11 + tlv_total_length(g_data_eeprom)};
    }

    /** As many bytes of the EEPROM as an image has. */
    byte_list stored(size_t count) const
    {
        const auto chip = board_->eeprom(0x56);
        return {chip.begin(), chip.begin() + static_cast<ptrdiff_t>(count)};
    }

    bool nothing_was_written() const
    {
        return std::ranges::all_of(board_->eeprom(0x56),
                                   [](uint8_t byte) { return byte == 0xFF; }) &&
               board_->count("write", cpld_path) == 0;
    }

    static byte_list value(uint8_t code)
    {
        int32_t offset = 0;
        if (!tlvinfo_find_tlv(g_data_eeprom, code, &offset)) {
            return bytes("absent");
        }
        const tlv_record record = tlv_record_at(g_data_eeprom, static_cast<size_t>(offset));
        return {record.content().begin(), record.content().end()};
    }

    /** Register and value of each write to the CPLD, and "eeprom" where the EEPROM was written. */
    std::vector<std::pair<uint64_t, int>> writes() const
    {
        std::vector<std::pair<uint64_t, int>> all;
        for (const auto &done : board_->log()) {
            if (done.name == "write" && done.path == cpld_path) {
                all.emplace_back(done.offset, done.data.at(0));
            } else if (done.name == "transfer" && (all.empty() || all.back().second != eeprom)) {
                all.emplace_back(0, eeprom);
            }
        }
        return all;
    }

    sim::board &board() { return *board_; }
    const sim::board &board() const { return *board_; }

    static constexpr int eeprom = -1;

private:
    mutable std::optional<sim::board> board_;
};

/** A text as the PC sends it, its NUL counted. */
inline byte_list text(std::string_view content)
{
    return bytes(content) + byte_list{0};
}

} // namespace support
