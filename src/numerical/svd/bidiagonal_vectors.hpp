#pragma once

#include "numerical/gemm/block_view.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

// An n × m problem has n diagonal entries and m - 1 couplings, m = n or m = n + 1. Its left vectors
// are the columns of u, n × n, and its right ones those of v, m × m, the last of which is the null
// vector if m > n. A parent needs only two rows of its children's v to find its values: when they
// are all that is wanted, u has no rows, and v holds the first and the last row only. When only the
// values are wanted, v has room for the two rows of the children.
enum class wanted_rows { all, ends, none };

struct bidiagonal_vectors
{
    block_view<double> u;
    block_view<double> v;
    wanted_rows wanted;

    bool complete() const { return wanted == wanted_rows::all; }
};

// How the vectors follow from left to right, by their values.
enum class column_order { ascending, descending };

inline void reverse_columns(block_view<double> a)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        std::reverse(a.row(i), a.row(i) + a.cols);
}

} // namespace numerical::detail
