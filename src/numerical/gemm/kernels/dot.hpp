#pragma once

// Dots, in three forms. Declarations only, so the header may be included from any target. The order
// of summation depends on the form and on n, never on the alignment.

#include <cstddef>

namespace numerical::detail {

// The sum of a[i]·b[i]. Four vector accumulators take the vectors in turn; each is folded by
// halves, the four added in order (portable: the eight lanes in order). Then the rest in ascending
// order: up to the last multiple of four rounded twice, beyond it fused. The portable form fuses
// nothing.
template <class T>
T dot_product(const T* a, const T* b, std::size_t n); // portable for double, no other instance
double avx2_dot(const double* a, const double* b, std::size_t n);
double avx512_dot(const double* a, const double* b, std::size_t n);

// The dots of two runs of n complex numbers, (real, imaginary), that lie end to end: ascending, by
// the textbook formula, each operation rounded.
void avx2_unfused_two_complex_dots(const double* a, const double* b, std::size_t n, double* out);

} // namespace numerical::detail
