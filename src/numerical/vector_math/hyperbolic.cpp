#include "numerical/vector_math/hyperbolic.hpp"

#include "numerical/vector_math/infinity.hpp"
#include "numerical/vector_math/scaled_value.hpp"

#include <cmath>

namespace numerical::vector_math {
namespace {

// e^x / 2 for large x, against which e^-x is negligible.
double half_exponential(double x)
{
    if (x > 711)
        return infinity;
    auto e = exponential_of(reduced_by_ln2(one(x)));
    e.n = e.n - one_word(16);
    return scaled_value(e);
}

} // namespace

double hyperbolic_sine::rare(double x)
{
    return std::isnan(x) ? x + x : std::copysign(half_exponential(std::fabs(x)), x);
}

double hyperbolic_cosine::rare(double x)
{
    return std::isnan(x) ? x + x : half_exponential(std::fabs(x));
}

double hyperbolic_tangent::rare(double x)
{
    return x + x;
}

} // namespace numerical::vector_math
