#pragma once

// Products whose every element is the sum of its terms in ascending order, each product and each
// sum rounded: the arithmetic of plain loops, the same bits in every form. Declarations only, so
// the header may be included from any target.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// How the products enter C.
enum class unfused_update { overwrite, add, subtract };

// C = A·B, C += A·B or C -= A·B with C[rows × cols], `depth` terms each, l ascending:
//
//     c[i·ldc + j] (+)(-)= a[i·a_row + l·a_step]·b[l·ldb + j]
//
// Counts and strides are in elements; the operands don't overlap.
template <class T>
struct unfused_operands
{
    std::size_t rows;
    std::size_t cols;
    std::size_t depth;
    const T* a;
    std::size_t a_row;
    std::size_t a_step;
    const T* b;
    std::size_t ldb;
    T* c;
    std::size_t ldc;
    unfused_update update;
};

// The vector forms keep tiles of C in registers while they go over the terms. They multiply complex
// numbers by the textbook formula, which equals the product of C99 Annex G unless a NaN comes out:
// a tile with a NaN is left to plain_unfused.
void portable_unfused(const unfused_operands<double>& p);
void portable_unfused(const unfused_operands<std::complex<double>>& p);
void avx2_unfused(const unfused_operands<double>& p);
void avx2_unfused(const unfused_operands<std::complex<double>>& p);
void avx512_unfused(const unfused_operands<double>& p);
void avx512_unfused(const unfused_operands<std::complex<double>>& p);

// The plain loops, with the recovery of infinities.
void plain_unfused(const unfused_operands<std::complex<double>>& p);

// The form of a path.
template <class T>
void multiply_unfused(int path, const unfused_operands<T>& p);

// Rows of a form's tallest tile: the height of a packed panel of A.
constexpr std::size_t unfused_tile_rows = 4;
constexpr std::size_t avx512_unfused_tile_rows = 16;

} // namespace numerical::detail
