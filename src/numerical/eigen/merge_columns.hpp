#pragma once

// What a merge of divide and conquer does to the columns of its basis, common to the eigenproblem
// and the singular values. K columns are active: they are multiplied by the small matrix of the
// rank-one or arrow problem. The others are deflated and only move. A column that comes from one
// half of the problem is zero in the rows of the other half, and its type, a bit mask, says in
// which groups of rows it may not be; groups multiply only the columns that they have.

#include "numerical/eigen/merge_workspace.hpp"
#include "numerical/gemm/block_view.hpp"

#include <cstddef>
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

struct row_group
{
    std::size_t first;
    std::size_t rows;
    unsigned int mask;
};

// The columns of a merge. `active` ascends by pole; types[i] belongs to column i of the basis.
struct merge_partition
{
    std::vector<std::size_t> active;
    std::vector<std::size_t> deflated;
};

// Vectors of the small problem, in the columns of a K × K matrix, and the norms that they have yet
// to be divided by.
struct small_vectors
{
    const double* columns;
    std::vector<double> norms;
};

// The norms of the columns of the size × size matrix, each sum of squares in the order of the rows.
std::vector<double> column_norms(const double* columns, std::size_t size);

// The active columns times the small vectors: rows(q) × K elements in workspace.product.
double* multiply_active_columns(block_view<const double> q, std::span<const row_group> groups,
                                const std::vector<std::size_t>& active,
                                const std::vector<unsigned int>& types,
                                const small_vectors& vectors, merge_workspace& workspace);

// 0 .. n-1 sorted by value; equal values in no particular order.
std::vector<std::size_t> ascending_order(const std::vector<double>& values);

// Column c becomes column order[c] of the sequence: K columns of `product`, then the deflated ones.
// Columns from order.size() on stay.
void place_columns(block_view<double> q, const double* product, const merge_partition& partition,
                   const std::vector<std::size_t>& order);

} // namespace numerical::detail
