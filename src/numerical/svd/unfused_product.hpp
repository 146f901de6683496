#pragma once

// Matrix products whose every element is the sum of its terms in ascending order, each product and
// each sum rounded by itself, on the calling thread. For what must come out like a plain loop.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// C[m × n] += A[m × k]·B[k × n], row-major, strides in elements. Complex products are full ones,
// with the recovery of infinities.
template <class T>
void add_unfused_product(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda,
                         const T* b, std::size_t ldb, T* c, std::size_t ldc);

// A tile of it: 4 rows of C, and 8 doubles of each, that is 8 real or 4 complex columns. Position p
// of A is at a + 4·p, of B at b + p times the tile's columns.
void avx2_unfused_tile(std::size_t depth, const double* a, const double* b, double* c,
                       std::size_t ldc);
// Interleaved, ldc in doubles.
void avx2_unfused_complex_tile(std::size_t depth, const double* a, const double* b, double* c,
                               std::size_t ldc);

} // namespace numerical::detail
