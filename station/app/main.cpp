#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "station/app/display.h"
#include "station/app/provision.h"
#include "station/app/registry.h"
#include "station/app/stop_on_signals.h"
#include "station/lines/pty_line.h"
#include "station/lines/serial_line.h"
#include "station/lines/traced_line.h"
#include "station/product/operations.h"

namespace {

using namespace station;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;
constexpr int exit_ledger_refuses = 7;

// How long to listen once the exchange is over: to a console for its last words, to a program
// until it ends.
constexpr milliseconds last_words = 1s;
constexpr milliseconds program_end = 10s;

/** What the operator chose. */
struct choices {
    const command *chosen = nullptr; // none: a preview, or a product's run
    bool provision = false;
    std::string job;
    bool tlv = false;
    std::string port;
    int baud = 115200;
    std::string exec;
    double wait = 0;
    int attempts = 0;
    double store_limit = 120;
    bool json = false;
    bool quiet = false;
    bool trace = false;
    std::vector<std::string> values;
    bool replace = false;
    bool only_check = false;
    registry_choices registered;
};

constexpr double longest_wait = 1e6; // seconds

/** Why a text is no time to wait, or nothing. */
std::string check_seconds(const std::string &text)
{
    double count = 0;
    const bool right = CLI::detail::lexical_cast(text, count) && count > 0 && count <= longest_wait;
    return right ? "" : text + " is no number of seconds above 0, up to 1000000";
}

milliseconds seconds(double count)
{
    return milliseconds(static_cast<milliseconds::rep>(std::ceil(count * 1000)));
}

void add_job(CLI::App &sub, choices &chosen)
{
    sub.add_option("JOB", chosen.job, "What to store: a TOML file")->required()->type_name("FILE");
}

void add_tlv(CLI::App &sub, choices &chosen)
{
    sub.add_flag("--tlv", chosen.tlv, "For a switch that keeps its identity in the system EEPROM");
}

void add_values(CLI::App &sub, choices &chosen)
{
    sub.add_option("--value", chosen.values, "A value of a product, as in serial=ABCDEFGHJ1234")
        ->allow_extra_args(false)
        ->type_name("NAME=TEXT");
}

void add_preview(CLI::App &app, choices &chosen)
{
    auto *sub = app.add_subcommand(
        "preview", "print what a switch holds after a setmac job or a product, without a switch");
    add_job(*sub, chosen);
    add_tlv(*sub, chosen);
    add_values(*sub, chosen);
}

/** The options of all that talks to a switch. */
void add_line(CLI::App &sub, choices &chosen)
{
    auto *port = sub.add_option("--port", chosen.port, "Serial port, as in /dev/ttyUSB0");
    port->type_name("DEV");
    sub.add_option("--exec", chosen.exec, "Program to run on a pseudo-terminal instead")
        ->excludes(port)
        ->type_name("COMMAND");
    sub.add_option("--baud", chosen.baud, "Speed of the serial port")
        ->check(CLI::PositiveNumber.description(""))
        ->capture_default_str()
        ->type_name("N");
    sub.add_option("--store-limit", chosen.store_limit, "How long the switch may take to store")
        ->check(check_seconds)
        ->capture_default_str()
        ->type_name("SECONDS");
    sub.add_flag("--json", chosen.json, "Print the outcome as JSON");
    sub.add_flag("--quiet", chosen.quiet, "Do not show the steps");
    sub.add_flag("--trace", chosen.trace, "Show every byte in both directions");
}

void require_line(const choices &chosen)
{
    if (chosen.port.empty() && chosen.exec.empty()) {
        throw CLI::RequiredError("--port or --exec");
    }
}

void add_wait(CLI::App &sub, choices &chosen, const std::string &what)
{
    sub.add_option("--wait", chosen.wait, what)->check(check_seconds)->type_name("SECONDS");
}

void add_command(CLI::App &app, const command &each, choices &chosen)
{
    auto *sub = app.add_subcommand(each.name, each.summary);
    sub->callback([&] {
        chosen.chosen = &each;
        require_line(chosen);
    });
    add_job(*sub, chosen);
    if (each.prepare_tlv != nullptr) {
        add_tlv(*sub, chosen);
    }
    add_line(*sub, chosen);
    add_wait(*sub, chosen, "How long to wait for the switch (for ever)");
    sub->add_option("--attempts", chosen.attempts, "How often to try")
        ->check(CLI::Range(1, 1000).description(""))
        ->default_str(std::to_string(each.attempts))
        ->type_name("N");
}

void add_provision(CLI::App &app, choices &chosen)
{
    auto *sub = app.add_subcommand("provision", "take a switch from power-on to verified");
    sub->callback([&] {
        chosen.provision = true;
        require_line(chosen);
    });
    sub->add_option("PRODUCT", chosen.job, "The product: a TOML file")
        ->required()
        ->type_name("FILE");
    add_values(*sub, chosen);
    add_line(*sub, chosen);
    add_wait(*sub, chosen, "How long to wait for a prompt (as the product says)");
    sub->add_flag("--replace", chosen.replace, "Overwrite the identity of another unit");
    sub->add_flag("--only-check", chosen.only_check, "Write nothing, only read what is stored");
    add_registry_options(*sub, chosen.registered);
}

exchange_options options_of(const choices &chosen)
{
    exchange_options options;
    if (chosen.wait > 0) {
        options.wait = seconds(chosen.wait);
    }
    options.attempts = chosen.attempts > 0 ? chosen.attempts : chosen.chosen->attempts;
    options.store = seconds(chosen.store_limit);
    return options;
}

display::style style_of(const choices &chosen)
{
    if (chosen.quiet) {
        return display::style::hidden;
    }
    return isatty(STDERR_FILENO) != 0 && !chosen.trace ? display::style::live
                                                       : display::style::lines;
}

/** Listens on after the exchange; what the console says reaches the listener. */
void hear_out(conversation &talk, const choices &chosen, const outcome &result)
{
    try {
        if (!result.ok()) {
            talk.drain(last_words, program_end);
        } else if (!chosen.exec.empty()) {
            talk.drain(program_end, program_end);
        } else if (!chosen.tlv) { // that flavour says nothing more
            hear_last_words(talk, last_words, program_end);
        }
    } catch (const line_error &) {
        // The exchange is over: a program that ends now does what it should.
    }
}

/** How the program on the line came to its end, which becomes part of the outcome. */
std::string end_of_program(pty_line &program, outcome &result)
{
    const auto status = program.wait_for_exit(last_words);
    if (!status) {
        return "still running, ended by the station";
    }
    auto text = describe_wait_status(*status);
    if (result.ok() && *status != 0) {
        result.end = ending::failed;
        result.reason = "the switch answered that it is stored, yet its program ended with " + text;
    }
    return text;
}

/** The line that the operator chose. */
struct chosen_line {
    explicit chosen_line(const choices &chosen)
    {
        if (chosen.exec.empty()) {
            port = std::make_unique<serial_line>(chosen.port, chosen.baud);
        } else {
            program = std::make_unique<pty_line>(chosen.exec);
        }
        line &direct = program ? static_cast<line &>(*program) : *port;
        traced = std::make_unique<traced_line>(direct, stderr);
        far = chosen.trace ? traced.get() : &direct;
        place = program ? "" : " on " + chosen.port;
    }

