#include "numerical/svd/arrow_merge.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/order.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/arrow_vectors.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {
namespace {

std::vector<row_group> left_groups(std::size_t n, std::size_t k)
{
    return {{0, k, upper_rows}, {k, 1, torn_row}, {k + 1, n - 1 - k, lower_rows}};
}

std::vector<row_group> right_groups(std::size_t m, std::size_t k)
{
    return {{0, k + 1, upper_rows}, {k + 1, m - k - 1, lower_rows}};
}

// One row of a group's product, summed as the product of the whole group is.
void multiply_row_of_group(const aligned_vector<double>& old_row,
                           const aligned_vector<double>& new_rows, std::size_t group_rows,
                           std::size_t size, double* product)
{
    const std::size_t count = old_row.size();
    product_in_order(summation_of({group_rows, size, count}), {.m = 1,
                                                               .n = size,
                                                               .k = count,
                                                               .a = old_row.data(),
                                                               .lda = count,
                                                               .b = new_rows.data(),
                                                               .ldb = size,
                                                               .c = product,
                                                               .ldc = size});
}

// The effect of merge_columns on the first and the last row of the right basis, the only ones here.
void merge_end_rows(block_view<double> ends, const column_merge& merge,
                    const small_vector_rows& fill_row)
{
    const merge_partition& partition = merge.partition;
    const std::size_t size = partition.active.size();
    const merged_places places(size, merge.order);
    for (std::size_t end = 0; end < 2; ++end) {
        double* const row = ends.row(end);
        aligned_vector<double> old_row;
        aligned_vector<double> new_rows;
        for (std::size_t p = 0; p < size; ++p) {
            if ((merge.types[partition.active[p]] & merge.groups[end].mask) == 0)
                continue;
            old_row.push_back(row[partition.active[p]]);
            new_rows.resize(new_rows.size() + size);
            fill_row(p, new_rows.data() + new_rows.size() - size);
        }
        aligned_vector<double> deflated;
        for (const std::size_t column : partition.deflated)
            deflated.push_back(row[column]);
        std::fill_n(row, size, 0.0);
        if (!old_row.empty())
            multiply_row_of_group(old_row, new_rows, merge.groups[end].rows, size, row);
        places.place(row, deflated.data());
    }
}

bool is_zero(const torn_problem& torn, const aligned_vector<double>& dz)
{
    return torn.alpha == 0 && torn.beta == 0 &&
           std::all_of(dz.begin(), dz.end(), [](double value) { return value == 0; });
}

// A merge whose values are known and whose columns are yet to be made.
struct solved_arrow
{
    arrow_deflation deflation;
    std::vector<row_group> left_groups;
    std::vector<row_group> right_groups;
    small_arrow arrow;
    std::vector<std::size_t> order; // of the new values and the deflated ones, ascending

    column_merge left() const
    {
        return {.groups = left_groups,
                .partition = deflation.partition,
                .types = deflation.left_type,
                .order = order};
    }

    column_merge right() const
    {
        return {.groups = right_groups,
                .partition = deflation.partition,
                .types = deflation.right_type,
                .order = order};
    }

    // The columns of the result in reverse order, and with them the new ones.
    void reverse()
    {
        std::reverse(order.begin(), order.end());
        for (std::size_t& source : order)
            if (source < arrow.size())
                source = arrow.size() - 1 - source;
    }
};

solved_arrow solve_torn(aligned_vector<double>& dz, torn_problem& torn,
                        const bidiagonal_vectors& vectors)
{
    const std::size_t m = vectors.v.cols;
    arrow_deflation deflation(dz, torn, m);
    rotate_columns(vectors.u, deflation.left_rotations);
    rotate_columns(vectors.v, deflation.right_rotations);
    small_arrow arrow = solve_arrow(dz, torn.z, deflation.partition.active);
    aligned_vector<double> all = arrow.values;
    for (const std::size_t column : deflation.partition.deflated)
        all.push_back(dz[column]);
    std::vector<std::size_t> order = ascending_order(all);
    for (std::size_t c = 0; c < dz.size(); ++c)
        dz[c] = all[order[c]];
    return {.deflation = std::move(deflation),
            .left_groups = left_groups(dz.size(), torn.k),
            .right_groups = right_groups(m, torn.k),
            .arrow = std::move(arrow),
            .order = std::move(order)};
}

} // namespace

void merge_arrow(aligned_vector<double>& dz, torn_problem torn, const bidiagonal_vectors& vectors,
                 column_order order, merge_workspace& workspace)
{
    if (is_zero(torn, dz)) {
        if (order == column_order::descending) {
            reverse_columns(vectors.u);
            reverse_columns(vectors.v);
        }
        return;
    }
    solved_arrow solved = solve_torn(dz, torn, vectors);
    if (vectors.wanted == wanted_rows::none)
        return;

    const std::size_t size = solved.arrow.size();
    const arrow_vectors small(solved.arrow, {0, size}, order,
                              workspace_of(workspace.small, size * size));
    if (order == column_order::descending)
        solved.reverse();
    if (!vectors.complete()) {
        merge_end_rows(vectors.v, solved.right(), small.right_rows());
        return;
    }
    const column_merge left = solved.left();
    const column_merge right = solved.right();
    merge_both_bases(dz.size(), {vectors.u, left, small.left_rows()},
                     {vectors.v, right, small.right_rows()}, workspace);
}

void merge_arrow_choosing(aligned_vector<double>& dz, torn_problem torn,
                          const bidiagonal_vectors& vectors, index_range wanted,
                          block_view<double> u, block_view<double> v)
{
    const std::size_t n = dz.size();
    if (is_zero(torn, dz)) {
        copy_block<double>(vectors.u.sub(0, n, wanted.first, wanted.last), u);
        copy_block<double>(vectors.v.sub(0, n, wanted.first, wanted.last), v);
        return;
    }
    const solved_arrow solved = solve_torn(dz, torn, vectors);
    const index_range made = new_columns_among(solved.left(), wanted);
    aligned_vector<double> store = uninitialized<double>(solved.arrow.size() * made.count());
    const arrow_vectors small(solved.arrow, made, column_order::ascending, store.data());
    merge_chosen_columns(vectors.u, solved.left(), small.left_rows(), wanted, u);
    merge_chosen_columns(vectors.v, solved.right(), small.right_rows(), wanted, v);
}

} // namespace numerical::detail
