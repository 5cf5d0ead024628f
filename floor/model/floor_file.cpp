#include "floor/model/floor_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <arpa/inet.h>
#include <strings.h>
#include <unistd.h>

#include "ledger/model/error.h"
#include "ledger/model/texts.h"
#include "station/base/bytes.h"

namespace shopfloor {

namespace {

using station::job_table;
using station::mistakes;
using station::printable;

constexpr std::int64_t last_slot = 9999;
constexpr std::int64_t last_port = 65535;
constexpr std::array<std::int64_t, 7> known_bauds{9600,   19200,  38400, 57600,
                                                  115200, 230400, 921600};

std::string own_name()
{
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

/** A path of the file, which is relative to the folder of that. */
std::string path_from(const std::string &file, const std::string &path)
{
    return path.empty() ? path : (std::filesystem::path(file).parent_path() / path).string();
}

/** An address in numbers; behind one of IPv6 may stand its interface. */
bool is_address(const std::string &text)
{
    in_addr v4{};
    in6_addr v6{};
    return inet_pton(AF_INET, text.c_str(), &v4) == 1 ||
           inet_pton(AF_INET6, text.substr(0, text.find('%')).c_str(), &v6) == 1;
}

/** A machine as browsers name it in Host: with its port, unless that is the usual one. */
bool is_host(const std::string &text)
{
    return !text.empty() && text.find_first_of("/?#@ ") == std::string::npos;
}

bool is_origin(const std::string &text)
{
    for (const std::string scheme : {"https://", "http://"}) {
        if (strncasecmp(text.c_str(), scheme.c_str(), scheme.size()) == 0) {
            return is_host(text.substr(scheme.size()));
        }
    }
    return false;
}

bool is_port(const std::string &text)
{
    constexpr std::size_t longest = 5;
    return !text.empty() && text.size() <= longest &&
           text.find_first_not_of("0123456789") == std::string::npos && std::stoi(text) > 0 &&
           std::stoi(text) <= last_port;
}

/** Reads FLOOR.toml. Every mistake is told. */
class floor_reader {
public:
    floor_reader(const std::string &path, const job_table &table, mistakes &wrong)
        : path_(path), table_(table), wrong_(wrong)
    {
        out_.file = path;
    }

    floor_description read(bool with_slots)
    {
        table_.allow_only(
            {"floor", "ledger", "server", "codes", "printer", "fault", "product", "slot"}, wrong_);
        read_head();
        read_ledger();
        read_server();
        read_codes();
        read_printer();
        for (const auto &each : table_.tables("product", wrong_)) {
            read_product(each);
        }
        read_faults();
        if (with_slots || table_.has("slot")) {
            for (const auto &each : table_.tables("slot", wrong_)) {
                read_slot(each);
            }
        }
        return std::move(out_);
    }

private:
    void read_head()
    {
        const auto *table = table_.table("floor", wrong_);
        if (table == nullptr) {
            return;
        }
        table->allow_only({"name", "station", "drill"}, wrong_);
        out_.name = table->text("name", "a text, as in name = \"Line 3\"", wrong_).value_or("");
        out_.station = table->text_or("station", own_name(), wrong_);
        out_.drill = table->flag_or("drill", false, wrong_);
        check_remark(*table, "name", out_.name);
        check_remark(*table, "station", out_.station);
    }

    void check_remark(const job_table &table, std::string_view key, const std::string &text)
    {
        try {
            ledger::check_remark(key, text);
        } catch (const ledger::error &refused) {
            wrong_.add(table.line_of(key), refused.what());
        }
    }

    void read_ledger()
    {
        const auto *table = table_.table("ledger", wrong_);
        if (table == nullptr) {
            return;
        }
        table->allow_only({"url", "witness"}, wrong_);
        constexpr std::string_view sqlite = "sqlite:";
        constexpr auto expected = "sqlite:FILE or postgresql://HOST/NAME";
        auto url = table->text("url", expected, wrong_).value_or("");
        const bool is_file = url.starts_with(sqlite) && url.size() > sqlite.size();
        const bool is_server = url.starts_with("postgresql://") || url.starts_with("postgres://");
        if (table->has("url") && !is_file && !is_server) {
            wrong_.add(table->line_of("url"),
                       "\"url\" is \"" + printable(url) + "\": expected " + expected);
        }
        out_.ledger =
            is_file ? std::string(sqlite) + path_from(path_, url.substr(sqlite.size())) : url;
        out_.witness = path_from(path_, table->text_or("witness", "", wrong_));
    }

    void read_server()
    {
        if (!table_.has("server")) {
            return;
        }
        const auto *table = table_.table("server", wrong_);
        if (table == nullptr) {
            return;
        }
        table->allow_only({"listen", "port", "hosts", "origins"}, wrong_);
        out_.listen = table->text_or("listen", out_.listen, wrong_);
        check_each(*table, "listen", {out_.listen}, is_address,
                   "an address of this machine in numbers, as 127.0.0.1 or ::1");
        out_.port = static_cast<int>(number(*table, "port", 0, last_port, out_.port));
        out_.hosts = table->texts("hosts", wrong_);
        check_each(*table, "hosts", out_.hosts, is_host,
                   "names as browsers send them, as floor.example.com or line3-pc:8440");
        out_.origins = table->texts("origins", wrong_);
        check_each(*table, "origins", out_.origins, is_origin,
                   "no more than http:// or https:// and a name, as https://floor.example.com");
    }

    void check_each(const job_table &table, std::string_view key,
                    const std::vector<std::string> &texts, bool (*is_right)(const std::string &),
                    const std::string &expected)
    {
        for (const auto &each : texts) {
            if (!is_right(each)) {
                wrong_.add(table.line_of(key), "\"" + std::string(key) + "\": \"" +
                                                   printable(each) + "\": expected " + expected);
            }
        }
    }

    void read_codes()
    {
        if (!table_.has("codes")) {
            return;
        }
        const auto *table = table_.table("codes", wrong_);
        if (table == nullptr) {
            return;
        }
        table->allow_only({"slot", "operator", "prefix"}, wrong_);
        out_.prefix = table->text_or("prefix", "", wrong_);
        out_.slot_code = code(*table, "slot", out_.slot_code);
        out_.operator_code = code(*table, "operator", out_.operator_code);
        if (out_.slot_code.starts_with(out_.operator_code) ||
            out_.operator_code.starts_with(out_.slot_code)) {
            wrong_.add(table->line, "codes of slots and of operators cannot be told apart: "
                                    "expected none to begin like the other");
        }
    }

    std::string code(const job_table &table, std::string_view key, const std::string &otherwise)
    {
        auto text = table.text_or(key, otherwise, wrong_);
        if (text.empty()) {
            wrong_.add(table.line_of(key),
                       "\"" + std::string(key) + "\" is empty: expected what the codes begin with");
        }
        return text;
    }

    std::int64_t number(const job_table &table, std::string_view key, std::int64_t least,
                        std::int64_t most, std::int64_t otherwise)
    {
        if (!table.has(key)) {
            return otherwise;
        }
        const auto expected =
            "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
        const auto found = table.number(key, expected, wrong_);
        if (found && (*found < least || *found > most)) {
            wrong_.add(table.line_of(key), "\"" + std::string(key) + "\" is " +
                                               std::to_string(*found) + ": expected " + expected);
            return otherwise;
        }
        return found.value_or(otherwise);
    }

    void read_product(const job_table &table)
    {
        table.allow_only({"file", "label", "label_code"}, wrong_);
        const auto file = table.text("file", "the path of a product file", wrong_);
        if (!file) {
            return;
        }
        floor_product made;
        try {
            made.what = station::read_product(path_from(path_, *file));
            made.password = station::password_of(made.what);
        } catch (const station::job_error &error) {
            wrong_.add(table.line_of("file"), error.what());
            return;
        }
        read_label(table, made);
        const auto named = [&](const floor_product &each) {
            return each.what.name == made.what.name;
        };
        if (std::ranges::any_of(out_.products, named)) {
            wrong_.add(table.line, "a second product \"" + printable(made.what.name) +
                                       "\": expected each name once");
        }
        out_.products.push_back(std::move(made));
    }

    void read_printer()
    {
        const auto *table = table_.has("printer") ? table_.table("printer", wrong_) : nullptr;
        if (table == nullptr) {
            return;
        }
        table->allow_only({"address", "command"}, wrong_);
        out_.printer_command = table->text_or("command", "", wrong_);
        const auto address = table->text_or("address", "", wrong_);
        const auto colon = address.rfind(':');
        if (address.empty() == out_.printer_command.empty()) {
            wrong_.add(table->line, "expected either \"address\", as in \"10.0.0.9:9100\", or "
                                    "\"command\", which gets the label on its standard input");
        } else if (!address.empty() && (colon == 0 || colon == std::string::npos ||
                                        !is_port(address.substr(colon + 1)))) {
            wrong_.add(table->line_of("address"),
                       "\"address\" is \"" + printable(address) +
                           "\": expected HOST:PORT, as in \"10.0.0.9:9100\"");
        } else if (!address.empty()) {
            out_.printer_host = address.substr(0, colon);
            out_.printer_port = address.substr(colon + 1);
        }
    }

    void read_label(const job_table &table, floor_product &made)
    {
        const auto file = path_from(path_, table.text_or("label", "", wrong_));
        const auto code = table.text_or("label_code", "", wrong_);
        if (!file.empty() && !out_.has_printer()) {
            wrong_.add(table.line_of("label"), "there is no [printer] for it");
        }
        try {
            if (!file.empty()) {
                made.label.emplace(file, text_of_file(file), made.what);
            }
            if (!code.empty()) {
                made.label_code.emplace("\"label_code\"", code, made.what);
            }
        } catch (const station::job_error &error) {
            wrong_.add(table.line, error.what());
        }
    }

    static std::string text_of_file(const std::string &path)
    {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        if (!in) {
            throw station::job_error(path + ": " + std::strerror(errno));
        }
        return text.str();
    }

    /** What switches of a drill can be made to do; a drill has nothing of a real line. */
    void read_faults()
    {
        if (table_.has("fault")) {
            for (const auto &each : table_.tables("fault", wrong_)) {
                read_fault(each);
            }
        }
        const auto file = std::filesystem::path(out_.ledger).filename().string();
        if (out_.drill && file.find("drill") == std::string::npos) {
            wrong_.add(table_.line_of("ledger"),
                       "a drill has a ledger of its own: expected a sqlite:FILE with \"drill\" in "
                       "its name");
        }
    }

    void read_fault(const job_table &table)
    {
        table.allow_only({"name", "text", "options"}, wrong_);
        if (!out_.drill) {
            wrong_.add(table.line, "faults are for drills: expected drill = true in [floor]");
        }
        drill_fault made;
        made.name = table.text("name", "a short name of the fault", wrong_).value_or("");
        if (std::ranges::any_of(out_.faults, [&](const drill_fault &each) {
                return !made.name.empty() && each.name == made.name;
            })) {
            wrong_.add(table.line_of("name"),
                       "a second fault \"" + printable(made.name) + "\": expected each name once");
        }
        made.text = table.text_or("text", made.name, wrong_);
        made.options =
            table.text("options", "what takes the place of {fault}", wrong_).value_or("");
        out_.faults.push_back(std::move(made));
    }

    void read_slot(const job_table &table)
    {
        table.allow_only({"number", "place", "exec", "baud", "products"}, wrong_);
        floor_slot made;
        made.line = table.line;
        if (!table.has("number")) {
            wrong_.add(table.line, "missing \"number\": expected the number of the slot");
        }
        made.number = static_cast<int>(number(table, "number", 1, last_slot, 0));
        made.place = table.text_or("place", "", wrong_);
        made.exec = table.text_or("exec", "", wrong_);
        if (made.place.empty() == made.exec.empty()) {
            wrong_.add(table.line,
                       "expected either \"place\", where the serial port is (setmac-floor learn "
                       "writes it), or \"exec\", a program in its stead");
        }
        if (out_.drill && !made.place.empty()) {
            wrong_.add(table.line_of("place"), "a drill has no real switches: expected \"exec\"");
        }
        read_baud(table, made);
        read_slot_products(table, made);
        check_only_one(table, made);
        out_.slots.push_back(std::move(made));
    }

    void read_baud(const job_table &table, floor_slot &made)
    {
        const auto baud = number(table, "baud", 1, known_bauds.back(), made.baud);
        if (std::ranges::find(known_bauds, baud) == known_bauds.end()) {
            std::string all;
            for (const auto each : known_bauds) {
                all += (all.empty() ? "" : ", ") + std::to_string(each);
            }
            wrong_.add(table.line_of("baud"),
                       "\"baud\" is " + std::to_string(baud) + ": expected one of " + all);
        }
        made.baud = static_cast<int>(baud);
    }

    void read_slot_products(const job_table &table, floor_slot &made)
    {
        for (const auto &name : table.texts("products", wrong_)) {
            const auto named = [&](const floor_product &each) { return each.what.name == name; };
            if (std::ranges::none_of(out_.products, named)) {
                wrong_.add(table.line_of("products"), "there is no product \"" + printable(name) +
                                                          "\" in the files of [[product]]");
            }
            made.products.push_back(name);
        }
        if (!table.has("products")) {
            for (const auto &each : out_.products) {
                made.products.push_back(each.what.name);
            }
        }
    }

    void check_only_one(const job_table &table, const floor_slot &made)
    {
        for (const auto &other : out_.slots) {
            if (other.number == made.number && made.number != 0) {
                wrong_.add(table.line_of("number"), "a second slot " + std::to_string(made.number) +
                                                        ", after that of line " +
                                                        std::to_string(other.line));
            }
            if (!made.place.empty() && other.place == made.place) {
                wrong_.add(table.line_of("place"), "slot " + std::to_string(other.number) +
                                                       " has the place \"" + printable(made.place) +
                                                       "\" already");
            }
        }
    }

    const std::string &path_;
    const job_table &table_;
    mistakes &wrong_;
    floor_description out_;
};

} // namespace

floor_description read_floor(const std::string &path, bool with_slots)
{
    const auto table = station::read_job_file(path);
    mistakes wrong(path);
    auto found = floor_reader(path, table, wrong).read(with_slots);
    wrong.check();
    return found;
}

} // namespace shopfloor
