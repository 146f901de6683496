#pragma once

// The one entry to the matrix product. All matrices are row-major, with strides in elements.

#include "numerical/gemm/product_operands.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/matrix.hpp"

#include <complex>
#include <cstddef>

namespace numerical::detail {

// C[m × n] += A[m × k] · B[k × n]. C holds meaningful values on entry; to compute C - A·B, negate
// one operand. The operands must not overlap; any size may be 0. The sum over k ascends for every
// element, and the result doesn't depend on the number of threads, only on the path.
template <class T>
void gemm(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda, const T* b,
          std::size_t ldb, T* c, std::size_t ldc);

// C[m × n] += Aᴴ · B for a row-major A[k × m], with the bits of gemm on a copy of Aᴴ. Meant for few
// rows of C, up to some dozens.
template <class T>
void gemm_adjoint(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda,
                  const T* b, std::size_t ldb, T* c, std::size_t ldc);

// C = A·B, whatever C held: the bits of gemm on zeros, without the pass of memory that writes them.
template <class T>
void gemm_new(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda, const T* b,
              std::size_t ldb, T* c, std::size_t ldc);

// As above, but always by tiles, and for a column-major B with leading dimension ldb: packing
// transposes it.
void gemm_new_by_columns(std::size_t m, std::size_t n, std::size_t k, const double* a,
                         std::size_t lda, const double* b, std::size_t ldb, double* c,
                         std::size_t ldc);

struct batch_sizes
{
    std::size_t batches;
    std::size_t m;
    std::size_t n;
    std::size_t k;
};

// C = A·B for each of a batch, whose matrices lie dense and one after the other.
template <class T>
void gemm_batch(const batch_sizes& sizes, const T* a, const T* b, T* c);

// The same with dense A and B that lie `steps` apart; a step of 0 repeats an operand.
template <class T>
void gemm_batch_by_steps(const batch_sizes& sizes, const batch_steps& steps, const T* a, const T* b,
                         T* c);

// C = (A·B)ᵀ for each of a batch of products of at most this many elements: each is transposed
// while it is in L1.
constexpr std::size_t most_transposed = 4096;
template <class T>
void gemm_batch_transposed(const batch_sizes& sizes, const T* a, const T* b, T* c);

// The product, summed in the order that its sizes select (summation.hpp).
template <class T>
void any_product(const product_operands<T>& p);

// The same, summed in a given order: for parts of a product, whose whole size decides.
void product_in_order(summation order, const product_operands<double>& p);

// The complex product as two real ones, on B and C where they lie, real and imaginary parts
// interleaved, so that real tiles do the work:
//
//     C += Re A · B + Im A · iB
//
// To each element of C a block of up to 256 positions adds first its products with the real parts
// of A, then those with the imaginary ones. Infinities and NaN behave as real arithmetic makes
// them: no infinity is recovered.
constexpr std::size_t split_depth = 256;
constexpr std::size_t split_cols = 512;
void gemm_split(const product_operands<std::complex<double>>& p);

} // namespace numerical::detail

namespace numerical {

// a·b; dimension_error "matrix–matrix product: inner dimensions differ".
template <class T>
matrix<T> operator*(const matrix<T>& a, const matrix<T>& b);

} // namespace numerical
