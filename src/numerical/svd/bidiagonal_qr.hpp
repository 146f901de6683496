#pragma once

// All singular values of a real upper bidiagonal matrix by the implicitly shifted QR iteration
// (Golub and Kahan 1965; Golub and Van Loan 2013, section 8.6). The iteration touches the two
// diagonals only; what it does to the bases is recorded, and applied once after convergence.

#include "numerical/eigen/row_operations.hpp"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace numerical::detail {

// d and e hold the diagonal and the superdiagonal, n entries each, with e[n-1] = 0; left and right
// the n × n bases by rows. On return d holds the singular values, descending, e is destroyed, and
// row k of either basis belongs to d[k]. convergence_error "SVD: the bidiagonal QR iteration did
// not converge within its steps" after max_steps chases in all; the bases are then as they were.
template <class T>
void bidiagonal_qr(std::vector<double>& d, std::vector<double>& e, std::vector<T>& left,
                   std::vector<T>& right, std::size_t n, std::size_t max_steps);

// What the iteration does to the rows of either basis. All lists of an iteration, or of two at a
// time, lie in one block: blocks of one size, freed together, would go back to the system, and come
// by page faults at the next call.
class bidiagonal_operations
{
public:
    bidiagonal_operations() = default;
    explicit bidiagonal_operations(std::size_t room); // for either list

    // Of two iterations.
    static std::pair<bidiagonal_operations, bidiagonal_operations>
    pair_with_room(std::size_t of_first, std::size_t of_second);

    // For so many more in either list.
    void make_room(std::size_t more);

    void add_left(const row_operation& operation) { first[left_count++] = operation; }

    void add_right(const row_operation& operation) { first[half + right_count++] = operation; }

    row_operation_span left() const { return {first, left_count}; }

    row_operation_span right() const { return {first + half, right_count}; }

private:
    bidiagonal_operations(std::shared_ptr<row_operations> shared, std::size_t from,
                          std::size_t room);

    std::shared_ptr<row_operations> block;
    row_operation* first = nullptr; // the left ones
    std::size_t half = 0;           // the right ones begin so far behind them
    std::size_t left_count = 0;
    std::size_t right_count = 0;
};

// The iteration alone.

bidiagonal_operations iterate_bidiagonal(std::vector<double>& d, std::vector<double>& e,
                                         std::size_t n, std::size_t max_steps);

struct bidiagonal_entries
{
    std::vector<double> d;
    std::vector<double> e; // as many, the last one 0
};

// Two iterations at a time. A chase is one chain of square roots and quotients that wait for each
// other; those of two matrices fill each other's gaps.
std::pair<bidiagonal_operations, bidiagonal_operations>
iterate_bidiagonal_pair(bidiagonal_entries& a, bidiagonal_entries& b, std::size_t steps_per_value);

} // namespace numerical::detail
