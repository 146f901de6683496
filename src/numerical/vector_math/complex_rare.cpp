#include "numerical/vector_math/complex_rare.hpp"

#include "numerical/vector_math/infinity.hpp"
#include "numerical/vector_math/kernels.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace numerical::vector_math {
namespace {

using complex = std::complex<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr complex unknown{nan, nan};

// All paths give the same bits, so for one number the portable one will do.
double value(unary_kernel kernel_set::*function, double x)
{
    double y = 0;
    (portable_kernels.*function)(&x, &y, 1);
    return y;
}

double sine_of(double x)
{
    return value(&kernel_set::sin, x);
}

double cosine_of(double x)
{
    return value(&kernel_set::cos, x);
}

// e^x factor (cos y + i sin y) for finite y that isn't 0. In two steps, as e^x alone may overflow
// or underflow where the product does not.
complex exponential_times(double factor, double x, double y)
{
    const double root = value(&kernel_set::exp, std::clamp(x, -3000.0, 3000.0) / 2);
    return {factor * root * cosine_of(y) * root, factor * root * sine_of(y) * root};
}

} // namespace

complex rare_exp(complex z)
{
    const double x = z.real();
    const double y = z.imag();
    if (y == 0)
        return {value(&kernel_set::exp, x), y};
    if (std::isfinite(y))
        return std::isnan(x) ? unknown : exponential_times(1, x, y);
    if (x == -infinity)
        return {0.0, std::copysign(0.0, y)};
    return x == infinity ? complex{infinity, nan} : unknown;
}

complex rare_sinh(complex z)
{
    const double x = z.real();
    const double y = z.imag();
    if (y == 0)
        return {value(&kernel_set::sinh, x), y};
    if (std::isnan(x))
        return unknown;
    if (std::isfinite(y)) {
        const complex e = exponential_times(0.5, std::fabs(x), y);
        return {x < 0 ? -e.real() : e.real(), e.imag()};
    }
    return x == 0 || std::isinf(x) ? complex{x, nan} : unknown;
}

complex rare_cosh(complex z)
{
    const double x = z.real();
    const double y = z.imag();
    if (y == 0)
        return {value(&kernel_set::cosh, x), std::copysign(1.0, x) * y};
    if (std::isnan(x))
        return unknown;
    if (std::isfinite(y)) {
        const complex e = exponential_times(0.5, std::fabs(x), y);
        return {e.real(), x < 0 ? -e.imag() : e.imag()};
    }
    if (x == 0)
        return {nan, 0.0};
    return std::isinf(x) ? complex{infinity, nan} : unknown;
}

complex rare_tanh(complex z)
{
    const double x = z.real();
    const double y = z.imag();
    if (std::isnan(x))
        return y == 0 ? complex{nan, y} : unknown;
    if (!std::isfinite(y)) {
        if (x == 0) // as the defect report 471 to the standard has it
            return {x, nan};
        return std::isinf(x) ? complex{std::copysign(1.0, x), std::copysign(0.0, y)} : unknown;
    }
    const double decay = value(&kernel_set::exp, -2 * std::fabs(x));
    return {std::copysign(1.0, x), 4 * sine_of(y) * cosine_of(y) * decay};
}

complex rare_sqrt(complex z)
{
    const double x = z.real();
    const double y = z.imag();
    if (std::isinf(y))
        return {infinity, y};
    if (x == infinity)
        return {x, std::isnan(y) ? y : std::copysign(0.0, y)};
    if (x == -infinity)
        return std::isnan(y) ? complex{nan, infinity} : complex{0.0, std::copysign(infinity, y)};
    if (std::isnan(x) || std::isnan(y))
        return unknown;
    if (x == 0 && y == 0)
        return {0.0, y};
    // Scaled by an even power of 2 to a greater part in [1, 4).
    const int half = std::ilogb(std::max(std::fabs(x), std::fabs(y))) / 2;
    const double a = std::ldexp(x, -2 * half);
    const double b = std::ldexp(y, -2 * half);
    double modulus = 0;
    portable_kernels.hypot.both(&a, &b, &modulus, 1);
    const double greater = std::sqrt((modulus + std::fabs(a)) / 2);
    const double other = std::fabs(b) / (2 * greater);
    const double real = std::ldexp(a < 0 ? other : greater, half);
    return {real, std::copysign(std::ldexp(a < 0 ? greater : other, half), y)};
}

double rare_log_modulus(double x, double y)
{
    const double greater = std::max(std::fabs(x), std::fabs(y));
    double modulus = 0;
    if (!std::isfinite(x) || !std::isfinite(y) || greater == 0) {
        portable_kernels.hypot.both(&x, &y, &modulus, 1);
        return value(&kernel_set::log, modulus);
    }
    const int exponent = std::ilogb(greater);
    const double a = std::ldexp(x, -exponent);
    const double b = std::ldexp(y, -exponent);
    portable_kernels.hypot.both(&a, &b, &modulus, 1);
    return value(&kernel_set::log, modulus) + exponent * 0x1.62e42fefa39efp-1; // log 2
}

} // namespace numerical::vector_math
