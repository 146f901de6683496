#include "numerical/matrix_functions/scalar_logarithm.hpp"

#include "numerical/scalar.hpp"

#include <cmath>
#include <numbers>

namespace numerical::detail {
namespace {

using std::numbers::pi;

double angle(double)
{
    return 0; // of positive numbers
}

double angle(const complex& z)
{
    return std::arg(z);
}

// (log x - log y)/2 as artanh of (x - y)/(x + y), plus a multiple of iπ where x and y lie on
// different sides of the branch cut.
double half_logarithm_of_quotient(double x, double y)
{
    return std::atanh((x - y) / (x + y));
}

complex half_logarithm_of_quotient(const complex& x, const complex& y)
{
    const double turns = std::ceil((std::arg(x) - std::arg(y) - pi) / (2 * pi));
    return std::atanh((x - y) / (x + y)) + complex(0, pi * turns);
}

// Whether x and y are so far apart that the difference of their functions loses no digits to speak
// of.
template <class T>
bool are_far_apart(const T& x, const T& y)
{
    return modulus(x - y) > modulus(x + y) / 2;
}

} // namespace

template <class T>
T root_less_one(T a, int k)
{
    if (k == 0)
        return a - 1.0;
    int rest = k;
    if (std::abs(angle(a)) >= pi / 2) {
        a = std::sqrt(a);
        --rest;
    }
    const T first = a - 1.0;
    T product = 1.0;
    for (; rest > 0; --rest) {
        a = std::sqrt(a);
        product *= 1.0 + a;
    }
    return first / product;
}

template <class T>
T logarithm_difference(const T& x, const T& y)
{
    if (x == y)
        return 1.0 / x;
    if (are_far_apart(x, y))
        return (std::log(x) - std::log(y)) / (x - y);
    return 2.0 * half_logarithm_of_quotient(x, y) / (x - y);
}

template <class T>
T power_difference(const T& x, const T& y, double p)
{
    if (x == y)
        return p * std::exp((p - 1) * std::log(x));
    if (are_far_apart(x, y))
        return (std::exp(p * std::log(x)) - std::exp(p * std::log(y))) / (x - y);
    return std::exp(p / 2 * (std::log(x) + std::log(y))) *
           (2.0 * std::sinh(p * half_logarithm_of_quotient(x, y)) / (x - y));
}

template double root_less_one(double, int);
template complex root_less_one(complex, int);
template double logarithm_difference(const double&, const double&);
template complex logarithm_difference(const complex&, const complex&);
template double power_difference(const double&, const double&, double);
template complex power_difference(const complex&, const complex&, double);

} // namespace numerical::detail
