#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sys/wait.h>

#include <gtest/gtest.h>

namespace {

/** Runs the built station against switches that are small shell scripts. */
class station_program : public testing::Test {
protected:
    int status = -1;
    std::string out;
    std::string err;

    void SetUp() override
    {
        folder_ = std::filesystem::path(testing::TempDir()) /
                  (std::string("station_program_") +
                   testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(folder_);
        write("property.toml", "[[property]]\nname = \"A\"\ntext = \"B\"\n");
        write("serial.toml", "serial = \"AB1\"\n");
    }

    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string path(const std::string &name) const { return (folder_ / name).string(); }

    void write(const std::string &name, const std::string &text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
    }

    std::string read(const std::string &name) const
    {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    void run(const std::string &arguments)
    {
        const auto command = std::string(STATION_PROGRAM) + " " + arguments + " > " + path("out") +
                             " 2> " + path("err");
        const int result = std::system(command.c_str()); // NOLINT(cert-env33-c)
        status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
        out = read("out");
        err = read("err");
    }

    /** Runs a command of the station with a job on a switch that the shell script plays. */
    void run_on(const std::string &command, const std::string &job, const std::string &script,
                const std::string &more = "")
    {
        write("switch.sh", "take() { dd bs=1 count=$1 of=" + path("taken") +
                               " oflag=append conv=notrunc 2>/dev/null; }\n" + script);
        run(command + " " + path(job) + " --exec 'exec sh " + path("switch.sh") + "' " + more);
    }

private:
    std::filesystem::path folder_;
};

// The scripts' first lines: raw mode, then what the switch shows or waits for.
const std::string setmac_start = "stty raw -echo\nprintf 'Setmac Model setup ...\\r\\n'\n";
const std::string setsn_start = "stty raw -echo\ntake 1; printf '}'\n"
                                "while c=$(dd bs=1 count=1 2>/dev/null); [ \"$c\" = '{' ]; do :; "
                                "done\n";

} // namespace

TEST_F(station_program, tells_its_version)
{
    run("--version");
    EXPECT_EQ(status, 0) << err;
    EXPECT_EQ(out, "setmac-station " STATION_VERSION "\n");
}

TEST_F(station_program, stores_a_property_and_ends_with_0)
{
    run_on("setmac", "property.toml",
           setmac_start + "take 8; printf '\\025'; take 1; printf '\\001'\n"
                          "take 4; take 17; printf '\\007\\006'\n"
                          "stty sane; echo Save product info success.\n");
    EXPECT_EQ(status, 0) << err;
    EXPECT_EQ(read("taken"), std::string("\x15\x18\x03\x10\xBD\x3D\x0E\x81"
                                         "\x01"
                                         "\x00\x00\x00\x11"
                                         "\x02\x00\x00\x00\x0D\x41\x00\x01\x00\x00\x00\x01\x42"
                                         "\xC3\x63\xB9\x95",
                                         30));
    EXPECT_EQ(err, "| Setmac Model setup ...\n"
                   "Attempt 1 of 3\n"
                   "  0x15  hand sign accepted\n"
                   "  0x01  protocol version 1\n"
                   "  sent  17 bytes\n"
                   "  0x07  value arrived intact, the switch stores it\n"
                   "  0x06  stored\n"
                   "| Save product info success.\n"
                   "\n");
    EXPECT_EQ(out.substr(0, out.rfind("1 attempt, ")), "Property  Type  Value  Result\n"
                                                       "A         text  B      stored\n"
                                                       "\n"
                                                       "Stored: the switch has confirmed it.\n"
                                                       "Program: exit status 0.\n");
}

TEST_F(station_program, stores_a_serial_and_compares_what_comes_back)
{
    run_on("setsn", "serial.toml",
           setsn_start + "take 7; printf '\\020'; take 1; printf '\\001'\n"
                         "take 4; take 7; printf '\\007\\006\\003AB1\\006'\n",
           "--quiet");
    EXPECT_EQ(status, 0) << err;
    EXPECT_EQ(err, "");
    EXPECT_EQ(out.substr(0, out.rfind("1 attempt, ")), "Serial  Sent back  Result\n"
                                                       "AB1     AB1        stored\n"
                                                       "\n"
                                                       "Stored: the switch has confirmed it.\n"
                                                       "Program: exit status 0.\n");
}

TEST_F(station_program, ends_with_1_when_another_serial_comes_back)
{
    run_on("setsn", "serial.toml",
           setsn_start + "take 7; printf '\\020'; take 1; printf '\\001'\n"
                         "take 4; take 7; printf '\\007\\006\\003AB2\\006'\n",
           "--json");
    EXPECT_EQ(status, 1) << err;
    EXPECT_NE(out.find("\"ok\": false,\n  \"ending\": \"mismatch\",\n  \"reason\": \"the switch "
                       "holds \\\"AB2\\\", but \\\"AB1\\\" was sent\",\n"),
              std::string::npos)
        << out;
}

// A switch that takes a list of one fan, whose outcome stands in "%".
const std::string fan_switch = "stty raw -echo\nprintf ' perform SetFanSn Operation ......'\n"
                               "take 1; printf '\\006'; take 31; printf '\\006 '; take 1\n"
                               "printf '\\001\\034\\001\\003\\031\\004\\027\\001%\\005\\002AB1'\n"
                               "printf '\\000\\000\\000\\000\\000\\000\\000\\000\\000\\000\\000'\n"
                               "printf '1.23\\000$'; take 1; stty sane\n";

std::string fan_switch_with(const std::string &outcome, const std::string &sum)
{
    auto script = fan_switch;
    script.replace(script.find('%'), 1, outcome);
    return script.replace(script.find('$'), 1, sum);
}

const char fan_job[] = "[[fan]]\nindex = 1\ntype = 5\nchannel = 2\nserial = \"AB1\"\n"
                       "hardware = \"1.23\"\n";

TEST_F(station_program, stores_a_fan_and_ends_with_0)
{
    write("fan.toml", fan_job);
    run_on("setfansn", "fan.toml", fan_switch_with("\\000", "\\270"), "--quiet");
    EXPECT_EQ(status, 0) << out << err;
    EXPECT_EQ(out.substr(0, out.rfind("1 attempt, ")),
              "Fan  Channel  Type  Serial  Hardware  Result\n"
              "1    2        0x05  AB1     1.23      written\n"
              "\n"
              "Stored: the switch has confirmed it.\n"
              "Program: exit status 0.\n");
    EXPECT_EQ(read("taken").size(), 34U);
}

TEST_F(station_program, ends_with_1_when_a_fan_is_not_written)
{
    write("fan.toml", fan_job);
    run_on("setfansn", "fan.toml", fan_switch_with("\\001", "\\271"), "--json --quiet");
    EXPECT_EQ(status, 1) << err;
    EXPECT_NE(out.find("\"result\": \"not written: the transfer to it failed\"}"),
              std::string::npos)
        << out;
}

TEST_F(station_program, ends_with_1_when_the_switch_fails)
{
    run_on("setmac", "property.toml",
           setmac_start + "take 8; printf '\\025'; take 1; printf '\\001'\n"
                          "take 4; take 17; printf '\\007\\022'; exec sleep 60\n",
           "--attempts 1");
    EXPECT_EQ(status, 1);
    EXPECT_NE(out.find("Failed: the switch could not apply or store the payload.\n"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("Program: still running, ended by the station.\n"), std::string::npos)
        << out;
}

TEST_F(station_program, ends_with_1_when_the_program_fails_after_the_exchange)
{
    run_on("setmac", "property.toml",
           setmac_start + "take 8; printf '\\025'; take 1; printf '\\001'\n"
                          "take 4; take 17; printf '\\007\\006'; exit 1\n");
    EXPECT_EQ(status, 1);
    EXPECT_NE(out.find("Failed: the switch answered that it is stored, yet its program ended with "
                       "exit status 1.\n"),
              std::string::npos)
        << out;
}

TEST_F(station_program, ends_with_1_when_no_switch_shows_up)
{
    run_on("setmac", "property.toml", "exec sleep 60", "--wait 0.7");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(err, "Waiting for the switch ...\n\n");
    EXPECT_NE(out.find("Failed: no switch within 0.7 s: neither its banner nor an answer to the "
                       "hand sign.\n"),
              std::string::npos)
        << out;
}

TEST_F(station_program, ends_with_1_when_there_is_no_such_port)
{
    run("setsn " + path("serial.toml") + " --port /dev/no-such-port");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(err, "setmac-station: cannot open /dev/no-such-port: no such port\n");
}

TEST_F(station_program, ends_with_2_and_starts_nothing_for_a_wrong_job)
{
    write("wrong.toml", "serial = 5\n");
    run("setsn " + path("wrong.toml") + " --exec 'touch " + path("started") + "'");
    EXPECT_EQ(status, 2);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, path("wrong.toml") + ":1: \"serial\" is a whole number: expected a text, as in "
                                        "serial = \"ABCDEFGHJ1234\"\n");
    EXPECT_FALSE(std::filesystem::exists(path("started")));
}

TEST_F(station_program, ends_with_2_for_wrong_usage)
{
    const auto job = path("serial.toml");
    for (const auto &arguments : {
             std::string(),
             std::string("paint ") + job,
             std::string("setsn"),
             std::string("preview"),
             "setsn " + job + " --exec true --wait nan",
             "setsn " + job + " --exec true --wait 1e300",
             "setsn " + job + " --exec true --store-limit inf",
             "setsn " + job + " another.toml --exec true",
             "preview " + path("missing.toml"),
             "preview " + job + " --port /dev/null",
             "setsn " + job,
             "setsn " + job + " --port /dev/null --exec true",
             "setfansn --tlv " + job + " --exec true",
             "setsn " + job + " --exec true --attempts 0",
             "setsn " + job + " --exec true --wait -1",
             "setsn " + job + " --exec true --wait soon",
             "setsn " + job + " --exec true --baud 0",
         }) {
        run(arguments);
        EXPECT_EQ(status, 2) << arguments;
        EXPECT_NE(err, "") << arguments;
    }
}

TEST_F(station_program, previews_what_a_switch_holds_after_a_job)
{
    write("job.toml", "[[property]]\nname = \"MacAddress\"\nhex = \"00 1a 2b 3c 4d 5e\"\n"
                      "[[property]]\nname = \"Zone\"\ntext = \"B=\u00fc\"\n"
                      "[[property]]\nname = \"country_map1\"\ntext = \"\"\n"
                      "[[property]]\nname = \"FeatureMask\"\nhex = \"01 ab FF\"\n"
                      "[[property]]\nname = \"Digits\"\ntext = \"Hi\"\ntype = 2\n"
                      "[[property]]\nname = \"e2type\"\nhex = \"00 05\"\n");
    run("preview " + path("job.toml"));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(out, "ethaddr=00:1A:2B:3C:4D:5E\n"
                   "Zone=B=\u00fc\n"
                   "country_map1=\n"
                   "FeatureMask=01ABFF\n"
                   "Digits=4869\n"
                   "e2type=0005\n");
}

TEST_F(station_program, previews_nothing_of_a_wrong_job)
{
    write("wrong.toml", "[[property]]\nname = \"A\"\n");
    run("preview " + path("wrong.toml"));
    EXPECT_EQ(status, 2);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, path("wrong.toml") + ":2: property \"A\": no value: expected either text = "
                                        "\"...\" or hex = \"00 1A 2B\"\n");
}

TEST_F(station_program, previews_what_a_switch_lists_of_its_eeprom)
{
    write("job.toml", "[[node]]\nname = \"serial0\"\ntext = \"A1\"\n"
                      "[[node]]\nname = \"Serial Number\"\ntext = \"S1\"\n"
                      "[[node]]\nname = \"ProductModel\"\ntext = \"M\"\n");
    run("preview --tlv " + path("job.toml"));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, "SerialNO=S1\nserial0=A1\n");
    EXPECT_EQ(err, path("job.toml") + ": without ethaddr the switch does not list ProductModel\n");
}

