#include "numerical/factor/lu_factorization.hpp"

#include "numerical/counts.hpp"
#include "numerical/factor/lu_panel.hpp"
#include "numerical/factor/triangular_solve.hpp"
#include "numerical/gemm/kernels/lu_columns.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace numerical::detail {
namespace {

// The work of a loop is its multiply-adds here, and eight for the exchange of two elements: the
// loops follow one another so closely that workers poll for them, and each repays its start from
// two microseconds on.
constexpr std::size_t work_of_exchange = 8;

// A larger matrix is copied before its first panel: by rows, as memory is read best.
constexpr std::size_t most_copied_beside = std::size_t{4} << 20;

constexpr const char* name_of_lu = "LU decomposition";

// Of the columns that are updated while the next panel is factored: narrow ones, as the thread that
// factors it joins late.
constexpr std::size_t tiles_per_thread = 8;

// A column stride for the panel: padded, and such that columns don't fall into the same cache sets.
std::size_t panel_stride(std::size_t rows)
{
    const std::size_t stride = round_up(rows + panel_padding, 8);
    return stride % 256 == 0 ? stride + 8 : stride;
}

// The most columns that are factored block by block rather than by halves. Halves make deep
// products, which load and store C once for many positions; blocks let the next panel be factored
// beside the update. One thread has nothing beside it, and halves columns down to a panel. Where
// the depth isn't free columns are never halved.
template <class T>
std::size_t most_columns_by_blocks(std::size_t block)
{
    constexpr std::size_t with_look_ahead = 1024;
    if constexpr (!depth_is_free<T>)
        return std::numeric_limits<std::size_t>::max();
    return allowed_threads() > 1 ? with_look_ahead : block;
}

} // namespace

template <class T>
lu_factorization<T>::lu_factorization(block_view<T> matrix, std::size_t block_width)
    : a(matrix), steps(std::min(a.rows, a.cols)), block(block_width),
      most_by_blocks(most_columns_by_blocks<T>(block)), exchanges(a.rows),
      panel_store(zeros<T>(panel_stride(a.rows) * std::min(block, steps)))
{
    std::iota(exchanges.begin(), exchanges.end(), std::size_t{0});
}

// The columns right of a wide matrix's square are solved for when that is factored. Updated with
// its columns, they would be cut into tiles for the threads, and in the last, low updates the width
// of a tile would decide how its products are summed.
template <class T>
void lu_factorization<T>::factorize()
{
    factorize_columns(0, steps);
    if (a.cols > steps)
        solve_rows(0, steps, steps, a.cols);
}

template <class T>
void lu_factorization<T>::factorize_copy_of(block_view<const T> original)
{
    if (allowed_threads() > 1 && steps != 0 && a.rows * a.cols * sizeof(T) <= most_copied_beside)
        to_copy = original;
    else
        copy_finite(original, a, name_of_lu);
    factorize();
}

//    from  mid   to
//    [ L\U   U01 ]  from     left half; U01 = L⁻¹·A01;
//    [ L10   A11 ]  mid      A11 -= L10·U01; right half, and its exchanges on L10.
//
// The left half has whole blocks and no more of them than the right one.
template <class T>
void lu_factorization<T>::factorize_columns(std::size_t from, std::size_t to)
{
    if (to - from <= most_by_blocks)
        return factorize_blocks(from, to);
    const std::size_t mid = from + first_part<T>(to - from, block);
    factorize_columns(from, mid);
    solve_rows(from, mid, mid, to);
    subtract_product<T>(negative, a.sub(mid, a.rows, from, mid), a.sub(from, mid, mid, to),
                        a.sub(mid, a.rows, mid, to));
    factorize_columns(mid, to);
    exchange_rows_in_tiles(mid, to, from, mid);
}

//       start  end  next_end
//    [  L\U    U   |   U    ]  start     solve for the rows of U;
//    [   L   panel | update ]  end       the next panel's columns first, then it and the rest.
template <class T>
void lu_factorization<T>::factorize_blocks(std::size_t from, std::size_t to)
{
    std::size_t start = from;
    std::size_t end = std::min(start + block, to);
    if (to_copy.first != nullptr)
        factorize_first_panel(end);
    else
        factorize_panel(start, end);
    if (end < to)
        keep_minus_l(start, end);
    while (end < to) {
        const std::size_t next_end = std::min(to, end + block);
        std::swap(minus_l, next_minus_l);
        solve_panel_rows(start, end, to);
        update_beside_panel(start, end, next_end, to);
        start = end;
        end = next_end;
    }
    exchange_rows_of_l(from, to);
}

// Each index copies a tile's columns right of the panel, so that a thread has mostly copied what it
// updates next.
template <class T>
void lu_factorization<T>::factorize_first_panel(std::size_t panel_last)
{
    const block_view<const T> from = std::exchange(to_copy, {});
    const auto copy_tile = [&](std::size_t t) {
        const std::size_t first = panel_last + triangular_tile * t;
        const std::size_t last = std::min(first + triangular_tile, a.cols);
        copy_finite(from.sub(0, a.rows, first, last), a.sub(0, a.rows, first, last), name_of_lu);
    };
    const auto copy_and_factorize = [&] {
        copy_finite(from.sub(0, a.rows, 0, panel_last), a.sub(0, a.rows, 0, panel_last),
                    name_of_lu);
        factorize_panel(0, panel_last);
    };
    parallel_for_beside(triangular_tiles(a.cols - panel_last),
                        a.rows * triangular_tile * sizeof(T) / sizeof(double), copy_tile,
                        copy_and_factorize);
}

