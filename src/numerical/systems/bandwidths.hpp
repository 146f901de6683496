#pragma once

// The widths of the band that a square matrix fills. T = double or std::complex<double>.

#include "numerical/gemm/block_view.hpp"

#include <cstddef>

namespace numerical {

// The largest distance of an element from the diagonal, below and above it.
struct bandwidths
{
    std::size_t lower;
    std::size_t upper;
};

// The bandwidths of the nonzero elements. Zeros are skipped 64 at a time, so that the matrix is
// read once at the speed of memory.
template <class T>
bandwidths bandwidths_of(detail::block_view<const T> a);

// Whether factoring the whole matrix is faster than factoring the band.
bool is_wide(const bandwidths& band, std::size_t order);

// ‖A‖₁ of the band of `a`; elements outside of it aren't read.
template <class T>
double one_norm_of_band(detail::block_view<const T> a, const bandwidths& band);

} // namespace numerical
