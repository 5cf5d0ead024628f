#include "platform/dev_drv.h"
#include "sim/board/board.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

/** Slot 0 of each kind is occupied, slot 1 is empty. */
sim::board_description chassis()
{
    return {.fans = {{.type = 0x80112233, .sn = "FAN00", .hw = "1.00"}, {.present = false}},
            .supplies = {{.name = "PSU-550", .hw = "2.00"}, {.present = false}},
            .cards = {{.card_type = 0x99, .sn = "CARD0", .hw = "3.00"}, {.present = false}},
            .own_card_type = 14};
}

/** A text that a library operation handed out into a field, and what came with it. */
struct handed_out {
    int32_t result;
    std::string field; // all of its bytes
    uint32_t length;
};

handed_out read(int32_t (*operation)(int32_t, char *, uint32_t *, uint32_t), int32_t index,
                std::size_t size)
{
    std::string field(size, '#');
    auto length = static_cast<uint32_t>(size);
    const int32_t result = operation(index, field.data(), &length, static_cast<uint32_t>(size));
    return {result, field, length};
}

std::string padded(std::string text, std::size_t size)
{
    text.resize(size, '\0');
    return text;
}

const sim::operation &last(const sim::board &board)
{
    return board.log().back();
}

/** A folder that is gone at the end of the test. */
class scratch_folder {
public:
    scratch_folder()
    {
        std::string name = std::filesystem::temp_directory_path() / "sim_units_XXXXXX";
        path_ = mkdtemp(name.data());
    }
    ~scratch_folder() { std::filesystem::remove_all(path_); }
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;
    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

/** Each operation on an index, with arguments that are right. */
struct named_operation {
    const char *name;
    std::function<int32_t(int32_t index)> call;
};

std::vector<named_operation> all_operations()
{
    static std::array<char, 32> field;
    static uint32_t number;
    static const std::array<char, sim::backplane_size> record = {};
    return {
        {"drv_get_fan_status", drv_get_fan_status},
        {"drv_get_power_status", drv_get_power_status},
        {"drv_get_sslot_state", drv_get_sslot_state},
        {"drv_get_fan_type", drv_get_fan_type},
        {"drv_set_fan_info", [](int32_t i) { return drv_set_fan_info(i, "X", "Y"); }},
        {"drv_set_fan_info_with_type",
         [](int32_t i) { return drv_set_fan_info_with_type(i, &number, "X", "Y"); }},
        {"drv_get_fan_sn", [](int32_t i) { return drv_get_fan_sn(i, field.data(), &number, 24); }},
        {"drv_get_fan_hw_version",
         [](int32_t i) { return drv_get_fan_hw_version(i, field.data(), &number, 6); }},
        {"drv_get_power_name",
         [](int32_t i) { return drv_get_power_name(i, field.data(), &number); }},
        {"drv_set_power_hw_version", [](int32_t i) { return drv_set_power_hw_version(i, "Y"); }},
        {"drv_get_power_hw_version",
         [](int32_t i) { return drv_get_power_hw_version(i, field.data(), &number, 6); }},
        {"drv_get_my_card_type", [](int32_t) { return drv_get_my_card_type(); }},
        {"drv_get_sub_unintlg_lc_info",
         [](int32_t i) { return drv_get_sub_unintlg_lc_info(14, i, &number, field.data()); }},
        {"drv_set_sub_unintlg_info",
         [](int32_t i) { return drv_set_sub_unintlg_info(i, "X", "Y"); }},
        {"drv_get_sub_unintlg_sn",
         [](int32_t i) { return drv_get_sub_unintlg_sn(i, field.data(), &number, 24); }},
        {"drv_get_sub_unintlg_hw_ver",
         [](int32_t i) { return drv_get_sub_unintlg_hw_ver(i, field.data(), &number, 6); }},
        {"drv_set_backplane_info",
         [](int32_t i) { return drv_set_backplane_info(i + 1, record.data()); }},
    };
}

bool is_presence(const std::string &name)
{
    return name == "drv_get_fan_status" || name == "drv_get_power_status" ||
           name == "drv_get_sslot_state";
}

} // namespace

TEST(sim_units, nothing_is_present_and_all_fails_without_a_board)
{
    for (const auto &[name, call] : all_operations()) {
        EXPECT_EQ(call(0), is_presence(name) ? 0 : -1) << name;
    }
    EXPECT_EQ(dev_drv_init(), 0);
}

