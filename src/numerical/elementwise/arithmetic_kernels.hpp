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

// The same for complex products by the textbook formula (ac - bd) + (ad + bc)i, or for quotients by
// Smith's. Whether one of them may have to be recovered by the rules of C: a product of which a
// part came out NaN, a quotient of parts so large or small that it is scaled.
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

// There is no portable form of these: the cost of C's rules is small against the divisions.
extern const rows_by_form<checked_row> avx2_unfused_complex_quotients;

// Quotients and roots, which the processor is busy with rather than the memory, eight at a time.
extern const rows_by_form<arithmetic_row> avx512_quotients;
void avx512_square_roots(const double* x, double* out, std::size_t n);

// The kernels of the current path, the last three apart.
const arithmetic_kernels& arithmetic_in_force();

} // namespace numerical::detail
