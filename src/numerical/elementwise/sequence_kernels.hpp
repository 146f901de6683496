#pragma once

#include <cstddef>

namespace numerical::detail {

// out[j] = fma(delta, first + j, start) for n elements, n below 2^31 and first + n below 2^53.
void fused_sequence(double delta, double first, double start, double* out, std::size_t n);
void avx2_fused_sequence(double delta, double first, double start, double* out, std::size_t n);

} // namespace numerical::detail
