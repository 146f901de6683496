#pragma once

// The widths of the band that a square matrix fills, and what follows from them alone.
// T = double or std::complex<double>.

#include "numerical/gemm/block_view.hpp"

#include <cstddef>

namespace numerical {

// The greatest distance of an element from the diagonal, below and above it.
struct bandwidths
{
    std::size_t lower;
    std::size_t upper;
};

// Of the elements that aren't zero. Zeros are skipped 64 at a time, so that the matrix is read
// once at the speed of the memory.
template <class T>
bandwidths bandwidths_of(detail::block_view<const T> a);

// Whether the whole matrix is factored sooner than the band.
bool is_wide(const bandwidths& band, std::size_t order);

// ‖A‖₁ of the matrix whose elements are those of `a` in the band, and no others.
template <class T>
double one_norm_of_band(detail::block_view<const T> a, const bandwidths& band);

} // namespace numerical
