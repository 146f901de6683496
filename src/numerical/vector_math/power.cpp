#include "numerical/vector_math/power.hpp"

#include "numerical/vector_math/infinity.hpp"
#include "numerical/vector_math/scaled_value.hpp"

#include <cmath>
#include <limits>

namespace numerical::vector_math {
namespace {

bool is_odd_integer(double y)
{
    return std::fabs(y) < 0x1p53 && std::fmod(y, 2) != 0 && std::trunc(y) == y;
}

// |x|^y for finite x that isn't zero. Beyond 800 the result is infinite or zero.
double magnitude_of_power(double x, double y)
{
    const double a = std::fabs(x);
    const bool subnormal = a < 0x1p-1022;
    const auto logarithm =
        logarithm_in_two_parts(one(subnormal ? a * 0x1p54 : a), one(subnormal ? -54.0 : 0.0));
    const auto [high, low] = exponent_of_power(logarithm, one(y));
    if (std::fabs(high.v) > 800)
        return high.v > 0 ? infinity : 0.0;
    return scaled_value(exponential_of_sum(high, low));
}

} // namespace

// By the rules of C (ISO/IEC 9899:1999, F.9.4.4).
double power::rare(double x, double y)
{
    if (y == 0 || x == 1)
        return 1;
    if (std::isnan(x) || std::isnan(y))
        return x + y;
    const double sign = is_odd_integer(y) ? std::copysign(1.0, x) : 1.0;
    if (std::isinf(y)) {
        if (x == -1)
            return 1;
        return (std::fabs(x) > 1) == (y > 0) ? infinity : 0.0;
    }
    if (x == 0 || std::isinf(x))
        return sign * ((x == 0) == (y < 0) ? infinity : 0.0);
    if (x < 0 && std::trunc(y) != y)
        return std::numeric_limits<double>::quiet_NaN();
    return sign * magnitude_of_power(x, y);
}

} // namespace numerical::vector_math
