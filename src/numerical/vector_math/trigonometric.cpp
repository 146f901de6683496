#include "numerical/vector_math/trigonometric.hpp"

#include "numerical/vector_math/payne_hanek.hpp"
#include "numerical/vector_math/portable_lanes.hpp"

#include <cmath>

namespace numerical::vector_math {

// x - x is NaN for infinities and for NaN.

double sine::rare(double x)
{
    if (!std::isfinite(x))
        return x - x;
    const auto [n, r, low] = reduced_large_angle(x);
    return flip(sine_of(n, r, low), sign_of(one(x))).v;
}

double cosine::rare(double x)
{
    if (!std::isfinite(x))
        return x - x;
    const auto [n, r, low] = reduced_large_angle(x);
    return sine_of(n + one_word(1), r, low).v;
}

double tangent::rare(double x)
{
    if (!std::isfinite(x))
        return x - x;
    const auto [quadrant, angle, angle_low] = reduced_large_angle(x);
    const auto [n, r, low] = reduced_by(sixteenth_pi_step, angle);
    const one_word eights = quadrant.left<3>();
    return flip(tangent_of(n + eights, r, low + angle_low), sign_of(one(x))).v;
}

} // namespace numerical::vector_math
