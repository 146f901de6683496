#pragma once

#include <limits>

namespace numerical::vector_math {

constexpr double infinity = std::numeric_limits<double>::infinity();

} // namespace numerical::vector_math
