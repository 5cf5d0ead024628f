#pragma once

#include <string>
#include <vector>

#include "e2e/support/board_folder.h"
#include "e2e/support/program.h"

namespace e2e {

/** A product of the examples on a simulated switch of a layout that "simboard new" knows. */
class provision_session {
public:
    /** options are those of "simboard new". */
    provision_session(const std::string &product, const std::vector<std::string> &options);

    std::vector<std::string> console = {"--set", "boot_ms=100"}; // options of the console
    std::vector<std::string> station = {"--value", "serial=ABCDEFGHJ1234", "--value",
                                        "mac=00:1A:2B:3C:4E:00"}; // and of the station
    std::string before_console; // commands of the shell, ending in ";"

    /** From here on the same product under another name. */
    void product_as(const std::string &name);

    /** Provisions the switch: what the station says, as JSON, and its exit status. */
    outcome provision(const std::vector<std::string> &more = {}) const;

    /** Runs a command of the shell to its end. */
    outcome in_shell(const std::string &command) const;

    /** What a program of the switch prints on this board, without CR. */
    std::string printed(const std::vector<std::string> &command) const;

    /** What the product leaves, as the station works it out; its lines in their order. */
    std::vector<std::string> wanted() const;

    /** Whether the switch lists all of that. */
    bool holds_the_job() const;

    std::string board() const { return (scratch_.path() / "board").string(); }

private:
    scratch_folder scratch_;
    std::string product_;
    std::string listing_;
};

} // namespace e2e