TEST_F(station_program, stores_a_value_in_the_eeprom_past_the_table_that_the_switch_shows)
{
    write("job.toml", "[[node]]\nname = \"serial0\"\ntext = \"A1\"\n");
    run_on("setmac --tlv", "job.toml",
           setmac_start +
               "take 8; printf '\\025'; take 1; printf '\\001'\n"
               "take 4; take 25; printf '\\007ProductID            0x40   2 \\006!\\n\\006'\n"
               "stty sane; echo done\n");
    EXPECT_EQ(status, 0) << err;
    EXPECT_EQ(read("taken").substr(13, 21),
              std::string("\x01\x00\x00\x00\x15serial0\x00\x01\x00\x00\x00\x03"
                          "A1\x00",
                          21));
    EXPECT_NE(err.find("| ProductID            0x40   2 \\x06!\n  0x06  stored\n| done\n"),
              std::string::npos)
        << err;
    EXPECT_EQ(out.substr(0, out.find('\n', out.find('\n') + 1)), "Name     Type  Value  Result\n"
                                                                 "serial0  text  A1     stored");
}

TEST_F(station_program, tells_which_values_the_switch_skips)
{
    write("job.toml", "[[part]]\nflag = 0\n[[part.node]]\nname = \"serial0\"\ntext = \"A1\"\n");
    run("setmac --tlv " + path("job.toml") + " --exec true --json");
    EXPECT_EQ(status, 1);
    EXPECT_NE(out.find("\"command\": \"setmac --tlv\",\n"), std::string::npos) << out;
    EXPECT_NE(out.find("{\"name\": \"serial0\", \"type\": \"text\", \"value\": \"A1\", "
                       "\"result\": \"skipped\"}"),
              std::string::npos)
        << out;
}

