#pragma once

// Updates far from the diagonal by the reflectors that a chain of bulges has made in a window, on
// strips of the window's rows outside of it. A strip is copied to contiguous storage, all
// reflectors are applied to it while it is in L1, and it is copied back. Columns above the window
// are treated likewise, transposed. This takes 10 operations for each reflector and column, whereas
// a product with the accumulated reflectors takes 24 for the best shape of a window.

#include "numerical/gemm/path.hpp"
#include "numerical/nonsymmetric/schur_views.hpp"
#include "numerical/nonsymmetric/strip_kernels.hpp"

#include <cstddef>
#include <type_traits>
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
class chain_record
{
public:
    // Empty passes, one for each bulge.
    void clear(std::size_t bulges);

    void add(std::size_t bulge, std::size_t row, bool of_two, const bulge_reflector<T>& h);

    const std::vector<bulge_pass<T>>& for_rows() const { return passes; }

    // Columns are updated as rows of the transpose, by the conjugate reflectors.
    const std::vector<bulge_pass<T>>& for_columns() const
    {
        return std::is_same_v<T, double> ? passes : conjugates;
    }

    std::size_t reflectors() const;

private:
    std::vector<bulge_pass<T>> passes;
    std::vector<bulge_pass<T>> conjugates; // none of a real matrix
};

// Rows and columns [from, to) are up to date; the reflectors act on [low, high).
struct chain_window
{
    std::size_t from;
    std::size_t to;
    std::size_t low;
    std::size_t high;
};

// What a window leaves to update. Columns are multiplied in rows [reach.row_from, window.from),
// rows of h in columns [window.to, reach.col_to), rows of z throughout. The record must outlive the
// update.
template <class T>
class chain_update
{
public:
    chain_update(const schur_views<T>& s, const chain_window& window, const chain_record<T>& chain,
                 const similarity_reach& reach);

    // Each strip may be updated on its own, and has one writer.
    std::size_t strips() const { return all_strips; }

    // The first strips, those of h from window.to on that contain columns before `to`. The others
    // touch no column before `to`.
    std::size_t strips_before(std::size_t to) const;

    std::size_t work_per_strip() const;

    void update_strip(std::size_t strip) const;

private:
    const int path = gemm_path_current();
    const schur_views<T> s;
    const chain_window window;
    const chain_record<T>& record;
    const similarity_reach reach;
    const std::size_t right_strips; // of h, then those of z, then those above the window
    const std::size_t z_strips;
    const std::size_t all_strips;
};

} // namespace numerical::detail
