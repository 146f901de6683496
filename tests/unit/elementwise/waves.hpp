#pragma once

// Operands of reductions along an axis, and the plain sum in extended precision.

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reductions.hpp"

#include <cmath>
#include <cstddef>

namespace test {

using numerical::detail::walk_shape;

inline constexpr double eps = 0x1p-52;

inline numerical::aligned_vector<double> waves(std::size_t count)
{
    numerical::aligned_vector<double> x(count);
    for (std::size_t i = 0; i < count; ++i)
        x[i] = std::sin(static_cast<double>(i) * 0.7) + 0.25;
    return x;
}

// The sum along the axis at outer index o and inner index k, in extended precision.
template <class F>
long double plain(const walk_shape& walk, std::size_t o, std::size_t k, const F& term)
{
    long double sum = 0;
    for (std::size_t j = 0; j < walk.extent; ++j)
        sum += term((o * walk.extent + j) * walk.inner + k);
    return sum;
}

inline constexpr walk_shape walks[] = {{1, 1, 1},    {3, 7, 1}, {2, 128, 1},  {1, 129, 1},
                                       {2, 1000, 1}, {2, 5, 3}, {1, 300, 400}};

} // namespace test
