#pragma once

#include "numerical/scalar.hpp"

#include <cmath>

namespace numerical::package {

// abs(x - y) <= absolute + relative·abs(y), the test of allclose and isclose.
struct closeness
{
    double relative;
    double absolute;
    bool equal_nan;

    // An infinity is close only to an equal one: inf <= inf would make it close to every number.
    template <class T>
    bool operator()(const T& x, const T& y) const
    {
        if (x == y)
            return true;
        const double distance = detail::modulus(x - y);
        if (distance != HUGE_VAL && distance <= absolute + relative * detail::modulus(y))
            return true;
        return equal_nan && detail::has_nan(x) && detail::has_nan(y);
    }
};

} // namespace numerical::package
