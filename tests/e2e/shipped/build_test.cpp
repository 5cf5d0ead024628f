#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/bytes.h"
#include "e2e/support/program.h"

// What the built executables show to the dynamic linker, and what an installation makes of them.

namespace {

using e2e::outcome;
using e2e::product_image;
using name_set = std::set<std::string>;

const std::string no_records = product_image(0xAAC184F9, {});
const std::string one_serial = product_image(0x2C57E7AB, {"SerialNO=ABCDEFGHJ1234"});

const name_set program_names = {"setsn",     "setcountry",  "setproduct",
                                "fw_setmac", "prov_setmac", "prodinfo"};

/** What the first group of `pattern` matches in the output of a tool that must succeed. */
name_set found_by(const e2e::command_line &tool, const std::string &pattern)
{
    const auto told = e2e::run(tool, {});
    EXPECT_EQ(told.status, 0) << tool[0] << ": " << told.errors;
    const std::regex wanted(pattern);
    name_set all;
    for (std::sregex_iterator one(told.output.begin(), told.output.end(), wanted), end; one != end;
         ++one) {
        all.insert((*one)[1]);
    }
    return all;
}

class built_executable : public testing::TestWithParam<std::string> {};

TEST_P(built_executable, needs_libc_and_the_two_closed_libraries_only)
{
#ifdef E2E_SANITIZED
    GTEST_SKIP() << "The sanitizers bring needs of their own.";
#endif
    name_set wanted = {"libc.so.6", "libdev_drv.so", "libsetmac_fallback.so"};
#if defined E2E_HARDENED && defined __aarch64__
    wanted.insert("ld-linux-aarch64.so.1"); // the loader, which keeps the guard of the stack there
#endif
    EXPECT_EQ(found_by({E2E_READELF, "-d", GetParam()}, "\\(NEEDED\\).*\\[(.*)\\]"), wanted);
}

TEST_P(built_executable, shows_the_eeprom_reads_to_the_libraries_it_loads)
{
    const auto shown = found_by({E2E_NM, "-D", "--defined-only", GetParam()}, " T (\\S+)");
    EXPECT_TRUE(shown.contains("sdd_read_i2c"));
    EXPECT_TRUE(shown.contains("sdd_read_i2c_one_time"));
#ifndef E2E_SANITIZED
    EXPECT_EQ(shown, (name_set{"sdd_read_i2c", "sdd_read_i2c_one_time"}));
#endif
}

TEST_P(built_executable, leaves_the_driver_library_to_the_dynamic_linker)
{
    const auto wanted =
        found_by({E2E_NM, "-D", "--undefined-only", GetParam()}, " U (dev_drv_init|drv_\\w+)");
    EXPECT_FALSE(wanted.empty());
}

const std::string diagnosis[] = {"print_fan_sn_info", "_read_fan_serial", "read_backplane_info",
                                 "_read_blckplane_info"};

TEST_P(built_executable, has_the_read_back_that_only_a_debugger_calls)
{
    const auto functions = found_by({E2E_NM, "-C", GetParam()}, " [Tt] (\\w+)\\(");
    for (const std::string &one : diagnosis) {
        EXPECT_TRUE(functions.contains(one)) << one;
    }
}

TEST_P(built_executable, stripped_has_its_code_where_the_symbols_of_the_build_say)
{
    // What a debugger joins the two by: the build's number, and code at the same place.
    const e2e::scratch_folder scratch;
    const auto stripped = (scratch.path() / "stripped").string();
    ASSERT_EQ(e2e::run({E2E_STRIP, "-o", stripped, GetParam()}, {}), outcome{});
    const std::string number = "Build ID: (\\w+)";
    EXPECT_EQ(found_by({E2E_READELF, "-n", GetParam()}, number).size(), 1U);
    EXPECT_EQ(found_by({E2E_READELF, "-n", stripped}, number),
              found_by({E2E_READELF, "-n", GetParam()}, number));
    EXPECT_EQ(e2e::run({E2E_READELF, "-x", ".text", stripped}, {}).output,
              e2e::run({E2E_READELF, "-x", ".text", GetParam()}, {}).output);
}

#ifdef E2E_HARDENED
TEST_P(built_executable, fits_into_150_KiB_without_its_symbols)
{
    const e2e::scratch_folder scratch;
    const auto stripped = scratch.path() / "stripped";
    ASSERT_EQ(e2e::run({E2E_STRIP, "-o", stripped.string(), GetParam()}, {}), outcome{});
    EXPECT_LE(std::filesystem::file_size(stripped), 153600U);
}
#endif

std::vector<std::string> files_of(const std::string &joined)
{
    std::istringstream list(joined);
    std::vector<std::string> files;
    for (std::string file; std::getline(list, file, ':');) {
        files.push_back(file);
    }
    return files;
}

std::string test_name(const testing::TestParamInfo<std::string> &one)
{
    auto name = std::filesystem::path(one.param).filename().string();
    std::ranges::replace_if(
        name, [](char each) { return each == '-' || each == '.'; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(of_this_build, built_executable,
                         testing::ValuesIn(files_of(E2E_SWITCH_PROGRAMS)), test_name);

#ifdef E2E_HARDENED

/** Everything that ships: programs and libraries. */
class shipped_file : public testing::TestWithParam<std::string> {};

TEST_P(shipped_file, can_be_loaded_at_any_address)
{
    EXPECT_EQ(found_by({E2E_READELF, "-hW", GetParam()}, "Type: +(\\w+)"), name_set{"DYN"});
}

TEST_P(shipped_file, has_its_addresses_bound_and_sealed_before_it_runs)
{
    EXPECT_EQ(found_by({E2E_READELF, "-lW", GetParam()}, "(GNU_RELRO)"), name_set{"GNU_RELRO"});
    EXPECT_EQ(found_by({E2E_READELF, "-dW", GetParam()}, "\\(FLAGS_1\\).*(NOW)"), name_set{"NOW"});
}

TEST_P(shipped_file, has_a_stack_that_cannot_be_executed)
{
    EXPECT_EQ(found_by({E2E_READELF, "-lW", GetParam()}, "GNU_STACK +(?:0x\\w+ +){5}(R?W?E?) "),
              name_set{"RW"});
}

INSTANTIATE_TEST_SUITE_P(of_this_build, shipped_file,
                         testing::ValuesIn(files_of(E2E_SHIPPED_FILES)), test_name);

/** Those of them that have texts and buffers of their own. */
class shipped_code : public shipped_file {};

TEST_P(shipped_code, guards_its_stack_and_checks_its_copies)
{
    const auto wanted =
        found_by({E2E_NM, "-D", "--undefined-only", GetParam()}, " U (__\\w+_chk(?:_\\w+)?)");
    EXPECT_TRUE(wanted.contains("__stack_chk_fail"));
    EXPECT_GE(wanted.size(), 2U) << "no checked function of the C library";
}

INSTANTIATE_TEST_SUITE_P(of_this_build, shipped_code, testing::ValuesIn(files_of(E2E_SHIPPED_CODE)),
                         test_name);

#endif

TEST(build, looks_for_libraries_in_folders_that_it_names_only)
{
    // An empty entry of the list, as a colon at its end makes one, is the current folder.
    const std::regex empty_entry("^$|^:|::|:$");
    std::size_t lists = 0;
    for (const char *folder : {E2E_BIN_FOLDER, E2E_LIBRARY_FOLDER}) {
        for (const auto &entry : std::filesystem::directory_iterator(folder)) {
            const auto file = entry.path();
            if (!entry.is_regular_file() || entry.is_symlink() || file.extension() == ".a") {
                continue;
            }
            for (const std::string &list : found_by({E2E_READELF, "-dW", file.string()},
                                                    "\\((?:RPATH|RUNPATH)\\).*\\[(.*)\\]")) {
                EXPECT_FALSE(std::regex_search(list, empty_entry)) << file << " in " << list;
                ++lists;
            }
        }
    }
    EXPECT_GE(lists, 2U) << "both flavours of the switch program have one";
}

TEST(build, links_the_program_names_beside_the_executable)
{
    for (const std::string &name : program_names) {
        EXPECT_EQ(std::filesystem::read_symlink(e2e::program_file(name)), "setmac") << name;
    }
}

/** An installation of this build into a folder of its own. */
class installation : public testing::Test {
protected:
    void SetUp() override
    {
        const auto done = e2e::run(
            {E2E_CMAKE, "--install", E2E_BUILD_FOLDER, "--prefix", prefix.path().string()}, {});
        ASSERT_EQ(done.status, 0) << done.errors;
    }

    std::filesystem::path program(const std::string &name) const
    {
        return prefix.path() / "bin" / name;
    }

    /** Runs an installed program on a board, with the closed libraries of this build. */
    outcome run_installed(const e2e::board_folder &board, e2e::command_line command) const
    {
        auto variables = e2e::on_board(board);
        variables["LD_LIBRARY_PATH"] = E2E_LIBRARY_FOLDER;
        command[0] = program(command[0]).string();
        return e2e::run(command, variables);
    }

    e2e::scratch_folder prefix;
};

TEST_F(installation, has_the_program_names_as_links_beside_the_executable)
{
    EXPECT_TRUE(std::filesystem::is_regular_file(program("setmac")));
    EXPECT_FALSE(std::filesystem::is_symlink(program("setmac")));
    for (const std::string &name : program_names) {
        EXPECT_EQ(std::filesystem::read_symlink(program(name)), "setmac") << name;
    }
}

TEST_F(installation, runs)
{
    const auto board = e2e::nor_board_holding(no_records);
    EXPECT_EQ(run_installed(board, {"setsn", "ABCDEFGHJ1234"}),
              (outcome{.output = "Save product info success.\r\n"}));
    EXPECT_TRUE(e2e::nor_holds(board, one_serial));
    EXPECT_EQ(run_installed(board, {"prodinfo"}),
              (outcome{.output = "SerialNO=ABCDEFGHJ1234\r\n"}));
    EXPECT_EQ(run_installed(board, {"setmac", "1", "2"}),
              (outcome{.output = "Invalid parameters.\r\n", .status = 1}));
}

} // namespace
