#pragma once

// The one entry to the matrix product. All matrices are row-major, with strides in elements.

#include "numerical/matrix.hpp"

#include <cstddef>

namespace numerical::detail {

// C[m × n] += A[m × k] · B[k × n]. C holds meaningful values on entry: who wants C - A·B negates an
// operand. The operands must not overlap; any size may be 0. The sum over k ascends for every
// element, and the result doesn't depend on the number of threads, only on the path.
template <class T>
void gemm(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda, const T* b,
          std::size_t ldb, T* c, std::size_t ldc);

} // namespace numerical::detail

namespace numerical {

// a·b; dimension_error "matrix–matrix product: inner dimensions differ".
template <class T>
matrix<T> operator*(const matrix<T>& a, const matrix<T>& b);

} // namespace numerical
