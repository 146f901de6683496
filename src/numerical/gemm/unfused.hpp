#pragma once

// Products whose every element is the sum of its terms in ascending order, each product and each
// sum rounded, on every path, complex products with C99's recovery of infinities: for what must
// come out like a plain loop, and for products too small or too thin for tiles with fused sums.
// T = double or std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/product_operands.hpp"

#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// C[m × n] += A[m × k] · B[k × n], row by row; groups of rows run in parallel.
template <class T>
void gemm_rows(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda, const T* b,
               std::size_t ldb, T* c, std::size_t ldc);
template <class T>
void multiply_rows(const product_operands<T>& p);

// out[j] -= sum over t of coeffs[t]·rows[t·row_stride + j], on the calling thread.
template <class T>
void subtract_unfused(int path, T* out, const T* coeffs, const T* rows, std::size_t row_stride,
                      std::size_t terms, std::size_t n);

// A·B and A·Bᴴ, by rows, in packed blocks on the calling thread.
template <class T>
aligned_vector<T> unfused_product(block_view<const T> a,
                                  block_view<const std::type_identity_t<T>> b);
template <class T>
aligned_vector<T> unfused_product_with_adjoint(block_view<const T> a,
                                               block_view<const std::type_identity_t<T>> b);

} // namespace numerical::detail
