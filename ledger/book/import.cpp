#include <charconv>

#include "ledger/book/book.h"
#include "ledger/book/rows.h"
#include "ledger/model/texts.h"

namespace ledger {

namespace {

std::string at_line(std::int64_t line, const std::string &what)
{
    return "line " + std::to_string(line) + ": " + what;
}

std::int64_t read_count(const std::string &text)
{
    std::int64_t count = 0;
    const auto *end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, count);
    if (failure != std::errc() || stop != end || count < 1 || count > most_addresses) {
        refuse("mac_count is \"" + shown(text) + "\": a number from 1 on is expected");
    }
    return count;
}

unit_state read_import_state(const std::string &text)
{
    const auto state = text.empty() ? unit_state::stored : read_state(text);
    if (state != unit_state::reserved && state != unit_state::stored &&
        state != unit_state::verified && state != unit_state::voided) {
        refuse("state is \"" + shown(text) +
               "\": reserved, stored, verified or void is expected, or nothing for stored");
    }
    return *state;
}

} // namespace

/** Refuses a line that cannot be imported. */
unit book::unit_of_line(const imported_line &line)
{
    check_label(line.label);
    const auto of = product_named(line.product);
    unit made;
    made.label = line.label;
    made.product = of.name;
    made.reserved_at = made.changed_at = now();
    made.state = read_import_state(line.state);
    if (made.state == unit_state::voided) {
        made.void_reason = "void when it was imported";
        made.void_by = "import";
    }
    if (line.serial.empty() && line.mac.empty()) {
        refuse("there is neither a serial number nor a MAC address");
    }
    if (!line.serial.empty()) {
        check_serial(line.serial);
        made.serial = line.serial;
    }
    if (!line.mac.empty()) {
        made.mac = read_mac(line.mac);
        if (!made.mac) {
            refuse("\"" + shown(line.mac) + "\" is no MAC address, as in 00:1A:2B:3C:4D:5E");
        }
        made.mac_count = line.mac_count.empty() ? std::max<std::int64_t>(of.mac_count, 1)
                                                : read_count(line.mac_count);
        check_addresses(*made.mac, made.mac_last());
    }
    if (database_->first("unit_by_label", {made.label})) {
        refuse("the label " + made.label + " is there already");
    }
    check_free(made);
    return made;
}

std::vector<std::string> book::import_units(const std::vector<imported_line> &lines)
{
    struct undone {};
    std::vector<std::string> wrong;
    try {
        write([&] {
            wrong.clear();
            for (const auto &line : lines) {
                for (const auto &mistake : line.mistakes) {
                    wrong.push_back(at_line(line.line, mistake));
                }
                if (!line.mistakes.empty()) {
                    continue;
                }
                try {
                    auto made = unit_of_line(line);
                    insert_unit(made, "import", {});
                } catch (const error &mistake) {
                    if (mistake.kind() != trouble::refused) {
                        throw;
                    }
                    wrong.push_back(at_line(line.line, mistake.what()));
                }
            }
            if (!wrong.empty()) {
                throw undone();
            }
        });
    } catch (const undone &) { // and so is everything
    }
    return wrong;
}

} // namespace ledger
