#pragma once

// The loops over pairs of poles and values in a merge of the singular values, which divisions
// bound, in two forms with the same bits: nothing is fused, and every element has its own order.
// Value q is origin[q] + gap[q]. The distance of a pole x from it is that of their squares,
// ((x - origin[q]) - gap[q])·((x + origin[q]) + gap[q]).
// Declarations only, so it may be included from any target.

#include <cstddef>

namespace numerical::detail {

// Poles d and values of an arrow. Borrowed.
struct pole_value_pairs
{
    const double* d;
    const double* origin;
    const double* gap;
};

// A row of a right basis, that of one pole, and the sums of squares of the columns.
struct arrow_row
{
    double pole;
    double z;
    double* elements;
    double* right_squares;
    double* left_squares;
};

struct arrow_kernels
{
    // square[i] *= distance(d[first + i], value j)/((d[first + i] - d[j])·(d[first + i] + d[j]))
    // for i < count, j ascending over [from, to).
    void (*multiply_ratios)(double* square, const pole_value_pairs& pairs, std::size_t first,
                            std::size_t count, std::size_t from, std::size_t to);

    // For q < count, with x = z/distance(pole, value first + q): elements[q] = x,
    // right_squares[q] += x², left_squares[q] += (pole·x)².
    void (*fill_row)(const arrow_row& row, const pole_value_pairs& pairs, std::size_t first,
                     std::size_t count);

    // out[q] = (scale·row[q])/norms[q] for q < count.
    void (*normalise_row)(double* out, const double* row, double scale, const double* norms,
                          std::size_t count);
};

extern const arrow_kernels portable_arrow_kernels;
extern const arrow_kernels avx2_unfused_arrow_kernels;

} // namespace numerical::detail
