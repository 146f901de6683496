#include "numerical/systems/indefinite.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/threads_of_order.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/spread_rows.hpp"
#include "numerical/systems/moduli.hpp"
#include "numerical/systems/rook_panel.hpp"
#include "numerical/systems/trailing_pieces.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t panel_width = 24;
constexpr std::size_t band_rows = 16;      // of a block on the diagonal
constexpr std::size_t group_rows = 64;     // transposed together
constexpr std::size_t cleared_rows = 8;    // of L that are completed together
constexpr std::size_t chunk_columns = 128; // of L whose rows are exchanged together

// Of a serial one the pivot search, on one thread, needn't fetch its columns from another's cache.
template <class T>
constexpr greatest_serial_order serial_ldl =
    std::is_same_v<T, double> ? greatest_serial_order{240, 400} : greatest_serial_order{224, 256};

// Panel by panel (rook_panel.hpp); then the columns right of the panel lose L·Wᴴ, W = L·D, by
// products that read the rows of L where they lie in the result.
template <class T>
class rook_factorization
{
public:
    rook_factorization(block_view<T> array, indefinite_decomposition<T>& factors)
        : triangles(array), kind(factors.kind), n(array.rows), panel(array, panel_width, factors)
    {
    }

    void factorize();

private:
    int path = gemm_path_current();
    block_view<T> triangles; // the trailing matrix above, L below (rook_panel.hpp)
    symmetry kind;
    std::size_t n;
    rook_panel<T> panel;
    std::size_t first = 0; // columns of A [first, last) are the panel
    std::size_t last = 0;

    // What the finished columns of L still lack: those before `exchanged` these exchanges of rows,
    // and the rows from `cleared` to the panel their ones and zeros.
    std::vector<row_exchange> exchanges;
    std::size_t exchanged = 0;
    std::size_t cleared = 0;

    trailing_pieces pieces;

    T mirrored(const T& z) const { return kind == symmetry::hermitian ? conjugate(z) : z; }

    void update(const strip_piece& part);
    void subtract_product(const strip_piece& part, std::size_t from);
    void bring_moved_rows(const strip_piece& part);
    T old_element(std::size_t row, std::size_t column) const;
    void keep_triangle();
    void clear_rows(std::size_t from, std::size_t to);
    void exchange_finished(std::size_t from, std::size_t to);
    template <class F>
    void complete_finished_beside(const F& call);
    void update_trailing_matrix();
};

// Subtracts L·Wᴴ from a piece. Bands of the block on the diagonal leave out most of what lies below
// it.
template <class T>
void rook_factorization<T>::update(const strip_piece& part)
{
    bring_moved_rows(part);
    std::size_t row = part.row;
    if (row < part.column) {
        const std::size_t end = std::min(part.last_row, part.column);
        subtract_product({row, end, part.column}, part.column);
        row = end;
    }
    for (; row < part.last_row; row += band_rows)
        subtract_product({row, std::min(row + band_rows, part.last_row), part.column},
                         part.column + (row - part.column) / band_rows * band_rows);
}

// The same for the columns of a piece from `from` on.
template <class T>
void rook_factorization<T>::subtract_product(const strip_piece& part, std::size_t from)
{
    const std::size_t end = strip_end(part.column, n);
    add_product<T>(triangles.sub(part.row, part.last_row, first, last),
                   panel.minus_w.sub(0, last - first, from, end),
                   triangles.sub(part.row, part.last_row, from, end));
}

// The element of the trailing matrix as it was before the panel's rows were exchanged.
template <class T>
T rook_factorization<T>::old_element(std::size_t row, std::size_t column) const
{
    return row <= column ? triangles(row, column) : mirrored(triangles(column, row));
}

// Rows and columns that give their places to pivots come to the pivots', as far as they are of this
// piece. They come from the rows of the panel, which no piece writes; two that meet in an element
// bring it together.
template <class T>
void rook_factorization<T>::bring_moved_rows(const strip_piece& part)
{
    const std::size_t end = strip_end(part.column, n);
    const auto moves_to = [&](std::size_t from, std::size_t to) {
        const auto before = [](const row_move& move, std::size_t place) { return move.to < place; };
        const auto begin = panel.moves.begin();
        const auto low = std::lower_bound(begin, panel.moves.end(), from, before);
        return std::span(low, std::lower_bound(low, panel.moves.end(), to, before));
    };
    const auto into_rows = moves_to(part.row, part.last_row);
    const auto into_columns = moves_to(part.column, end);
    for (const row_move& move : into_columns)
        for (std::size_t r = part.row; r < std::min(part.last_row, move.to); ++r)
            triangles(r, move.to) = mirrored(triangles(move.from, r));
    for (const row_move& move : into_rows) {
        const std::size_t right = std::max(part.column, move.to + 1);
        if (right < end)
            std::copy_n(triangles.row(move.from) + right, end - right,
                        triangles.row(move.to) + right);
        for (const row_move& other : into_columns)
            if (move.to <= other.to)
                triangles(move.to, other.to) = old_element(move.from, other.from);
    }
}

