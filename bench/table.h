#pragma once

#include <string>

namespace bench {

/** What a ratio should be. */
struct wish {
    enum { nothing, at_most, at_least } kind = nothing;
    double ratio = 0;
};

/** One comparison: both figures in the same unit. */
struct comparison {
    std::string what;
    double ours = 0;
    std::string other_name;
    double other = 0;
    std::string unit;
    int decimals = 0; // of the figures
    wish wanted = {};
};

/** Prints the heads of the columns. */
void print_heads();

/** Prints the row of a comparison, with its ratio and whether that is as wanted. */
void print(const comparison &row);

} // namespace bench
