#include "numerical/factor/cholesky_blocks.hpp"

#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/threads_of_order.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace numerical::detail {
namespace {

constexpr std::size_t tile_rows = 64; // of a substitution
// Of a piece of the update for several threads, about: products of few rows would read B where it
// lies, which takes longer here. One thread updates whole block columns, and packs each B once.
constexpr std::size_t piece_rows = 512;
constexpr std::size_t least_rows = 64;
// Between the rows of L21ᴴ's tiles: 512 bytes apart they would share cache sets.
constexpr std::size_t tile_stride = 72;
constexpr std::size_t greatest_block = 64;
constexpr std::size_t band_rows = 16; // of a diagonal block's update

// Beyond these orders the work of a loop is its multiply-adds: the loops follow one another so
// closely that workers poll for them, and each repays its start from two microseconds on.
template <class T>
constexpr greatest_serial_order serial_cholesky =
    std::is_same_v<T, double> ? greatest_serial_order{240, 320} : greatest_serial_order{160, 240};

// The blocks whose products are subtracted together from the columns right of them, so that C is
// loaded and stored once for all: where it doesn't stay in cache. Many threads take one, so that
// each update is large enough for them; so it is where the depth of products isn't free.
template <class T>
std::size_t blocks_in_group(std::size_t order)
{
    constexpr std::size_t together = 4;
    constexpr std::size_t least_order = 1536;
    constexpr std::size_t most_threads = 4;
    const bool deep = depth_is_free<T> && allowed_threads() <= most_threads && order >= least_order;
    return deep ? together : 1;
}

} // namespace

template <class T>
cholesky_blocks<T>::cholesky_blocks(block_view<T> matrix, std::size_t block_width)
    : a(matrix), order(matrix.rows), block(std::min(block_width, order)), path(gemm_path_current()),
      group_width(block * blocks_in_group<T>(order)),
      group_stride(group_width == block ? block : group_width + line_elements<T>),
      columns(uninitialized<T>(block * block)),
      l11(uninitialized<T>(block == order ? 0 : block * block)),
      minus_l21(uninitialized<T>((order - block) * group_stride)),
      adjoint(uninitialized<T>(tiles_below(block) * tile_stride * group_width))
{
}

// Tiles begin at multiples of 64 rows of the matrix.
template <class T>
std::size_t cholesky_blocks<T>::tiles_below(std::size_t row) const
{
    return ceil_div(order, tile_rows) - row / tile_rows;
}

// Where -L21 has this row and column.
template <class T>
T* cholesky_blocks<T>::minus_l21_at(std::size_t row, std::size_t column)
{
    return minus_l21.data() + (row - block) * group_stride + (column - group);
}

// Where L21ᴴ has the adjoint of that element.
template <class T>
T* cholesky_blocks<T>::adjoint_at(std::size_t row, std::size_t column)
{
    const std::size_t tile = row / tile_rows - block / tile_rows;
    return adjoint.data() + (tile * group_width + (column - group)) * tile_stride + row % tile_rows;
}

template <class T>
void cholesky_blocks<T>::factorize()
{
    const loops_on_few scope(threads_of_order(order, serial_cholesky<T>));
    std::size_t first = 0;
    std::size_t last = std::min(block, order);
    factor_diagonal_block(first, last);
    while (last < order) {
        factor_rows_below(first, last);
        const bool ends_group = last == group + group_width;
        update_beside_diagonal_block(ends_group ? group : first, last,
                                     ends_group ? order : std::min(group + group_width, order));
        if (ends_group)
            group = last;
        first = last;
        last = std::min(last + block, order);
    }
}

// Column by column on a transposed copy, so that the sums of a column run side by side; each of
// them subtracts its products one at a time in ascending order, unfused on every path. Updates have
// written above the diagonal within the block, which is cleared.
template <class T>
void cholesky_blocks<T>::factor_diagonal_block(std::size_t first, std::size_t last)
{
    const std::size_t width = last - first;
    const block_view<T> a11 = a.sub(first, last, first, last);
    const block_view<T> by_columns{columns.data(), width, width};
    transpose_into(by_columns, a11);
    T coefficients[greatest_block];
    for (std::size_t j = 0; j < width; ++j) {
        T* const column = by_columns.row(j) + j;
        for (std::size_t l = 0; l < j; ++l)
            coefficients[l] = conjugate(by_columns(l, j));
        subtract_unfused(path, column, coefficients, columns.data() + j, width, j, width - j);
        const double pivot = real_part(column[0]);
        if (0 >= pivot)
            throw not_positive_definite_error("Cholesky: matrix is not positive-definite");
        column[0] = std::sqrt(pivot);
        divide_row(path, column + 1, column[0], width - j - 1);
    }
    transpose_into(a11, by_columns);
    for (std::size_t i = 0; i < width; ++i)
        set_zero(a11.row(i) + i + 1, width - i - 1);
}

// Tile t turns 64 rows of A21 into L21, and writes its part of the update's operands.
template <class T>
void cholesky_blocks<T>::factor_rows_below(std::size_t first, std::size_t last)
{
    const std::size_t width = last - first;
    for (std::size_t i = 0; i < width; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            l11[i * width + j] = conjugate(a(first + i, first + j));
        l11[i * width + i] = a(first + i, first + i);
    }
    const auto factor_one = [&](std::size_t t) {
        const std::size_t tile = (last / tile_rows + t) * tile_rows;
        const std::size_t from = std::max(tile, last);
        const std::size_t to = std::min(tile + tile_rows, order);
        factor_tile(a.sub(from, to, first, last),
                    {.first = minus_l21_at(from, first),
                     .rows = to - from,
                     .cols = width,
                     .stride = group_stride},
                    {.first = adjoint_at(from, first),
                     .rows = width,
                     .cols = to - from,
                     .stride = tile_stride});
    };
    parallel_for(tiles_below(last), width * width * tile_rows, factor_one);
}

