#pragma once

// The way of gemm for products with a vector, n = 1 or m = 1: the matrix is read once, where it
// lies, at the speed of memory. A tile would leave most of its lanes empty and packing would read
// and write the matrix once more. The bits are those of the tiles.

#include "numerical/gemm/product_operands.hpp"

#include <complex>
#include <cstddef>

namespace numerical::detail {

// Such a product takes as long as the matrix comes from memory: about half a unit of a parallel
// loop's work for each element.
constexpr std::size_t products_per_unit = 2;

// Whether a product that suits tiles is one with a vector and the current path has this way.
template <class T>
bool is_vector_product(const product_operands<T>& p);

void multiply_vector(const product_operands<double>& p);

// To each element of C a block of up to `block_depth` positions adds first its products with the
// real parts of A, then those with the imaginary ones.
void multiply_vector(const product_operands<std::complex<double>>& p, std::size_t block_depth);

} // namespace numerical::detail
