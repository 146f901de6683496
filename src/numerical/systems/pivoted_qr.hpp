#pragma once

// A·P = Q·R with column pivoting: of the remaining columns the one of largest norm comes first, so
// that the diagonal of R decreases and shows the rank. The columns of a panel and its rows of R are
// updated one by one, while the rest of the matrix is updated by a product at the panel's end
// (Quintana-Orti, Sun and Bischof 1998). The norms of the remaining columns are downdated, and
// computed anew where cancellation has taken their digits (Drmac and Bujanovic 2008), which ends
// the panel. T = double or std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"

#include <cstddef>
#include <vector>

namespace numerical {

template <class T>
struct pivoted_reflections
{
    detail::qr_reflections<T> reflections;
    std::vector<std::size_t> permutation; // column j of A·P is column permutation[j] of A
};

// Factors the row-major rows × columns array, which must be finite and, if near overflow, scaled
// beforehand. The diagonal of R has the phases that the reflectors give it.
template <class T>
pivoted_reflections<T> pivoted_reflect(const aligned_vector<T>& a, std::size_t rows,
                                       std::size_t columns);

} // namespace numerical
