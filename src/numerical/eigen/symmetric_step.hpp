#pragma once

// A step of the reduction of a Hermitian matrix to tridiagonal form, in one pass over the matrix:
// it is brought up to date with the last reflector, A := A - v·wᴴ - w·vᴴ, and multiplied by the
// next one, y := y + A·x, while its elements are in registers (Van Zee et al. 2012). The matrix is
// held by its upper triangle, of which an element serves twice, as itself and as its mirror image's
// conjugate. Its blocks of eight rows and columns at the diagonal are whole. Declarations only, so
// it may be included from any target.

#include <cstddef>

namespace numerical::detail {

constexpr std::size_t step_block = 8;

// Rows [from, to) of a matrix, from the diagonal block to column `cols`; all three are multiples of
// step_block. Counts and strides are in elements; complex data is interleaved (real, imaginary).
struct step_rows
{
    double* matrix;
    std::size_t stride;
    std::size_t from;
    std::size_t to;
    std::size_t cols;
};

// Of as many elements as the matrix has columns, by the indices of the matrix, and conjugated.
struct step_vectors
{
    const double* v;
    const double* w;
    const double* x;
    double* y;
};

// Products are fused but in the portable form. The rows' part of y is added in the order of the
// blocks, so that the bits depend on how the rows are divided among calls.
using step_kernel = void (*)(const step_rows& rows, const step_vectors& vectors);
void run_symmetric_step(const step_rows& rows, const step_vectors& vectors);
void avx2_run_symmetric_step(const step_rows& rows, const step_vectors& vectors);
void avx512_run_symmetric_step(const step_rows& rows, const step_vectors& vectors);

// The same of complex elements, but that y is followed by another vector z, `cols` elements after
// it: what is added to A·x is conj(y) and z with its parts exchanged.
void run_hermitian_step(const step_rows& rows, const step_vectors& vectors);
void avx2_run_hermitian_step(const step_rows& rows, const step_vectors& vectors);
void avx512_run_hermitian_step(const step_rows& rows, const step_vectors& vectors);

} // namespace numerical::detail
