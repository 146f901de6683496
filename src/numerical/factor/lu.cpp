#include "numerical/factor/lu.hpp"

#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/lu_panel.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/lu_columns.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t narrow_block = 32;
constexpr std::size_t wide_block = 64;
constexpr std::size_t greatest_narrow_order = 256;

// Of the columns that are updated while the next panel is factored: narrow ones, as the thread that
// factors it joins late.
constexpr std::size_t tiles_per_thread = 8;

// A column stride for the panel: padded, and such that columns don't fall into the same cache sets.
std::size_t panel_stride(std::size_t rows)
{
    const std::size_t stride = round_up(rows + panel_padding, 8);
    return stride % 256 == 0 ? stride + 8 : stride;
}

// The block loop. A panel's exchanges of rows are applied to the columns right of it when those are
// next updated, tile by tile, and to the columns left of it at the end. So the panel can be
// factored while other threads still update the columns right of it, and no row is loaded only to
// be exchanged.
template <class T>
class lu_blocks
{
public:
    lu_blocks(block_view<T> matrix, std::size_t block_width)
        : a(matrix), steps(std::min(a.rows, a.cols)), block(block_width), exchanges(a.rows),
          panel_store(zeros<T>(panel_stride(a.rows) * std::min(block, steps)))
    {
        std::iota(exchanges.begin(), exchanges.end(), std::size_t{0});
    }

    void factorize();

    // Row i was exchanged with row exchanges[i], in ascending order of i.
    const std::vector<std::size_t>& row_exchanges() const { return exchanges; }

    bool singular() const { return met_zero_pivot; }

private:
    block_view<T> a;
    std::size_t steps; // columns of L, rows of U
    std::size_t block;
    std::vector<std::size_t> exchanges;
    std::vector<T> panel_store;  // of the panel that is being factored, by columns
    std::vector<T> minus_l;      // of the panel whose update runs, by rows
    std::vector<T> next_minus_l; // of the panel that is being factored
    bool met_zero_pivot = false;

    void factorize_panel(std::size_t panel_first, std::size_t panel_last);
    void solve_panel_rows(std::size_t first, std::size_t last);
    void update_beside_panel(std::size_t start, std::size_t end, std::size_t next_end);
    void update(std::size_t start, std::size_t end, std::size_t from, std::size_t to);
    void exchange_rows(std::size_t first, std::size_t last, std::size_t from, std::size_t to);
    void exchange_rows_of_l();
};

//       start  end  next_end
//    [  L\U    U   |   U    ]  start     solve for the rows of U;
//    [   L   panel | update ]  end       the next panel's columns first, then it and the rest.
template <class T>
void lu_blocks<T>::factorize()
{
    std::size_t start = 0;
    std::size_t end = std::min(block, steps);
    factorize_panel(start, end);
    while (end < steps) {
        const std::size_t next_end = std::min(steps, end + block);
        std::swap(minus_l, next_minus_l);
        solve_panel_rows(start, end);
        update_beside_panel(start, end, next_end);
        start = end;
        end = next_end;
    }
    if (end < a.cols)
        solve_panel_rows(start, end);
    exchange_rows_of_l();
}

template <class T>
void lu_blocks<T>::factorize_panel(std::size_t panel_first, std::size_t panel_last)
{
    const std::size_t rows = a.rows - panel_first;
    const block_view<T> columns{.first = panel_store.data(),
                                .rows = panel_last - panel_first,
                                .cols = rows,
                                .stride = panel_stride(rows)};
    const block_view<T> in_place = a.sub(panel_first, a.rows, panel_first, panel_last);
    transpose_into(columns, in_place);
    lu_panel<T> panel(columns, panel_first, block, exchanges.data() + panel_first);
    panel.factorize();
    met_zero_pivot = met_zero_pivot || panel.singular();
    transpose_into(in_place, columns);
    negate_into(next_minus_l, a.sub(panel_last, a.rows, panel_first, panel_last));
}

