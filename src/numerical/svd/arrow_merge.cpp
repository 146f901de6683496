#include "numerical/eigen/merge_columns.hpp"
#include "numerical/eigen/secular.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/arrow_deflation.hpp"
#include "numerical/svd/bidiagonal_divide.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t block = 32;

// The arrow that is left, and its singular values.
struct small_arrow
{
    std::vector<double> d;
    std::vector<double> z;
    std::vector<double> values;

    std::size_t size() const { return d.size(); }
};

small_arrow active_part(const std::vector<double>& diagonal, const std::vector<double>& z,
                        const std::vector<std::size_t>& active)
{
    small_arrow arrow{{}, {}, std::vector<double>(active.size())};
    for (const std::size_t column : active) {
        arrow.d.push_back(diagonal[column]);
        arrow.z.push_back(z[column]);
    }
    return arrow;
}

// From the root's origin to the value.
double gap_of(const small_arrow& arrow, const secular_root& root)
{
    const double origin = arrow.d[root.origin];
    return root.tau / (std::sqrt(origin * origin + root.tau) + origin);
}

// The values, and the roots that they were found as.
std::vector<secular_root> solve_arrow(small_arrow& arrow)
{
    const std::size_t size = arrow.size();
    const squared_poles poles{arrow.d.data(), arrow.z.data(), size, 1.0};
    std::vector<secular_root> roots(size);
    solve_secular_equation(poles, roots.data());
    for (std::size_t j = 0; j < size; ++j)
        arrow.values[j] = arrow.d[roots[j].origin] + gap_of(arrow, roots[j]);
    return roots;
}

