#pragma once

// How the trailing matrix of an LDL factorization, an upper triangle, is cut for its update: into
// strips of columns, of which each ends with the block on the diagonal, the strips into pieces of
// rows, and the sequence of pieces into shares, one for each index of a loop on threads.
//
// Shares depend on the number of threads, but no sum does: pieces begin at multiples of 64 rows,
// and the first of a strip has at least as many, so that each is summed as the whole strip is.

#include "numerical/counts.hpp"
#include "numerical/runtime/shrinking_shares.hpp"

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace numerical::detail {

// Strips begin at multiples of it, but for the first.
constexpr std::size_t strip_columns = 64;

// The strip to which a column belongs ends there, in a matrix of order n.
constexpr std::size_t strip_end(std::size_t column, std::size_t n)
{
    return std::min(round_up(column + 1, strip_columns), n);
}

// Some rows of the strip that begins with a column.
struct strip_piece
{
    std::size_t row;
    std::size_t last_row;
    std::size_t column;
};

class trailing_pieces
{
public:
    // Cuts the trailing matrix of rows and columns [from, n).
    void cut(std::size_t from, std::size_t n);

    std::size_t shares() const { return share_ends.size(); }

    std::span<const strip_piece> share(std::size_t i) const;

    // Of all strips together.
    std::size_t rows() const { return all_rows; }

private:
    std::vector<strip_piece> pieces;
    std::vector<std::size_t> share_ends; // pieces up to the end of each share
    std::size_t all_rows = 0;

    void cut_strip(const strip_piece& strip, std::size_t rows_before,
                   const shrinking_shares& cut_at);
};

} // namespace numerical::detail
