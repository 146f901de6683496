#pragma once

// Aggressive early deflation (Braman, Byers and Mathias 2002, part II). The trailing window of the
// active block is brought to Schur form; the similarity turns the subdiagonal element before the
// window into the spike:
//
//     [ x x | x x x ]          [ x x | x x x ]
//     [ x x | x x x ]          [ x x | x x x ]
//     [   s | x x x ]    ->    [   s0| t t t ]
//     [     | x x x ]          [   s1|   t t ]
//     [     |   x x ]          [   s2|     t ]
//
// Eigenvalues at the bottom whose element of the spike is negligible have converged; others are
// moved to the top by exchanges, and serve as the shifts of the next sweep.

#include "numerical/aligned_vector.hpp"
#include "numerical/nonsymmetric/bulge.hpp"
#include "numerical/nonsymmetric/far_update.hpp"
#include "numerical/scalar.hpp"

#include <cstddef>

namespace numerical::detail {

struct early_deflation
{
    bool converged;                    // the Schur form of the window was found
    std::size_t deflated;              // eigenvalues at the end of the window that have converged
    aligned_vector<complex> unsettled; // the others, of a real matrix with pairs side by side
};

// The window is rows and columns [top, end), top > 0 with h(top, top - 1) the element before it, or
// the whole active block if there is none.
template <class T>
early_deflation deflate_early(const schur_views<T>& s, std::size_t top, std::size_t end,
                              bool has_spike, const similarity_reach& reach,
                              far_storage<T>& storage);

} // namespace numerical::detail
