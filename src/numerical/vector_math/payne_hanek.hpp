#pragma once

// The reduction of large angles by Payne and Hanek (1983): of the digits of 2 / pi only those count
// that give the product with x its last two binary digits before the point and its digits after.

#include "numerical/vector_math/portable_lanes.hpp"

#include "numerical/vector_math/trigonometric.hpp"

namespace numerical::vector_math {

// For finite x of 2^20 and more.
reduced_angle<one> reduced_large_angle(double x);

} // namespace numerical::vector_math
