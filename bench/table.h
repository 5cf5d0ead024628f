#pragma once

#include <string>

#include "samples.h"

namespace bench {

/** What a ratio should be. */
struct wish {
    enum { nothing, at_most, at_least } kind = nothing;
    double ratio = 0;
};

/** One comparison, a row of the table: samples of both in the same unit. */
struct comparison {
    std::string what;
    samples ours;
    std::string other_name;
    samples other;
    std::string unit;
    int decimals = 0; // of the figures
    wish wanted = {};
};

/** Prints the heads of the columns. */
void print_heads();

/**
 * Prints the row of a comparison: medians with their spread, their ratio, and whether that is as
 * wanted; or that it cannot be measured here.
 */
void print(const comparison &row);

} // namespace bench