TEST_F(station_program, ends_with_1_when_it_cannot_write_the_outcome)
{
    write("job.toml", "[[property]]\nname = \"A\"\ntext = \"B\"\n");
    const auto command = std::string(STATION_PROGRAM) + " preview " + path("job.toml") +
                         " > /dev/full 2> " + path("err");
    const int result = std::system(command.c_str()); // NOLINT(cert-env33-c)
    ASSERT_TRUE(WIFEXITED(result));
    EXPECT_EQ(WEXITSTATUS(result), 1);
    EXPECT_EQ(read("err"), "setmac-station: cannot write the outcome: No space left on device\n");
}

TEST_F(station_program, traces_every_byte)
{
    run_on("setsn", "serial.toml", "stty raw -echo; printf Z; exit 0\n", "--trace");
    EXPECT_EQ(status, 1);
    EXPECT_NE(err.find(" >  7B   "), std::string::npos) << err;
    // Until the shell has switched the terminal to raw mode, that sends the calls back.
    EXPECT_TRUE(std::regex_search(err, std::regex(" <  (7B )*5A "))) << err;
}

TEST_F(station_program, accepts_its_example_jobs)
{
    const std::string examples = STATION_EXAMPLES;
    for (const std::string operation_and_job :
         {"setmac switch", "setsn serial", "setmac --tlv eeprom", "setbackplane backplane",
          "setfansn fans", "setpoesn poe", "setpwrsn supplies", "setdevice devices",
          "setdevice card"}) {
        const std::size_t job = operation_and_job.rfind(' ') + 1;
        run(operation_and_job.substr(0, job) + examples + '/' + operation_and_job.substr(job) +
            ".toml --exec true");
        EXPECT_EQ(status, 1) << operation_and_job << '\n' << err;
    }
    run("preview --tlv " + examples + "/eeprom.toml");
    EXPECT_EQ(status, 0) << err;
    EXPECT_EQ(err, "");
}