TEST(sim_units, presence_is_1_of_what_is_there_and_0_of_all_else)
{
    sim::board board(chassis());
    for (const auto status : {drv_get_fan_status, drv_get_power_status, drv_get_sslot_state}) {
        EXPECT_EQ(status(0), 1);
        EXPECT_EQ(status(1), 0) << "an empty slot";
        EXPECT_EQ(status(2), 0) << "no slot";
        EXPECT_EQ(status(-1), 0);
    }
    EXPECT_EQ(board.log()[0].arguments, "index=0 answer=1");
    EXPECT_EQ(board.log()[0].answer, 1);
}

TEST(sim_units, operations_on_an_empty_slot_are_refused)
{
    sim::board board(chassis());
    for (const auto &[name, call] : all_operations()) {
        const bool has_slot = !is_presence(name) && name != std::string("drv_get_my_card_type") &&
                              name != std::string("drv_set_backplane_info");
        if (has_slot) {
            EXPECT_EQ(call(1), -1) << name;
            EXPECT_EQ(call(2), -1) << name;
        }
    }
    EXPECT_EQ(board.fan(1).sn, "");
}

TEST(sim_units, fan_tells_its_type_with_all_32_bits)
{
    sim::board board(chassis());
    EXPECT_EQ(static_cast<uint32_t>(drv_get_fan_type(0)), 0x80112233U);
}

TEST(sim_units, fan_keeps_serial_number_and_version)
{
    sim::board board(chassis());
    EXPECT_EQ(drv_set_fan_info(0, "FAN0000000001", "1.23"), 0);
    EXPECT_EQ(board.fan(0).sn, "FAN0000000001");
    EXPECT_EQ(board.fan(0).hw, "1.23");
    EXPECT_EQ(board.fan(0).type, 0x80112233U);
    EXPECT_EQ(last(board).arguments, "index=0 sn=\"FAN0000000001\" hw=\"1.23\" answer=0");
    const auto sn = read(drv_get_fan_sn, 0, 24);
    EXPECT_EQ(sn.result, 0);
    EXPECT_EQ(sn.field, padded("FAN0000000001", 24));
    EXPECT_EQ(sn.length, 13U);
    EXPECT_EQ(last(board).arguments, "index=0 text=\"FAN0000000001\" answer=0");
    const auto hw = read(drv_get_fan_hw_version, 0, 6);
    EXPECT_EQ(hw.field, padded("1.23", 6));
    EXPECT_EQ(hw.length, 4U);
}

TEST(sim_units, fan_keeps_the_type_it_is_told)
{
    sim::board board(chassis());
    const uint32_t type = 0xA1B2C3D4;
    EXPECT_EQ(drv_set_fan_info_with_type(0, &type, "F1", "1.23"), 0);
    EXPECT_EQ(board.fan(0).type, 0xA1B2C3D4U);
    EXPECT_EQ(static_cast<uint32_t>(drv_get_fan_type(0)), 0xA1B2C3D4U);
    EXPECT_EQ(board.fan(0).sn, "F1");
    EXPECT_EQ(board.log()[0].arguments, "index=0 type=0xa1b2c3d4 sn=\"F1\" hw=\"1.23\" answer=0");
}

TEST(sim_units, texts_end_with_their_field_and_empty_ones_change_nothing)
{
    sim::board board(chassis());
    struct {
        char sn[24];
        char hw[6];
        char behind[4];
    } sent;
    std::memcpy(&sent, "123456789012345678901234ABCDEFxyz", sizeof sent);
    EXPECT_EQ(drv_set_fan_info(0, sent.sn, sent.hw), 0);
    EXPECT_EQ(board.fan(0).sn, "123456789012345678901234");
    EXPECT_EQ(board.fan(0).hw, "ABCDEF");
    EXPECT_EQ(read(drv_get_fan_sn, 0, 24).field, "123456789012345678901234");
    EXPECT_EQ(read(drv_get_fan_sn, 0, 24).length, 24U);
    EXPECT_EQ(drv_set_fan_info(0, "", "2.00"), 0);
    EXPECT_EQ(board.fan(0).sn, "123456789012345678901234");
    EXPECT_EQ(board.fan(0).hw, "2.00") << "nothing is left of the longer text";
}

TEST(sim_units, texts_that_are_not_printable_are_logged_by_their_codes)
{
    sim::board board(chassis());
    EXPECT_EQ(drv_set_power_hw_version(0, "\x01\"\\\xFF"), 0);
    EXPECT_EQ(last(board).arguments, "index=0 hw=\"\\x01\\x22\\x5c\\xff\" answer=0");
}

TEST(sim_units, a_field_that_is_too_small_is_refused)
{
    sim::board board(chassis());
    const auto sn = read(drv_get_fan_sn, 0, 4);
    EXPECT_EQ(sn.result, -1);
    EXPECT_EQ(sn.field, "####");
    EXPECT_EQ(read(drv_get_fan_sn, 0, 5).field, "FAN00");
}

