#include "unit/ledger/support/ledger_test.h"

#include <cstdlib>

#include "unit/ledger/support/postgres_server.h"

namespace ledger_tests {

void ledger_test::SetUp()
{
    std::string name = (std::filesystem::temp_directory_path() / "ledger-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    now = *ledger::read_time("2026-11-21T12:00:00Z");
    place.url = on_sqlite() ? "sqlite:" + sqlite_file() : postgres_server::only().new_database();
    place.clock = [this] { return now; };
    ledger::book::init(place);
}

void ledger_test::TearDown()
{
    std::filesystem::remove_all(folder_);
}

ledger::ledger_place ledger_test::another_place() const
{
    auto other = place;
    other.url =
        on_sqlite() ? "sqlite:" + path("another.db") : postgres_server::only().new_database();
    return other;
}

void ledger_test::add_office(ledger::book &to)
{
    to.add_pool({.name = "office",
                 .of_macs = true,
                 .first = 0x001A2B000000,
                 .last = 0x001A2B00FFFF,
                 .count = 64,
                 .align = 64});
    to.add_pool({.name = "office-sn", .first = 1, .pattern = "ABCD{yy}{ww}{n:5}"});
    to.add_product({.name = "SW", .mac = {false, "office"}, .serial = {false, "office-sn"}});
}

ledger::unit ledger_test::reserved(ledger::book &in, const std::string &label)
{
    return in.reserve({.label = label, .product = "SW"}).identity;
}

std::string error_of(const std::function<void()> &what)
{
    try {
        what();
    } catch (const ledger::error &wrong) {
        constexpr const char *kinds[] = {"refused: ", "unusable: ", "in doubt: ", "behind: "};
        return kinds[static_cast<int>(wrong.kind())] + std::string(wrong.what());
    }
    return {};
}

std::string text_of(const ledger::unit &of)
{
    return of.label + " " + of.serial.value_or("-") + " " +
           (of.mac ? ledger::mac_text(*of.mac) : "-") + "/" + std::to_string(of.mac_count) + " " +
           std::string(ledger::state_text(of.state));
}

std::string findings_of(ledger::book &in)
{
    std::string told;
    for (const auto &each : in.check().findings) {
        told += std::to_string(each.entry) + ": " + each.what + "\n";
    }
    return told;
}

} // namespace ledger_tests
