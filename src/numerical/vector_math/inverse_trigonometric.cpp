#include "numerical/vector_math/inverse_trigonometric.hpp"

#include <cmath>
#include <limits>

namespace numerical::vector_math {

double arc_sine::rare(double x)
{
    return std::isnan(x) ? x + x : std::numeric_limits<double>::quiet_NaN();
}

double arc_cosine::rare(double x)
{
    return arc_sine::rare(x);
}

double arc_tangent::rare(double x)
{
    return x + x;
}

} // namespace numerical::vector_math
