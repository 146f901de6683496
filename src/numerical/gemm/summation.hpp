#pragma once

// The order in which a product is summed, which gemm chooses by the sizes: by tiles with fused
// multiply-adds on the vector paths, or by rows with each product and each sum rounded. A caller
// that cuts a product into parts must sum each part as the whole is summed, or its bits would
// depend on the cut. These are the questions that it asks; no other place knows where the choice
// changes.

#include "numerical/counts.hpp"

#include <cstddef>
#include <type_traits>

namespace numerical::detail {

enum class summation { by_rows, by_tiles };

// C[m × n] += A[m × k] · B[k × n].
struct product_sizes
{
    std::size_t m;
    std::size_t n;
    std::size_t k;
};

// Tiles pay from this many inner positions and about this many multiply-adds on.
constexpr std::size_t least_tile_depth = 8;
constexpr std::size_t least_tile_products = 512;

constexpr summation summation_of(const product_sizes& p)
{
    const bool pays = p.k >= least_tile_depth && p.m * p.n >= ceil_div(least_tile_products, p.k);
    return pays ? summation::by_tiles : summation::by_rows;
}

constexpr bool summed_by_tiles(std::size_t m, std::size_t n, std::size_t k)
{
    return summation_of({m, n, k}) == summation::by_tiles;
}

// A C of at least this many elements is summed in an order that the depth alone decides.
constexpr std::size_t depth_decides_from = least_tile_products / least_tile_depth;

// Whether products by tiles may be cut and joined along the inner dimension without another order:
// real ones, which add to each element in ascending order. Complex ones sum real and imaginary
// parts by blocks of positions.
template <class T>
constexpr bool depth_is_free = std::is_same_v<T, double>;

// A product with no size below this one is summed by tiles, as is any larger one; so are the blocks
// of a complex product, of which the last may have any depth (gemm_split).
constexpr std::size_t least_tile_side = 8;
static_assert(least_tile_side * least_tile_side * least_tile_side >= least_tile_products);
static_assert(least_tile_side >= least_tile_depth);

constexpr bool summed_as_any_larger(const product_sizes& p)
{
    return p.m >= least_tile_side && p.n >= least_tile_side && p.k >= least_tile_side;
}

} // namespace numerical::detail
