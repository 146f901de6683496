#pragma once

// What a merge of divide and conquer does to the columns of its basis, common to the eigenproblem
// and the singular values. K columns are active: they are multiplied by the small vectors of the
// rank-one or arrow problem. The others are deflated and only move. A column that comes from one
// half of the problem is zero in the rows of the other half, and its type, a bit mask, says in
// which groups of rows it may not be; groups multiply only the columns that they have.

#include "numerical/eigen/merge_workspace.hpp"
#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace numerical::detail {

// first' = c·first + s·second, second' = c·second - s·first.
struct column_rotation
{
    std::size_t first;
    std::size_t second;
    double c;
    double s;
};

// The rotations in their order, row by row in parallel.
void rotate_columns(block_view<double> q, const std::vector<column_rotation>& rotations);

// Consecutive rows in which the columns with a type of the mask may be non-zero.
struct row_group
{
    std::size_t first;
    std::size_t rows;
    unsigned int mask;
};

// The columns of a merge; `active` ascends by pole.
struct merge_partition
{
    std::vector<std::size_t> active;
    std::vector<std::size_t> deflated;
};

// 0 .. n-1 sorted by value, equal values by index.
std::vector<std::size_t> ascending_order(const std::vector<double>& values);

struct column_merge
{
    std::span<const row_group> groups;
    const merge_partition& partition;
    const std::vector<unsigned int>& types; // of all columns
    // Column c of the result is number order[c] of the sequence: the K new columns, which keep
    // their order, then the deflated ones in theirs. Columns from order.size() on stay.
    const std::vector<std::size_t>& order;
};

// Writes row p of the small vectors: K elements, one of each normalised vector.
using small_vector_rows = std::function<void(std::size_t p, double* row)>;

void merge_columns(block_view<double> q, const column_merge& merge,
                   const small_vector_rows& fill_row, merge_workspace& workspace);

// One row whose new elements stand at the left, in their order, and its deflated ones: all of them
// in their places.
void place_merged_row(double* row, const double* deflated, std::size_t active,
                      const std::vector<std::size_t>& order);

// The rows of vectors that stand in the columns of a size × size matrix, each divided by its norm.
small_vector_rows normalised_rows(const double* columns, std::size_t size);

} // namespace numerical::detail
