#pragma once

// The two passes that a step of the reduction to bidiagonal form takes over a tile of columns. The
// first brings the tile up to date, A := A - u·yᵀ - x·vᴴ, and multiplies it by the next left
// reflector while its elements are in registers (Howell, Demmel, Fulton, Hammarling and Marmol
// 2008); the second finds it in the cache, and multiplies it from the right. Declarations only, so
// it may be included from any target.
//
// All is in doubles, complex elements being interleaved (real, imaginary): a product with a complex
// number is one with its real part, and one of i times the other factor with its imaginary part.
// `parts` is 1 or 2.

#include <cstddef>

namespace numerical::detail {

// A tile's rows are contiguous, one after the other, and taken by blocks.
constexpr std::size_t step_tile_doubles = 16;
constexpr std::size_t step_row_block = 8;

// `rows` of a tile, a multiple of step_row_block.
struct step_tile
{
    double* first;
    std::size_t rows;
};

// Of each row of the tile, `parts` doubles.
struct step_columns
{
    const double* u;
    const double* x;
    const double* next;
};

// Of the tile's columns: lines of step_tile_doubles. Part 0 of y is y itself and, if complex, part
// 1 i·y, a stride after it; so too of v, conjugated.
struct step_lines
{
    const double* y;
    const double* v;
    std::size_t stride;
};

// `sums` receives the sum of the rows times next's real parts and, if
// complex, times its imaginary parts, even and odd rows being summed apart where there is one part.
using step_update = void (*)(const step_tile& tile, const step_columns& columns,
                             const step_lines& lines, double* sums);

// products[p·stride + i] += the sum of row i times line p of `weights`, for each of the parts.
using step_product = void (*)(const step_tile& tile, const double* weights, double* products,
                              std::size_t stride);

// Products are fused but in the portable form.
struct bidiagonal_step_kernels
{
    step_update update;
    step_product multiply;
};

extern const bidiagonal_step_kernels real_step;
extern const bidiagonal_step_kernels avx2_real_step;
extern const bidiagonal_step_kernels avx512_real_step;
extern const bidiagonal_step_kernels complex_step;
extern const bidiagonal_step_kernels avx2_complex_step;
extern const bidiagonal_step_kernels avx512_complex_step;

} // namespace numerical::detail
