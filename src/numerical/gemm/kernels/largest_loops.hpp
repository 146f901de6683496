#pragma once

// The search of largest.hpp for vectors of any width. For the kernels' own sources only: unnamed,
// as the vectors are.

#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// Four vectors of maxima, so that the next need not wait for the last.
template <class Lanes>
double largest_magnitude(const double* x, std::size_t n)
{
    constexpr std::size_t step = 4 * Lanes::width;
    typename Lanes::vector largest[4] = {Lanes::zero(), Lanes::zero(), Lanes::zero(),
                                         Lanes::zero()};
    std::size_t i = 0;
    for (; i + step <= n; i += step)
#pragma GCC unroll 4
        for (std::size_t v = 0; v < 4; ++v)
            largest[v] =
                Lanes::larger(Lanes::magnitude(Lanes::load(x + i + v * Lanes::width)), largest[v]);
    for (; i + Lanes::width <= n; i += Lanes::width)
        largest[0] = Lanes::larger(Lanes::magnitude(Lanes::load(x + i)), largest[0]);
    if (i < n)
        largest[0] =
            Lanes::larger(Lanes::magnitude(last_vector<Lanes>(n - i).load(x + i)), largest[0]);
    return Lanes::fold_larger(Lanes::larger(Lanes::larger(largest[0], largest[1]),
                                            Lanes::larger(largest[2], largest[3])));
}

// The first i for which |x[i]| is `largest`, as it is for one of them.
template <class Lanes>
std::size_t first_of_magnitude(const double* x, std::size_t n, double largest)
{
    const auto sought = Lanes::all(largest);
    std::size_t i = 0;
    for (; i + Lanes::width <= n; i += Lanes::width)
        if (const unsigned at = Lanes::equal_to(Lanes::magnitude(Lanes::load(x + i)), sought);
            at != 0)
            return i + std::size_t(__builtin_ctz(at));
    const auto rest = Lanes::magnitude(last_vector<Lanes>(n - i).load(x + i));
    return i + std::size_t(__builtin_ctz(Lanes::equal_to(rest, sought)));
}

// The maximum first, and then its place: two passes over a column in L1 are faster than one that
// keeps places beside maxima.
template <class Lanes>
std::size_t first_largest(const double* x, std::size_t n)
{
    if (x[0] != x[0])
        return 0;
    return first_of_magnitude<Lanes>(x, n, largest_magnitude<Lanes>(x, n));
}

} // namespace
} // namespace numerical::detail