    std::unique_ptr<pty_line> program;
    std::unique_ptr<serial_line> port;
    std::unique_ptr<traced_line> traced;
    line *far = nullptr;
    std::string place;
};

report run(const prepared_job &job, const choices &chosen)
{
    chosen_line used(chosen);
    line &far = *used.far;
    display shown(stderr, style_of(chosen), used.place);
    conversation talk(far, shown);
    const auto start = far.now();
    report told;
    told.command = std::string(chosen.chosen->name) + (chosen.tlv ? " --tlv" : "");
    told.result = job.run(talk, options_of(chosen));
    told.seconds = std::chrono::duration<double>(far.now() - start).count();
    hear_out(talk, chosen, told.result);
    if (used.program) {
        told.program = end_of_program(*used.program, told.result);
    }
    shown.finish();
    if (!chosen.quiet) {
        std::fputs("\n", stderr);
    }
    told.console = shown.console_text();
    told.items = job.items(told.result);
    return told;
}

run_options run_options_of(const choices &chosen, const product &described)
{
    run_options options;
    options.password = password_of(described);
    if (chosen.wait > 0) {
        options.wait = seconds(chosen.wait);
    }
    options.store = seconds(chosen.store_limit);
    options.replace = chosen.replace;
    options.only_check = chosen.only_check;
    options.log_ending = fresh_log_ending();
    return options;
}

std::unique_ptr<registry> open_chosen_registry(const choices &chosen)
{
    auto wanted = chosen.registered;
    wanted.program_version = SETMAC_VERSION;
    if (wanted.slot.empty()) {
        wanted.slot = chosen.port;
    }
    return open_registry(wanted);
}

/**
 * Provisions a switch; the exit status. Throws job_error, line_error and registry_error before the
 * first byte. What a ledger must know before that byte, it knows once begin() has returned.
 */
int run_product(const choices &chosen)
{
    const auto described = read_product(chosen.job);
    const auto given = given_by(chosen.values);
    const auto options = run_options_of(chosen, described);
    const auto entered = open_chosen_registry(chosen);
    const auto what = entered ? entered->planned(described, given, chosen.only_check)
                              : make_plan(described, given, date_of_today());

    // From here on there may be an attempt in the ledger, which gets its end.
    const stop_on_signals stop;
    chosen_line used(chosen);
    if (entered && !chosen.only_check) {
        entered->begin();
    }
    run_display shown(stderr, style_of(chosen), used.place);
    const auto result = provision(*used.far, what, options, shown, stop.token());
    shown.finish();
    if (!chosen.quiet) {
        std::fputs("\n", stderr);
    }
    const auto registered = entered ? std::optional(entered->finish(result)) : std::nullopt;
    (chosen.json ? print_run_json : print_run_text)(stdout, what, result, registered);
    return exit_status_of(result.end, registered);
}

/** The job as a command of the station needs it. Throws job_error when there are mistakes in it. */
template <class reader>
auto read_job(const std::string &file, reader read)
{
    mistakes wrong(file);
    auto job = read(read_job_file(file), wrong);
    wrong.check();
    return job;
}

preview preview_chosen(const choices &chosen)
{
    if (is_product(read_job_file(chosen.job))) {
        auto what = make_plan(read_product(chosen.job), given_by(chosen.values), date_of_today());
        return {std::move(what.lines), std::move(what.not_listed)};
    }
    if (!chosen.values.empty()) {
        throw job_error(chosen.job +
                        ":1: a job has no values: expected a product file, or no --value");
    }
    return read_job(chosen.job, chosen.tlv ? preview_of_tlv : preview_of);
}

void print_preview(const choices &chosen)
{
    const auto shown = preview_chosen(chosen);
    for (const auto &text : shown.lines) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fputc('\n', stdout);
    }
    if (!shown.remark.empty()) {
        std::fprintf(stderr, "%s: %s\n", chosen.job.c_str(), shown.remark.c_str());
    }
}

