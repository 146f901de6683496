#pragma once

// Eigenvectors brought to length 1.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <complex>

namespace numerical::detail {

// The columns of X at length 1, a complex one with the phase that makes its largest element real. A
// real X has the parts of the vectors of a pair of eigenvalues in two columns, which give both
// vectors. Blocks of columns are independent of each other, and run on the pool.
template <class T>
matrix<std::complex<double>> unit_columns(const matrix<T>& x,
                                          const aligned_vector<std::complex<double>>& values);

} // namespace numerical::detail
