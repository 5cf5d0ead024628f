#include <array>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/pc_side.h"
#include "e2e/support/tlv_board.h"
#include "e2e/support/units_device.h"
#include "e2e/support/units_session.h"

// "prov_setmac" on a console that has gone: no input at all, input that fails or that ends in the
// middle of an exchange, output that nobody takes.

namespace {

using e2e::nor_board_holding;
using e2e::outcome;
using e2e::product_image;
using e2e::run_on_board;

const std::string no_records = product_image(0xAAC184F9, {});

struct operation {
    const char *name;
    std::string greeting;
    bool is_tlv_too;
};

const std::string disconnect = "Disconnect your console terminal first\r\n";

const operation operations[] = {
    {"setmac", std::string(e2e::setmac_banner), true},
    {"setbackplane", "Disconnect your console terminal first ...\r\n", true},
    {"setfansn",
     disconnect + " Using your PC SetFanSn program to perform SetFanSn Operation ......", true},
    {"setpoesn",
     disconnect + " Using your PC SetPOESn program to perform SetPOESn Operation ......", false},
    {"setpwrsn",
     disconnect + " Using your PC SetPowerSn program to perform SetPowerSn Operation ......",
     false},
    {"setdevice", std::string(e2e::device_greeting), true},
    {"setdevice_zk80chassis", std::string(e2e::device_greeting), false},
};

/** The log of a run that nobody talks to is a few time-outs long. */
constexpr std::uintmax_t short_log = 1000;

/** A terminal whose other side is gone: what reads it fails with EIO. */
class failing_terminal {
public:
    failing_terminal()
    {
        int other = -1;
        if (openpty(&number_, &other, nullptr, nullptr, nullptr) != 0) {
            throw std::runtime_error("no terminal");
        }
        fcntl(number_, F_SETFD, FD_CLOEXEC);
        close(other);
        settings_before_ = settings();
        flags_before_ = flags();
    }
    failing_terminal(const failing_terminal &) = delete;
    failing_terminal &operator=(const failing_terminal &) = delete;
    ~failing_terminal() { close(number_); }

    int number() const { return number_; }

    void expect_restored() const
    {
        EXPECT_TRUE(e2e::same_settings(settings(), settings_before_));
        EXPECT_EQ(flags(), flags_before_);
    }

private:
    termios settings() const
    {
        termios now{};
        EXPECT_EQ(tcgetattr(number_, &now), 0);
        return now;
    }
    int flags() const { return fcntl(number_, F_GETFL); }

    int number_ = -1;
    termios settings_before_{};
    int flags_before_ = 0;
};

/** An operation there ends as failed behind its greeting, with the terminal as it was. */
void expect_failure_on_failing_terminal(const e2e::board_folder &board, const std::string &program,
                                        const operation &one)
{
    SCOPED_TRACE(one.name);
    const failing_terminal terminal;
    EXPECT_EQ(e2e::run_reading(terminal.number(), {program, one.name}, e2e::on_board(board)),
              (outcome{.output = one.greeting, .status = 1}));
    terminal.expect_restored();
}

TEST(console_whose_reads_fail, ends_each_operation_that_waits_for_the_pc_and_is_restored)
{
    for (const operation &one : operations) {
        const auto board = nor_board_holding(no_records);
        expect_failure_on_failing_terminal(board, "prov_setmac", one);
        EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records)) << one.name;
    }
}

TEST(console_whose_reads_fail, ends_each_operation_of_the_tlv_flavour_too)
{
    for (const operation &one : operations) {
        if (one.is_tlv_too) {
            const auto board = e2e::board_with_eeprom(
                e2e::tlv_board, e2e::eeprom_content(e2e::default_image, 0xFF));
            expect_failure_on_failing_terminal(board, e2e::tlv_prov_setmac, one);
            EXPECT_EQ(e2e::eeprom_writes(board), std::vector<std::string>{}) << one.name;
        }
    }
}

/** An operation whose output goes where nobody reads is ended by that, its terminal as it was. */
void expect_end_by_the_pipe(const e2e::board_folder &board, const std::string &program,
                            const operation &one)
{
    SCOPED_TRACE(one.name);
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    close(ends[0]);
    e2e::terminal_session session(board, {program, one.name}, {.output = ends[1]});
    close(ends[1]);
    EXPECT_EQ(session.finish(), (outcome{.status = -SIGPIPE}));
    e2e::expect_restored(session);
}

