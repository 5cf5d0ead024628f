#include "sim/description/board_file.h"
#include "sim/description/console_file.h"

#include <gtest/gtest.h>
#include <string>

namespace {

sim::console_description with(const std::string &setting)
{
    sim::console_description console;
    sim::read_console_setting(setting, console);
    return console;
}

sim::console_fault fault(const std::string &text)
{
    sim::console_description console;
    sim::read_console_fault(text, console);
    return console.faults.at(0);
}

template <typename reader>
std::string mistake_in(const reader &read, const std::string &text)
{
    try {
        read(text);
    } catch (const sim::board_file_error &wrong) {
        return wrong.what();
    }
    return "no mistake";
}

std::string mistake_in_file(const std::string &text)
{
    return mistake_in([](const std::string &all) { sim::parse_board_file(all, "board.toml"); },
                      text);
}

} // namespace

TEST(console_file, describes_the_console_of_a_board)
{
    const auto console = sim::parse_board_file(R"(
[console]
start = "shell"
running = "prov_setmac setmac"
flavour = "tlv"
silence_ms = 1
boot_lines = 2
boot_ms = 3
activate = "Press Enter"
issue = "i"
login_prompt = "l"
user = "u"
password = "p"
refusal_ms = 4
motd = "m"
prompt = "# "
echo = false
wrap = 80
wrap_with = "\r\n"
baud = 9600
kernel_every_ms = 5
kernel_every_bytes = 6
kernel_lines = 7
kernel_text = "k"
noise = 8
seed = 9

[[console.fault]]
what = "change"
command = 2
received = 10
bits = 0x80

[[console.fault]]
what = "power_cut"
programmed = 100
)",
                                               "board.toml")
                             .console;
    EXPECT_EQ(console.start, sim::console_description::starts::shell);
    EXPECT_EQ(console.running, "prov_setmac setmac");
    EXPECT_EQ(console.flavour, sim::console_description::flavours::tlv);
    EXPECT_EQ(console.silence_ms, 1U);
    EXPECT_EQ(console.boot_lines, 2U);
    EXPECT_EQ(console.boot_ms, 3U);
    EXPECT_EQ(console.activate, "Press Enter");
    EXPECT_EQ(console.issue, "i");
    EXPECT_EQ(console.login_prompt, "l");
    EXPECT_EQ(console.user, "u");
    EXPECT_EQ(console.password, "p");
    EXPECT_EQ(console.refusal_ms, 4U);
    EXPECT_EQ(console.motd, "m");
    EXPECT_EQ(console.prompt, "# ");
    EXPECT_FALSE(console.echo);
    EXPECT_EQ(console.wrap, 80U);
    EXPECT_EQ(console.wrap_with, "\r\n");
    EXPECT_EQ(console.baud, 9600U);
    EXPECT_EQ(console.kernel_every_ms, 5U);
    EXPECT_EQ(console.kernel_every_bytes, 6U);
    EXPECT_EQ(console.kernel_lines, 7U);
    EXPECT_EQ(console.kernel_text, "k");
    EXPECT_EQ(console.noise, 8U);
    EXPECT_EQ(console.seed, 9U);
    ASSERT_EQ(console.faults.size(), 2U);
    EXPECT_EQ(console.faults[0].what, sim::console_fault::change);
    EXPECT_EQ(console.faults[0].command, 2U);
    EXPECT_EQ(console.faults[0].received, 10U);
    EXPECT_EQ(console.faults[0].sent, std::nullopt);
    EXPECT_EQ(console.faults[0].bits, 0x80);
    EXPECT_EQ(console.faults[1].programmed, 100U);
}

TEST(console_file, takes_settings_from_a_command_line)
{
    EXPECT_EQ(with("baud=115200").baud, 115200U);
    EXPECT_EQ(with("echo=false").echo, false);
    EXPECT_EQ(with("prompt=sw1# ").prompt, "sw1# ");
    EXPECT_EQ(with("prompt=\"sw\\n# \"").prompt, "sw\n# ");
    EXPECT_EQ(with("password=a=\"b\\").password, "a=\"b\\");
    EXPECT_EQ(with("user=").user, "");
    EXPECT_EQ(with("start=login").start, sim::console_description::starts::login);
}

TEST(console_file, takes_faults_from_a_command_line)
{
    EXPECT_EQ(fault("hang_up,sent=7").what, sim::console_fault::hang_up);
    EXPECT_EQ(fault("hang_up,sent=7").sent, 7U);
    EXPECT_EQ(fault("cut,command=3").command, 3U);
    EXPECT_EQ(fault("twice,command=1,sent=2").sent, 2U);
    EXPECT_EQ(fault("change,received=2,bits=0x40").bits, 0x40);
}

TEST(console_file, tells_what_is_wrong_with_an_argument)
{
    EXPECT_EQ(mistake_in(with, "baud"), "\"baud\": expected KEY=VALUE");
    EXPECT_EQ(mistake_in(with, "baud=fast"),
              "\"baud=fast\":1: baud must be a whole number from 0 to 4000000");
    EXPECT_EQ(mistake_in(with, "start=up"),
              "\"start=up\":1: start must be \"power_on\", \"login\" or \"shell\"");
    EXPECT_EQ(mistake_in(fault, "reboot"),
              "\"reboot\":1: its place is missing or doubled: one of received and sent, or command "
              "alone");
    EXPECT_EQ(mistake_in(fault, "drop,command=1"),
              "\"drop,command=1\":1: its place is missing or doubled: one of received and sent, or "
              "command alone");
    EXPECT_EQ(
        mistake_in(fault, "reboot,programmed=1"),
        "\"reboot,programmed=1\":1: programmed is the place of a power_cut, and of that alone");
    EXPECT_EQ(mistake_in(fault, "reboot,sent"),
              "\"reboot,sent\": expected WHAT,PLACE=N, as reboot,sent=100");
}

TEST(console_file, tells_what_is_wrong_in_the_board_file)
{
    EXPECT_EQ(mistake_in_file("[console]\nrunning = \"prov_setmac setsn\"\n"),
              "board.toml:1: running needs start = \"shell\"");
    EXPECT_EQ(mistake_in_file("[console]\nprompt = \"\"\n"),
              "board.toml:1: prompt must not be empty");
    EXPECT_EQ(mistake_in_file("[console]\nlogin_prompt = \"\"\n"),
              "board.toml:1: login_prompt must not be empty");
    EXPECT_EQ(mistake_in_file("[console]\nwrap = 8\n"),
              "board.toml:1: wrap must leave room behind the prompt");
    EXPECT_EQ(mistake_in_file("[[console.fault]]\nwhat = \"drop\"\nsent = 0\n"),
              "board.toml:3: sent must be a whole number from 1 to 9223372036854775807");
}
