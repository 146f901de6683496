#pragma once

// The inner loops of element-wise arithmetic, in one build for every processor and one for AVX2.
// Both are compiled from arithmetic_loops.hpp and give the same bits. Declarations only, so that
// the header may be included from any target.

#include <cstddef>

namespace numerical::detail {

// out[j] = left[j] op right[j] for n elements, where an operand that does not move gives its first
// element to all. Complex numbers are pairs of doubles, and n counts the numbers. `out` overlaps
// neither operand.
using arithmetic_row = void (*)(const double* left, const double* right, double* out,
                                std::size_t n);

// One row loop for each row_form: both operands move, only the left one, only the right one.
struct arithmetic_rows
{
    arithmetic_row by_form[3];
};

struct arithmetic_kernels
{
    arithmetic_rows real[4];    // + - * /
    arithmetic_rows complex[3]; // + - and * by the quick formula, NaN not recovered
    bool (*any_nan)(const double* x, std::size_t n);
    void (*square_roots)(const double* x, double* out, std::size_t n);
    void (*magnitudes)(const double* x, double* out, std::size_t n);
};

extern const arithmetic_kernels portable_arithmetic;
extern const arithmetic_kernels avx2_arithmetic;

// Those of the current path.
const arithmetic_kernels& arithmetic_in_force();

} // namespace numerical::detail
