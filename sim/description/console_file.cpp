#include "sim/description/console_file.h"

#include <algorithm>
#include <array>

namespace sim {
namespace {

constexpr unsigned longest_ms = 24 * 60 * 60 * 1000;
constexpr uint64_t most_bytes = std::numeric_limits<int64_t>::max();

constexpr std::pair<std::string_view, console_description::starts> start_words[] = {
    {"power_on", console_description::starts::power_on},
    {"login", console_description::starts::login},
    {"shell", console_description::starts::shell}};

constexpr std::pair<std::string_view, console_description::flavours> flavour_words[] = {
    {"legacy", console_description::flavours::legacy}, {"tlv", console_description::flavours::tlv}};

constexpr std::pair<std::string_view, console_fault::kinds> fault_words[] = {
    {"reboot", console_fault::reboot}, {"power_cut", console_fault::power_cut},
    {"cut", console_fault::cut},       {"hang_up", console_fault::hang_up},
    {"change", console_fault::change}, {"drop", console_fault::drop},
    {"twice", console_fault::twice}};

console_fault read_fault_table(table_reader table)
{
    console_fault fault;
    table.require("what");
    table.take_word("what", fault.what, fault_words);
    table.take("command", fault.command, uint64_t{1}, most_bytes);
    table.take("received", fault.received, uint64_t{1}, most_bytes);
    table.take("sent", fault.sent, uint64_t{1}, most_bytes);
    table.take("programmed", fault.programmed, uint64_t{0}, most_bytes);
    table.take("bits", fault.bits, uint8_t{1}, uint8_t{0xFF});
    table.finish();
    if (const auto wrong = find_mistake(fault)) {
        table.fail("what", *wrong);
    }
    return fault;
}

void read_way_to_prompt(table_reader &table, console_description &console)
{
    table.take_word("start", console.start, start_words);
    table.take("running", console.running);
    table.take_word("flavour", console.flavour, flavour_words);
    table.take("silence_ms", console.silence_ms, 0U, longest_ms);
    table.take("boot_lines", console.boot_lines, 0U, 1000000U);
    table.take("boot_ms", console.boot_ms, 0U, longest_ms);
    table.take("activate", console.activate);
    table.take("issue", console.issue);
    table.take("login_prompt", console.login_prompt);
    table.take("user", console.user);
    table.take("password", console.password);
    table.take("refusal_ms", console.refusal_ms, 0U, longest_ms);
    table.take("motd", console.motd);
    table.take("prompt", console.prompt);
}

void read_line(table_reader &table, console_description &console)
{
    table.take("echo", console.echo);
    table.take("wrap", console.wrap, 0U, 1000U);
    table.take("wrap_with", console.wrap_with);
    table.take("baud", console.baud, 0U, 4000000U);
    table.take("kernel_every_ms", console.kernel_every_ms, 0U, longest_ms);
    table.take("kernel_every_bytes", console.kernel_every_bytes, uint64_t{0}, most_bytes);
    table.take("kernel_lines", console.kernel_lines, uint64_t{0}, most_bytes);
    table.take("kernel_text", console.kernel_text);
    table.take("noise", console.noise, uint32_t{0}, std::numeric_limits<uint32_t>::max());
    table.take("seed", console.seed, uint32_t{0}, std::numeric_limits<uint32_t>::max());
}

/** What a text that stands for an argument says, or nothing when it is no TOML. */
std::optional<toml::table> parsed(const std::string &text)
{
    try {
        return toml::parse(text);
    } catch (const toml::parse_error &) {
        return std::nullopt;
    }
}

std::string in_quotes(const std::string &text)
{
    std::string quoted = "\"";
    for (const char letter : text) {
        quoted.append(letter == '"' || letter == '\\' ? 1 : 0, '\\');
        quoted += letter;
    }
    return quoted + "\"";
}

} // namespace

std::optional<std::string> find_mistake(const console_fault &fault)
{
    const bool harms_a_byte = fault.what >= console_fault::change;
    const int bytes = (fault.received ? 1 : 0) + (fault.sent ? 1 : 0);
    if (fault.programmed) {
        const bool is_alone = bytes == 0 && !fault.command;
        return fault.what == console_fault::power_cut && is_alone
                   ? std::nullopt
                   : std::optional("programmed is the place of a power_cut, and of that alone");
    }
    if (bytes == 2 || (bytes == 0 && (harms_a_byte || !fault.command))) {
        return "its place is missing or doubled: one of received and sent, or command alone";
    }
    return std::nullopt;
}

std::optional<std::string> find_mistake(const console_description &console)
{
    if (!console.running.empty() && console.start != console_description::starts::shell) {
        return "running needs start = \"shell\"";
    }
    if (console.prompt.empty()) {
        return "prompt must not be empty";
    }
    if (console.login_prompt.empty()) {
        return "login_prompt must not be empty";
    }
    if (console.wrap != 0 && console.wrap <= console.prompt.size()) {
        return "wrap must leave room behind the prompt";
    }
    return std::nullopt;
}

void read_console(table_reader table, console_description &console)
{
    read_way_to_prompt(table, console);
    read_line(table, console);
    for (const toml::table *one : table.find_tables("fault", "console.fault")) {
        console.faults.push_back(read_fault_table({*one, table.file()}));
    }
    table.finish();
}

void read_console_setting(const std::string &setting, console_description &console)
{
    const std::string name = in_quotes(setting);
    const std::size_t sign = std::min(setting.find('='), setting.size());
    const std::string key = setting.substr(0, sign);
    const std::string value = setting.substr(std::min(sign + 1, setting.size()));
    auto table = parsed(key + " = " + value);
    table = table ? table : parsed(key + " = " + in_quotes(value));
    if (!table || sign == setting.size()) {
        throw board_file_error(name + ": expected KEY=VALUE");
    }
    read_console({*table, name}, console);
}

void read_console_fault(const std::string &fault, console_description &console)
{
    const std::string name = in_quotes(fault);
    const std::size_t comma = std::min(fault.find(','), fault.size());
    std::string text = "what = " + in_quotes(fault.substr(0, comma)) + fault.substr(comma);
    std::ranges::replace(text, ',', '\n');
    const auto table = parsed(text);
    if (!table) {
        throw board_file_error(name + ": expected WHAT,PLACE=N, as reboot,sent=100");
    }
    console.faults.push_back(read_fault_table({*table, name}));
}

} // namespace sim