// Rows [first, last) right of the panel become U, after the panel's exchanges. Each tile reads and
// writes its own columns only.
template <class T>
void lu_blocks<T>::solve_panel_rows(std::size_t first, std::size_t last)
{
    const std::size_t width = last - first;
    const int path = gemm_path_current();
    const block_view<const T> l = a.sub(first, last, first, last);
    const auto solve_tile = [&](std::size_t t) {
        const std::size_t from = last + triangular_tile * t;
        const std::size_t to = std::min(from + triangular_tile, a.cols);
        exchange_rows(first, last, from, to);
        on_well_strided(a.sub(first, last, from, to),
                        [&](block_view<T> x) { substitute_unit_lower(path, l, x); });
    };
    parallel_for(triangular_tiles(a.cols - last), substitution_work<T>(width), solve_tile);
}

// The tiles write the columns from next_end on, from row `end` down, and read the rows of U above
// and the private copy of -L; the panel's columns are written by the panel alone.
template <class T>
void lu_blocks<T>::update_beside_panel(std::size_t start, std::size_t end, std::size_t next_end)
{
    const std::size_t remaining = a.cols - next_end;
    const std::size_t threads = allowed_threads();
    const std::size_t pieces = threads > 1 ? tiles_per_thread * threads : 1;
    const std::size_t tile = std::max(ceil_div(remaining, pieces), block);
    const auto update_tile = [&](std::size_t t) {
        const std::size_t from = next_end + t * tile;
        update(start, end, from, std::min(from + tile, a.cols));
    };
    const auto next_panel = [&] {
        update(start, end, end, next_end);
        factorize_panel(end, next_end);
    };
    parallel_for_beside(ceil_div(remaining, tile), (a.rows - end) * (end - start) * tile / 16,
                        update_tile, next_panel);
}

// Subtracts L·U of the block [start, end) from columns [from, to), from row `end` down.
template <class T>
void lu_blocks<T>::update(std::size_t start, std::size_t end, std::size_t from, std::size_t to)
{
    const std::size_t width = end - start;
    add_product({minus_l.data(), a.rows - end, width}, a.sub(start, end, from, to),
                a.sub(end, a.rows, from, to));
}

// The exchanges of rows [first, last), on columns [from, to).
template <class T>
void lu_blocks<T>::exchange_rows(std::size_t first, std::size_t last, std::size_t from,
                                 std::size_t to)
{
    for (std::size_t i = first; i < last; ++i) {
        prefetch_run(a.row(exchanges[std::min(i + runs_ahead, last - 1)]) + from, to - from);
        if (exchanges[i] != i)
            exchange_runs(a.row(i) + from, a.row(exchanges[i]) + from, to - from);
    }
}

// Applies the exchanges of all later panels to each panel's columns of L, in one pass while they
// are in cache.
template <class T>
void lu_blocks<T>::exchange_rows_of_l()
{
    const auto exchange_panel = [&](std::size_t t) {
        const std::size_t from = block * t;
        const std::size_t to = std::min(from + block, steps);
        exchange_rows(to, steps, from, to);
    };
    parallel_for(ceil_div(steps, block), a.rows * block / 4, exchange_panel);
}

} // namespace
} // namespace detail

std::size_t lu_block_width(std::size_t rows, std::size_t cols)
{
    return std::min(rows, cols) <= detail::greatest_narrow_order ? detail::narrow_block
                                                                 : detail::wide_block;
}

template <class T>
lu_pivots factorize_lu(detail::block_view<T> a)
{
    detail::lu_blocks<T> blocks(a, lu_block_width(a.rows, a.cols));
    blocks.factorize();
    return {blocks.row_exchanges(), blocks.singular()};
}

template <class T>
lu_decomposition<T>::lu_decomposition(matrix<T>&& a)
    : order(a.rows), block(lu_block_width(a.rows, a.cols))
{
    if (a.rows != a.cols)
        throw dimension_error("LU decomposition requires a square matrix");
    detail::require_finite(a, "LU decomposition");
    factors = std::move(a.data);

    const lu_pivots pivots = factorize_lu<T>({factors.data(), order, order});
    singular = pivots.singular;
    permutation.resize(order);
    std::iota(permutation.begin(), permutation.end(), std::size_t{0});
    for (std::size_t i = 0; i < order; ++i)
        if (const std::size_t other = pivots.exchanges[i]; other != i) {
            std::swap(permutation[i], permutation[other]);
            sign = -sign;
        }
}

template lu_pivots factorize_lu(detail::block_view<double>);
template lu_pivots factorize_lu(detail::block_view<std::complex<double>>);
template struct lu_decomposition<double>;
template struct lu_decomposition<std::complex<double>>;

} // namespace numerical
