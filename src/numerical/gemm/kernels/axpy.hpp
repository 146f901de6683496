#pragma once

// y[i] = alpha·x[i] + y[i], fused. Declarations only, so the header may be included from any
// target.

#include <cstddef>

namespace numerical::detail {

void avx2_scaled_add(double* y, const double* x, double alpha, std::size_t n);
void avx512_scaled_add(double* y, const double* x, double alpha, std::size_t n);

} // namespace numerical::detail
