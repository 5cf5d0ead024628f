#include "ledger/app/commands.h"
#include "ledger/app/display.h"

namespace ledger {

namespace {

const char *told_of(init_result result)
{
    switch (result) {
    case init_result::made:
        return "A new ledger is made.";
    case init_result::brought_up_to_date:
        return "The ledger is brought up to date; it keeps all that it holds.";
    default:
        return "There is a ledger already; it keeps all that it holds.";
    }
}

} // namespace

int init_command(const choices &chosen)
{
    const auto result = book::init(chosen.place);
    std::printf("%s\n", told_of(result));
    if (!chosen.file.empty()) {
        book(chosen.place).set_witness(chosen.file, false, "", "");
        std::printf("Its witness is kept in %s.\n", chosen.file.c_str());
    }
    return 0;
}

int backup_command(const choices &chosen)
{
    book(chosen.place).copy_to(chosen.file);
    return 0;
}

} // namespace ledger
