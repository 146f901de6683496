#include "numerical/eigen/merge_columns.hpp"

#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace numerical::detail {
namespace {

constexpr std::size_t norm_columns = 64;

std::vector<std::size_t> positions_of_type(const std::vector<std::size_t>& active,
                                           const std::vector<unsigned int>& types,
                                           unsigned int mask)
{
    std::vector<std::size_t> positions;
    for (std::size_t p = 0; p < active.size(); ++p)
        if ((types[active[p]] & mask) != 0)
            positions.push_back(p);
    return positions;
}

// The rows of one group: its columns of these types, gathered, times their rows of the small
// vectors, which are normalised on the way.
void multiply_group(block_view<const double> rows, const std::vector<std::size_t>& active,
                    const std::vector<std::size_t>& selected, const small_vectors& vectors,
                    double* product, merge_workspace& workspace)
{
    const std::size_t size = active.size();
    const std::size_t count = selected.size();
    double* const old_rows = workspace_of(workspace.old_rows, rows.rows * count);
    double* const new_rows = workspace_of(workspace.new_rows, count * size);
    const auto gather_row = [&](std::size_t r) {
        for (std::size_t c = 0; c < count; ++c)
            old_rows[r * count + c] = rows(r, active[selected[c]]);
        std::fill_n(product + r * size, size, 0.0);
    };
    parallel_for(rows.rows, count + size, gather_row);
    const auto normalise_row = [&](std::size_t c) {
        const double* const row = vectors.columns + selected[c] * size;
        for (std::size_t q = 0; q < size; ++q)
            new_rows[c * size + q] = row[q] / vectors.norms[q];
    };
    parallel_for(count, size, normalise_row);
    gemm(rows.rows, size, count, old_rows, count, new_rows, size, product, size);
}

} // namespace

void rotate_columns(block_view<double> q, const std::vector<column_rotation>& rotations)
{
    const auto rotate_row = [&](std::size_t r) {
        double* const row = q.row(r);
        for (const auto& [first, second, c, s] : rotations) {
            const double x = row[first];
            const double y = row[second];
            row[first] = c * x + s * y;
            row[second] = c * y - s * x;
        }
    };
    if (!rotations.empty())
        parallel_for(q.rows, rotations.size() * 4, rotate_row);
}

std::vector<double> column_norms(const double* columns, std::size_t size)
{
    std::vector<double> norms(size);
    const auto sum_block = [&](std::size_t b) {
        const std::size_t from = b * norm_columns;
        const std::size_t to = std::min(from + norm_columns, size);
        for (std::size_t p = 0; p < size; ++p)
            for (std::size_t q = from; q < to; ++q)
                norms[q] += columns[p * size + q] * columns[p * size + q];
        for (std::size_t q = from; q < to; ++q)
            norms[q] = std::sqrt(norms[q]);
    };
    parallel_for((size + norm_columns - 1) / norm_columns, size * norm_columns, sum_block);
    return norms;
}

double* multiply_active_columns(block_view<const double> q, std::span<const row_group> groups,
                                const std::vector<std::size_t>& active,
                                const std::vector<unsigned int>& types,
                                const small_vectors& vectors, merge_workspace& workspace)
{
    const std::size_t size = active.size();
    double* const product = workspace_of(workspace.product, q.rows * size);
    for (const row_group& group : groups)
        multiply_group(q.sub(group.first, group.first + group.rows, 0, q.cols), active,
                       positions_of_type(active, types, group.mask), vectors,
                       product + group.first * size, workspace);
    return product;
}

std::vector<std::size_t> ascending_order(const std::vector<double>& values)
{
    std::vector<std::size_t> order(values.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return values[a] < values[b]; });
    return order;
}

void place_columns(block_view<double> q, const double* product, const merge_partition& partition,
                   const std::vector<std::size_t>& order)
{
    const std::size_t size = partition.active.size();
    const std::size_t deflated = partition.deflated.size();
    const auto place_row = [&](std::size_t r) {
        double* const row = q.row(r);
        std::vector<double> kept(deflated);
        for (std::size_t t = 0; t < deflated; ++t)
            kept[t] = row[partition.deflated[t]];
        for (std::size_t c = 0; c < order.size(); ++c)
            row[c] = order[c] < size ? product[r * size + order[c]] : kept[order[c] - size];
    };
    parallel_for(q.rows, order.size(), place_row);
}

} // namespace numerical::detail
