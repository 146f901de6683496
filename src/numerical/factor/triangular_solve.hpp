#pragma once

// Systems with a large triangle and any number of right-hand sides: blocks of the triangle are
// substituted, and products subtract their solutions from the other rows. Backward stable for each
// right-hand side (Higham 2002, section 8.1), unlike a product with the triangle's inverse. T =
// double or std::complex<double>. Nothing is checked: a zero on the diagonal gives infinities or
// NaN.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/block_sums.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// Where the last of the blocks of `width` that tile [0, end) begins.
inline std::size_t last_block(std::size_t end, std::size_t width)
{
    return (end - 1) / width * width;
}

// substitute(tile) for each tile of 64 columns of a row of blocks; a tile writes its own columns.
template <class T, class F>
void for_each_tile(block_view<T> x, const F& substitute)
{
    const auto substitute_tile = [&](std::size_t t) {
        const std::size_t from = triangular_tile * t;
        const std::size_t to = std::min(from + triangular_tile, x.cols);
        on_well_strided(x.sub(0, x.rows, from, to), substitute);
    };
    parallel_for(triangular_tiles(x.cols), substitution_work<T>(x.rows), substitute_tile);
}

// Half of n > block unknowns, in whole blocks and no more of these than the other half has.
constexpr std::size_t half_in_blocks(std::size_t n, std::size_t block)
{
    return ceil_div(n, block) / 2 * block;
}

// The part of n > block unknowns that a lower triangle is cut into first: half of them, or one
// block where the depth isn't free. Either way, and for any such cut, an element's sum has the same
// order.
template <class T>
constexpr std::size_t first_part(std::size_t n, std::size_t block)
{
    return depth_is_free<T> ? half_in_blocks(n, block) : block;
}

// X1 -= A·X0. The smaller operand is negated, into storage that is reused.
template <class T>
void subtract_product(aligned_vector<T>& negative, block_view<const T> a,
                      block_view<const std::type_identity_t<T>> x0, block_view<T> x1);

// X := L⁻¹·X, L the unit lower triangle of `l`.
template <class T>
void solve_unit_lower(block_view<const T> l, std::size_t block, block_view<T> x,
                      block_sums sums = block_sums::in_order);

// X := L⁻¹·X, where X holds the columns of the identity from `first` on. Only rows and columns that
// aren't zero are computed.
template <class T>
void invert_unit_lower(block_view<const T> l, std::size_t block, std::size_t first,
                       block_view<T> x);

// X := U⁻¹·X, U the upper triangle of `u`, from the last block of rows to the first.
template <class T>
void solve_upper(block_view<const T> u, std::size_t block, block_view<T> x,
                 block_sums sums = block_sums::in_order);

// X := L⁻¹·X, L the lower triangle of `l`, from the first block of rows to the last.
template <class T>
void solve_lower(block_view<const T> l, std::size_t block, block_view<T> x);

} // namespace numerical::detail
