#pragma once

// The record of a bidiagonal iteration: what it does to the rows of the left and of the right
// basis.

#include "numerical/eigen/row_operations.hpp"

#include <cstddef>
#include <memory>
#include <utility>

namespace numerical::detail {

// All lists of an iteration, or of two at a time, lie in one block: blocks of one size, freed
// together, would be returned to the system and page-faulted in again at the next call.
class bidiagonal_operations
{
public:
    bidiagonal_operations() = default;
    explicit bidiagonal_operations(std::size_t room); // for either list

    // Of two iterations.
    static std::pair<bidiagonal_operations, bidiagonal_operations>
    pair_with_room(std::size_t of_first, std::size_t of_second);

    // Room for that many more in either list.
    void make_room(std::size_t more);

    void add_left(const row_operation& operation) { first[left_count++] = operation; }

    void add_right(const row_operation& operation) { first[half + right_count++] = operation; }

    row_operation_span left_operations() const { return {first, left_count}; }

    row_operation_span right_operations() const { return {first + half, right_count}; }

private:
    bidiagonal_operations(std::shared_ptr<row_operations> shared, std::size_t from,
                          std::size_t room);

    std::shared_ptr<row_operations> block;
    row_operation* first = nullptr; // the left ones
    std::size_t half = 0;           // the right ones begin this far behind them
    std::size_t left_count = 0;
    std::size_t right_count = 0;
};

} // namespace numerical::detail
