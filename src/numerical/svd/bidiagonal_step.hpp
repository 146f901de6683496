#pragma once

// The two passes that a step of the reduction to bidiagonal form takes over a tile of columns. The
// first brings the tile up to date, A := A - u·yᵀ - x·vᴴ, and multiplies it by the next left
// reflector while its elements are in registers (Howell, Demmel, Fulton, Hammarling and Marmol
// 2008); the second finds it in the cache, and multiplies it from the right. Then what follows for
// the column after. Declarations only, so it may be included from any target.
//
// Rows are taken by blocks, as the lanes of vectors: a block of a tile has eight numbers of one of
// its columns, then eight of the next one. Of complex numbers the eight real parts precede the
// eight imaginary ones, so that a product of complex numbers is four of doubles. Vectors along the
// rows lie in such blocks, too. `parts` is 1 or, if complex, 2.

#include <cstddef>

namespace numerical::detail {

constexpr std::size_t step_row_block = 8;
constexpr std::size_t step_block_doubles = 64; // of a block of a tile

// `rows` of a tile, a multiple of step_row_block.
struct step_tile
{
    double* first;
    std::size_t rows;
};

// Along the rows of the tile.
struct step_columns
{
    const double* u;
    const double* x;
    const double* next;
};

// Of the tile's columns, v conjugated: the parts of a number after each other.
struct step_rows
{
    const double* y;
    const double* v;
};

// `sums` receives what the columns' products with the conjugate of `next` are, each the sum of
// eight, of the rows that have the same place in their blocks, by halves.
using step_update = void (*)(const step_tile& tile, const step_columns& columns,
                             const step_rows& rows, double* sums);

// products += the tile times `weights`, of the even columns, then of the odd ones.
using step_product = void (*)(const step_tile& tile, const double* weights, double* products);

// A column of the matrix, as a tile has it, and its products, along the same rows.
struct step_followed
{
    const double* in_tile;
    const double* products; // of the matrix and the row after its left reflection
    const double* next;
    std::size_t rows;
};

// Numbers of one or two parts, but for the scale.
struct step_scalars
{
    const double* share_of_first;
    const double* along;
    const double* y;
    const double* v;
    double scale;
};

// x := 2·(scale·(products - share_of_first·c) - along·next) for the column c in the tile, and
// column := c - y·next - v·x.
using step_follow = void (*)(const step_followed& of, const step_scalars& by, double* x,
                             double* column);

// Products are fused but in the portable form.
struct bidiagonal_step_kernels
{
    step_update update;
    step_product multiply;
    step_follow follow;
};

extern const bidiagonal_step_kernels real_step;
extern const bidiagonal_step_kernels avx2_real_step;
extern const bidiagonal_step_kernels avx512_real_step;
extern const bidiagonal_step_kernels complex_step;
extern const bidiagonal_step_kernels avx2_complex_step;
extern const bidiagonal_step_kernels avx512_complex_step;

} // namespace numerical::detail
