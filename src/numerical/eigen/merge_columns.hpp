#pragma once

// The update of the basis columns in a merge of divide and conquer, common to the eigenproblem and
// the singular values. K columns are active: they are multiplied by the small vectors of the
// rank-one or arrow problem. The others are deflated and only move. A column that comes from one
// half of the problem is zero in the rows of the other half, and its type, a bit mask, says in
// which groups of rows it may not be; groups multiply only the columns that they have.

#include "numerical/aligned_vector.hpp"
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

struct column_merge
{
    std::span<const row_group> groups;
    const merge_partition& partition;
    const std::vector<unsigned int>& types; // of all columns
    // Column c of the result is number order[c] of the sequence: the K new columns, which keep
    // their order, then the deflated ones in theirs. Columns from order.size() on stay.
    const std::vector<std::size_t>& order;
};

// Of the active columns, by their positions, those with a type of the mask.
std::vector<std::size_t> positions_of_type(const std::vector<std::size_t>& active,
                                           const std::vector<unsigned int>& types,
                                           unsigned int mask);

// Writes row p of the small vectors: an element of each normalised vector, of all K or of a range.
using small_vector_rows = std::function<void(std::size_t p, double* row)>;

void merge_columns(block_view<double> q, const column_merge& merge,
                   const small_vector_rows& fill_row, merge_workspace& workspace);

// A basis and its merge.
struct merged_basis
{
    block_view<double> q;
    const column_merge& merge;
    const small_vector_rows& fill_row;
};

// Up to this order the groups of rows of a merge go side by side, if the halves of a problem do
// (halves.hpp); beyond it the product of each group occupies the threads by itself.
constexpr std::size_t side_by_side_groups_order = 600;

// merge_columns of two bases of a problem of order n. Groups that go side by side have workspaces
// of their own.
void merge_both_bases(std::size_t n, const merged_basis& left, const merged_basis& right,
                      merge_workspace& workspace);

// Half open.
struct index_range
{
    std::size_t first;
    std::size_t last;

    std::size_t count() const { return last - first; }
};

// Which columns are wanted, from the values of all, ascending.
using column_choice = std::function<index_range(const aligned_vector<double>& values)>;

// Those of the K new columns that are among the columns `wanted` of the result.
index_range new_columns_among(const column_merge& merge, index_range wanted);

// The columns `wanted` of the result, into `out` with as many columns and the rows of q, which
// stays. The rows of small vectors are those of new_columns_among.
void merge_chosen_columns(block_view<const double> q, const column_merge& merge,
                          const small_vector_rows& fill_row, index_range wanted,
                          block_view<double> out);

// The final order of a merge's columns, for rows whose new elements are at the left in their order.
class merged_places
{
public:
    // Column c is number order[c] of the `active` new elements and the deflated ones after them.
    merged_places(std::size_t active, const std::vector<std::size_t>& order);

    // Permutes one row and its deflated elements into that order.
    void place(double* row, const double* deflated) const;

private:
    // New elements that stay together, and the deflated one that comes before them.
    struct stretch
    {
        std::size_t source;
        std::size_t first;
        std::size_t count;
        std::size_t deflated;
    };

    std::vector<stretch> stretches; // from the right
};

} // namespace numerical::detail
