#include "numerical/factor/cholesky.hpp"

#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t tile_rows = 64; // of a substitution
// Of a piece of the update for several threads, about: products of few rows would read B where it
// lies, which takes longer here. One thread updates whole block columns, and packs each B once.
constexpr std::size_t piece_rows = 512;
// Between the rows of L21ᴴ's tiles: 512 bytes apart they would share cache sets.
constexpr std::size_t tile_stride = 72;
constexpr std::size_t greatest_block = 64;
constexpr std::size_t band_rows = 16; // of a diagonal block's update

// Right-looking by block columns, lower triangle:
//          first  last  next
//   first [ L11              ]   L11 from A11;
//    last [ L21   A22        ]   L21 = A21·L11⁻ᴴ;
//    next [ L31   A32   A33  ]   A22 and A32 lose L21·L21ᴴ and L31·L21ᴴ, and A22 is factored at
//                                once, while other threads update A33.
template <class T>
class cholesky_blocks
{
public:
    cholesky_blocks(block_view<T> matrix, std::size_t block_width)
        : a(matrix), order(matrix.rows), block(std::min(block_width, order)),
          path(gemm_path_current()), columns(uninitialized<T>(block * block)),
          l11(uninitialized<T>(block == order ? 0 : block * block)),
          minus_l21(uninitialized<T>((order - block) * block)),
          adjoint(uninitialized<T>(tiles_below(block) * tile_stride * block))
    {
    }

    void factorize();

private:
    // A part of a block column of the trailing matrix.
    struct piece
    {
        std::size_t row;
        std::size_t last_row;
        std::size_t column;
    };

    block_view<T> a;
    std::size_t order;
    std::size_t block;
    int path;
    std::vector<T> columns;   // the diagonal block that is being factored, by columns
    std::vector<T> l11;       // contiguous by rows, conjugated off the diagonal, which is real
    std::vector<T> minus_l21; // of the panel whose update runs, by rows
    std::vector<T> adjoint;   // L21ᴴ, in tiles of 64 columns, one after the other
    std::vector<piece> pieces;

    std::size_t tiles_below(std::size_t row) const { return ceil_div(order - row, tile_rows); }

    void factor_diagonal_block(std::size_t first, std::size_t last);
    void factor_rows_below(std::size_t first, std::size_t last);
    void factor_tile(block_view<T> rows, block_view<T> minus_rows, block_view<T> tile);
    void update_beside_diagonal_block(std::size_t first, std::size_t last);
    void update(std::size_t first, std::size_t last, const piece& part);
};

template <class T>
void cholesky_blocks<T>::factorize()
{
    std::size_t first = 0;
    std::size_t last = std::min(block, order);
    factor_diagonal_block(first, last);
    while (last < order) {
        factor_rows_below(first, last);
        update_beside_diagonal_block(first, last);
        first = last;
        last = std::min(last + block, order);
    }
}

// Column by column on a transposed copy, so that the sums of a column run side by side; each of
// them subtracts its products one at a time in ascending order, unfused on every path.
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
    for (std::size_t i = 0; i < width; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            a11(i, j) = by_columns(j, i);
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
        const std::size_t from = last + tile_rows * t;
        const std::size_t height = std::min(order - from, tile_rows);
        factor_tile(a.sub(from, from + height, first, last),
                    {minus_l21.data() + tile_rows * t * width, height, width},
                    {.first = adjoint.data() + tile_stride * t * width,
                     .rows = width,
                     .cols = height,
                     .stride = tile_stride});
    };
    parallel_for(tiles_below(last), width * width * tile_rows / 8, factor_one);
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

// The pieces write the columns from the next panel's end on; the panel's own are updated beside
// them, and its diagonal block factored.
template <class T>
void cholesky_blocks<T>::update_beside_diagonal_block(std::size_t first, std::size_t last)
{
    const std::size_t next = std::min(last + block, order);
    const std::size_t most_rows = allowed_threads() > 1 ? piece_rows : order;
    pieces.clear();
    for (std::size_t column = next; column < order; column += block) {
        const std::size_t parts = ceil_div(order - column, most_rows);
        const std::size_t height = ((order - column) / parts + 8) / 8 * 8;
        for (std::size_t row = column; row < order; row += height)
            pieces.push_back({row, std::min(row + height, order), column});
    }
    const auto update_piece = [&](std::size_t i) { update(first, last, pieces[i]); };
    const auto factor_next = [&] {
        update(first, last, {last, order, last});
        factor_diagonal_block(last, next);
    };
    const std::size_t mean_rows = std::min((order - next) / 2, piece_rows / 2);
    parallel_for_beside(pieces.size(), mean_rows * block * (last - first) / 8, update_piece,
                        factor_next);
}

// Subtracts L·Lᴴ of the panel [first, last) from a piece. Where a piece begins on the diagonal,
// bands of its rows leave out most of what lies above it.
template <class T>
void cholesky_blocks<T>::update(std::size_t first, std::size_t last, const piece& part)
{
    const std::size_t width = last - first;
    const std::size_t to = std::min(part.column + block, order);
    const std::size_t tile = (part.column - last) / tile_rows;
    const T* const l21 =
        adjoint.data() + tile * tile_stride * width + (part.column - last) % tile_rows;
    const auto update_rows = [&](std::size_t row, std::size_t last_row, std::size_t cols) {
        add_product<T>({minus_l21.data() + (row - last) * width, last_row - row, width},
                       {.first = l21, .rows = width, .cols = cols, .stride = tile_stride},
                       a.sub(row, last_row, part.column, part.column + cols));
    };
    std::size_t row = part.row;
    if (part.row == part.column && to - row == block && part.last_row >= to)
        for (; row + band_rows < to; row += band_rows)
            update_rows(row, row + band_rows, row + band_rows - part.column);
    update_rows(row, part.last_row, to - part.column);
}

