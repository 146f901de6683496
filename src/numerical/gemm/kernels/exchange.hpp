#pragma once

// Two runs of n doubles, which don't overlap, change places. Declarations only, so the header may
// be included from any target.

#include <cstddef>

namespace numerical::detail {

void avx2_exchange(double* x, double* y, std::size_t n);
void avx512_exchange(double* x, double* y, std::size_t n);

} // namespace numerical::detail
