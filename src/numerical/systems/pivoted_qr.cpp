#include "numerical/systems/pivoted_qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t panel_columns = 32;

// The matrix is stored by columns. Within a panel the current A is that of the panel's beginning
// minus V·Fᴴ, where V has the panel's reflectors in its columns and F a row for each column of A.
template <class T>
class column_pivoting
{
public:
    column_pivoting(block_view<T> by_columns, std::size_t rows)
        : c(by_columns), m(rows), n(by_columns.rows), norms(n), exact_norms(n), permutation(n),
          reflectors(std::min(m, n)), v_store(zeros<T>(panel_columns * m)),
          f_store(zeros<T>(n * panel_columns)), v{v_store.data(), panel_columns, m},
          f{f_store.data(), n, panel_columns}
    {
        std::iota(permutation.begin(), permutation.end(), std::size_t{0});
        for (std::size_t j = 0; j < n; ++j)
            norms[j] = exact_norms[j] = scaled_norm(c.row(j), m);
    }

    void factorize();

    std::vector<std::size_t>& column_order() { return permutation; }

    const std::vector<aligned_vector<T>>& all_reflectors() const { return reflectors; }

private:
    int path = gemm_path_current();
    block_view<T> c; // row j is column j of A
    std::size_t m;
    std::size_t n;
    aligned_vector<double> norms;       // of the columns below the finished rows
    aligned_vector<double> exact_norms; // as they were when they were last computed
    std::vector<std::size_t> permutation;
    std::vector<aligned_vector<T>> reflectors;
    aligned_vector<T> v_store;
    aligned_vector<T> f_store;
    block_view<T> v; // reflectors of the panel, lying as rows
    block_view<T> f;
    std::vector<std::size_t> lost; // columns whose norms have lost their digits

    std::size_t factor_panel(std::size_t first);
    void bring_pivot(std::size_t j);
    void reflect_column(std::size_t first, std::size_t j);
    void extend_f(std::size_t first, std::size_t j);
    void finish_row(std::size_t first, std::size_t j);
    void downdate_norm(std::size_t column, const T& done);
    void update_trailing(std::size_t first, std::size_t last);
};

template <class T>
void column_pivoting<T>::bring_pivot(std::size_t j)
{
    const auto largest = std::max_element(norms.begin() + std::ptrdiff_t(j), norms.end());
    const auto p = std::size_t(largest - norms.begin());
    if (p == j)
        return;
    exchange_runs(c.row(j), c.row(p), m);
    exchange_runs(f.row(j), f.row(p), panel_columns);
    std::swap(permutation[j], permutation[p]);
    norms[p] = norms[j];
    exact_norms[p] = exact_norms[j];
}

// Replaces column j, updated from row j down, by its reflector and the diagonal element of R.
template <class T>
void column_pivoting<T>::reflect_column(std::size_t first, std::size_t j)
{
    const std::size_t t = j - first;
    T* const column = c.row(j) + j;
    aligned_vector<T> coefficients(t);
    for (std::size_t s = 0; s < t; ++s)
        coefficients[s] = conjugate(f(j, s));
    subtract_products_on(path, column, coefficients.data(), v.first + j, v.stride, t, m - j);
    aligned_vector<T> x = copy_of(column, m - j);
    make_reflector(x);
    set_zero(v.row(t), j);
    if (x.empty()) {
        set_zero(v.row(t) + j, m - j);
    } else {
        std::copy(x.begin(), x.end(), v.row(t) + j);
        T product = 0;
        for (std::size_t i = 0; i < x.size(); ++i)
            product += finite_product(conjugate(x[i]), column[i]);
        column[0] -= finite_product(T(2) * product, x[0]);
    }
    reflectors[j] = std::move(x);
}

// Column t of F: 2·(Aᴴv - F·Vᴴv), for the columns of A right of j. Each index writes the rows of F
// of its own columns. A is read once for each reflector, by dots along its columns with several
// lanes to a sum.
template <class T>
void column_pivoting<T>::extend_f(std::size_t first, std::size_t j)
{
    constexpr std::size_t group = 32;
    const std::size_t t = j - first;
    const std::size_t rest = n - j - 1;
    const T* const reflector = v.row(t) + j;
    aligned_vector<T> overlaps(t); // -Vᴴv
    row_dots(path, overlaps.data(), reflector, v.first + j, v.stride, t, m - j);
    for (T& x : overlaps)
        x = negated(x);
    const auto extend_rows = [&](std::size_t index) {
        const std::size_t from = j + 1 + index * group;
        const std::size_t count = std::min(n - from, group);
        T products[group];
        row_dots(path, products, reflector, c.row(from) + j, c.stride, count, m - j);
        add_row_dots_on(path, products, f.row(from), f.stride, count, overlaps.data(), t);
        for (std::size_t k = 0; k < count; ++k)
            f(from + k, t) = T(2) * products[k];
    };
    constexpr std::size_t cost = sizeof(T) / sizeof(double);
    parallel_for(ceil_div(rest, group), cost * group * (m - j) / 2, extend_rows);
}

