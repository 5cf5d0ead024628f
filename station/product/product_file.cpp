#include "station/product/product_file.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "station/base/bytes.h"
#include "station/product/operations.h"

namespace station {

namespace {

constexpr std::int64_t longest_seconds = 86400;
constexpr std::int64_t most_columns = 1000;

/** A path of a product file, which is relative to the folder of that. */
std::string path_from(const std::string &file, const std::string &path)
{
    return (std::filesystem::path(file).parent_path() / path).string();
}

/** Whether a text can be typed at a shell's prompt without meaning something else there. */
bool is_plain_command(std::string_view text)
{
    static constexpr std::string_view others = " -_./+:=@%,";
    return !text.empty() && text.find_first_not_of(' ') != std::string_view::npos &&
           std::all_of(text.begin(), text.end(), [](char each) {
               return (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') ||
                      (each >= '0' && each <= '9') || others.find(each) != std::string_view::npos;
           });
}

/** Reads a product file. Every mistake is told. */
class product_reader {
public:
    product_reader(const std::string &path, const job_table &table, mistakes &wrong)
        : path_(path), table_(table), wrong_(wrong)
    {
    }

    product read()
    {
        table_.allow_only({"name", "flavour", "program", "listing", "log", "value", "identity",
                           "step", "console"},
                          wrong_);
        out_.file = path_;
        out_.name = table_.text("name", "a text, as in name = \"sw-48x6q\"", wrong_).value_or("");
        read_flavour();
        const bool tlv = out_.flavour == switch_flavour::tlv;
        out_.program = read_command("program", "prov_setmac");
        out_.listing = read_command("listing", tlv ? "setmac-tlv" : "prodinfo");
        out_.log = read_command("log", "/tmp/setmac-backplane");
        out_.values = read_value_forms(table_, wrong_);
        read_console();
        for (const auto &each : table_.tables("identity", wrong_)) {
            read_identity(each);
        }
        for (const auto &each : table_.tables("step", wrong_)) {
            read_step(each);
        }
        return std::move(out_);
    }

private:
    void read_flavour()
    {
        constexpr auto expected = "legacy (the identity is in flash) or tlv (in the system EEPROM)";
        const auto flavour = table_.text("flavour", expected, wrong_);
        if (flavour && *flavour != "legacy" && *flavour != "tlv") {
            wrong_.add(table_.line_of("flavour"),
                       "\"flavour\" is \"" + printable(*flavour) + "\": expected " + expected);
        }
        out_.flavour = flavour == "tlv" ? switch_flavour::tlv : switch_flavour::legacy;
    }

    std::string read_command(std::string_view key, std::string_view otherwise)
    {
        auto command = table_.text_or(key, otherwise, wrong_);
        if (!is_plain_command(command)) {
            wrong_.add(table_.line_of(key), "\"" + std::string(key) + "\" is \"" +
                                                printable(command) +
                                                "\": expected letters, digits, blanks and any of "
                                                "-_./+:=@%,");
        }
        return command;
    }

    void read_identity(const job_table &table)
    {
        table.allow_only({"record", "blank"}, wrong_);
        const auto name = table.text("record", "a text, as in record = \"SerialNO\"", wrong_);
        out_.identity.push_back({name.value_or(""), table.texts("blank", wrong_), table.line});
    }

    void read_step(const job_table &table)
    {
        table.allow_only({"operation", "job", "optional"}, wrong_);
        product_step step;
        step.line = table.line;
        step.operation =
            table.text("operation", "a text, as in operation = \"setmac\"", wrong_).value_or("");
        const auto job = table.text("job", "a text, as in job = \"identity.toml\"", wrong_);
        step.job = path_from(path_, job.value_or(""));
        step.optional = table.flag_or("optional", false, wrong_);
        const auto operations = operations_of(out_.flavour == switch_flavour::tlv);
        if (!step.operation.empty() && operations.find(step.operation) == operations.end()) {
            std::string names;
            for (const auto &[name, known] : operations) {
                names += (names.empty() ? "" : ", ") + std::string(name);
            }
            wrong_.add(table.line_of("operation"), "\"operation\" is \"" +
                                                       printable(step.operation) +
                                                       "\": expected one of " + names);
        }
        out_.steps.push_back(std::move(step));
    }

    void read_console()
    {
        if (!table_.has("console")) {
            return;
        }
        const auto *table = table_.table("console", wrong_);
        if (table == nullptr) {
            return;
        }
        out_.console_line = table->line;
        table->allow_only({"prompt", "login", "password_prompt", "user", "password_env",
                           "password_file", "wake", "boot", "quiet", "answer", "columns"},
                          wrong_);
        auto &to = out_.console;
        to.prompt = ending(*table, "prompt", to.prompt);
        to.login_prompt = ending(*table, "login", to.login_prompt);
        to.password_prompt = ending(*table, "password_prompt", to.password_prompt);
        to.user = table->text_or("user", "", wrong_);
        to.wake = ending(*table, "wake", to.wake);
        to.boot = seconds(*table, "boot", to.boot);
        to.quiet = seconds(*table, "quiet", to.quiet);
        to.answer = seconds(*table, "answer", to.answer);
        out_.columns = static_cast<std::size_t>(
            number(*table, "columns", static_cast<std::int64_t>(out_.columns), most_columns));
        read_password(*table);
    }

    std::string ending(const job_table &table, std::string_view key, const std::string &otherwise)
    {
        auto text = table.text_or(key, otherwise, wrong_);
        if (text.empty()) {
            wrong_.add(table.line_of(key), "\"" + std::string(key) +
                                               "\" is empty: expected what the console shows, as "
                                               "in " +
                                               std::string(key) + " = \"" + printable(otherwise) +
                                               "\"");
        }
        return text;
    }

    std::int64_t number(const job_table &table, std::string_view key, std::int64_t otherwise,
                        std::int64_t most)
    {
        const auto expected = "a whole number from 1 to " + std::to_string(most);
        const auto found =
            table.has(key) ? table.number(key, expected, wrong_) : std::optional(otherwise);
        if (found && (*found < 1 || *found > most)) {
            wrong_.add(table.line_of(key), "\"" + std::string(key) + "\" is " +
                                               std::to_string(*found) + ": expected " + expected);
            return otherwise;
        }
        return found.value_or(otherwise);
    }

    std::chrono::milliseconds seconds(const job_table &table, std::string_view key,
                                      std::chrono::milliseconds otherwise)
    {
        return table.has(key) ? std::chrono::seconds(number(table, key, 1, longest_seconds))
                              : otherwise;
    }

    void read_password(const job_table &table)
    {
        out_.password_env = table.text_or("password_env", "", wrong_);
        const auto file = table.text_or("password_file", "", wrong_);
        out_.password_file = file.empty() ? "" : path_from(path_, file);
        if (!file.empty() && !out_.password_env.empty()) {
            wrong_.add(table.line_of("password_file"),
                       "both \"password_env\" and \"password_file\": expected one of them");
        }
        if (out_.console.user.empty() && !(file.empty() && out_.password_env.empty())) {
            wrong_.add(table.line, "a password without \"user\": expected whom it is of");
        }
    }

    const std::string &path_;
    const job_table &table_;
    mistakes &wrong_;
    product out_;
};

[[noreturn]] void refuse_password(const product &described, const std::string &what)
{
    mistakes wrong(described.file);
    wrong.add(described.console_line, what);
    wrong.check();
    throw job_error(what);
}

std::string first_line_of(const product &described)
{
    std::ifstream in(described.password_file);
    std::string line;
    std::getline(in, line);
    if (line.ends_with('\r')) {
        line.pop_back(); // a line end of another system
    }
    if (!in && line.empty()) {
        refuse_password(described, "the file \"" + printable(described.password_file) +
                                       "\" cannot be read or is empty: expected the password of "
                                       "the switch in it");
    }
    return line;
}

} // namespace

bool is_product(const job_table &file)
{
    return file.has("step") || file.has("flavour");
}

product read_product(const std::string &path)
{
    const auto table = read_job_file(path);
    mistakes wrong(path);
    auto found = product_reader(path, table, wrong).read();
    wrong.check();
    return found;
}

std::optional<std::string> password_of(const product &described)
{
    if (!described.password_file.empty()) {
        return first_line_of(described);
    }
    if (described.password_env.empty()) {
        return std::nullopt;
    }
    const char *password =
        std::getenv(described.password_env.c_str()); // NOLINT(concurrency-mt-unsafe)
    if (password == nullptr) {
        refuse_password(described, "the environment has no \"" + printable(described.password_env) +
                                       "\": expected the password of the switch in it");
    }
    return password;
}

} // namespace station
