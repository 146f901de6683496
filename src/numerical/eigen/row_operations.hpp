#pragma once

// Rotations, negations and swaps of the rows of a basis, recorded while an iteration runs on a
// tridiagonal or bidiagonal matrix and applied once it has converged. Deferring them turns a stream
// of long row updates into one pass: slabs of 64 columns are independent of each other, so each
// thread takes whole slabs, and a slab stays in cache while all operations go over it.
//
// Rotations come in chains that run along the rows, as a bulge is chased through the matrix. A
// chain's moving row stays in registers, and up to four consecutive chains go over the slab as a
// wave, each one row behind the one before it: a row is then loaded and stored once for four
// rotations, and still sees them in the order of the list. No product is fused with a sum, so that
// every path gives the same bits.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace numerical::detail {

enum class row_operation_kind : std::uint8_t { rotation = 0, negation = 1, swap = 2 };

// A rotation makes first' = c·first + s·second and second' = c·second - s·first; a negation turns
// the sign of row `first`.
struct row_operation
{
    row_operation_kind kind;
    std::size_t first;
    std::size_t second;
    double c;
    double s;
};

using row_operations = aligned_vector<row_operation>;
using row_operation_span = std::span<const row_operation>;

// A list that an iteration writes, which checks its capacity once a chase: a look at the capacity
// for each operation would cost more than the rotation does.
class row_operation_log
{
public:
    explicit row_operation_log(std::size_t room) : list(uninitialized<row_operation>(room)) {}

    // For `more` operations.
    void make_room(std::size_t more)
    {
        if (list.size() - count >= more)
            return;
        row_operations larger = uninitialized<row_operation>(2 * (count + more));
        std::copy_n(list.begin(), count, larger.begin());
        list = std::move(larger);
    }

    void add(const row_operation& operation) { list[count++] = operation; }

    row_operations take()
    {
        list.resize(count);
        return std::move(list);
    }

private:
    row_operations list; // the first `count` of them are set
    std::size_t count = 0;
};

// Consecutive operations of a list. A run of several is a chain of rotations: descending if each
// one's `second` is the `first` of the one before it, ascending if its `first` is the `second`.
struct row_operation_run
{
    std::size_t start;
    std::size_t count;
    bool descending;
};

std::vector<row_operation_run> cut_into_runs(row_operation_span operations);

// The n × n basis, by rows, with all operations applied in their order. T = double or
// std::complex<double>.
template <class T>
void apply_row_operations(aligned_vector<T>& basis, std::size_t n, row_operation_span operations);

// The same of rows of any length. No column depends on the others.
void apply_row_operations(block_view<double> rows, row_operation_span operations);

} // namespace numerical::detail