// Row j of `distances` receives dᵢ² - σⱼ², formed as (dᵢ - σⱼ)·(dᵢ + σⱼ), each factor from the
// differences and sums with the nearest pole, so that no digit is lost.
void fill_distances(const small_arrow& arrow, const std::vector<secular_root>& roots,
                    double* distances)
{
    const std::size_t size = arrow.size();
    const auto fill_row = [&](std::size_t j) {
        const double origin = arrow.d[roots[j].origin];
        const double gap = gap_of(arrow, roots[j]);
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
        const std::size_t from = b * block;
        const std::size_t width = std::min(block, size - from);
        std::array<double, block> square;
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
    parallel_for((size + block - 1) / block, size * block, rebuild_block);
    return rebuilt;
}

// Replaces the distances, a row for each root, by the right vectors, a column for each: element
// (i, j) becomes zᵢ/(dᵢ² - σⱼ²). Tile by tile with its mirror image.
void distances_to_right_vectors(double* a, std::size_t size, const std::vector<double>& z)
{
    const std::size_t tiles = (size + block - 1) / block;
    const auto turn_tile = [&](std::size_t t) {
        const std::size_t upper = t / tiles * block;
        const std::size_t lower = t % tiles * block;
        if (lower < upper)
            return;
        for (std::size_t i = upper; i < std::min(upper + block, size); ++i)
            for (std::size_t j = std::max(lower, i); j < std::min(lower + block, size); ++j) {
                const double below = a[j * size + i];
                a[j * size + i] = z[j] / a[i * size + j];
                a[i * size + j] = z[i] / below;
            }
    };
    parallel_for(tiles * tiles, block * block, turn_tile);
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

// The columns of one basis: the active ones times the small vectors, and all in their final order.
struct basis_update
{
    block_view<double> basis;
    std::vector<row_group> groups;
    const std::vector<unsigned int>& types;
    const double* small;
};

void update_basis(const basis_update& update, const merge_partition& partition,
                  const std::vector<std::size_t>& order, merge_workspace& workspace)
{
    merge_columns(update.basis, {update.groups, partition, update.types, order},
                  normalised_rows(update.small, partition.active.size()), workspace);
}

std::vector<row_group> left_groups(std::size_t n, std::size_t k)
{
    return {{0, k, upper_rows}, {k, 1, torn_row}, {k + 1, n - 1 - k, lower_rows}};
}

std::vector<row_group> right_groups(std::size_t m, std::size_t k)
{
    return {{0, k + 1, upper_rows}, {k + 1, m - k - 1, lower_rows}};
}

// One row of a group's product, summed as the product of the whole group is.
void multiply_row_of_group(const std::vector<double>& old_row, const std::vector<double>& new_rows,
                           std::size_t group_rows, std::size_t size, double* product)
{
    const std::size_t count = old_row.size();
    product_in_order(summation_of({group_rows, size, count}),
                     {1, size, count, old_row.data(), count, new_rows.data(), size, product, size});
}

// What update_basis does to the first and the last row of the right basis, which are all there is.
void update_end_rows(const basis_update& update, const merge_partition& partition,
                     const std::vector<std::size_t>& order)
{
    const std::size_t size = partition.active.size();
    const small_vector_rows fill_row = normalised_rows(update.small, size);
    for (std::size_t end = 0; end < 2; ++end) {
        double* const row = update.basis.row(end);
        std::vector<double> old_row;
        std::vector<double> new_rows;
        for (std::size_t p = 0; p < size; ++p) {
            if ((update.types[partition.active[p]] & update.groups[end].mask) == 0)
                continue;
            old_row.push_back(row[partition.active[p]]);
            new_rows.resize(new_rows.size() + size);
            fill_row(p, new_rows.data() + new_rows.size() - size);
        }
        std::vector<double> deflated;
        for (const std::size_t column : partition.deflated)
            deflated.push_back(row[column]);
        std::fill_n(row, size, 0.0);
        if (!old_row.empty())
            multiply_row_of_group(old_row, new_rows, update.groups[end].rows, size, row);
        place_merged_row(row, deflated.data(), size, order);
    }
}

bool is_zero(const torn_problem& torn, const std::vector<double>& values)
{
    return torn.alpha == 0 && torn.beta == 0 &&
           std::all_of(values.begin(), values.end(), [](double value) { return value == 0; });
}

// A merge whose values are known and whose columns are yet to be made.
struct solved_arrow
{
    arrow_deflation deflation;
    small_arrow arrow;
    std::vector<secular_root> roots;
    std::vector<std::size_t> order;
};

solved_arrow solve_torn(std::vector<double>& values, torn_problem& torn,
                        const bidiagonal_vectors& vectors)
{
    arrow_deflation deflation(values, torn, vectors.v.cols);
    rotate_columns(vectors.u, deflation.left_rotations);
    rotate_columns(vectors.v, deflation.right_rotations);
    small_arrow arrow = active_part(values, torn.z, deflation.partition.active);
    std::vector<secular_root> roots = solve_arrow(arrow);
    std::vector<double> all = arrow.values;
    for (const std::size_t column : deflation.partition.deflated)
        all.push_back(values[column]);
    std::vector<std::size_t> order = ascending_order(all);
    for (std::size_t c = 0; c < values.size(); ++c)
        values[c] = all[order[c]];
    return {std::move(deflation), std::move(arrow), std::move(roots), std::move(order)};
}

void fill_right_vectors(const solved_arrow& solved, double* small)
{
    fill_distances(solved.arrow, solved.roots, small);
    distances_to_right_vectors(small, solved.arrow.size(), rebuilt_z(solved.arrow, small));
}

void choose_columns(const basis_update& update, const merge_partition& partition,
                    const std::vector<std::size_t>& order, index_range wanted,
                    block_view<double> out)
{
    const column_merge merge{update.groups, partition, update.types, order};
    const small_vector_rows rows =
        normalised_rows(update.small, partition.active.size(), new_columns_among(merge, wanted));
    merge_chosen_columns(update.basis, merge, rows, wanted, out);
}

} // namespace

void merge_arrow(std::vector<double>& values, torn_problem torn, const bidiagonal_vectors& vectors,
                 arrow_workspace& workspace)
{
    if (is_zero(torn, values))
        return;
    const solved_arrow solved = solve_torn(values, torn, vectors);
    if (vectors.wanted == wanted_rows::none)
        return;

    const merge_partition& partition = solved.deflation.partition;
    const std::size_t size = solved.arrow.size();
    double* const small = workspace_of(workspace.right.roots, size * size);
    fill_right_vectors(solved, small);
    const basis_update right{vectors.v, right_groups(vectors.v.cols, torn.k),
                             solved.deflation.right_types, small};
    if (!vectors.complete()) {
        update_end_rows(right, partition, solved.order);
        return;
    }
    double* const left = workspace_of(workspace.left_vectors, size * size);
    fill_left_vectors(solved.arrow, small, left);
    update_basis({vectors.u, left_groups(values.size(), torn.k), solved.deflation.left_types, left},
                 partition, solved.order, workspace.right);
    update_basis(right, partition, solved.order, workspace.right);
}

void merge_arrow_choosing(std::vector<double>& values, torn_problem torn,
                          const bidiagonal_vectors& vectors, index_range wanted,
                          block_view<double> u, block_view<double> v)
{
    const std::size_t n = values.size();
    if (is_zero(torn, values)) {
        copy_block<double>(vectors.u.sub(0, n, wanted.first, wanted.last), u);
        copy_block<double>(vectors.v.sub(0, n, wanted.first, wanted.last), v);
        return;
    }
    const solved_arrow solved = solve_torn(values, torn, vectors);
    const merge_partition& partition = solved.deflation.partition;
    const std::size_t size = solved.arrow.size();
    std::vector<double> small = uninitialized<double>(size * size);
    fill_right_vectors(solved, small.data());
    choose_columns({vectors.v, right_groups(n, torn.k), solved.deflation.right_types, small.data()},
                   partition, solved.order, wanted, v);
    std::vector<double> left = uninitialized<double>(size * size);
    fill_left_vectors(solved.arrow, small.data(), left.data());
    choose_columns({vectors.u, left_groups(n, torn.k), solved.deflation.left_types, left.data()},
                   partition, solved.order, wanted, u);
}

} // namespace numerical::detail
