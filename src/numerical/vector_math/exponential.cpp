#include "numerical/vector_math/exponential.hpp"

#include "numerical/vector_math/scaled_value.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::vector_math {

// Beyond the bounds of the clamps a result is infinite or zero.
double exponential::rare(double x)
{
    return std::isnan(x) ? x + x : scaled_value(exponential_of(one(std::clamp(x, -800.0, 800.0))));
}

double binary_exponential::rare(double x)
{
    if (std::isnan(x))
        return x + x;
    return scaled_value(binary_exponential_of(one(std::clamp(x, -1200.0, 1200.0))));
}

double exponential_minus_one::rare(double x)
{
    return exponential::rare(x);
}

} // namespace numerical::vector_math
