#include "numerical/svd/arrow_vectors.hpp"

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace numerical::detail {
namespace {

constexpr std::size_t vector_block = 32;

// From the root's origin to the value.
double gap_of(const small_arrow& arrow, const secular_root& root)
{
    const double origin = arrow.d[root.origin];
    return root.tau / (std::sqrt(origin * origin + root.tau) + origin);
}

// Row j of `distances` receives dᵢ² - σⱼ², formed as (dᵢ - σⱼ)·(dᵢ + σⱼ), each factor from the
// differences and sums with the nearest pole, so that no digit is lost.
void fill_distances(const small_arrow& arrow, double* distances)
{
    const std::size_t size = arrow.size();
    const auto fill_row = [&](std::size_t j) {
        const double origin = arrow.d[arrow.roots[j].origin];
        const double gap = gap_of(arrow, arrow.roots[j]);
        for (std::size_t i = 0; i < size; ++i)
            distances[j * size + i] = ((arrow.d[i] - origin) - gap) * ((arrow.d[i] + origin) + gap);
    };
    parallel_for(size, size, fill_row);
}

// The z for which the computed values are exact (Gu and Eisenstat 1994): its squares are the
// products over the roots of the distances to them, divided by those between the poles.
std::vector<double> rebuilt_z(const small_arrow& arrow, const double* distances)
{
    const std::size_t size = arrow.size();
    const double* const d = arrow.d.data();
    std::vector<double> rebuilt(size);
    const auto rebuild_block = [&](std::size_t b) {
        const std::size_t from = b * vector_block;
        const std::size_t width = std::min(vector_block, size - from);
        std::array<double, vector_block> square;
        for (std::size_t i = 0; i < width; ++i)
            square[i] = -distances[(from + i) * size + from + i];
        for (std::size_t j = 0; j < size; ++j) {
            const double* const row = distances + j * size + from;
            const double own = j - from < width ? square[j - from] : 0.0;
            for (std::size_t i = 0; i < width; ++i)
                square[i] *= row[i] / ((d[from + i] - d[j]) * (d[from + i] + d[j]));
            if (j - from < width)
                square[j - from] = own; // without its own pole, where the quotient is infinite
        }
        for (std::size_t i = 0; i < width; ++i)
            rebuilt[from + i] = std::copysign(std::sqrt(square[i]), arrow.z[from + i]);
    };
    parallel_for(ceil_div(size, vector_block), size * vector_block, rebuild_block);
    return rebuilt;
}

// Replaces the distances, a row for each root, by the right vectors, a column for each: element
// (i, j) becomes zᵢ/(dᵢ² - σⱼ²). Tile by tile with its mirror image.
void distances_to_right_vectors(double* a, std::size_t size, const std::vector<double>& z)
{
    const std::size_t tiles = ceil_div(size, vector_block);
    const auto turn_tile = [&](std::size_t t) {
        const std::size_t upper = t / tiles * vector_block;
        const std::size_t lower = t % tiles * vector_block;
        if (lower < upper)
            return;
        for (std::size_t i = upper; i < std::min(upper + vector_block, size); ++i)
            for (std::size_t j = std::max(lower, i); j < std::min(lower + vector_block, size);
                 ++j) {
                const double below = a[j * size + i];
                a[j * size + i] = z[j] / a[i * size + j];
                a[i * size + j] = z[i] / below;
            }
    };
    parallel_for(tiles * tiles, vector_block * vector_block, turn_tile);
}

} // namespace

small_arrow solve_arrow(const std::vector<double>& diagonal, const std::vector<double>& z,
                        const std::vector<std::size_t>& active)
{
    const std::size_t size = active.size();
    small_arrow arrow{.d = {},
                      .z = {},
                      .roots = std::vector<secular_root>(size),
                      .values = std::vector<double>(size)};
    for (const std::size_t column : active) {
        arrow.d.push_back(diagonal[column]);
        arrow.z.push_back(z[column]);
    }
    const squared_poles poles{
        .d = arrow.d.data(), .z = arrow.z.data(), .count = size, .weight = 1.0};
    solve_secular_equation(poles, arrow.roots.data());
    for (std::size_t j = 0; j < size; ++j)
        arrow.values[j] = arrow.d[arrow.roots[j].origin] + gap_of(arrow, arrow.roots[j]);
    return arrow;
}

void fill_right_vectors(const small_arrow& arrow, double* right)
{
    fill_distances(arrow, right);
    distances_to_right_vectors(right, arrow.size(), rebuilt_z(arrow, right));
}

// dᵢ times row i of the right vectors; the first row, that of the arrow's z, is -1 throughout.
void fill_left_vectors(const small_arrow& arrow, const double* right, double* left)
{
    const std::size_t size = arrow.size();
    const auto fill_row = [&](std::size_t i) {
        if (i == 0)
            std::fill_n(left, size, -1.0);
        else
            for (std::size_t j = 0; j < size; ++j)
                left[i * size + j] = arrow.d[i] * right[i * size + j];
    };
    parallel_for(size, size, fill_row);
}

} // namespace numerical::detail
