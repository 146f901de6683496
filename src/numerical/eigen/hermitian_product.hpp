#pragma once

// y = A·x for a Hermitian A held by its lower triangle: the memory-bound step of the reduction to
// tridiagonal form. An element a(i, j) is read once and serves twice, as itself in row i and
// conjugated in row j. So that rows can be taken in parallel, each block of 32 rows adds into a
// result vector of its own, and these are added in the order of the blocks: the sum does not
// depend on the number of threads.

#include "numerical/aligned_vector.hpp"

#include <cstddef>

namespace numerical::detail {

// The len × len matrix has its rows lda apart. `partials` is kept between calls and grows when it
// must. T = double or std::complex<double>.
template <class T>
void hermitian_product(const T* a, std::size_t lda, std::size_t len, const T* x, T* y,
                       aligned_vector<T>& partials);

} // namespace numerical::detail
