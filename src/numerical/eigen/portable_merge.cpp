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

} // namespace

const merge_kernels portable_merge_kernels{multiply_ratios, add_squares, divide_row};

} // namespace numerical::detail
