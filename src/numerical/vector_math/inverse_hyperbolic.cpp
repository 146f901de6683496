#include "numerical/vector_math/inverse_hyperbolic.hpp"

#include "numerical/vector_math/infinity.hpp"
#include "numerical/vector_math/portable_lanes.hpp"

#include <cmath>
#include <limits>

namespace numerical::vector_math {
namespace {

// log 2x of a large x.
double logarithm_of_twice(double x)
{
    if (!std::isfinite(x))
        return x + x;
    reduced_number<one> reduced = reduced_for_logarithm(one(x));
    reduced.k = reduced.k + one(1.0);
    return logarithm_of<natural>(reduced).v;
}

} // namespace

double inverse_hyperbolic_sine::rare(double x)
{
    return std::copysign(logarithm_of_twice(std::fabs(x)), x);
}

double inverse_hyperbolic_cosine::rare(double x)
{
    return x < 1 ? std::numeric_limits<double>::quiet_NaN() : logarithm_of_twice(x);
}

double inverse_hyperbolic_tangent::rare(double x)
{
    if (std::fabs(x) == 1)
        return std::copysign(infinity, x);
    return std::isnan(x) ? x + x : std::numeric_limits<double>::quiet_NaN();
}

} // namespace numerical::vector_math
