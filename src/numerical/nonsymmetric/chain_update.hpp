#pragma once

// Updates far from the diagonal by the reflectors that a chain of bulges has made in a window, on
// strips of the window's rows outside of it. A strip is copied to contiguous storage, all
// reflectors are applied to it while it is in L1, and it is copied back. Columns above the window
// are treated likewise, transposed. This takes 10 operations for each reflector and column, whereas
// a product with the accumulated reflectors takes 24 for the best shape of a window.

#include "numerical/nonsymmetric/schur_views.hpp"
#include "numerical/nonsymmetric/strip_kernels.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// The reflectors that one bulge made in a window, in rows `first`, first + 1, ... of the window.
// The last one may be of two rows.
template <class T>
struct bulge_pass
{
    std::size_t first;
    bool ends_with_two;
    std::vector<strip_reflector<T>> reflectors;
};

// The passes of a window's bulges, in their order.
template <class T>
struct chain_record
{
    std::vector<bulge_pass<T>> passes;

    // Empty passes, one for each bulge.
    void clear(std::size_t bulges);

    void add(std::size_t bulge, std::size_t row, bool of_two, const bulge_reflector<T>& h);
};

// Rows and columns that are up to date.
struct window_range
{
    std::size_t from;
    std::size_t to;
};

// The reflectors act on rows and columns [low, high). Columns are multiplied in rows
// [reach.row_from, window.from), rows of h in columns [window.to, reach.col_to), rows of z
// throughout. Every strip has one writer.
template <class T>
void update_by_chain(const schur_views<T>& s, std::size_t low, std::size_t high,
                     const window_range& window, const chain_record<T>& chain,
                     const similarity_reach& reach);

} // namespace numerical::detail
