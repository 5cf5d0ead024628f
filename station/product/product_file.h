#pragma once

#include <optional>
#include <string>
#include <vector>

#include "station/console/console.h"
#include "station/product/value_form.h"

namespace station {

/** Where a switch keeps its identity. */
enum class switch_flavour {
    legacy, // in records in flash
    tlv     // in the system EEPROM
};

/** A record that tells one unit from another. */
struct identity_record {
    std::string name;
    text_list blank; // what it holds in a switch that was never provisioned, if it is there at all
    int line = 1;
};

/** One of the steps by which a switch is provisioned. */
struct product_step {
    std::string operation; // as the switch calls it
    std::string job;       // path of the job file
    bool optional = false; // it may fail, as where a unit is not fitted
    int line = 1;
};

/** What a product file says. */
struct product {
    std::string file;
    std::string name;
    switch_flavour flavour = switch_flavour::legacy;
    std::string program; // that runs the operations on the switch
    std::string listing; // command on the switch that prints what it holds
    std::string log; // path on the switch, to which an ending is added: where a step leaves what
                     // it was sent, to be fetched and compared
    std::size_t columns = 80; // after which the console wraps what it prints
    std::vector<value_form> values;
    std::vector<identity_record> identity;
    std::vector<product_step> steps;
    console_settings console;  // without the password
    std::string password_env;  // name of the environment variable that holds the password, or empty
    std::string password_file; // path of the file that does, or empty
    int console_line = 1;
};

/** Reads a product file. Throws job_error with all mistakes of it. */
product read_product(const std::string &path);

/** Whether a file is a product file and not a job file: whether it has steps. */
bool is_product(const job_table &file);

/** The password that the product file points to; none where it does not. Throws job_error. */
std::optional<std::string> password_of(const product &described);

} // namespace station