TEST(sim_units, supply_tells_its_name_and_keeps_its_version)
{
    sim::board board(chassis());
    std::string name(33, '#');
    uint32_t length = 0;
    EXPECT_EQ(drv_get_power_name(0, name.data(), &length), 0);
    EXPECT_EQ(name, padded("PSU-550", 32) + "#");
    EXPECT_EQ(length, 7U);
    EXPECT_EQ(drv_set_power_hw_version(0, "2.0A"), 0);
    EXPECT_EQ(board.supply(0).hw, "2.0A");
    EXPECT_EQ(board.supply(0).name, "PSU-550");
    EXPECT_EQ(read(drv_get_power_hw_version, 0, 6).field, padded("2.0A", 6));
}

TEST(sim_units, a_name_of_32_characters_has_no_end)
{
    sim::board board({.supplies = {{.name = std::string(32, 'N')}}});
    std::string name(33, '#');
    uint32_t length = 0;
    EXPECT_EQ(drv_get_power_name(0, name.data(), &length), 0);
    EXPECT_EQ(name, std::string(32, 'N') + "#");
    EXPECT_EQ(length, 32U);
}

TEST(sim_units, card_tells_its_type_to_the_board_it_is_on)
{
    sim::board board(chassis());
    EXPECT_EQ(drv_get_my_card_type(), 14);
    uint32_t type = 0;
    std::string buffer(33, '#');
    EXPECT_EQ(drv_get_sub_unintlg_lc_info(14, 0, &type, buffer.data()), 0);
    EXPECT_EQ(type, 0x99U);
    EXPECT_EQ(buffer, std::string(32, '\0') + "#");
    EXPECT_EQ(last(board).arguments, "own_card_type=14 index=0 card_type=0x99 answer=0");
    EXPECT_EQ(drv_get_sub_unintlg_lc_info(15, 0, &type, buffer.data()), -1)
        << "the type of another board";
}

TEST(sim_units, card_keeps_serial_number_and_version)
{
    sim::board board(chassis());
    EXPECT_EQ(drv_set_sub_unintlg_info(0, "CARD000000001", "3.45"), 0);
    EXPECT_EQ(board.card(0).sn, "CARD000000001");
    EXPECT_EQ(board.card(0).hw, "3.45");
    EXPECT_EQ(board.card(0).card_type, 0x99U);
    EXPECT_EQ(read(drv_get_sub_unintlg_sn, 0, 24).field, padded("CARD000000001", 24));
    EXPECT_EQ(read(drv_get_sub_unintlg_hw_ver, 0, 6).field, padded("3.45", 6));
}

TEST(sim_units, backplane_eeproms_1_and_2_take_records_of_44_bytes)
{
    sim::board board({});
    bytes record(sim::backplane_size + 1, 0x5A);
    record[0] = 0x1F;
    record[43] = 0x12;
    EXPECT_EQ(board.backplane(1)[0], 0xFF) << "as delivered";
    EXPECT_EQ(drv_set_backplane_info(1, record.data()), 0);
    EXPECT_EQ(bytes(board.backplane(1).begin(), board.backplane(1).end()),
              bytes(record.begin(), record.end() - 1));
    EXPECT_EQ(board.backplane(2)[0], 0xFF);
    EXPECT_EQ(drv_set_backplane_info(2, record.data()), 0);
    EXPECT_EQ(board.backplane(2)[0], 0x1F);
    EXPECT_EQ(last(board).data, bytes(record.begin(), record.end() - 1));
    EXPECT_EQ(drv_set_backplane_info(0, record.data()), -1);
    EXPECT_EQ(drv_set_backplane_info(3, record.data()), -1);
    EXPECT_THROW(board.backplane(3), std::out_of_range);
}

TEST(sim_units, indexes_go_on_from_the_one_before)
{
    sim::board board({.fans = {{.index = 3, .sn = "A"}, {.sn = "B"}, {.index = 9, .sn = "C"}}});
    EXPECT_EQ(board.fan(3).sn, "A");
    EXPECT_EQ(board.fan(4).sn, "B");
    EXPECT_EQ(board.fan(4).index, 4);
    EXPECT_EQ(board.fan(9).sn, "C");
    EXPECT_THROW(board.fan(0), std::out_of_range);
}

TEST(sim_units, any_operation_can_answer_what_a_fault_says_and_does_nothing_then)
{
    for (const auto &[name, call] : all_operations()) {
        sim::board board(chassis());
        board.inject({.operation = name, .result = -5});
        EXPECT_EQ(call(0), -5) << name;
        EXPECT_EQ(last(board).name, name);
        EXPECT_EQ(last(board).answer, -5);
        EXPECT_NE(last(board).arguments.find("answer=-5"), std::string::npos);
        EXPECT_EQ(last(board).error, 0);
        EXPECT_EQ(board.fan(0).sn, "FAN00");
        EXPECT_EQ(board.supply(0).hw, "2.00");
        EXPECT_EQ(board.card(0).sn, "CARD0");
        EXPECT_EQ(board.backplane(1)[0], 0xFF);
        EXPECT_NE(call(0), -5) << name << ": once only";
    }
}

