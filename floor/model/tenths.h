#pragma once

#include <cmath>

namespace shopfloor {

/** A number as it is shown: with one decimal. */
inline double in_tenths(double number)
{
    return std::round(number * 10) / 10;
}

} // namespace shopfloor
