#pragma once

// The matrix that is decomposed: divided by its largest modulus, so that nothing overflows.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

namespace numerical::detail {

// The largest modulus, 1 for a zero matrix. That of a complex number may overflow; the largest
// number serves as well.
template <class T>
double scale_of(const matrix<T>& a);

// a/scale, with room for the rows to be moved apart, if the matrix is square.
template <class T>
aligned_vector<T> divided(const matrix<T>& a, double scale);

} // namespace numerical::detail
