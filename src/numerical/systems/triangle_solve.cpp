#include "numerical/systems/triangle.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/triangular_solve.hpp"
#include "numerical/gemm/kernels/trsv.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/systems/row_dot.hpp"
#include "numerical/systems/vector_substitution.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <type_traits>

namespace numerical {
namespace detail {
namespace {

// The orders up to which a triangle is substituted without products.
constexpr std::size_t leaf_of_vectors = 512;
constexpr std::size_t leaf_of_matrices = triangular_tile;

template <class T>
triangle<T> diagonal_part(const triangle<T>& t, std::size_t from, std::size_t to)
{
    return {t.of.sub(from, to, from, to), t.half, t.diagonal};
}

// c -= A·b. A has a multiple of eight columns.
void subtract_dots_on(int path, double* c, block_view<const double> a, const double* b)
{
    if (path == portable_path) {
        for (std::size_t i = 0; i < a.rows; ++i)
            c[i] -= row_dot(path, a.row(i), b, a.cols);
        return;
    }
    const auto subtract = path == avx512_path ? avx512_subtract_dots : avx2_subtract_dots;
    subtract(c, a.first, a.stride, a.rows, b, a.cols);
}

// The same for each row b of B and c of C, by groups of rows of A, which stay in cache for all of
// B. Each index writes its own columns of C.
void subtract_dots(int path, block_view<const double> a, block_view<const double> b,
                   block_view<double> c)
{
    constexpr std::size_t group = 32;
    const auto subtract_rows = [&](std::size_t index) {
        const std::size_t from = index * group;
        const std::size_t count = std::min(a.rows - from, group);
        for (std::size_t r = 0; r < b.rows; ++r)
            subtract_dots_on(path, c.row(r) + from, a.sub(from, from + count, 0, a.cols), b.row(r));
    };
    parallel_for(ceil_div(a.rows, group), group * a.cols * b.rows / 2, subtract_rows);
}

template <class T>
void substitute_unit_upper(int path, block_view<const T> u, block_view<T> x)
{
    for (std::size_t i = x.rows; i-- > 0;)
        subtract_products_on(path, x.row(i), u.row(i) + i + 1, x.row(i + 1), x.stride,
                             x.rows - 1 - i, x.cols);
}

// X := M⁻¹·X for a tile of columns.
template <class T>
void substitute_tile(int path, const triangle<T>& m, block_view<T> x)
{
    if (m.is_lower())
        m.has_ones() ? substitute_unit_lower<T>(path, m.of, x) : substitute_lower<T>(path, m.of, x);
    else
        m.has_ones() ? substitute_unit_upper<T>(path, m.of, x) : substitute_upper<T>(path, m.of, x);
}

// Halves of a triangle, that of the unknowns that come first a multiple of the leaf's order:
//     lower  [ M00     ]      upper  [ M00 M01 ]
//            [ M10 M11 ]             [     M11 ]
template <class T>
struct triangle_halves
{
    std::size_t mid;
    triangle<T> m00;
    triangle<T> m11;

    triangle_halves(const triangle<T>& m, std::size_t leaf)
        : mid(m.is_lower() ? round_up(m.of.rows / 2, leaf)
                           : m.of.rows - round_up(m.of.rows / 2, leaf)),
          m00(diagonal_part(m, 0, mid)), m11(diagonal_part(m, mid, m.of.rows))
    {
    }
};

// X := M⁻¹·X by halves, in the order of the substitution.
template <class T>
class left_substitution
{
public:
    void solve(const triangle<T>& m, block_view<T> x)
    {
        const std::size_t n = m.of.rows;
        if (n <= leaf_of_matrices)
            return for_each_tile(x, [&](block_view<T> tile) { substitute_tile(path, m, tile); });
        const auto [mid, m00, m11] = triangle_halves<T>(m, leaf_of_matrices);
        const block_view<T> x0 = x.sub(0, mid, 0, x.cols);
        const block_view<T> x1 = x.sub(mid, n, 0, x.cols);
        if (m.is_lower()) {
            solve(m00, x0);
            subtract_product<T>(negative, m.of.sub(mid, n, 0, mid), x0, x1);
            solve(m11, x1);
        } else {
            solve(m11, x1);
            subtract_product<T>(negative, m.of.sub(0, mid, mid, n), x1, x0);
            solve(m00, x0);
        }
    }

private:
    int path = gemm_path_current();
    aligned_vector<T> negative;
};

// The same for a few vectors, which lie as the rows of Y: the sums run along the rows of M.
template <class T>
class substitution_by_dots
{
public:
    void solve(const triangle<T>& m, block_view<T> y)
    {
        const std::size_t n = m.of.rows;
        if (n <= leaf_of_vectors) {
            for (std::size_t i = 0; i < y.rows; ++i)
                substitute_vector(path, m, y.row(i));
            return;
        }
        const auto [mid, m00, m11] = triangle_halves<T>(m, leaf_of_vectors);
        const block_view<T> y0 = y.sub(0, y.rows, 0, mid);
        const block_view<T> y1 = y.sub(0, y.rows, mid, n);
        if (m.is_lower()) {
            solve(m00, y0);
            subtract(m.of.sub(mid, n, 0, mid), y0, y1);
            solve(m11, y1);
        } else {
            solve(m11, y1);
            subtract(m.of.sub(0, mid, mid, n), y1, y0);
            solve(m00, y0);
        }
    }

private:
    int path = gemm_path_current();
    aligned_vector<T> negative;

