#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "ledger/model/mac.h"

namespace ledger {

/** Objects keep the order in which their keys were put in: people and hashes read them so. */
using json = nlohmann::ordered_json;

/** Where the numbers of a kind come from: MAC addresses from a range, serial numbers by a pattern.
 */
struct pool {
    std::string name = {};
    bool of_macs = false;
    std::int64_t first = 0; // the first number: a MAC address, or what the counter begins with
    std::int64_t last = 0;
    std::int64_t count = 1; // addresses that a unit takes
    std::int64_t align = 1; // a unit's first address is a multiple of it
    std::string pattern = {};
    std::int64_t next = 0; // numbers below are given out, or were passed over
    std::int64_t issued = 0;
    bool open = true;
    std::int64_t entry = 0; // of the journal, that changed it last
};

/** How the units of a product get a kind of number. */
struct number_source {
    bool scanned = false;  // the label brings it
    std::string pool = {}; // issued by, or where scanned, to be found in; empty: none
    bool operator==(const number_source &) const = default;
    bool none() const { return !scanned && pool.empty(); }
};

struct product {
    std::string name = {};
    number_source mac = {};
    number_source serial = {};
    std::int64_t mac_count = 0; // addresses of a unit
    std::int64_t entry = 0;
};

enum class unit_state { reserved, writing, stored, verified, failed, in_doubt, voided };

/** "reserved", "in doubt", "void" */
std::string_view state_text(unit_state state);
std::optional<unit_state> read_state(std::string_view text);

/** An identity and what has become of it. */
struct unit {
    std::int64_t id = 0; // the journal's entry that made it
    std::string label = {};
    std::string product = {};
    std::optional<std::string> serial = {};
    std::optional<mac_address> mac = {}; // the first of mac_count
    std::int64_t mac_count = 0;
    unit_state state = unit_state::reserved;
    std::optional<std::string> mac_pool = {}; // that issued it; none: it came with the label
    std::optional<std::string> serial_pool = {};
    std::string reserved_at = {};
    std::string changed_at = {};
    std::optional<std::string> void_reason = {};
    std::optional<std::string> void_by = {};
    std::int64_t entry = 0;

    mac_address mac_last() const { return *mac + mac_count - 1; }
};

/** Who writes an identity to a switch, where and with what. */
struct attempt_start {
    std::string station = {};
    std::string slot = {};
    std::string operator_name = {};
    std::string product_file = {};
    std::string product_sha256 = {};
    std::string program_version = {}; // may begin with the program's name and a blank
    bool again = false;               // although the unit is verified already
    bool take_over = false;           // although another station has not said how its attempt ended
};

/** What an attempt has left behind: texts of any kind, JSON by convention for the first two. */
struct attempt_evidence {
    std::string sent = {};
    std::string read_back = {};
    std::string transcript = {};
};

enum class attempt_outcome { stored, verified, failed, in_doubt };

struct attempt {
    std::int64_t id = 0; // the journal's entry that began it
    std::int64_t unit = 0;
    std::int64_t number = 0; // among those of its unit, from 1
    attempt_start start = {};
    std::string started_at = {};
    std::optional<std::string> stored_at = {};
    std::optional<std::string> ended_at = {};
    std::optional<attempt_outcome> outcome = {};
    std::string reason = {};
    attempt_evidence evidence = {};
    std::int64_t entry = 0;
};

/** A label that is wanted from a station's printer. */
struct print_request {
    std::string label = {};
    std::string station = {};
    std::string operator_name = {};
    std::string content = {}; // what the printer is sent
};

enum class print_state { waiting, printed, failed };

struct label_print {
    std::int64_t id = 0; // the journal's entry that asked for it
    std::int64_t unit = 0;
    std::int64_t number = 0; // among those of its unit, from 1
    print_request asked = {};
    std::string asked_at = {};
    std::optional<std::string> ended_at = {};
    print_state state = print_state::waiting;
    std::string reason = {}; // why it failed
    std::int64_t entry = 0;
};

/** "waiting" */
std::string_view state_text(print_state state);
std::optional<print_state> read_print_state(std::string_view text);

unit_state state_after(attempt_outcome outcome);
std::optional<attempt_outcome> read_outcome(std::string_view text);

// Everything that the journal keeps of a record. Long texts stand there as their SHA-256.
json journal_form(const pool &each);
json journal_form(const product &each);
json journal_form(const unit &each);
json journal_form(const attempt &each);
json journal_form(const label_print &each);

// Back from there; for what is an error of the text, json's own exceptions.
pool pool_of(const json &form);
product product_of(const json &form);
unit unit_of(const json &form);

/** "pool", "scanned:pool", "scanned", "none" */
std::string source_text(const number_source &source);
number_source read_source(std::string_view text);

} // namespace ledger