TEST(console_whose_output_nobody_reads, is_restored_when_that_ends_an_operation)
{
    for (const operation &one : operations) {
        const auto board = nor_board_holding(no_records);
        expect_end_by_the_pipe(board, "prov_setmac", one);
        EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records)) << one.name;
    }
}

TEST(console_whose_output_nobody_reads, is_restored_when_that_ends_one_of_the_tlv_flavour)
{
    for (const operation &one : operations) {
        if (one.is_tlv_too) {
            const auto board = e2e::board_with_eeprom(
                e2e::tlv_board, e2e::eeprom_content(e2e::default_image, 0xFF));
            expect_end_by_the_pipe(board, e2e::tlv_prov_setmac, one);
            EXPECT_EQ(e2e::eeprom_writes(board), std::vector<std::string>{}) << one.name;
        }
    }
}

TEST(console_without_input, ends_each_operation_that_waits_for_the_pc_as_failed)
{
    for (const auto &[name, greeting, is_tlv_too] : operations) {
        const auto board = nor_board_holding(no_records);
        const auto log = board.path() / "trace.log";
        EXPECT_EQ(run_on_board(board, {"prov_setmac", name, log.string()}),
                  (outcome{.output = greeting, .status = 1}))
            << name;
        EXPECT_LT(std::filesystem::file_size(log), short_log) << name;
        EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records)) << name;
    }
}

TEST(console_without_input, ends_each_operation_of_the_tlv_flavour_too)
{
    for (const auto &[name, greeting, is_tlv_too] : operations) {
        if (!is_tlv_too) {
            continue;
        }
        const auto board =
            e2e::board_with_eeprom(e2e::tlv_board, e2e::eeprom_content(e2e::default_image, 0xFF));
        EXPECT_EQ(run_on_board(board, {e2e::tlv_prov_setmac, name}),
                  (outcome{.output = greeting, .status = 1}))
            << name;
        EXPECT_EQ(board.operations("erase "), std::vector<std::string>{}) << name;
    }
}

TEST(console_without_input, leaves_setsn_the_answer_that_it_has)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"prov_setmac", "setsn"}),
              (outcome{.output = "Save product info success.\r\n"}));
}

TEST(console_that_ends, behind_a_start_byte_fails_setsn)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"prov_setmac", "setsn"}, "{{"),
              (outcome{.output = "}", .status = 1}));
    EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
}

TEST(console_that_ends, in_front_of_the_length_fails_setmac_and_setsn)
{
    const auto board = nor_board_holding(no_records);
    EXPECT_EQ(run_on_board(board, {"prov_setmac", "setsn"}, "{" + e2e::setsn_sign + e2e::version_1),
              (outcome{.output = "}" + e2e::accepted_serial_sign + e2e::version_1, .status = 1}));
    EXPECT_EQ(
        run_on_board(board, {"prov_setmac", "setmac"}, e2e::setmac_sign + e2e::version_1),
        (outcome{.output = std::string(e2e::setmac_banner) + e2e::accepted_sign + e2e::version_1,
                 .status = 1}));
    EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
}

TEST(console_that_ends, behind_a_stored_payload_has_stored_it)
{
    const auto board = nor_board_holding(no_records);
    const std::string all =
        e2e::setmac_sign + e2e::version_1 + e2e::mac_frame.length + e2e::mac_frame.value;
    EXPECT_EQ(run_on_board(board, {"prov_setmac", "setmac"}, all).status, 0);
    EXPECT_TRUE(e2e::nor_holds(
        board, product_image(0x67236E1B, {"ProductInfo=0B0EFACE", "ethaddr=00:1A:2B:3C:4D:5E"})));
}

TEST(console_that_ends, in_the_middle_of_a_list_programs_nothing)
{
    const std::string backplane(e2e::backplane_eeproms);
    const e2e::board_folder board(std::string(e2e::nor_board) + "[fpga]\n" + backplane,
                                  {{e2e::product_info_file, e2e::nor_content(no_records)}});
    EXPECT_EQ(
        run_on_board(board, {"prov_setmac", "setbackplane"}, e2e::bytes({0x15, 0x01, 0x05})),
        (outcome{.output = "Disconnect your console terminal first ...\r\n\x06", .status = 1}));
    EXPECT_EQ(board.operations("bridge "), std::vector<std::string>{});
}

} // namespace
