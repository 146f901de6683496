#include "numerical/svd/arrow_deflation.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/order.hpp"
#include "numerical/eps.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

// Both columns now have nonzeros wherever either had.
void unite(std::vector<unsigned int>& types, std::size_t a, std::size_t b)
{
    types[a] |= types[b];
    types[b] = types[a];
}

} // namespace

arrow_deflation::arrow_deflation(const aligned_vector<double>& diagonal, torn_problem& torn,
                                 std::size_t m)
    : left_type(diagonal.size(), lower_rows), right_type(m, lower_rows)
{
    const std::size_t n = diagonal.size();
    const std::size_t k = torn.k;
    aligned_vector<double>& z = torn.z;
    std::fill_n(left_type.begin() + 1, k, upper_rows);
    std::fill_n(right_type.begin() + 1, k, upper_rows);
    left_type[0] = torn_row;
    right_type[0] = upper_rows | lower_rows;

    double largest = std::max(std::abs(torn.alpha), std::abs(torn.beta));
    for (const double value : diagonal)
        largest = std::max(largest, value);
    const double tolerance = 8 * eps * largest;
    if (tolerance >= std::abs(z[0]))
        z[0] = tolerance; // so that the arrow always has a first row

    partition.active.push_back(0);
    std::size_t prev = n; // the last column not yet decided; n for none
    for (const std::size_t column : ascending_order(diagonal)) {
        if (column == 0)
            continue;
        if (tolerance >= std::abs(z[column])) {
            partition.deflated.push_back(column);
        } else if (tolerance >= diagonal[column]) {
            deflate_against_first(z, column);
        } else {
            if (prev != n && tolerance >= diagonal[column] - diagonal[prev])
                deflate_pair(z, prev, column);
            else if (prev != n)
                partition.active.push_back(prev);
            prev = column;
        }
    }
    if (prev != n)
        partition.active.push_back(prev);
}

// Of the right basis alone: with both diagonal entries zero only columns of the arrow meet.
void arrow_deflation::deflate_against_first(aligned_vector<double>& z, std::size_t column)
{
    const double length = std::hypot(z[0], z[column]);
    right_rotations.push_back(
        {.first = 0, .second = column, .c = z[0] / length, .s = z[column] / length});
    unite(right_type, 0, column);
    z[0] = length;
    z[column] = 0;
    partition.deflated.push_back(column);
}

void arrow_deflation::deflate_pair(aligned_vector<double>& z, std::size_t prev, std::size_t column)
{
    const double length = std::hypot(z[column], z[prev]);
    const column_rotation rotation{
        .first = column, .second = prev, .c = z[column] / length, .s = z[prev] / length};
    left_rotations.push_back(rotation);
    right_rotations.push_back(rotation);
    unite(left_type, prev, column);
    unite(right_type, prev, column);
    z[column] = length;
    z[prev] = 0;
    partition.deflated.push_back(prev);
}

} // namespace numerical::detail
