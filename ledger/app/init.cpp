#include "ledger/app/commands.h"
#include "ledger/app/display.h"

namespace ledger {

int init_command(const choices &chosen)
{
    const bool made = book::init(chosen.place);
    if (!chosen.file.empty()) {
        book(chosen.place).set_witness(chosen.file, false, "", "");
    }
    std::printf(made ? "A new ledger is made.\n"
                     : "There is a ledger already; it stays as it is.\n");
    return 0;
}

int backup_command(const choices &chosen)
{
    book(chosen.place).copy_to(chosen.file);
    return 0;
}

} // namespace ledger
