#include "numerical/vector_math/exponential.hpp"

#include "numerical/vector_math/infinity.hpp"
#include "numerical/vector_math/scaled_value.hpp"

#include <cmath>

namespace numerical::vector_math {
namespace {

}

// Infinities, and arguments whose result overflows, are frequent and so tested first.

double exponential::rare(double x)
{
    if (x < -746)
        return 0;
    if (x > 710)
        return infinity;
    return std::isnan(x) ? x + x : scaled_value(exponential_of(reduced_by_ln2(one(x))));
}

double binary_exponential::rare(double x)
{
    if (x < -1076)
        return 0;
    if (x >= 1024)
        return infinity;
    return std::isnan(x) ? x + x : scaled_value(binary_exponential_of(one(x)));
}

double exponential_minus_one::rare(double x)
{
    return exponential::rare(x);
}

} // namespace numerical::vector_math