std::size_t block_width(std::size_t order)
{
    if (order <= 128)
        return 16;
    return order <= 256 ? 32 : 64;
}

// Calls pass(first, last) for groups of rows.
template <class F>
void for_each_group(std::size_t rows, std::size_t cols, const F& pass)
{
    constexpr std::size_t group = 8;
    parallel_for(ceil_div(rows, group), cols * group / 8,
                 [&](std::size_t g) { pass(g * group, std::min((g + 1) * group, rows)); });
}

constexpr const char* operation_name = "Cholesky decomposition";

void require_square(std::size_t rows, std::size_t cols)
{
    if (rows != cols)
        throw dimension_error("Cholesky decomposition requires a square matrix");
}

// The lower triangle with zeros above it. A group of rows is checked while it comes into cache.
template <class T>
std::vector<T> finite_lower_triangle(const T* a, std::size_t order)
{
    std::vector<T> lower = uninitialized<T>(order * order);
    for_each_group(order, order, [&](std::size_t first, std::size_t last) {
        require_finite(a + first * order, (last - first) * order, operation_name);
        for (std::size_t i = first; i < last; ++i) {
            T* const row = lower.data() + i * order;
            std::memcpy(static_cast<void*>(row), a + i * order, (i + 1) * sizeof(T));
            set_zero(row + i + 1, order - i - 1);
        }
    });
    return lower;
}

// Clears the elements above the diagonal, as far as the end of each diagonal block. Updates write
// to no others.
template <class T>
void clear_upper(block_view<T> a, std::size_t block)
{
    for_each_group(a.rows, block, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            const std::size_t end = std::min((i / block + 1) * block, a.cols);
            set_zero(a.row(i) + i + 1, end - i - 1);
        }
    });
}

// Calls pass(first, last) for bands of rows.
template <class F>
void for_each_band(std::size_t rows, std::size_t cols, const F& pass)
{
    parallel_for(ceil_div(rows, tile_rows), cols * tile_rows / 8,
                 [&](std::size_t g) { pass(g * tile_rows, std::min((g + 1) * tile_rows, rows)); });
}

// Aᴴ in the lower triangle, and unset elements above it, from the upper triangle of A. A band of
// rows is checked before it is transposed.
template <class T>
std::vector<T> finite_upper_triangle_by_columns(block_view<const T> a)
{
    const std::size_t order = a.rows;
    std::vector<T> store = uninitialized<T>(order * order);
    const block_view<T> lower{store.data(), order, order};
    for_each_band(order, order, [&](std::size_t first, std::size_t last) {
        require_finite(a.row(first), (last - first) * order, operation_name);
        adjoint_into<T>(lower.sub(first, order, first, last), a.sub(first, last, first, order));
    });
    return store;
}

// L in a lower triangle becomes Lᴴ with zeros below it. A band of columns is written to the same
// band of rows, of which no other band reads anything.
template <class T>
void turn_to_upper(block_view<T> l)
{
    for_each_band(l.rows, l.rows, [&](std::size_t first, std::size_t last) {
        const block_view<T> corner = l.sub(first, last, first, last);
        for (std::size_t i = 0; i < corner.rows; ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                corner(j, i) = conjugate(corner(i, j));
                corner(i, j) = T(0);
            }
        }
        const block_view<T> below = l.sub(last, l.rows, first, last);
        adjoint_into<T>(l.sub(first, last, last, l.rows), below);
        for (std::size_t i = 0; i < below.rows; ++i)
            set_zero(below.row(i), below.cols);
    });
}

} // namespace
} // namespace detail

template <class T>
cholesky_decomposition<T>::cholesky_decomposition(matrix<T>&& a)
    : order(a.rows), block(detail::block_width(order))
{
    detail::require_square(a.rows, a.cols);
    detail::require_finite(a, detail::operation_name);
    factors = std::move(a.data);
    factorize();
    detail::clear_upper<T>({factors.data(), order, order}, order);
}

template <class T>
cholesky_decomposition<T>::cholesky_decomposition(const T* a, std::size_t rows, std::size_t cols)
    : order(rows), block(detail::block_width(order))
{
    detail::require_square(rows, cols);
    factors = detail::finite_lower_triangle(a, order);
    factorize();
    detail::clear_upper<T>({factors.data(), order, order}, block);
}

template <class T>
void cholesky_decomposition<T>::factorize()
{
    detail::cholesky_blocks<T>({factors.data(), order, order}, block).factorize();
}

template <class T>
std::vector<T> upper_cholesky_factor(const T* a, std::size_t rows, std::size_t cols)
{
    detail::require_square(rows, cols);
    std::vector<T> factor =
        detail::finite_upper_triangle_by_columns<T>({.first = a, .rows = rows, .cols = cols});
    const detail::block_view<T> square{factor.data(), rows, cols};
    detail::cholesky_blocks<T>(square, detail::block_width(rows)).factorize();
    detail::turn_to_upper(square);
    return factor;
}

template struct cholesky_decomposition<double>;
template struct cholesky_decomposition<detail::complex>;
template std::vector<double> upper_cholesky_factor(const double*, std::size_t, std::size_t);
template std::vector<detail::complex> upper_cholesky_factor(const detail::complex*, std::size_t,
                                                            std::size_t);

} // namespace numerical
