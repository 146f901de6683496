#pragma once

// The place of the largest magnitude, in an AVX2 and an AVX-512 form. Declarations only, so the
// header may be included from any target.

#include <cstddef>

namespace numerical::detail {

// The first i < n for which |x[i]| is the greatest; n > 0. NaNs are passed over, unless x[0] is
// one: then 0.
std::size_t avx2_first_largest(const double* x, std::size_t n);
std::size_t avx512_first_largest(const double* x, std::size_t n);

} // namespace numerical::detail
