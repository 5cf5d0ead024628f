#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

#include <nlohmann/json.hpp>

#include "ledger/app/commands.h"
#include "ledger/app/csv.h"
#include "ledger/app/display.h"

namespace ledger {

namespace {

std::string content_of(const std::string &file)
{
    if (file == "-") {
        return {std::istreambuf_iterator<char>(std::cin), {}};
    }
    std::ifstream in(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in) {
        refuse(file + " cannot be read: " + std::strerror(errno));
    }
    return text;
}

void print_unit(const unit &of, const std::string &format)
{
    if (format == "jsonl") {
        auto form = identity_json(of);
        form["reserved_at"] = of.reserved_at;
        form["changed_at"] = of.changed_at;
        print(form);
        return;
    }
    std::fputs(
        csv_line({of.label, of.product, of.serial.value_or(""), of.mac ? mac_text(*of.mac) : "",
                  of.mac ? std::to_string(of.mac_count) : "", std::string(state_text(of.state)),
                  of.reserved_at, of.changed_at})
            .c_str(),
        stdout);
}

} // namespace

int import_command(const choices &chosen)
{
    const auto lines = read_csv(content_of(chosen.file));
    const auto wrong = book(chosen.place).import_units(lines);
    for (const auto &each : wrong) {
        std::fprintf(stderr, "%s: %s\n", chosen.file.c_str(), each.c_str());
    }
    if (!wrong.empty()) {
        std::fprintf(stderr, "setmac-ledger: nothing is imported: %zu of %zu lines are wrong\n",
                     wrong.size(), lines.size());
        return exit_refused;
    }
    std::printf("%zu units are imported.\n", lines.size());
    return 0;
}

int export_command(const choices &chosen)
{
    if (chosen.format == "csv") {
        std::fputs("label,product,serial,mac,mac_count,state,reserved_at,changed_at\n", stdout);
    }
    book(chosen.place).export_units(chosen.filter, [&](const unit &each) {
        print_unit(each, chosen.format);
        if (std::ferror(stdout) != 0) {
            refuse("the export cannot be written: " + std::string(std::strerror(errno)));
        }
    });
    return 0;
}

} // namespace ledger
