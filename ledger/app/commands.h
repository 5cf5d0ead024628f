#pragma once

#include <cstdint>
#include <string>

#include "ledger/book/book.h"

namespace ledger {

/** What the one who started the program chose. */
struct choices {
    ledger_place place = {};
    bool as_json = false;

    std::string name = {}; // a pool, a product
    std::string first = {};
    std::string last = {};
    std::int64_t count = 1;
    std::int64_t align = 1;
    std::string pattern = {};
    std::int64_t start = 1;
    std::string mac_source = "none";
    std::string serial_source = "none";
    std::int64_t mac_count = 0;

    std::string label = {}; // or what else is looked for
    std::string by_what = "any";
    std::string product = {};
    std::string serial = {};
    std::string mac = {};
    std::string reason = {};
    std::string by = {};
    std::int64_t attempt = 0;

    std::string file = {};
    std::string format = "csv";
    unit_filter filter = {};
    bool lost = false;
};

// Each is a command, returns the program's exit status and throws error.
int init_command(const choices &chosen);
int pool_add_mac_command(const choices &chosen);
int pool_add_serial_command(const choices &chosen);
int pool_list_command(const choices &chosen);
int pool_close_command(const choices &chosen);
int product_add_command(const choices &chosen);
int product_list_command(const choices &chosen);
int reserve_command(const choices &chosen);
int find_command(const choices &chosen);
int history_command(const choices &chosen);
int void_command(const choices &chosen);
int import_command(const choices &chosen);
int export_command(const choices &chosen);
int check_command(const choices &chosen);
int backup_command(const choices &chosen);
int witness_set_command(const choices &chosen);
int witness_show_command(const choices &chosen);
int reconcile_command(const choices &chosen);

constexpr int exit_refused = 1;

} // namespace ledger
