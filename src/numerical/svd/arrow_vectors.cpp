#include "numerical/svd/arrow_vectors.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/secular.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace numerical::detail {
namespace {

constexpr std::size_t block_columns = 32;

const arrow_kernels& kernels_in_force()
{
    return gemm_path_current() == portable_path ? portable_arrow_kernels
                                                : avx2_unfused_arrow_kernels;
}

// From a root's origin to the value. The root is the distance of their squares.
double gap_of(double origin, double root)
{
    return root / (std::sqrt(origin * origin + root) + origin);
}

// Runs body(columns) for blocks of the columns, each of which meets `depth` rows. An element takes
// some operations and part of a division.
template <class F>
void for_column_blocks(std::size_t columns, std::size_t depth, const F& body)
{
    const auto run_block = [&](std::size_t b) {
        const std::size_t from = b * block_columns;
        body(index_range{from, std::min(from + block_columns, columns)});
    };
    constexpr std::size_t work_of_element = 4;
    parallel_for(ceil_div(columns, block_columns), work_of_element * depth * block_columns,
                 run_block);
}

// The z for which the computed values are exact (Gu and Eisenstat 1994): its squares are the
// products over the values of the distances to them, divided by those between the poles. The
// distance to the own value comes first, without a divisor.
aligned_vector<double> rebuilt_z(const small_arrow& arrow)
{
    const arrow_kernels& kernels = kernels_in_force();
    aligned_vector<double> z(arrow.size());
    for_column_blocks(arrow.size(), arrow.size(), [&](index_range poles) {
        std::array<double, block_columns> square;
        for (std::size_t i = poles.first; i < poles.last; ++i) {
            const double origin = arrow.origin[i];
            const double gap = arrow.gap[i];
            square[i - poles.first] =
                -(((arrow.d[i] - origin) - gap) * ((arrow.d[i] + origin) + gap));
        }
        const auto multiply = [&](std::size_t from, std::size_t to) {
            kernels.multiply_ratios(square.data(), arrow.pairs(), poles.first, poles.count(), from,
                                    to);
        };
        multiply(0, poles.first);
        for (std::size_t j = poles.first; j < poles.last; ++j) { // pole j but for its own value
            const double own = square[j - poles.first];
            multiply(j, j + 1);
            square[j - poles.first] = own;
        }
        multiply(poles.last, arrow.size());
        for (std::size_t i = poles.first; i < poles.last; ++i)
            z[i] = std::copysign(std::sqrt(square[i - poles.first]), arrow.z[i]);
    });
    return z;
}

} // namespace

small_arrow solve_arrow(const aligned_vector<double>& diagonal, const aligned_vector<double>& z,
                        const std::vector<std::size_t>& active)
{
    const std::size_t size = active.size();
    small_arrow arrow;
    for (const std::size_t column : active) {
        arrow.d.push_back(diagonal[column]);
        arrow.z.push_back(z[column]);
    }
    const squared_poles poles{
        .d = arrow.d.data(), .z = arrow.z.data(), .count = size, .weight = 1.0};
    std::vector<secular_root> roots(size);
    solve_secular_equation(poles, roots.data());
    for (const auto& [nearest, tau] : roots) {
        const double origin = arrow.d[nearest];
        const double gap = gap_of(origin, tau);
        arrow.origin.push_back(origin);
        arrow.gap.push_back(gap);
        arrow.values.push_back(origin + gap);
    }
    return arrow;
}

arrow_vectors::arrow_vectors(const small_arrow& arrow, index_range values, column_order order,
                             double* store)
    : of(arrow), count(values.count()),
      origin(arrow.origin.data() + values.first, arrow.origin.data() + values.last),
      gap(arrow.gap.data() + values.first, arrow.gap.data() + values.last), right(store),
      right_norms(count), left_norms(count)
{
    if (order == column_order::descending) {
        std::reverse(origin.begin(), origin.end());
        std::reverse(gap.begin(), gap.end());
    }
    const aligned_vector<double> z = rebuilt_z(arrow);
    for_column_blocks(count, arrow.size(), [&](index_range columns) { fill_columns(columns, z); });
}

// Sums of squares take the rows in order. The first row's pole is 0, and adds nothing to the left
// sums, which begin with the square of -1.
void arrow_vectors::fill_columns(index_range columns, const aligned_vector<double>& z)
{
    const arrow_kernels& kernels = kernels_in_force();
    std::array<double, block_columns> right_squares{};
    std::array<double, block_columns> left_squares;
    left_squares.fill(1);
    for (std::size_t i = 0; i < of.size(); ++i)
        kernels.fill_row({.pole = of.d[i],
                          .z = z[i],
                          .elements = right + i * count + columns.first,
                          .right_squares = right_squares.data(),
                          .left_squares = left_squares.data()},
                         {of.d.data(), origin.data(), gap.data()}, columns.first, columns.count());
    for (std::size_t q = 0; q < columns.count(); ++q) {
        right_norms[columns.first + q] = std::sqrt(right_squares[q]);
        left_norms[columns.first + q] = std::sqrt(left_squares[q]);
    }
}

small_vector_rows arrow_vectors::right_rows() const
{
    return [this, &kernels = kernels_in_force()](std::size_t i, double* row) {
        kernels.normalise_row(row, right + i * count, 1.0, right_norms.data(), count);
    };
}

small_vector_rows arrow_vectors::left_rows() const
{
    return [this, &kernels = kernels_in_force()](std::size_t i, double* row) {
        if (i == 0)
            std::transform(left_norms.begin(), left_norms.end(), row,
                           [](double norm) { return -1.0 / norm; });
        else
            kernels.normalise_row(row, right + i * count, of.d[i], left_norms.data(), count);
    };
}

} // namespace numerical::detail
