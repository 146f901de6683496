#pragma once

// What a column of the reduction without panels (symmetric_steps.hpp) takes beside its pass: its
// row is brought up to date, its reflector scaled, and the pass's product made the next update's
// vector. Short runs over vectors that are in L1, several of which were one after the other. All
// are in whole blocks of step_block elements (symmetric_step.hpp), so that no form has remainders.
// Declarations only, so it may be included from any target.

#include <cstddef>

namespace numerical::detail {

// As a pass has them, conjugated, but that all may be written. Strip s of the pass has its y, and z
// after that, at y + s·step_of_y.
struct column_vectors
{
    double* v;
    double* w;
    double* x;
    double* y;
    std::size_t cols;
    std::size_t step_of_y;
};

// On the elements [from, to). Sums are taken in four vectors in turn, which are added by pairs and
// then folded by halves. The portable forms fuse nothing.
struct column_kernels
{
    // x := row - a·v - b·w, (a, b) being the coefficients. The sum of |x|².
    double (*take_row)(const double* row, const double* coefficients, const column_vectors& of,
                       std::size_t from, std::size_t to);

    // x := factor·x.
    void (*scale)(const column_vectors& of, double factor, std::size_t from, std::size_t to);

    // The y of the first strip becomes the product with x, of which `strips` of them are parts. The
    // real part of xᴴ·y, which has no other but for rounding, as the matrix is Hermitian.
    double (*add_strips)(const column_vectors& of, std::size_t strips, std::size_t from,
                         std::size_t to);

    // w := 2y - 2·projection·x.
    void (*follow)(const column_vectors& of, double projection, std::size_t from, std::size_t to);
};

column_kernels symmetric_column();
column_kernels avx2_symmetric_column();
column_kernels avx512_symmetric_column();

column_kernels hermitian_column();
column_kernels avx2_hermitian_column();
column_kernels avx512_hermitian_column();

} // namespace numerical::detail