    // c -= A·b for each row b of B and c of C.
    void subtract(block_view<const T> a, block_view<const T> b, block_view<T> c)
    {
        if constexpr (std::is_same_v<T, double>)
            subtract_dots(path, a, b, c);
        else
            for (std::size_t i = 0; i < b.rows; ++i)
                subtract_product<T>(negative, a, {b.row(i), b.cols, 1}, {c.row(i), c.cols, 1});
    }
};

// Y := Y·M⁻¹, the transposed system for Yᵀ. The products have Y on the left, so that the blocks of
// M are read by rows, as they are stored.
template <class T>
class right_substitution
{
public:
    explicit right_substitution(std::size_t rows)
        : leaf(rows <= substituted_one_by_one ? leaf_of_vectors : leaf_of_matrices)
    {
    }

    void solve(const triangle<T>& m, block_view<T> y)
    {
        const std::size_t n = m.of.rows;
        if (n <= leaf)
            return substitute(m, y);
        const auto [mid, m00, m11] = triangle_halves<T>(m, leaf);
        const block_view<T> y0 = y.sub(0, y.rows, 0, mid);
        const block_view<T> y1 = y.sub(0, y.rows, mid, n);
        if (m.is_lower()) {
            solve(m11, y1);
            subtract(y1, m.of.sub(mid, n, 0, mid), y0);
            solve(m00, y0);
        } else {
            solve(m00, y0);
            subtract(y0, m.of.sub(0, mid, mid, n), y1);
            solve(m11, y1);
        }
    }

private:
    int path = gemm_path_current();
    std::size_t leaf;
    aligned_vector<T> negative;

    // C -= B·A. Of few rows each is subtracted alone; an index writes its own columns of them.
    void subtract(block_view<const T> b, block_view<const T> a, block_view<T> c)
    {
        if (b.rows > substituted_one_by_one)
            return subtract_product<T>(negative, b, a, c);
        constexpr std::size_t group = 128;
        const auto subtract_columns = [&](std::size_t index) {
            const std::size_t from = index * group;
            const std::size_t count = std::min(c.cols - from, group);
            for (std::size_t i = 0; i < b.rows; ++i)
                subtract_products_on(path, c.row(i) + from, b.row(i), a.first + from, a.stride,
                                     a.rows, count);
        };
        parallel_for(ceil_div(c.cols, group), a.rows * group * b.rows * sizeof(T) / 16,
                     subtract_columns);
    }

    void substitute(const triangle<T>& m, block_view<T> y)
    {
        if (y.rows <= substituted_one_by_one) {
            for (std::size_t i = 0; i < y.rows; ++i)
                substitute_vector_from_right(path, m, y.row(i));
            return;
        }
        substitute_transposed(m, y);
    }

    // Substitutes tiles of 64 rows in transposed copies, in which a step of the substitution runs
    // along all rows of the tile; each tile writes its own rows.
    void substitute_transposed(const triangle<T>& m, block_view<T> y)
    {
        const std::size_t n = m.of.rows;
        aligned_vector<T> store = uninitialized<T>(n * n);
        const block_view<T> copy{store.data(), n, n};
        transpose_into(copy, m.of);
        const auto flipped = m.is_lower() ? triangle_half::upper : triangle_half::lower;
        const triangle<T> transposed{copy, flipped, m.diagonal};
        const auto substitute_rows = [&](std::size_t t) {
            const std::size_t from = triangular_tile * t;
            const std::size_t to = std::min(from + triangular_tile, y.rows);
            const block_view<T> rows = y.sub(from, to, 0, n);
            thread_scratch<T> columns(n * (to - from));
            const block_view<T> tile{columns.data(), n, to - from};
            transpose_into(tile, rows);
            substitute_tile(path, transposed, tile);
            transpose_into(rows, tile);
        };
        parallel_for(triangular_tiles(y.rows), n * n * triangular_tile / 2, substitute_rows);
    }
};

// Calls solve(Y) for Y = Xᵀ, which is X itself if that is one column.
template <class T, class F>
void by_rows(block_view<T> x, const F& solve)
{
    if (x.cols == 1)
        return solve(block_view<T>{x.first, 1, x.rows});
    aligned_vector<T> store = uninitialized<T>(x.rows * x.cols);
    const block_view<T> y{store.data(), x.cols, x.rows};
    transpose_into(y, x);
    solve(y);
    transpose_into(x, y);
}

template <class T>
void solve_plain(const triangle<T>& t, block_view<T> x)
{
    if (x.cols > substituted_one_by_one)
        return left_substitution<T>().solve(t, x);
    by_rows(x, [&](block_view<T> y) { substitution_by_dots<T>().solve(t, y); });
}

template <class T>
void solve_transposed(const triangle<T>& t, block_view<T> x)
{
    by_rows(x, [&](block_view<T> y) { right_substitution<T>(y.rows).solve(t, y); });
}

} // namespace
} // namespace detail

template <class T>
void solve_triangle(const triangle<T>& t, matrix_form form, detail::block_view<T> x)
{
    if (x.rows == 0 || x.cols == 0)
        return;
    if (form == matrix_form::plain)
        return detail::solve_plain(t, x);
    detail::solve_transposed_or_adjoint(
        form, x, [&](detail::block_view<T> y) { detail::solve_transposed(t, y); });
}

template void solve_triangle(const triangle<double>&, matrix_form, detail::block_view<double>);
template void solve_triangle(const triangle<detail::complex>&, matrix_form,
                             detail::block_view<detail::complex>);

} // namespace numerical
