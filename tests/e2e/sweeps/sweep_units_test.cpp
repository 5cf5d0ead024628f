#include <algorithm>

#include "e2e/support/bytes.h"
#include "e2e/support/tlv_board.h"
#include "e2e/support/units_device.h"
#include "sweep_unit_boards.h"
#include "sweep_words.h"

// The commands on units that can be replaced, in the FPGA's chassis and in that of the driver
// library, with each of their operations on the hardware failing.

namespace {

using namespace e2e;

/** A command, its exchange with the PC and the memories that it is to change. */
struct unit_command {
    std::string name;
    std::string operation;
    std::string_view units;
    std::vector<pc_step> steps;
    std::string heard; // the program's bytes up to its answer
    std::string good_answer;
    bool (*is_bad_answer)(std::string_view answer, const std::string &good);
    std::vector<unit_memory> memories;
    bool on_tlv = true;        // whether the TLV flavour has it, too
    bool is_read_back = false; // whether the answer tells what the units hold now
};

// Lists of 23-byte records.

constexpr std::string_view fan_greeting =
    "Disconnect your console terminal first\r\n"
    " Using your PC SetFanSn program to perform SetFanSn Operation ......";
constexpr std::string_view poe_greeting =
    "Disconnect your console terminal first\r\n"
    " Using your PC SetPOESn program to perform SetPOESn Operation ......";
constexpr std::string_view supply_greeting =
    "Disconnect your console terminal first\r\n"
    " Using your PC SetPowerSn program to perform SetPowerSn Operation ......";

std::string fan_list(int channel)
{
    return unit_list(1, unit_element(4, bytes({0x01, 0x00, 0x21, channel}) +
                                            field("NEWSERIAL0002", 14) + field("2.0A", 5)));
}

const std::string supply_list =
    unit_list(1, unit_element(5, bytes({0x01, 0x00, 0x58}) + field("PSU0123456789", 14) +
                                     field("A01", 5) + bytes({0x00})));

/** A whole list whose bytes are not those that were sent: outcomes, or values read back. */
bool is_other_list(std::string_view answer, const std::string &good)
{
    const std::string_view list = answer.substr(2, good.size() - 3);
    return answer.size() == good.size() && answer.substr(0, 5) == good.substr(0, 5) &&
           answer == unit_message(list) && answer != good;
}

std::vector<pc_step> list_steps(std::string_view greeting, const std::string &message)
{
    return {{.ending = std::string(greeting), .send = unit_start},
            {.count = 1, .send = message},
            {.count = 2, .send = unit_acknowledge},
            {.count = message.size(), .send = unit_acknowledge}};
}

unit_command list_command(const std::string &name, std::string_view greeting,
                          const std::string &list, const std::vector<unit_memory> &memories)
{
    return {.name = name,
            .operation = name,
            .units = fpga_units,
            .steps = list_steps(greeting, unit_message(list)),
            .heard = std::string(greeting) + unit_acknowledge + unit_answer_offer,
            .good_answer = unit_message(list),
            .is_bad_answer = is_other_list,
            .memories = memories,
            .on_tlv = name == "setfansn",
            .is_read_back = name == "setpwrsn"};
}

// The backplane: one record in two EEPROMs, and statuses.

constexpr std::string_view backplane_greeting = "Disconnect your console terminal first ...\r\n";

const std::string backplane_elements =
    bytes({0x01, 0x0C}) + "00e0fc0a0b0c" + bytes({0x00, 0x02, 0x12}) + "BP2102351234567890" +
    bytes({0x00, 0x03, 0x02}) + "1F" + bytes({0x00, 0x04, 0x08}) + "VER-1.02" + bytes({0x00});
const std::string backplane_message =
    bytes({0x01, static_cast<int>(backplane_elements.size()), 0x04}) + backplane_elements +
    sum_of(backplane_elements);
/** One or two statuses before the end. */
bool is_status_list(std::string_view answer, const std::string &good)
{
    return (answer.size() == 2 || answer.size() == 3) && answer.ends_with(good) &&
           answer.substr(0, answer.size() - 1).find('\0') == answer.npos;
}

unit_command backplane_command(const std::string &name, std::string_view units,
                               const std::vector<unit_memory> &memories)
{
    return {.name = name,
            .operation = "setbackplane",
            .units = units,
            .steps = {{.ending = std::string(backplane_greeting), .send = bytes({0x15})},
                      {.count = 1, .send = backplane_message}},
            .heard = std::string(backplane_greeting) + bytes({0x06}),
            .good_answer = bytes({0x06}),
            .is_bad_answer = is_status_list,
            .memories = memories};
}

// Devices of the driver library.

const std::string devices = device_record(
    3,
    device_entry(
        {.kind = device_fan, .sn = "NEWFAN", .hw = "1.1", .type = bytes({0, 0, 0x80, 1})}) +
        device_entry({.kind = device_supply, .hw = "1.2", .name = "PSU"}) +
        device_entry(
            {.kind = device_card, .sn = "NEWCARD", .hw = "1.3", .type = bytes({0, 0, 0, 0x21})}));

/** A whole record whose bytes are not those that were sent. */
bool is_other_record(std::string_view answer, const std::string &good)
{
    const std::string_view record = answer.substr(5, good.size() - 6);
    return answer.size() == good.size() && answer == device_message(record) && answer != good;
}

unit_command device_command(const std::string &operation, bool on_tlv)
{
    const std::string message = device_message(devices);
    return {.name = operation,
            .operation = operation,
            .units = library_units,
            .steps = {{.ending = std::string(device_greeting), .send = unit_start},
                      {.count = 1, .send = message},
                      {.count = 2, .send = unit_acknowledge},
                      {.count = message.size(), .send = unit_acknowledge + bytes({0x03})}},
            .heard = std::string(device_greeting) + unit_acknowledge + unit_answer_offer,
            .good_answer = message,
            .is_bad_answer = is_other_record,
            .memories = device_memories,
            .on_tlv = on_tlv};
}

const unit_command commands[] = {
    list_command("setfansn", fan_greeting, fan_list(1), fan_memories),
    list_command("setpoesn", poe_greeting, fan_list(2), poe_memories),
    list_command("setpwrsn", supply_greeting, supply_list, supply_memories),
    backplane_command("setbackplane_through_the_fpga", fpga_units, bridge_backplane_memories),
    backplane_command("setbackplane_through_the_library", library_units,
                      library_backplane_memories),
    device_command("setdevice", true),
    device_command("setdevice_zk80chassis", false),
};

/** What the units hold in the end. */
std::string found_by(const unit_command &what, const trial &done)
{
    const auto holds = [&](std::string unit_memory::*content) {
        return std::ranges::all_of(what.memories, [&](const unit_memory &one) {
            return done.memories.at(one.file) == one.*content;
        });
    };
    return holds(&unit_memory::new_content)   ? "new"
           : holds(&unit_memory::old_content) ? "old"
                                              : "in part";
}

told told_by(const unit_command &what, std::string_view rest, std::string_view last_word)
{
    if (!take(rest, what.heard) || !rest.ends_with(last_word)) {
        return told::nonsense;
    }
    rest.remove_suffix(last_word.size());
    if (rest == what.good_answer) {
        return told::success;
    }
    return what.is_bad_answer(rest, what.good_answer) ? told::failure : told::nonsense;
}

/** The write protection of the fans' EEPROMs, a device beside them. */
constexpr std::string_view protection = "bridge /dev/fpga0 write bus=3 channel=1 address=0x68 ";

/**
 * Accesses to the FPGA's registers are not looked at: only the status tells, and it tells of the
 * transfer that the registers were set to. Where nothing is read back, a wrong one goes unnoticed.
 * Neither is it looked at whether the write protection of fans was lifted.
 */
bool is_known_success(const unit_command &what, const trial &done)
{
    const bool is_command = done.first_struck().starts_with("bridge ");
    return is_command ? done.first_struck().starts_with(protection)
                      : !what.is_read_back && done.struck_on("/dev/fpga0");
}

/** The identity of the switch itself is none of a unit's business. */
bool switch_is_as_before(const sweep_case &swept, const trial &done)
{
    return std::ranges::all_of(swept.memories, [&](const auto &memory) {
        const bool is_own = memory.first == product_info_file || memory.first == system_eeprom_file;
        return !is_own || done.memories.at(memory.first) == memory.second;
    });
}

verdict judge(const unit_command &what, const sweep_case &swept, const trial &done,
              std::string_view last_word)
{
    std::string said = uncooked(done.end.output);
    const bool lacked_memory = take_out(said, out_of_memory);
    std::string_view rest = said;
    const bool missed_switch = take(rest, "read_eeprom: can't find productinfo.\r\n");
    const bool warned = take(rest, crc_warning) || missed_switch;
    const std::string found = found_by(what, done);
    if (!switch_is_as_before(swept, done)) {
        return {found + ", switch changed", false};
    }
    const bool unread = rest == "Setmac e2prom read faile\r\n" && done.end.status == 1;
    if (is_load_failure(done.end) || unread) {
        return {found + ", not started", found == "old"};
    }
    // The list of the switch is not saved for want of memory, which is told last.
    const bool unsaved = lacked_memory && rest.ends_with("Save product info failed.\r\n");
    const told result = unsaved && done.end.status == 1
                            ? told_by(what, rest, "Save product info failed.\r\n")
                            : told_by(what, rest, last_word);
    if (result == told::nonsense || (done.end.status != 0 && !unsaved) ||
        (warned && done.struck_on("/dev/mtd1"))) {
        return {found + ", not as documented", false};
    }
    if (result == told::failure) {
        return {found + ", told a failure"};
    }
    return found == "new" ? verdict{found}
                          : verdict{found + ", told a success", is_known_success(what, done)};
}

sweep_case case_of(const unit_command &what, flavour program)
{
    const bool is_tlv = program == flavour::tlv;
    const std::string description = is_tlv ? tlv_board : std::string(nor_board);
    sweep_case swept = {
        .name = (is_tlv ? "tlv_" : "") + what.name,
        .board = description + std::string(what.units),
        .command = {is_tlv ? tlv_prov_setmac : "prov_setmac", what.operation, "/dev/null"},
        .new_pc = pc_with_steps(what.steps),
        .looker = {"prodinfo"}};
    const std::string records = product_image(0x2C57E7AB, {"SerialNO=ABCDEFGHJ1234"});
    swept.memories = {{std::string(product_info_file), nor_content(records)}};
    if (is_tlv) {
        swept.memories.emplace_back(system_eeprom_file, eeprom_content(default_image, 0xFF));
    }
    for (const unit_memory &one : what.memories) {
        swept.memories.emplace_back(one.file, one.old_content);
    }
    const std::string_view last_word = is_tlv ? "" : "Save product info success.\r\n";
    swept.in_steps = what.operation.starts_with("setdevice");
    swept.judge = [=, copy = swept](const trial &done) {
        return judge(what, copy, done, last_word);
    };
    return swept;
}

std::vector<sweep_case> all_cases()
{
    std::vector<sweep_case> all;
    for (const unit_command &what : commands) {
        all.push_back(case_of(what, flavour::records));
        if (what.on_tlv) {
            all.push_back(case_of(what, flavour::tlv));
        }
    }
    return all;
}

SWEEP_TESTS(units, all_cases());

std::vector<sweep_case> cases_on_the_bridge()
{
    std::vector<sweep_case> all;
    for (const unit_command &what : commands) {
        if (what.units == fpga_units) {
            all.push_back(case_of(what, flavour::records));
        }
    }
    return all;
}

class bridge : public swept_case {};

TEST_P(bridge, tells_any_command_that_fails)
{
    sweep_bridge(GetParam(), "fail");
}

TEST_P(bridge, tells_any_command_that_sticks)
{
    sweep_bridge(GetParam(), "stick");
}

INSTANTIATE_TEST_SUITE_P(sweep, bridge, testing::ValuesIn(cases_on_the_bridge()), test_name);

} // namespace