// The panel's columns of L in the rows of its own, below the diagonal: what lies above it is of use
// until the update is done.
template <class T>
void rook_factorization<T>::keep_triangle()
{
    for (std::size_t k = first; k < last; ++k)
        for (std::size_t i = k + 1; i < last; ++i)
            triangles(i, k) = panel.l(k - first, i);
}

// The ones of finished rows of L, and the zeros right of them.
template <class T>
void rook_factorization<T>::clear_rows(std::size_t from, std::size_t to)
{
    for (std::size_t k = from; k < to; ++k) {
        triangles(k, k) = T(1);
        set_zero(triangles.row(k) + k + 1, n - k - 1);
    }
}

// The exchanges in the finished columns [from, to) of L.
template <class T>
void rook_factorization<T>::exchange_finished(std::size_t from, std::size_t to)
{
    for (const row_exchange& rows : exchanges)
        exchange_on(path, triangles.row(rows.row) + from, triangles.row(rows.other_row) + from,
                    to - from);
}

// Completes the finished columns and rows of L beside a call that touches none of them, as a panel
// does not: chunks of columns, of rows before the next panel's, and groups of rows above them are
// written each by itself. On one thread they come before the call, whose results they would drive
// out of cache.
template <class T>
template <class F>
void rook_factorization<T>::complete_finished_beside(const F& call)
{
    const std::size_t chunks = exchanges.empty() ? 0 : ceil_div(exchanged, chunk_columns);
    const std::size_t clears = ceil_div(first - cleared, cleared_rows);
    const auto complete_part = [&](std::size_t i) {
        if (i < chunks)
            return exchange_finished(i * chunk_columns,
                                     std::min((i + 1) * chunk_columns, exchanged));
        const std::size_t from = cleared + (i - chunks) * cleared_rows;
        clear_rows(from, std::min(from + cleared_rows, first));
    };
    if (allowed_threads() == 1) {
        parallel_for(chunks + clears, 0, complete_part);
        call();
    } else {
        parallel_for_beside(chunks + clears, 16 * panel_width * chunk_columns, complete_part, call);
    }
    cleared = first;
}

// Each group of rows of the panel is written by itself, and then the shares of the trailing matrix.
// The loops are worth their starts from some microseconds on.
template <class T>
void rook_factorization<T>::update_trailing_matrix()
{
    const auto transpose_group = [&](std::size_t g) {
        const std::size_t from = last + g * group_rows;
        const std::size_t to = std::min(from + group_rows, n);
        transpose_into(triangles.sub(from, to, first, last),
                       panel.l.sub(0, last - first, from, to));
    };
    parallel_for(ceil_div(n - last, group_rows), 16 * group_rows * (last - first), transpose_group);
    pieces.cut(last, n);
    keep_triangle();
    const auto update_share = [&](std::size_t i) {
        for (const strip_piece& part : pieces.share(i))
            update(part);
    };
    const std::size_t work = pieces.rows() * strip_columns * (last - first) / 4;
    parallel_for(pieces.shares(), work / std::max<std::size_t>(pieces.shares(), 1), update_share);
}

template <class T>
void rook_factorization<T>::factorize()
{
    while (first < n) {
        complete_finished_beside([&] { last = panel.factor(first); });
        update_trailing_matrix();
        exchanges = panel.exchanges;
        exchanged = first;
        first = last;
    }
    complete_finished_beside([] {});
}

