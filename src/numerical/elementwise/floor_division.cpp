#include "numerical/elementwise/floor_division.hpp"

#include "numerical/strided/broadcast.hpp"

#include <cmath>

namespace numerical {
namespace {

double remainder_of(double x, double y)
{
    const double rest = std::fmod(x, y); // exact, of the sign of x
    if (rest == 0)
        return std::copysign(0.0, y);
    return (rest < 0) != (y < 0) ? rest + y : rest;
}

double floor_quotient_of(double x, double y)
{
    if (y == 0)
        return x / y;
    const double rest = std::fmod(x, y);
    const bool beyond = rest != 0 && (rest < 0) != (y < 0);
    const double quotient = (x - rest) / y - (beyond ? 1.0 : 0.0);
    return quotient == 0 ? std::copysign(0.0, x / y) : std::rint(quotient);
}

} // namespace

tensor<double> floor_quotients(const tensor<double>& x, const tensor<double>& y)
{
    return broadcast_apply(x, y, floor_quotient_of);
}

tensor<double> remainders(const tensor<double>& x, const tensor<double>& y)
{
    return broadcast_apply(x, y, remainder_of);
}

} // namespace numerical
