#include "numerical/systems/triangle.hpp"

#include "numerical/counts.hpp"
#include "numerical/factor/triangular_solve.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/systems/moduli.hpp"
#include "numerical/systems/norm_estimate.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <type_traits>
#include <utility>
#include <vector>

namespace numerical {
namespace detail {
namespace {

// The orders up to which a triangle is substituted without products.
constexpr std::size_t leaf_of_dots = 32;
constexpr std::size_t leaf_of_rows = 32;
constexpr std::size_t leaf_of_matrices = triangular_tile;

// Up to this many right-hand sides are substituted one by one, each as a row.
constexpr std::size_t few_rows = 3;

template <class T>
triangle<T> diagonal_part(const triangle<T>& t, std::size_t from, std::size_t to)
{
    return {t.of.sub(from, to, from, to), t.half, t.diagonal};
}

// C -= A·B with a negated copy of the operand that is smaller.
template <class T>
void subtract_product(std::vector<T>& negative, block_view<const T> a, block_view<const T> b,
                      block_view<T> c)
{
    if (b.cols < a.rows) {
        negate_into<T>(negative, b);
        add_product<T>(a, {negative.data(), b.rows, b.cols}, c);
    } else {
        negate_into<T>(negative, a);
        add_product<T>({negative.data(), a.rows, a.cols}, b, c);
    }
}

// c -= A·b for vectors b and c. The sums run along the rows of A, several lanes to a sum; each
// index writes its own rows of c.
void subtract_dots(int path, block_view<const double> a, const double* b, double* c)
{
    constexpr std::size_t group = 32;
    const auto subtract_rows = [&](std::size_t index) {
        const std::size_t from = index * group;
        const std::size_t count = std::min(a.rows - from, group);
        double dots[group];
        row_dots(path, dots, b, a.row(from), a.stride, count, a.cols);
        for (std::size_t i = 0; i < count; ++i)
            c[from + i] -= dots[i];
    };
    parallel_for(ceil_div(a.rows, group), group * a.cols / 2, subtract_rows);
}

double row_dot(int path, const double* a, const double* b, std::size_t n)
{
    return dot_on(path, a, b, n);
}

complex row_dot(int, const complex* a, const complex* b, std::size_t n)
{
    return plain_dot(a, b, n);
}

// x := M⁻¹·x by the rows of M, with a dot for each unknown.
template <class T>
void substitute_vector(int path, const triangle<T>& m, T* x)
{
    const std::size_t n = m.of.rows;
    for (std::size_t step = 0; step < n; ++step) {
        const std::size_t i = m.is_lower() ? step : n - 1 - step;
        const std::size_t from = m.is_lower() ? 0 : i + 1;
        const std::size_t count = m.is_lower() ? i : n - 1 - i;
        x[i] -= row_dot(path, m.of.row(i) + from, x + from, count);
        if (!m.has_ones())
            x[i] /= m.of(i, i);
    }
}

// yᵀ := yᵀ·M⁻¹, also by the rows of M: the multiple of a row by each unknown found is subtracted
// from the remaining right-hand side.
template <class T>
void substitute_vector_from_right(int path, const triangle<T>& m, T* y)
{
    const std::size_t n = m.of.rows;
    for (std::size_t step = 0; step < n; ++step) {
        const std::size_t i = m.is_lower() ? n - 1 - step : step;
        const std::size_t from = m.is_lower() ? 0 : i + 1;
        const std::size_t count = m.is_lower() ? i : n - 1 - i;
        if (!m.has_ones())
            y[i] /= m.of(i, i);
        subtract_scaled_on(path, y + from, m.of.row(i) + from, y[i], count);
    }
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

// X := M⁻¹·X by halves, in the order of the substitution:
//     lower  [ M00     ]      upper  [ M00 M01 ]
//            [ M10 M11 ]             [     M11 ]
template <class T>
class left_substitution
{
public:
    explicit left_substitution(std::size_t columns)
        : leaf(columns == 1 ? leaf_of_dots : leaf_of_matrices)
    {
    }

    void solve(const triangle<T>& m, block_view<T> x)
    {
        const std::size_t n = m.of.rows;
        if (n <= leaf)
            return substitute(m, x);
        const std::size_t mid = round_up_half(n, leaf);
        const triangle<T> m00 = diagonal_part(m, 0, mid);
        const triangle<T> m11 = diagonal_part(m, mid, n);
        const block_view<T> x0 = x.sub(0, mid, 0, x.cols);
        const block_view<T> x1 = x.sub(mid, n, 0, x.cols);
        if (m.is_lower()) {
            solve(m00, x0);
            subtract(m.of.sub(mid, n, 0, mid), x0, x1);
            solve(m11, x1);
        } else {
            solve(m11, x1);
            subtract(m.of.sub(0, mid, mid, n), x1, x0);
            solve(m00, x0);
        }
    }

    static std::size_t round_up_half(std::size_t n, std::size_t leaf)
    {
        return round_up(n / 2, leaf);
    }

private:
    int path = gemm_path_current();
    std::size_t leaf;
    std::vector<T> negative;

    // C -= A·B.
    void subtract(block_view<const T> a, block_view<const T> b, block_view<T> c)
    {
        if constexpr (std::is_same_v<T, double>)
            if (b.cols == 1)
                return subtract_dots(path, a, b.first, c.first);
        subtract_product<T>(negative, a, b, c);
    }

    void substitute(const triangle<T>& m, block_view<T> x)
    {
        if (x.cols == 1)
            return substitute_vector(path, m, x.first);
        for_each_tile(x, [&](block_view<T> tile) { substitute_tile(path, m, tile); });
    }
};

// Y := Y·M⁻¹, the transposed system for Yᵀ. The products have Y on the left, so that the blocks of
// M are read by rows, as they are stored.
template <class T>
class right_substitution
{
public:
    explicit right_substitution(std::size_t rows)
        : leaf(rows <= few_rows ? leaf_of_rows : leaf_of_matrices)
    {
    }

    void solve(const triangle<T>& m, block_view<T> y)
    {
        const std::size_t n = m.of.rows;
        if (n <= leaf)
            return substitute(m, y);
        const std::size_t mid = left_substitution<T>::round_up_half(n, leaf);
        const triangle<T> m00 = diagonal_part(m, 0, mid);
        const triangle<T> m11 = diagonal_part(m, mid, n);
        const block_view<T> y0 = y.sub(0, y.rows, 0, mid);
        const block_view<T> y1 = y.sub(0, y.rows, mid, n);
        if (m.is_lower()) {
            solve(m11, y1);
            subtract_product<T>(negative, y1, m.of.sub(mid, n, 0, mid), y0);
            solve(m00, y0);
        } else {
            solve(m00, y0);
            subtract_product<T>(negative, y0, m.of.sub(0, mid, mid, n), y1);
            solve(m11, y1);
        }
    }

private:
    int path = gemm_path_current();
    std::size_t leaf;
    std::vector<T> negative;

    void substitute(const triangle<T>& m, block_view<T> y)
    {
        if (y.rows <= few_rows) {
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
        std::vector<T> store = uninitialized<T>(n * n);
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

template <class T>
void solve_transposed(const triangle<T>& t, block_view<T> x)
{
    right_substitution<T> substitution(x.cols);
    if (x.cols == 1)
        return substitution.solve(t, {x.first, 1, x.rows});
    std::vector<T> store = uninitialized<T>(x.rows * x.cols);
    const block_view<T> y{store.data(), x.cols, x.rows};
    transpose_into(y, x);
    substitution.solve(t, y);
    transpose_into(x, y);
}

// Row i of the triangle between the columns [from, to).
struct row_extent
{
    std::size_t from;
    std::size_t to;
};

template <class T>
row_extent row_of(const triangle<T>& t, std::size_t i)
{
    return t.is_lower() ? row_extent{0, i + 1} : row_extent{i, t.of.rows};
}

// x := M·x; an element is replaced once no other row needs it.
template <class T>
void multiply_vector_by_triangle(int path, const triangle<T>& m, T* x)
{
    const std::size_t n = m.of.rows;
    for (std::size_t step = 0; step < n; ++step) {
        const std::size_t i = m.is_lower() ? n - 1 - step : step;
        const auto [from, to] = row_of(m, i);
        x[i] = row_dot(path, m.of.row(i) + from, x + from, to - from);
    }
}

// x := Mᵀ·x
template <class T>
void multiply_vector_by_transposed(int path, const triangle<T>& m, T* x)
{
    const std::size_t n = m.of.rows;
    for (std::size_t step = 0; step < n; ++step) {
        const std::size_t i = m.is_lower() ? step : n - 1 - step;
        const auto [from, to] = row_of(m, i);
        const T factor = x[i];
        x[i] = T(0);
        subtract_scaled_on(path, x + from, m.of.row(i) + from, -factor, to - from);
    }
}

template <class T>
double one_norm_of_triangle(const triangle<T>& t)
{
    std::vector<double> sums(t.of.rows);
    std::vector<double> moduli(t.of.rows);
    for (std::size_t i = 0; i < t.of.rows; ++i) {
        const auto [from, to] = row_of(t, i);
        add_moduli(sums.data() + from, t.of.row(i) + from, to - from, moduli.data());
    }
    return sums.empty() ? 0 : *std::max_element(sums.begin(), sums.end());
}

} // namespace
} // namespace detail

template <class T>
bool is_singular(const triangle<T>& t)
{
    if (t.has_ones())
        return false;
    for (std::size_t i = 0; i < t.of.rows; ++i)
        if (t.of(i, i) == T(0))
            return true;
    return false;
}

template <class T>
void solve_triangle(const triangle<T>& t, matrix_form form, detail::block_view<T> x)
{
    if (x.rows == 0 || x.cols == 0)
        return;
    if (form == matrix_form::plain)
        return detail::left_substitution<T>(x.cols).solve(t, x);
    detail::solve_transposed_or_adjoint(
        form, x, [&](detail::block_view<T> y) { detail::solve_transposed(t, y); });
}

template <class T>
void multiply_triangle(const triangle<T>& t, matrix_form form, detail::block_view<T> x)
{
    const int path = detail::gemm_path_current();
    const auto multiply = form == matrix_form::plain ? detail::multiply_vector_by_triangle<T>
                                                     : detail::multiply_vector_by_transposed<T>;
    std::vector<T> store = detail::uninitialized<T>(x.rows * x.cols);
    const detail::block_view<T> vectors{store.data(), x.cols, x.rows};
    detail::transpose_into(vectors, x);
    if (form == matrix_form::adjoint)
        detail::conjugate_all(vectors.first, x.rows * x.cols);
    for (std::size_t j = 0; j < x.cols; ++j)
        multiply(path, t, vectors.row(j));
    if (form == matrix_form::adjoint)
        detail::conjugate_all(vectors.first, x.rows * x.cols);
    detail::transpose_into(x, vectors);
}

template <class T>
double reciprocal_condition(const triangle<T>& t)
{
    const std::size_t n = t.of.rows;
    if (is_singular(t))
        return 0;
    const auto solve_as = [&t](matrix_form form) {
        return [&t, form](detail::block_view<T> x) { solve_triangle(t, form, x); };
    };
    return reciprocal_condition(
        n, detail::one_norm_of_triangle(t),
        estimate_one_norm<T>(n, solve_as(matrix_form::plain), solve_as(matrix_form::adjoint)));
}

template bool is_singular(const triangle<double>&);
template bool is_singular(const triangle<detail::complex>&);
template void solve_triangle(const triangle<double>&, matrix_form, detail::block_view<double>);
template void solve_triangle(const triangle<detail::complex>&, matrix_form,
                             detail::block_view<detail::complex>);
template void multiply_triangle(const triangle<double>&, matrix_form, detail::block_view<double>);
template void multiply_triangle(const triangle<detail::complex>&, matrix_form,
                                detail::block_view<detail::complex>);
template double reciprocal_condition(const triangle<double>&);
template double reciprocal_condition(const triangle<detail::complex>&);

} // namespace numerical
