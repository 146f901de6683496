#include "numerical/scalar.hpp"

#include <algorithm>
#include <limits>

namespace numerical::detail {

double tiny_scale(double magnitude)
{
    if (!(magnitude < tiny_magnitude))
        return 1.0;
    return std::ldexp(1.0, -std::ilogb(std::max(magnitude, std::numeric_limits<double>::min())));
}

double phase_of(double x)
{
    const double scaled = x * tiny_scale(std::abs(x));
    return scaled == 0.0 ? 1.0 : scaled / std::abs(scaled);
}

complex phase_of(const complex& z)
{
    const double magnitude = std::abs(z);
    const double scale = std::isinf(magnitude) ? 0.5 : tiny_scale(magnitude);
    const complex scaled = z * complex(scale, 0.0);
    const double length = std::abs(scaled);
    if (length == 0.0)
        return {1.0, 0.0};
    return scaled / complex(length, 0.0);
}

} // namespace numerical::detail
