#include "numerical/vector_math/logarithm.hpp"

#include "numerical/vector_math/infinity.hpp"
#include "numerical/vector_math/portable_lanes.hpp"

#include <cmath>
#include <limits>

namespace numerical::vector_math {
namespace {

template <const logarithm_base& base>
double rare_logarithm(double x)
{
    if (std::isnan(x))
        return x + x;
    if (x == 0)
        return -infinity;
    if (x < 0)
        return std::numeric_limits<double>::quiet_NaN();
    if (x == infinity)
        return x;
    reduced_number<one> subnormal = reduced_for_logarithm(one(x * 0x1p54));
    subnormal.k = subnormal.k - one(54.0);
    return logarithm_of<base>(subnormal).v;
}

} // namespace

double natural_logarithm::rare(double x)
{
    return rare_logarithm<natural>(x);
}

double binary_logarithm::rare(double x)
{
    return rare_logarithm<binary>(x);
}

double decimal_logarithm::rare(double x)
{
    return rare_logarithm<decimal>(x);
}

double logarithm_of_one_plus::rare(double x)
{
    if (x == -1)
        return -infinity;
    return x > 0 && x < infinity ? natural_logarithm::common(one(x)).v : natural_logarithm::rare(x);
}

} // namespace numerical::vector_math