// sums[j] += sizes[j] for the magnitudes of all sizes, whose sum is returned: in eight chains, as a
// single one would wait for each addition.
double add_sizes(const double* sizes, std::size_t count, double* sums)
{
    constexpr std::size_t lanes = 8;
    std::array<double, lanes> own{};
    const std::size_t whole = count / lanes * lanes;
    for (std::size_t j = 0; j < whole; j += lanes)
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const double size = std::abs(sizes[j + lane]);
            sums[j + lane] += size;
            own[lane] += size;
        }
    for (std::size_t j = whole; j < count; ++j) {
        const double size = std::abs(sizes[j]);
        sums[j] += size;
        own[0] += size;
    }
    return std::accumulate(own.begin(), own.end(), 0.0);
}

double add_sizes(const complex* elements, std::size_t count, double* sums)
{
    constexpr std::size_t run = 512;
    std::array<double, run> sizes;
    double own = 0;
    for (std::size_t j = 0; j < count; j += run) {
        const std::size_t length = std::min(run, count - j);
        moduli_of(elements + j, sizes.data(), length);
        own += add_sizes(sizes.data(), length, sums + j);
    }
    return own;
}

// To the sum of each column of a Hermitian matrix adds the moduli of row k left of the diagonal,
// and to that of column k the row's own.
template <class T>
void add_row_to_sums(const T* row, std::size_t k, double* sums)
{
    sums[k] += modulus(row[k]) + add_sizes(row, k, sums);
}

// The norm of a matrix whose columns have these sums: `sums` holds some for each group of rows. NaN
// if one of them is.
double greatest_sum(std::size_t n, const aligned_vector<double>& sums)
{
    double greatest = 0;
    for (std::size_t j = 0; j < n; ++j) {
        double sum = 0;
        for (std::size_t g = j / group_rows; g < ceil_div(n, group_rows); ++g)
            sum += sums[g * n + j];
        if (std::isnan(sum))
            return sum;
        greatest = std::max(greatest, sum);
    }
    return greatest;
}

// The upper triangle of A, from the lower one, in that of an array; what a transposed group of rows
// leaves below the diagonal is overwritten by L. Returns the norm, infinite or NaN where an
// entry is. Group g writes columns of its own, and sums of its own. The next row is prefetched, as
// the hardware's prefetchers begin anew with each.
template <class T>
double take_lower(block_view<const T> a, symmetry kind, block_view<T> triangles)
{
    const std::size_t n = a.rows;
    const std::size_t groups = ceil_div(n, group_rows);
    aligned_vector<double> sums = zeros<double>(groups * n);
    const auto take_group = [&](std::size_t g) {
        const std::size_t from = g * group_rows;
        const std::size_t to = std::min(from + group_rows, n);
        for (std::size_t k = from; k < to; ++k) {
            if (k + 1 < n)
                prefetch_run(a.row(k + 1), k + 1);
            add_row_to_sums(a.row(k), k, sums.data() + g * n);
        }
        const auto turn_into = kind == symmetry::hermitian ? adjoint_into<T> : transpose_into<T>;
        turn_into(triangles.sub(0, to, from, to), a.sub(from, to, 0, to));
    };
    parallel_for(groups, 2 * n * group_rows, take_group);
    return greatest_sum(n, sums);
}

} // namespace
} // namespace detail

template <class T>
indefinite_decomposition<T>::indefinite_decomposition(detail::block_view<const T> a,
                                                      symmetry of_kind)
    : order(a.rows), kind(of_kind), diagonal(order), below(order), permutation(order)
{
    if (a.rows != a.cols)
        throw dimension_error("LDL decomposition requires a square matrix");
    std::iota(permutation.begin(), permutation.end(), std::size_t{0});
    lower = detail::uninitialized<T>(order * order);
    const detail::block_view<T> dense{lower.data(), order, order};
    if (detail::working_stride<T>(order) == order) {
        factorize(a, dense);
    } else {
        detail::spread_rows<T> work(order, order);
        factorize(a, work.view());
        detail::copy_block<T>(work.view(), dense);
    }
}

template <class T>
void indefinite_decomposition<T>::factorize(detail::block_view<const T> a, detail::block_view<T> l)
{
    const detail::loops_on_few scope(detail::serial_ldl<T>.holds(order) ? 1 : 0);
    one_norm = detail::take_lower(a, kind, l);
    for (std::size_t i = 0; i < order && !std::isfinite(one_norm); ++i)
        detail::require_finite(a.row(i), i + 1, "LDL decomposition");
    detail::rook_factorization<T>(l, *this).factorize();
}

template struct indefinite_decomposition<double>;
template struct indefinite_decomposition<detail::complex>;

} // namespace numerical
