#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

#include "station/app/provision.h"
#include "station/product/run.h"

namespace station {

/** What the operator chose of a ledger. */
struct registry_choices {
    std::string url = {};
    std::string witness = {};
    std::string label = {}; // empty: without a ledger
    std::string serial = {};
    std::string mac = {};
    std::string station = {};
    std::string slot = {};
    std::string operator_name = {};
    std::string program_version = {};
    bool again = false;
    bool take_over = false;
};

/** The ledger refuses, or cannot be used. */
class registry_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The ledger that a unit's identity comes from, and that its attempt is entered in. */
class registry {
public:
    virtual ~registry() = default;

    /** The product with the identity of the label; reserved durably, unless only looked up. */
    virtual plan planned(const product &what, const given_values &given, bool only_look) = 0;
    /** Before the first byte. */
    virtual void begin() = 0;
    /** After the last one. Does not throw. */
    virtual registered_end finish(const run_result &result) = 0;
};

/** Adds the options; nothing in a build without the ledger. */
void add_registry_options(CLI::App &sub, registry_choices &chosen);

/** The ledger that was chosen, or null. It and what it makes throw registry_error. */
std::unique_ptr<registry> open_registry(const registry_choices &chosen);

} // namespace station