/** Whether all of the outcome has reached its reader; says so where it has not. */
bool output_written()
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return true;
    }
    std::fprintf(stderr, "setmac-station: cannot write the outcome: %s\n", std::strerror(errno));
    return false;
}

int run_station(const choices &chosen)
{
    try {
        if (chosen.provision) {
            const int status = run_product(chosen);
            return output_written() ? status : exit_failed;
        }
        if (chosen.chosen == nullptr) {
            print_preview(chosen);
            return output_written() ? EXIT_SUCCESS : exit_failed;
        }
        const auto prepare = chosen.tlv ? chosen.chosen->prepare_tlv : chosen.chosen->prepare;
        const auto told = run(read_job(chosen.job, prepare), chosen);
        (chosen.json ? print_json : print_text)(stdout, told);
        return output_written() && told.result.ok() ? EXIT_SUCCESS : exit_failed;
    } catch (const job_error &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return exit_usage;
    } catch (const line_error &error) {
        std::fprintf(stderr, "setmac-station: %s\n", error.what());
        return exit_failed;
    } catch (const registry_error &error) {
        std::fprintf(stderr, "setmac-station: %s\n", error.what());
        return exit_ledger_refuses;
    }
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App app("Provisions network switches over their serial console.", "setmac-station");
    app.set_version_flag("--version", "setmac-station " SETMAC_VERSION);
    app.require_subcommand(1);
    choices chosen;
    for (const auto &each : all_commands()) {
        add_command(app, each, chosen);
    }
    add_provision(app, chosen);
    add_preview(app, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : exit_usage;
    }
    return run_station(chosen);
}
