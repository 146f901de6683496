#pragma once

#include <limits>

namespace numerical::detail {

// The distance from 1 to the next double, 2⁻⁵², in which rounding errors are bounded.
constexpr double eps = std::numeric_limits<double>::epsilon();

} // namespace numerical::detail
