#pragma once

// When a subdiagonal element of a Hessenberg matrix counts as zero.

#include "numerical/nonsymmetric/bulge.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace numerical::detail {

constexpr double unit_roundoff = std::numeric_limits<double>::epsilon();

// The magnitude below which numbers may have a large relative error, for a matrix of order n.
inline double negligible_magnitude(std::size_t n)
{
    return std::numeric_limits<double>::min() * (double(n) / unit_roundoff);
}

// Whether h(k, k - 1) may be set to zero. It is compared with its neighbours on the diagonal first,
// then by the criterion of Ahues and Tisseur (1997), which preserves the small eigenvalues of a
// graded matrix. Neighbours are taken from the rows [from, to).
template <class T>
bool is_negligible(block_view<const T> h, std::size_t k, std::size_t from, std::size_t to)
{
    const double below = rough_modulus(h(k, k - 1));
    const double negligible = negligible_magnitude(to - from);
    if (below <= negligible)
        return true;
    double neighbours = rough_modulus(h(k - 1, k - 1)) + rough_modulus(h(k, k));
    if (neighbours == 0) {
        if (k >= from + 2)
            neighbours += rough_modulus(h(k - 1, k - 2));
        if (k + 1 < to)
            neighbours += rough_modulus(h(k + 1, k));
    }
    if (below > unit_roundoff * neighbours)
        return false;
    const double above = rough_modulus(h(k - 1, k));
    const double gap = rough_modulus(h(k - 1, k - 1) - h(k, k));
    const double last = rough_modulus(h(k, k));
    const double ab = std::max(below, above);
    const double ba = std::min(below, above);
    const double aa = std::max(last, gap);
    const double bb = std::min(last, gap);
    const double s = aa + ab;
    return ba * (ab / s) <= std::max(negligible, unit_roundoff * (bb * (aa / s)));
}

// The first row of the unreduced block that ends before row `end`; the subdiagonal element that
// separates it from the rows above becomes zero.
template <class T>
std::size_t start_of_unreduced(block_view<T> h, std::size_t from, std::size_t end)
{
    for (std::size_t k = end - 1; k > from; --k)
        if (is_negligible<T>(h, k, from, end)) {
            h(k, k - 1) = T(0);
            return k;
        }
    return from;
}

} // namespace numerical::detail
