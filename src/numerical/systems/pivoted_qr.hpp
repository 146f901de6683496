#pragma once

// A·P = Q·R with column pivoting: the column of greatest norm among those left comes first, so that
// the diagonal of R falls and shows the rank. In panels, whose columns and the rows of R that they
// give are brought up to date one by one, while the rest of the matrix waits for a product at the
// panel's end (Quintana-Orti, Sun and Bischof 1998). The norms of the columns left are downdated,
// and computed anew where cancellation has taken their digits (Drmac and Bujanovic 2008); the panel
// then ends. T = double or std::complex<double>.

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

// Of the row-major rows × columns array. The diagonal of R has whatever phases the reflectors gave
// it. Finite input near overflow is to be scaled before.
template <class T>
pivoted_reflections<T> pivoted_reflect(const std::vector<T>& a, std::size_t rows,
                                       std::size_t columns);

} // namespace numerical
