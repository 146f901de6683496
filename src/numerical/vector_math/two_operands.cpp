#include "numerical/vector_math/two_operands.hpp"

#include "numerical/vector_math/infinity.hpp"
#include "numerical/vector_math/portable_lanes.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::vector_math {
namespace {

// arctan(a / b) for a, b >= 0 that aren't NaN, taken from pi for `back`.
double angle_in_half_plane(double a, double b, bool back)
{
    constexpr double pi = 2 * half_of_pi;
    if (a == 0)
        return back ? pi : 0.0;
    if (a == b && std::isinf(a))
        return back ? 0x1.2d97c7f3321d2p+1 : half_of_pi / 2; // 3 pi / 4
    // Where the quotient is huge or tiny, pi / 2, pi or the quotient itself is the angle.
    constexpr int far = 100;
    const int exponent = b == 0 || std::isinf(b) ? 0 : std::ilogb(b);
    if (b == 0 || std::isinf(a) || (!std::isinf(b) && std::ilogb(a) - exponent > far))
        return half_of_pi;
    if (std::isinf(b) || exponent - std::ilogb(a) > far)
        return back ? pi : a / b;
    const double x = std::ldexp(b, -exponent);
    const one y = std::ldexp(a, -exponent);
    return arc_tangent_of_quotient::common(y, one(back ? -x : x)).value.v;
}

} // namespace

// By the rules of C (ISO/IEC 9899:1999, F.9.1.4).
double arc_tangent_of_quotient::rare(double y, double x)
{
    if (std::isnan(x) || std::isnan(y))
        return x + y;
    return std::copysign(angle_in_half_plane(std::fabs(y), std::fabs(x), std::signbit(x)), y);
}

// By the rules of C (ISO/IEC 9899:1999, F.9.4.3); else scaled to a longer side in [1, 2).
double hypotenuse::rare(double x, double y)
{
    if (std::isinf(x) || std::isinf(y))
        return infinity;
    if (std::isnan(x) || std::isnan(y))
        return x + y;
    const double longer = std::max(std::fabs(x), std::fabs(y));
    if (longer == 0)
        return 0;
    const int exponent = std::ilogb(longer);
    const auto scaled =
        hypotenuse::common(one(std::ldexp(x, -exponent)), one(std::ldexp(y, -exponent)));
    return std::ldexp(scaled.value.v, exponent);
}

} // namespace numerical::vector_math
