#pragma once

#include <string>
#include <vector>

#include "station/product/product_file.h"

namespace shopfloor {

/** What a label says of a unit. */
struct label_values {
    std::string label = {};
    station::given_values of_product = {}; // in the form in which they are stored
    std::string today = {};                // "2024-01-31"
};

/**
 * A text for a printer, in ZPL or any other language, with places for a unit's values: "{label}",
 * "{product}", "{today}" and the values of the product file, as "{serial}" or "{mac+1}"; "{{" and
 * "}}" stand for the brackets themselves.
 */
class label_template {
public:
    /** Throws station::job_error, with all mistakes, where a place is for no value of the product.
     */
    label_template(std::string file, std::string text, const station::product &of);

    /**
     * The text for a unit. Throws station::job_error where a value is missing, or holds what
     * printers take for commands.
     */
    std::string filled(const label_values &with) const;

private:
    std::string filled(const station::given_values &values, const std::string &today) const;

    std::string file_;
    std::string text_;
    std::string product_;
    std::vector<station::value_form> forms_;
};

} // namespace shopfloor
