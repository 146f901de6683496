#include "numerical/svd/arrow_kernels.hpp"

namespace numerical::detail {
namespace {

double distance(const pole_value_pairs& pairs, double pole, std::size_t q)
{
    return ((pole - pairs.origin[q]) - pairs.gap[q]) * ((pole + pairs.origin[q]) + pairs.gap[q]);
}

void multiply_ratios(double* square, const pole_value_pairs& pairs, std::size_t first,
                     std::size_t count, std::size_t from, std::size_t to)
{
    const double* const d = pairs.d + first;
    for (std::size_t j = from; j < to; ++j)
        for (std::size_t i = 0; i < count; ++i)
            square[i] *= distance(pairs, d[i], j) / ((d[i] - pairs.d[j]) * (d[i] + pairs.d[j]));
}

void fill_row(const arrow_row& row, const pole_value_pairs& pairs, std::size_t first,
              std::size_t count)
{
    for (std::size_t q = 0; q < count; ++q) {
        const double x = row.z / distance(pairs, row.pole, first + q);
        const double of_left = row.pole * x;
        row.elements[q] = x;
        row.right_squares[q] += x * x;
        row.left_squares[q] += of_left * of_left;
    }
}

void normalise_row(double* out, const double* row, double scale, const double* norms,
                   std::size_t count)
{
    for (std::size_t q = 0; q < count; ++q)
        out[q] = scale * row[q] / norms[q];
}

} // namespace

const arrow_kernels portable_arrow_kernels{multiply_ratios, fill_row, normalise_row};

} // namespace numerical::detail