TEST(sim_units, an_answer_of_success_does_nothing_as_well)
{
    sim::board board(chassis());
    board.inject({.operation = "drv_set_fan_info", .call = 2, .times = 0, .result = 0});
    EXPECT_EQ(drv_set_fan_info(0, "F1", ""), 0);
    EXPECT_EQ(drv_set_fan_info(0, "F2", ""), 0);
    EXPECT_EQ(drv_set_fan_info(0, "F3", ""), 0);
    EXPECT_EQ(board.fan(0).sn, "F1");
}

TEST(sim_units, an_error_refuses_any_operation)
{
    for (const auto &[name, call] : all_operations()) {
        sim::board board(chassis());
        board.inject({.operation = name, .error = EIO});
        EXPECT_EQ(call(0), is_presence(name) ? 0 : -1) << name;
        EXPECT_EQ(last(board).error, EIO);
        EXPECT_FALSE(last(board).answer.has_value());
    }
}

TEST(sim_units, a_result_is_only_for_the_driver_library)
{
    sim::board board({});
    EXPECT_THROW(board.inject({.operation = "read", .result = 1}), std::invalid_argument);
    EXPECT_THROW(board.inject({.operation = "any", .result = 1}), std::invalid_argument);
    EXPECT_THROW(board.inject({.operation = "drv_get_fan_sn", .error = EIO, .result = 1}),
                 std::invalid_argument);
    board.inject({.operation = "dev_drv_init", .result = -3});
    EXPECT_EQ(dev_drv_init(), -3);
}

TEST(sim_units, what_they_were_told_outlives_the_process)
{
    const scratch_folder folder;
    const uint32_t type = 7;
    const bytes record(sim::backplane_size, 0x5A);
    {
        sim::board board(chassis(), folder.path());
        EXPECT_EQ(board.fan(0).sn, "FAN00");
        EXPECT_EQ(drv_set_fan_info_with_type(0, &type, "F1", "1.23"), 0);
        EXPECT_EQ(drv_set_power_hw_version(0, "2.0A"), 0);
        EXPECT_EQ(drv_set_sub_unintlg_info(0, "C1", "3.45"), 0);
        EXPECT_EQ(drv_set_backplane_info(2, record.data()), 0);
    }
    EXPECT_EQ(std::filesystem::file_size(folder.path() / "fan-0.bin"), 34U);
    EXPECT_EQ(std::filesystem::file_size(folder.path() / "supply-0.bin"), 34U);
    EXPECT_EQ(std::filesystem::file_size(folder.path() / "card-0.bin"), 34U);
    EXPECT_EQ(std::filesystem::file_size(folder.path() / "backplane-2.bin"), 44U);
    sim::board board(chassis(), folder.path());
    EXPECT_EQ(board.fan(0).type, 7U);
    EXPECT_EQ(board.fan(0).sn, "F1");
    EXPECT_EQ(board.fan(0).hw, "1.23");
    EXPECT_EQ(board.supply(0).hw, "2.0A");
    EXPECT_EQ(board.card(0).sn, "C1");
    EXPECT_EQ(board.backplane(2)[43], 0x5A);
}

TEST(sim_units, a_power_cut_stops_the_library_between_two_bytes)
{
    sim::board board(chassis());
    board.cut_after(3);
    EXPECT_EQ(drv_set_fan_info(0, "NEW11", "9.99"), -1);
    EXPECT_FALSE(board.powered());
    EXPECT_EQ(board.fan(0).sn, "NEW00");
    EXPECT_EQ(board.fan(0).hw, "1.00");
    EXPECT_EQ(drv_get_fan_status(0), 0) << "a dead board";
}

TEST(sim_units, a_description_that_cannot_be_is_refused)
{
    const auto is_refused = [](const sim::board_description &what) {
        EXPECT_THROW(sim::board{what}, std::invalid_argument);
    };
    is_refused({.fans = {{.index = 1}, {.index = 1}}});
    is_refused({.supplies = {{.index = -1}}});
    is_refused({.cards = {{.index = 1}, {.index = 0}, {}}});
    is_refused({.fans = {{.sn = std::string(25, 'A')}}});
    is_refused({.cards = {{.hw = std::string(7, 'A')}}});
    is_refused({.supplies = {{.name = std::string(33, 'A')}}});
}
