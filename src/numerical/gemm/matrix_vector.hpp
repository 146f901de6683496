#pragma once

// Products of a dense matrix with one vector, which read the matrix once, at the speed of the
// memory that holds it. On the vector paths their order of summation is their own
// (kernels/gemv.hpp, kernels/gemv_transposed.hpp): several partial sums to an element, where gemm
// has one. A real vector times a matrix, and all products on the portable path, have the bits of
// gemm. The bits depend on the path, never on the number of threads.

#include <cstddef>

namespace numerical::detail {

// y = A·x for A[rows × cols]; no conjugation. An element of y depends on its own row alone.
template <class T>
void matrix_times_vector(std::size_t rows, std::size_t cols, const T* a, const T* x, T* y);

// y = x·A for A[rows × cols].
template <class T>
void vector_times_matrix(std::size_t rows, std::size_t cols, const T* x, const T* a, T* y);

// The sum of a[i]·b[i]; no conjugation. Runs of 16384 elements are summed as rows of
// matrix_times_vector and added in ascending order; real ones and those of the portable path as in
// chunked_dot.
template <class T>
T vector_times_vector(std::size_t n, const T* a, const T* b);

} // namespace numerical::detail
