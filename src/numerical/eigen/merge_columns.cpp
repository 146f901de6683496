#include "numerical/eigen/merge_columns.hpp"

#include "numerical/eigen/halves.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// The columns that a group of rows needs later, side by side: those that it multiplies, then the
// deflated ones.
struct gathered_columns
{
    double* first;
    std::size_t count;    // to be multiplied
    std::size_t deflated; // stored next to them

    std::size_t stride() const { return count + deflated; }
};

// Columns side by side, as runs of consecutive ones: most columns of a half stay together.
std::vector<index_range> runs_of(const std::vector<std::size_t>& columns)
{
    std::vector<index_range> runs;
    for (const std::size_t column : columns)
        if (!runs.empty() && runs.back().last == column)
            ++runs.back().last;
        else
            runs.push_back({column, column + 1});
    return runs;
}

gathered_columns gather(block_view<const double> rows, const merge_partition& partition,
                        const std::vector<std::size_t>& selected, workspace_buffer& buffer)
{
    std::vector<std::size_t> columns;
    for (const std::size_t p : selected)
        columns.push_back(partition.active[p]);
    columns.insert(columns.end(), partition.deflated.begin(), partition.deflated.end());
    const std::vector<index_range> runs = runs_of(columns);
    double* const store = workspace_of(buffer, rows.rows * columns.size());
    const auto gather_row = [&](std::size_t r) {
        double* out = store + r * columns.size();
        for (const auto& [first, last] : runs)
            out = std::copy(rows.row(r) + first, rows.row(r) + last, out);
    };
    parallel_for(rows.rows, columns.size(), gather_row);
    return {store, selected.size(), partition.deflated.size()};
}

// One group of rows: its columns, gathered, times their rows of the small vectors, and all of them
// in their places.
void merge_group(block_view<double> rows, const column_merge& merge, unsigned int mask,
                 const small_vector_rows& fill_row, merge_workspace& workspace)
{
    const std::size_t active = merge.partition.active.size();
    const auto selected = positions_of_type(merge.partition.active, merge.types, mask);
    const gathered_columns old = gather(rows, merge.partition, selected, workspace.old_rows);
    double* const new_rows = workspace_of(workspace.new_rows, selected.size() * active);
    const auto fill_selected = [&](std::size_t c) { fill_row(selected[c], new_rows + c * active); };
    parallel_for(selected.size(), active, fill_selected);
    gemm_new(rows.rows, active, old.count, old.first, old.stride(), new_rows, active, rows.first,
             rows.stride);
    const merged_places places(active, merge.order);
    const auto place = [&](std::size_t r) {
        places.place(rows.row(r), old.first + r * old.stride() + old.count);
    };
    parallel_for(rows.rows, merge.order.size(), place);
}

} // namespace

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

// Elements move to the right, if at all. Those left of all deflated ones stay.
merged_places::merged_places(std::size_t active, const std::vector<std::size_t>& order)
{
    std::size_t source = active;
    for (std::size_t end = order.size(); source != end;) {
        std::size_t first = end;
        while (order[first - 1] < active)
            --first;
        source -= end - first;
        stretches.push_back({.source = source,
                             .first = first,
                             .count = end - first,
                             .deflated = order[first - 1] - active});
        end = first - 1;
    }
}

void merged_places::place(double* row, const double* deflated) const
{
    for (const stretch& each : stretches) {
        std::copy_backward(row + each.source, row + each.source + each.count,
                           row + each.first + each.count);
        row[each.first - 1] = deflated[each.deflated];
    }
}

void merge_columns(block_view<double> q, const column_merge& merge,
                   const small_vector_rows& fill_row, merge_workspace& workspace)
{
    for (const auto& [first, rows, mask] : merge.groups)
        merge_group(q.sub(first, first + rows, 0, q.cols), merge, mask, fill_row, workspace);
}

void merge_both_bases(std::size_t n, const merged_basis& left, const merged_basis& right,
                      merge_workspace& workspace)
{
    if (n > side_by_side_groups_order || !halves_go_side_by_side(n)) {
        merge_columns(left.q, left.merge, left.fill_row, workspace);
        merge_columns(right.q, right.merge, right.fill_row, workspace);
        return;
    }
    const std::size_t of_left = left.merge.groups.size();
    const auto merge_one = [&](std::size_t g) {
        const auto& [q, merge, fill_row] = g < of_left ? left : right;
        const auto& [first, rows, mask] = merge.groups[g < of_left ? g : g - of_left];
        merge_workspace own;
        merge_group(q.sub(first, first + rows, 0, q.cols), merge, mask, fill_row, own);
    };
    parallel_for(of_left + right.merge.groups.size(), work_of_half(n), merge_one);
}

} // namespace numerical::detail
