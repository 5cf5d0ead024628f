#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>

#include "life_line.h"
#include "sweep_boards.h"
#include "sweep_unit_boards.h"
#include "sweep_words.h"

// The station provisions the real program over a line that loses, changes, repeats and delays bytes
// in both directions. Whatever the line does, the station never calls stored what is not.

namespace {

using namespace e2e;

/** An operation of the station, and the switch that it is done to. */
struct noisy_case {
    std::string name;
    command_line station; // operation and options
    std::string job;
    command_line program;
    std::string board;
    std::vector<unit_memory> memories; // of what the operation is about
    std::vector<std::pair<std::string, std::string>> others = {};
    /**
     * Whether the switch can take a damaged list for a good one and say that it is stored: it goes
     * by the sum of the bytes alone, the count is not even in that, and nothing is read back.
     */
    bool can_err = false;
};

void PrintTo(const noisy_case &which, std::ostream *out)
{
    *out << which.name;
}

const std::string old_serial_records = product_image(0x2C57E7AB, {"SerialNO=ABCDEFGHJ1234"});

const std::string fan_job = "index = 1\ntype = 0x21\nserial = \"NEWSERIAL0002\"\n"
                            "hardware = \"2.0A\"\n";

const noisy_case cases[] = {
    {.name = "setmac",
     .station = {"setmac"},
     .job = "[[property]]\nname = \"MacAddress\"\nhex = \"00 1A 2B 3C 4D 5E\"\n"
            "[[property]]\nname = \"SerialNO\"\ntext = \"NEWSERIAL0002\"\n",
     .program = {"prov_setmac", "setmac"},
     .board = std::string(nor_board),
     .memories = {{"mtd1.bin", nor_content(old_records),
                   nor_content(product_image(0xA117137C,
                                             {"ethaddr=00:1A:2B:3C:4D:5E", "SerialNO=NEWSERIAL0002",
                                              "country_def=CN", "ProductInfo=0B0EFACE"}))}}},
    {.name = "setsn",
     .station = {"setsn"},
     .job = "serial = \"NEWSERIAL0002\"\n",
     .program = {"prov_setmac", "setsn"},
     .board = std::string(nor_board),
     .memories = {{"mtd1.bin", nor_content(old_records),
                   nor_content(
                       product_image(0xA0D0D16E, {"ethaddr=00:D0:F8:00:00:01",
                                                  "SerialNO=NEWSERIAL0002", "country_def=CN"}))}}},
    {.name = "setmac_tlv",
     .station = {"setmac", "--tlv"},
     .job = "[[node]]\nname = \"Serial Number\"\ntext = \"NEWSERIAL0002\"\n"
            "[[node]]\nname = \"e2type\"\nhex = \"00 0E\"\n",
     .program = {tlv_prov_setmac, "setmac"},
     .board = eeprom_board,
     .memories = {{std::string(system_eeprom_file), eeprom_content(old_eeprom, 0x00),
                   eeprom_content(payload_image, 0x00)}},
     .others = {{std::string(product_info_file), nor_content(no_product_records)}}},
    {.name = "setsn_tlv",
     .station = {"setsn", "--tlv"},
     .job = "serial = \"ABCDEFGHJ1234\"\n",
     .program = {tlv_prov_setmac, "setsn"},
     .board = eeprom_board,
     .memories = {{std::string(system_eeprom_file), eeprom_content(old_eeprom, 0x00),
                   eeprom_content(other_serial_image, 0x00)}},
     .others = {{std::string(product_info_file), nor_content(no_product_records)}}},
    {.name = "setbackplane",
     .station = {"setbackplane"},
     .job = "[backplane]\nmac = \"00 E0 FC 0A 0B 0C\"\nserial = \"BP2102351234567890\"\n"
            "type = 0x1F\nversion = \"VER-1.02\"\n",
     .program = {"prov_setmac", "setbackplane"},
     .board = std::string(nor_board),
     .memories = library_backplane_memories,
     .others = {{"mtd1.bin", nor_content(old_serial_records)}},
     .can_err = true},
    {.name = "setfansn",
     .station = {"setfansn"},
     .job = "[[fan]]\nchannel = 1\n" + fan_job,
     .program = {"prov_setmac", "setfansn"},
     .board = std::string(nor_board).append(fpga_units),
     .memories = fan_memories,
     .others = {{"mtd1.bin", nor_content(old_serial_records)}}},
    {.name = "setpoesn",
     .station = {"setpoesn"},
     .job = "[[poe]]\nchannel = 2\n" + fan_job,
     .program = {"prov_setmac", "setpoesn"},
     .board = std::string(nor_board).append(fpga_units),
     .memories = poe_memories,
     .others = {{"mtd1.bin", nor_content(old_serial_records)}}},
    {.name = "setpwrsn",
     .station = {"setpwrsn"},
     .job = "[[supply]]\nindex = 1\nchannel = 0\naddress = 0x58\nserial = \"PSU0123456789\"\n"
            "hardware = \"A01\"\n",
     .program = {"prov_setmac", "setpwrsn"},
     .board = std::string(nor_board).append(fpga_units),
     .memories = supply_memories,
     .others = {{"mtd1.bin", nor_content(old_serial_records)}}},
    {.name = "setdevice",
     .station = {"setdevice"},
     .job = "[[device]]\nkind = \"fan\"\nindex = 0\ntype = 0x8001\nserial = \"NEWFAN\"\n"
            "hardware = \"1.1\"\n"
            "[[device]]\nkind = \"supply\"\nindex = 0\nname = \"PSU\"\nhardware = \"1.2\"\n"
            "[[device]]\nkind = \"card\"\nindex = 0\ntype = 0x21\nserial = \"NEWCARD\"\n"
            "hardware = \"1.3\"\n",
     .program = {"prov_setmac", "setdevice"},
     .board = std::string(nor_board).append(library_units),
     .memories = device_memories,
     .others = {{"mtd1.bin", nor_content(old_serial_records)}}},
};

std::string quoted(const std::string &word)
{
    return "'" + word + "'";
}

/** How the line is, and how fast the time of all that use it. */
struct line_kind {
    unsigned seed = 0;
    unsigned mean = 0;
    int speed = 1;
};

/** The station's run over a noisy line to the program on the board. */
outcome run_station(const noisy_case &which, const board_folder &board, const line_kind &kind)
{
    const auto job = board.path() / "job.toml";
    write_file(job, which.job);
    std::string command = quoted(E2E_NOISY_LINE) + " " + std::to_string(kind.seed) + " " +
                          std::to_string(kind.mean) + " " +
                          quoted((board.path() / "noise.log").string()) + " /usr/bin/env";
    for (const auto &[name, value] : joined({{"LD_PRELOAD", E2E_PRESSURE}}, on_board(board))) {
        command += " " + quoted(name + "=" + value);
    }
    for (const std::string &word : which.program) {
        command += " " + quoted(word == which.program[0] ? program_file(word) : word);
    }
    command_line station = {"setmac-station"};
    station.insert(station.end(), which.station.begin(), which.station.end());
    station.insert(station.end(), {job.string(), "--quiet", "--wait", "5", "--store-limit", "5",
                                   "--exec", "exec " + command});
    const life_line all;
    const outcome end = run(
        station, {{"LD_PRELOAD", E2E_PRESSURE}, {"PRESSURE_SPEED", std::to_string(kind.speed)}});
    all.await_end(patience);
    return end;
}

/** What is stored of the operation in the end. */
std::string found_by(const noisy_case &which, const board_folder &board)
{
    const auto holds = [&](std::string unit_memory::*content) {
        return std::ranges::all_of(which.memories, [&](const unit_memory &one) {
            return board.memory(one.file) == one.*content;
        });
    };
    return holds(&unit_memory::new_content)   ? "new"
           : holds(&unit_memory::old_content) ? "old"
                                              : "neither";
}

void fill(const noisy_case &which, const board_folder &board)
{
    for (const unit_memory &one : which.memories) {
        write_file(board.path() / one.file, one.old_content);
    }
    for (const auto &[file, content] : which.others) {
        write_file(board.path() / file, content);
    }
}

/** Whether the old or the new contents of a frame, whose CRC of 32 bits nothing gets past. */
bool is_framed(const noisy_case &which)
{
    return which.name.starts_with("setmac") || which.name.starts_with("setsn");
}

/**
 * Whether a switch that checks a list by the sum of its bytes alone, and reads nothing back, may
 * have been misled. One byte is enough to have it store something else: the count is not in the
 * sum. To have it answer without storing anything it takes one that makes it lose its place, one
 * that looks like a start to it, and one that keeps its answer to another start from the station.
 */
bool harms_explain(const std::string &found, const std::string &noise)
{
    const auto harms = std::ranges::count(noise, '\n');
    return found == "neither" ? noise.find("to ") != noise.npos : harms >= 3;
}

unsigned seeds()
{
#ifdef E2E_SANITIZED
    constexpr unsigned usual = 8;
#else
    constexpr unsigned usual = 40;
#endif
    const char *wish = std::getenv("SETMAC_NOISE_SEEDS");
    return wish != nullptr ? static_cast<unsigned>(std::atoi(wish)) : usual;
}

class line_noise : public testing::TestWithParam<noisy_case> {};

TEST_P(line_noise, of_none_lets_the_operation_pass)
{
    const noisy_case &which = GetParam();
    const board_folder board(which.board);
    fill(which, board);
    const outcome end = run_station(which, board, {});
    EXPECT_EQ(end.status, 0) << end;
    EXPECT_EQ(found_by(which, board), "new") << end;
    EXPECT_EQ(read_file(board.path() / "noise.log"), "");
}

TEST_P(line_noise, never_makes_the_station_call_stored_what_is_not)
{
    constexpr unsigned means[] = {15, 40, 100, 300};
    const noisy_case &which = GetParam();
    std::map<std::string, int> counts;
    for (unsigned seed = 1; seed <= seeds(); ++seed) {
        const board_folder board(which.board);
        fill(which, board);
        const outcome end =
            run_station(which, board, {.seed = seed, .mean = means[seed % 4], .speed = 25});
        const std::string noise = read_file(board.path() / "noise.log");
        const std::string found = found_by(which, board);
        const bool told_stored = end.status == 0;
        EXPECT_TRUE(end.status == 0 || end.status == 1) << end;
        const bool is_known = which.can_err && harms_explain(found, noise);
        const bool is_wrong = (told_stored && found != "new" && !is_known) ||
                              (is_framed(which) && found == "neither");
        EXPECT_FALSE(is_wrong) << "seed " << seed << ": " << found << "\n" << end << "\n" << noise;
        ++counts[found + (told_stored ? ", told stored" : ", told not stored") +
                 (noise.empty() ? ", no noise" : "")];
        for (const auto &[file, content] : which.others) {
            // Of the TLV flavour it is the mark of the EEPROM's state.
            EXPECT_TRUE(file != "mtd1.bin" || is_framed(which) || board.memory(file) == content);
        }
    }
    std::cout << "noise on " << which.name << ":";
    for (const auto &[what, count] : counts) {
        std::cout << " " << count << " " << what << ";";
    }
    std::cout << std::endl;
}

std::string name_of_case(const testing::TestParamInfo<noisy_case> &info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(on, line_noise, testing::ValuesIn(cases), name_of_case);

} // namespace
