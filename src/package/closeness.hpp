#pragma once

#include "numerical/scalar.hpp"

#include <cmath>

namespace numerical::package {

// abs(x - y) <= absolute + relative·abs(y), what allclose asks of every pair and isclose of each.
struct closeness
{
    double relative;
    double absolute;
    bool equal_nan;

    // Infinities are close to equal ones alone, as inf <= inf must not make them close to numbers.
    template <class T>
    bool operator()(const T& x, const T& y) const
    {
        if (x == y)
            return true;
        const double distance = detail::modulus(x - y);
        if (distance != HUGE_VAL && distance <= absolute + relative * detail::modulus(y))
            return true;
        return equal_nan && x != x && y != y;
    }
};

} // namespace numerical::package
