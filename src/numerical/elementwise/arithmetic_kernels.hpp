#pragma once

// The inner loops of element-wise arithmetic, in one build for every processor and one for AVX2.
// Both are compiled from arithmetic_loops.hpp and give the same bits. Declarations only, so that
// the header may be included from any target.

#include <cstddef>

namespace numerical::detail {

// out[j] = left[j] op right[j] for n elements; an operand that doesn't move is a single element for
// all j. Complex numbers are pairs of doubles, and n counts the numbers. `out` overlaps neither
// operand.
using arithmetic_row = void (*)(const double* left, const double* right, double* out,
                                std::size_t n);

// Complex products by the textbook formula (ac - bd) + (ad + bc)i, or quotients by Smith's. Returns
// whether a result may differ from that of C99 Annex G: a product with a NaN part, a quotient of
// numbers so large or small that C scales them.
using checked_row = bool (*)(const double* left, const double* right, double* out, std::size_t n);

// One loop for each row_form: both operands move, only the left one, only the right one.
template <class Row>
struct rows_by_form
{
    Row by_form[3];
};

struct arithmetic_kernels
{
    rows_by_form<arithmetic_row> real[4];    // + - * /
    rows_by_form<arithmetic_row> complex[2]; // + -
    rows_by_form<checked_row> products;
    void (*negatives)(const double* x, double* out, std::size_t n);
    void (*square_roots)(const double* x, double* out, std::size_t n);
    void (*magnitudes)(const double* x, double* out, std::size_t n);
};

extern const arithmetic_kernels portable_arithmetic;
extern const arithmetic_kernels avx2_unfused_arithmetic;

// Without a portable form: there the cost of C's rules is small compared to that of the divisions.
extern const rows_by_form<checked_row> avx2_unfused_complex_quotients;

// Quotients and roots, eight at a time: they are bound by the processor, not by memory.
extern const rows_by_form<arithmetic_row> avx512_quotients;
void avx512_square_roots(const double* x, double* out, std::size_t n);

// The kernels of the current path, except the three declared above.
const arithmetic_kernels& arithmetic_in_force();

} // namespace numerical::detail
