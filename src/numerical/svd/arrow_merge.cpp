#include "numerical/svd/arrow_merge.hpp"

#include "numerical/eigen/order.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/arrow_vectors.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {
namespace {

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
    merge_columns(
        update.basis,
        {.groups = update.groups, .partition = partition, .types = update.types, .order = order},
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

// The effect of update_basis on the first and the last row of the right basis, the only ones here.
void update_end_rows(const basis_update& update, const merge_partition& partition,
                     const std::vector<std::size_t>& order)
{
    const std::size_t size = partition.active.size();
    const small_vector_rows fill_row = normalised_rows(update.small, size);
    const merged_places places(size, order);
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
        places.place(row, deflated.data());
    }
}

bool is_zero(const torn_problem& torn, const std::vector<double>& dz)
{
    return torn.alpha == 0 && torn.beta == 0 &&
           std::all_of(dz.begin(), dz.end(), [](double value) { return value == 0; });
}

// A merge whose values are known and whose columns are yet to be made.
struct solved_arrow
{
    arrow_deflation deflation;
    small_arrow arrow;
    std::vector<std::size_t> order2; // of the new values and the deflated ones, ascending
};

solved_arrow solve_torn(std::vector<double>& dz, torn_problem& torn,
                        const bidiagonal_vectors& vectors)
{
    arrow_deflation deflation(dz, torn, vectors.v.cols);
    rotate_columns(vectors.u, deflation.left_rotations);
    rotate_columns(vectors.v, deflation.right_rotations);
    small_arrow arrow = solve_arrow(dz, torn.z, deflation.partition.active);
    std::vector<double> all = arrow.values;
    for (const std::size_t column : deflation.partition.deflated)
        all.push_back(dz[column]);
    std::vector<std::size_t> order2 = ascending_order(all);
    for (std::size_t c = 0; c < dz.size(); ++c)
        dz[c] = all[order2[c]];
    return {std::move(deflation), std::move(arrow), std::move(order2)};
}

void choose_columns(const basis_update& update, const merge_partition& partition,
                    const std::vector<std::size_t>& order, index_range wanted,
                    block_view<double> out)
{
    const column_merge merge{
        .groups = update.groups, .partition = partition, .types = update.types, .order = order};
    const small_vector_rows rows =
        normalised_rows(update.small, partition.active.size(), new_columns_among(merge, wanted));
    merge_chosen_columns(update.basis, merge, rows, wanted, out);
}

} // namespace

void merge_arrow(std::vector<double>& dz, torn_problem torn, const bidiagonal_vectors& vectors,
                 arrow_workspace& workspace)
{
    if (is_zero(torn, dz))
        return;
    const solved_arrow solved = solve_torn(dz, torn, vectors);
    if (vectors.wanted == wanted_rows::none)
        return;

    const merge_partition& partition = solved.deflation.partition;
    const std::size_t size = solved.arrow.size();
    double* const small = workspace_of(workspace.right.roots, size * size);
    fill_right_vectors(solved.arrow, small);
    const basis_update right{.basis = vectors.v,
                             .groups = right_groups(vectors.v.cols, torn.k),
                             .types = solved.deflation.right_type,
                             .small = small};
    if (!vectors.complete()) {
        update_end_rows(right, partition, solved.order2);
        return;
    }
    double* const left = workspace_of(workspace.left_vectors, size * size);
    fill_left_vectors(solved.arrow, small, left);
    update_basis({.basis = vectors.u,
                  .groups = left_groups(dz.size(), torn.k),
                  .types = solved.deflation.left_type,
                  .small = left},
                 partition, solved.order2, workspace.right);
    update_basis(right, partition, solved.order2, workspace.right);
}

void merge_arrow_choosing(std::vector<double>& dz, torn_problem torn,
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
    const merge_partition& partition = solved.deflation.partition;
    const std::size_t size = solved.arrow.size();
    std::vector<double> small = uninitialized<double>(size * size);
    fill_right_vectors(solved.arrow, small.data());
    choose_columns({.basis = vectors.v,
                    .groups = right_groups(n, torn.k),
                    .types = solved.deflation.right_type,
                    .small = small.data()},
                   partition, solved.order2, wanted, v);
    std::vector<double> left = uninitialized<double>(size * size);
    fill_left_vectors(solved.arrow, small.data(), left.data());
    choose_columns({.basis = vectors.u,
                    .groups = left_groups(n, torn.k),
                    .types = solved.deflation.left_type,
                    .small = left.data()},
                   partition, solved.order2, wanted, u);
}

} // namespace numerical::detail