// On a transposed copy, where every step of the substitution runs along contiguous columns of L21.
template <class T>
void cholesky_blocks<T>::factor_tile(block_view<T> rows, block_view<T> minus_rows,
                                     block_view<T> tile)
{
    transpose_into(tile, rows);
    substitute_lower<T>(path, {l11.data(), tile.rows, tile.rows}, tile);
    transpose_into(rows, tile);
    for (std::size_t i = 0; i < rows.rows; ++i)
        negate_run(minus_rows.row(i), rows.row(i), rows.cols);
    for (std::size_t j = 0; j < tile.rows; ++j)
        conjugate_all(tile.row(j), tile.cols);
}

// Columns [last, end) lose the products with the columns [from, last). The pieces write those from
// the next panel's end on; the panel's own are updated beside them, and its diagonal block
// factored.
template <class T>
void cholesky_blocks<T>::update_beside_diagonal_block(std::size_t from, std::size_t last,
                                                      std::size_t end)
{
    const std::size_t next = std::min(last + block, order);
    cut_pieces(last, end);
    const auto update_share = [&](std::size_t i) {
        for (std::size_t k = i == 0 ? 0 : share_ends[i - 1]; k < share_ends[i]; ++k)
            update(from, last, pieces[k]);
    };
    const auto factor_next = [&] {
        update(from, last, {last, order, last});
        factor_diagonal_block(last, next);
    };
    const std::size_t shares = std::max<std::size_t>(share_ends.size(), 1);
    parallel_for_beside(share_ends.size(), rows_of_pieces * block * (last - from) / shares,
                        update_share, factor_next);
}

// Cuts the columns right of the panel at `last`, which the caller of the loop updates beforehand.
template <class T>
void cholesky_blocks<T>::cut_pieces(std::size_t last, std::size_t end)
{
    pieces.clear();
    share_ends.clear();
    rows_of_pieces = 0;
    const std::size_t panel_rows = order - last;
    const std::size_t threads = allowed_threads();
    for (std::size_t column = last + block; column < end; column += block)
        rows_of_pieces += order - column;
    const std::size_t of_each = (rows_of_pieces + panel_rows) / threads;
    const shrinking_shares cut_at{.all = rows_of_pieces,
                                  .threads = threads,
                                  .of_caller = std::max(of_each, panel_rows) - panel_rows};
    std::size_t rows = 0;
    for (std::size_t column = last + block; column < end; column += block) {
        cut_column(column, rows, cut_at);
        rows += order - column;
    }
    if (!pieces.empty() && (share_ends.empty() || share_ends.back() < pieces.size()))
        share_ends.push_back(pieces.size());
}

// No piece has few rows, or its products might be summed in another way than those of the whole
// block column.
template <class T>
void cholesky_blocks<T>::cut_column(std::size_t column, std::size_t rows_before,
                                    const shrinking_shares& cut_at)
{
    const auto rows_up_to = [&](std::size_t row) { return rows_before + (row - column); };
    const auto share_end = [&] { return cut_at.up_to(share_ends.size() + 1); };
    const std::size_t most_rows = cut_at.threads > 1 ? piece_rows : std::max(order, least_rows);
    for (std::size_t row = column; row < order;) {
        const std::size_t left = std::max(share_end(), rows_up_to(row)) - rows_up_to(row);
        const std::size_t height = std::clamp(left / 8 * 8, least_rows, most_rows);
        const std::size_t to = row + height + least_rows > order ? order : row + height;
        pieces.push_back({row, to, column});
        row = to;
        const bool ends_share = share_end() < rows_up_to(row) + least_rows;
        if (ends_share && share_ends.size() + 1 < cut_at.count())
            share_ends.push_back(pieces.size());
    }
}

// Subtracts L·Lᴴ of the columns [from, last) from a piece. Where a piece begins on the diagonal,
// bands of its rows leave out most of what lies above it.
template <class T>
void cholesky_blocks<T>::update(std::size_t from, std::size_t last, const piece& part)
{
    const std::size_t to = std::min(part.column + block, order);
    std::size_t row = part.row;
    if (part.row == part.column && to - row == block && part.last_row >= to)
        for (; row + band_rows < to; row += band_rows)
            subtract_product(from, last, {row, row + band_rows, part.column},
                             row + band_rows - part.column);
    subtract_product(from, last, {row, part.last_row, part.column}, to - part.column);
}

// The same for the first columns of a piece, in one product or, where its depth would decide how it
// is summed, block by block.
template <class T>
void cholesky_blocks<T>::subtract_product(std::size_t from, std::size_t last, const piece& part,
                                          std::size_t cols)
{
    const std::size_t rows = part.last_row - part.row;
    const std::size_t depth = rows * cols < depth_decides_from ? block : last - from;
    for (std::size_t k = from; k < last; k += depth)
        add_product<T>({.first = minus_l21_at(part.row, k),
                        .rows = rows,
                        .cols = depth,
                        .stride = group_stride},
                       {.first = adjoint_at(part.column, k),
                        .rows = depth,
                        .cols = cols,
                        .stride = tile_stride},
                       a.sub(part.row, part.last_row, part.column, part.column + cols));
}

template class cholesky_blocks<double>;
template class cholesky_blocks<complex>;

} // namespace numerical::detail
