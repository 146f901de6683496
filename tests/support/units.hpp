#pragma once

// The error of a double in units in the last place of a reference in wider precision.

#include <algorithm>
#include <cmath>

namespace test {

// Below the normal numbers all have the same unit. Infinities and NaN are right or endlessly wrong.
inline double units_off(double value, long double reference)
{
    const auto rounded = static_cast<double>(reference);
    if (!std::isfinite(value) || !std::isfinite(rounded))
        return value == rounded || (std::isnan(value) && std::isnan(rounded)) ? 0 : HUGE_VAL;
    constexpr int least = -1022;
    const int exponent = reference == 0 ? least : std::max(std::ilogb(reference), least);
    const long double off = std::fabs(static_cast<long double>(value) - reference);
    return static_cast<double>(std::ldexp(off, 52 - exponent));
}

} // namespace test
