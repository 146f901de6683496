#pragma once

// The dot of dot.hpp for vectors of any width. For the kernels' own sources only: unnamed, as the
// vectors are.

#include <cstddef>

namespace numerical::detail {
namespace {

// Four accumulators, so that four additions are on their way at a time.
template <class Lanes>
double folded_in_order(const typename Lanes::vector (&sums)[4])
{
    return 0.0 + Lanes::fold(sums[0]) + Lanes::fold(sums[1]) + Lanes::fold(sums[2]) +
           Lanes::fold(sums[3]);
}

// The sum with the products from place i on, those beyond the last vectors.
inline double with_last_products(double sum, const double* a, const double* b, std::size_t i,
                                 std::size_t n)
{
    for (const std::size_t fours = n - n % 4; i < fours; ++i)
        sum += a[i] * b[i]; // rounded twice, like a vector of products added lane by lane
    for (; i < n; ++i)
        sum = __builtin_fma(a[i], b[i], sum);
    return sum;
}

template <class Lanes>
double dot(const double* a, const double* b, std::size_t n)
{
    constexpr std::size_t width = Lanes::width;
    double sum = 0;
    std::size_t i = 0;
    if (n >= 4 * width) {
        typename Lanes::vector sums[4] = {Lanes::zero(), Lanes::zero(), Lanes::zero(),
                                          Lanes::zero()};
        for (; i + 4 * width <= n; i += 4 * width)
#pragma GCC unroll 4
            for (std::size_t v = 0; v < 4; ++v)
                sums[v] = Lanes::more(sums[v], Lanes::load(a + i + v * width),
                                      Lanes::load(b + i + v * width));
        sum = folded_in_order<Lanes>(sums);
    }
    return with_last_products(sum, a, b, i, n);
}

} // namespace
} // namespace numerical::detail
