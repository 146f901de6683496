#include "numerical/eigen/merge_kernels.hpp"

namespace numerical::detail {
namespace {

double distance(const pole_root_pairs& pairs, double pole, std::size_t q)
{
    return (pole - pairs.origin[q]) - pairs.tau[q];
}

void multiply_ratios(double* product, const pole_root_pairs& pairs, std::size_t first,
                     std::size_t count, std::size_t from, std::size_t to)
{
    const double* const d = pairs.d + first;
    for (std::size_t j = from; j < to; ++j)
        for (std::size_t i = 0; i < count; ++i)
            product[i] *= distance(pairs, d[i], j) / (d[i] - pairs.d[j]);
}

void add_squares(double* sums, const pole_root_pairs& pairs, const double* z, std::size_t size,
                 std::size_t first, std::size_t count)
{
    for (std::size_t p = 0; p < size; ++p)
        for (std::size_t q = 0; q < count; ++q) {
            const double element = z[p] / distance(pairs, pairs.d[p], first + q);
            sums[q] += element * element;
        }
}

void divide_row(double* row, const pole_root_pairs& pairs, double z, double pole,
                const double* norms, std::size_t count)
{
    for (std::size_t q = 0; q < count; ++q)
        row[q] = z / distance(pairs, pole, q) / norms[q];
}

void multiply_paired_ratios(double* product, const pole_root_pairs& pairs, std::size_t first,
                            std::size_t count, std::size_t from, std::size_t to)
{
    const double* const d = pairs.d + first;
    std::size_t j = from;
    for (; j + 4 <= to; j += 4)
        for (std::size_t i = 0; i < count; ++i) {
            const double above = (distance(pairs, d[i], j) * distance(pairs, d[i], j + 1)) *
                                 (distance(pairs, d[i], j + 2) * distance(pairs, d[i], j + 3));
            const double below = ((d[i] - pairs.d[j]) * (d[i] - pairs.d[j + 1])) *
                                 ((d[i] - pairs.d[j + 2]) * (d[i] - pairs.d[j + 3]));
            product[i] *= above / below;
        }
    multiply_ratios(product, pairs, first, count, j, to);
}

void add_paired_squares(double* sums, const pole_root_pairs& pairs, const double* z,
                        std::size_t size, std::size_t first, std::size_t count)
{
    const std::size_t even = size / 2 * 2;
    for (std::size_t p = 0; p < even; p += 2)
        for (std::size_t q = 0; q < count; ++q) {
            const double x = distance(pairs, pairs.d[p], first + q);
            const double y = distance(pairs, pairs.d[p + 1], first + q);
            const double inverse = 1 / (x * y);
            const double over_x = (z[p] * y) * inverse;
            const double over_y = (z[p + 1] * x) * inverse;
            sums[q] += over_x * over_x;
            sums[q] += over_y * over_y;
        }
    const pole_root_pairs last{pairs.d + even, pairs.origin, pairs.tau};
    add_squares(sums, last, z + even, size - even, first, count);
}

void divide_row_at_once(double* row, const pole_root_pairs& pairs, double z, double pole,
                        const double* norms, std::size_t count)
{
    for (std::size_t q = 0; q < count; ++q)
        row[q] = z / (distance(pairs, pole, q) * norms[q]);
}

} // namespace

const merge_kernels portable_merge_kernels{multiply_ratios, add_squares, divide_row};
const merge_kernels portable_paired_merge_kernels{multiply_paired_ratios, add_paired_squares,
                                                  divide_row_at_once};

} // namespace numerical::detail