// Row j of R right of the diagonal, and the downdated norms of the columns below it.
template <class T>
void column_pivoting<T>::finish_row(std::size_t first, std::size_t j)
{
    const std::size_t t = j - first;
    const std::size_t rest = n - j - 1;
    T left[panel_columns]; // row j of V, conjugated
    for (std::size_t s = 0; s <= t; ++s)
        left[s] = conjugate(v(s, j));
    aligned_vector<T> lost_parts = zeros<T>(rest); // of the row, conjugated
    add_row_dots_on(path, lost_parts.data(), f.first + (j + 1) * f.stride, f.stride, rest, left,
                    t + 1);
    for (std::size_t k = 0; k < rest; ++k) {
        T& element = c(j + 1 + k, j);
        element -= conjugate(lost_parts[k]);
        downdate_norm(j + 1 + k, element);
    }
}

// ‖x‖² - |done|² is accurate unless it is far below the square of the norm that was last computed.
template <class T>
void column_pivoting<T>::downdate_norm(std::size_t column, const T& done)
{
    double& norm = norms[column];
    if (norm == 0)
        return;
    const double left = std::max(0.0, 1 - std::norm(done / norm));
    const double ratio = norm / exact_norms[column];
    constexpr double least = 0x1p-26; // the root of the rounding unit
    if (left * ratio * ratio <= least)
        lost.push_back(column);
    else
        norm *= std::sqrt(left);
}

template <class T>
std::size_t column_pivoting<T>::factor_panel(std::size_t first)
{
    const std::size_t end = std::min(first + panel_columns, reflectors.size());
    std::size_t j = first;
    for (; j < end && lost.empty(); ++j) {
        bring_pivot(j);
        reflect_column(first, j);
        extend_f(first, j);
        finish_row(first, j);
    }
    return j;
}

// Subtracts V·Fᴴ from the rows and columns from `last` on.
template <class T>
void column_pivoting<T>::update_trailing(std::size_t first, std::size_t last)
{
    const std::size_t width = last - first;
    aligned_vector<T> minus_f = uninitialized<T>((n - last) * width);
    for (std::size_t k = last; k < n; ++k)
        for (std::size_t s = 0; s < width; ++s)
            minus_f[(k - last) * width + s] = negated(conjugate(f(k, s)));
    add_product<T>({minus_f.data(), n - last, width}, v.sub(0, width, last, m),
                   c.sub(last, n, last, m));
}

template <class T>
void column_pivoting<T>::factorize()
{
    for (std::size_t first = 0; first < reflectors.size();) {
        const std::size_t last = factor_panel(first);
        if (last < n && last < m)
            update_trailing(first, last);
        for (const std::size_t j : std::exchange(lost, {}))
            norms[j] = exact_norms[j] = scaled_norm(c.row(j) + last, m - last);
        first = last;
    }
}

} // namespace
} // namespace detail

template <class T>
pivoted_reflections<T> pivoted_reflect(const aligned_vector<T>& a, std::size_t rows,
                                       std::size_t columns)
{
    const std::size_t k = std::min(rows, columns);
    aligned_vector<T> store = detail::uninitialized<T>(rows * columns);
    const detail::block_view<T> by_columns{store.data(), columns, rows};
    detail::transpose_into<T>(by_columns, {a.data(), rows, columns});
    detail::column_pivoting<T> pivoting(by_columns, rows);
    pivoting.factorize();

    pivoted_reflections<T> result;
    result.permutation = std::move(pivoting.column_order());
    result.reflections.r = detail::uninitialized<T>(k * columns);
    const detail::block_view<T> r{result.reflections.r.data(), k, columns};
    detail::transpose_into<T>(r, by_columns.sub(0, columns, 0, k));
    for (std::size_t i = 0; i < k; ++i)
        detail::set_zero(r.row(i), i);
    for (std::size_t from = 0; from < k; from += detail::panel_columns)
        result.reflections.blocks.push_back(detail::gather_reflectors(
            pivoting.all_reflectors(), from, std::min(from + detail::panel_columns, k), rows));
    return result;
}

template pivoted_reflections<double> pivoted_reflect(const aligned_vector<double>&, std::size_t,
                                                     std::size_t);
template pivoted_reflections<detail::complex>
pivoted_reflect(const aligned_vector<detail::complex>&, std::size_t, std::size_t);

} // namespace numerical