template <class T>
void lu_factorization<T>::factorize_panel(std::size_t panel_first, std::size_t panel_last)
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
}

// A contiguous copy of -L, which the tiles of the update read where it lies.
template <class T>
void lu_factorization<T>::keep_minus_l(std::size_t start, std::size_t end)
{
    negate_into(next_minus_l, a.sub(end, a.rows, start, end));
}

// Rows [first, mid) of the columns [from, to) become U, after the exchanges of those rows.
template <class T>
void lu_factorization<T>::solve_rows(std::size_t first, std::size_t mid, std::size_t from,
                                     std::size_t to)
{
    exchange_rows_in_tiles(first, mid, from, to);
    solve_unit_lower<T>(a.sub(first, mid, first, mid), block, a.sub(first, mid, from, to));
}

// The same for a panel's rows and the columns right of it. Each tile reads and writes its own
// columns only.
template <class T>
void lu_factorization<T>::solve_panel_rows(std::size_t start, std::size_t end, std::size_t last)
{
    const block_view<const T> l = a.sub(start, end, start, end);
    const auto solve_tile = [&](std::size_t t) {
        const std::size_t from = end + triangular_tile * t;
        const std::size_t to = std::min(from + triangular_tile, last);
        exchange_rows(start, end, from, to);
        on_well_strided(a.sub(start, end, from, to),
                        [&](block_view<T> x) { substitute_unit_lower(path, l, x); });
    };
    parallel_for(triangular_tiles(last - end), (end - start) * (end - start) * triangular_tile,
                 solve_tile);
}

// The tiles write the columns from next_end on, from row `end` down, and read the rows of U above
// and the private copy of -L; the panel's columns are written by the panel alone.
template <class T>
void lu_factorization<T>::update_beside_panel(std::size_t start, std::size_t end,
                                              std::size_t next_end, std::size_t last)
{
    const std::size_t remaining = last - next_end;
    const std::size_t threads = allowed_threads();
    const std::size_t pieces = threads > 1 ? tiles_per_thread * threads : 1;
    const std::size_t tile = std::max(ceil_div(remaining, pieces), block);
    const auto update_tile = [&](std::size_t t) {
        const std::size_t from = next_end + t * tile;
        update(start, end, from, std::min(from + tile, last));
    };
    const auto next_panel = [&] {
        update(start, end, end, next_end);
        factorize_panel(end, next_end);
        keep_minus_l(end, next_end);
    };
    parallel_for_beside(ceil_div(remaining, tile), (a.rows - end) * (end - start) * tile,
                        update_tile, next_panel);
}

// Subtracts L·U of the block [start, end) from columns [from, to), from row `end` down.
template <class T>
void lu_factorization<T>::update(std::size_t start, std::size_t end, std::size_t from,
                                 std::size_t to)
{
    const std::size_t width = end - start;
    add_product({minus_l.data(), a.rows - end, width}, a.sub(start, end, from, to),
                a.sub(end, a.rows, from, to));
}

// The exchanges of rows [first, last), on columns [from, to).
template <class T>
void lu_factorization<T>::exchange_rows(std::size_t first, std::size_t last, std::size_t from,
                                        std::size_t to)
{
    for (std::size_t i = first; i < last; ++i) {
        prefetch_run(a.row(exchanges[std::min(i + runs_ahead, last - 1)]) + from, to - from);
        if (exchanges[i] != i)
            exchange_on(path, a.row(i) + from, a.row(exchanges[i]) + from, to - from);
    }
}

// The same on tiles of columns.
template <class T>
void lu_factorization<T>::exchange_rows_in_tiles(std::size_t first, std::size_t last,
                                                 std::size_t from, std::size_t to)
{
    const auto exchange_tile = [&](std::size_t t) {
        const std::size_t begin = from + triangular_tile * t;
        exchange_rows(first, last, begin, std::min(begin + triangular_tile, to));
    };
    parallel_for(triangular_tiles(to - from), (last - first) * triangular_tile * work_of_exchange,
                 exchange_tile);
}

// Applies the exchanges of all later panels of [from, to) to each panel's columns of L, in one pass
// while they are in cache.
template <class T>
void lu_factorization<T>::exchange_rows_of_l(std::size_t from, std::size_t to)
{
    const auto exchange_panel = [&](std::size_t t) {
        const std::size_t first = from + block * t;
        const std::size_t last = std::min(first + block, to);
        exchange_rows(last, to, first, last);
    };
    parallel_for(ceil_div(to - from, block), (to - from) * block * work_of_exchange / 2,
                 exchange_panel);
}

template class lu_factorization<double>;
template class lu_factorization<complex>;

} // namespace numerical::detail
