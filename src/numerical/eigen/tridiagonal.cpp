#include "numerical/eigen/tridiagonal.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/hermitian_product.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// Whole tiles of the vector paths. What a strip has above the diagonal is for nothing.
constexpr std::size_t update_strip_rows = 48;

// Of a strip of the update, on the scale of parallel_for. A thread does 15 to 20 real products in a
// nanosecond, or a fourth of complex ones. As the pool is awake from the products with vectors, a
// loop of 100 microseconds repays it, and a complex one, whose matrix is shared by the products
// with vectors from lower orders on, of 50 (measured).
template <class T>
std::size_t strip_work(std::size_t cols, std::size_t depth)
{
    constexpr std::size_t products_per_unit = std::is_same_v<T, double> ? 16 : 2;
    return update_strip_rows * (cols / 2) * depth / products_per_unit;
}

template <class T>
class reducer
{
public:
    reducer(aligned_vector<T>& matrix, std::size_t order, std::size_t most_columns,
            std::vector<aligned_vector<T>>& list, aligned_vector<T>& subdiagonal);

    // Columns [from, to), then the trailing matrix.
    void reduce_panel(std::size_t from, std::size_t to);

private:
    void reduce_column(std::size_t k, std::size_t p);
    void correct_product(std::size_t k, std::size_t p);
    void update_trailing(std::size_t to, std::size_t count);

    const int path = gemm_path_current();
    const std::size_t n;
    const std::size_t stride; // of columns and of vectors
    const block_view<T> a;
    std::vector<aligned_vector<T>>& reflectors;
    aligned_vector<T>& sub;

    // Row p of `columns` is column p of the panel, each at its absolute indices. `vectors` holds
    // V and W of the panel in turn, V[p] in row 2p and W[p] in row 2p + 1, so that both leave a
    // vector in one pass. Only indices beyond a vector's own column are in use.
    aligned_vector<T> columns;
    aligned_vector<T> vectors;
    aligned_vector<T> coefficients;
    aligned_vector<T> left;
    aligned_vector<T> right;
    aligned_vector<T> partials;

    T* panel_v(std::size_t p) { return vectors.data() + 2 * p * stride; }

    T* panel_w(std::size_t p) { return vectors.data() + (2 * p + 1) * stride; }
};

template <class T>
reducer<T>::reducer(aligned_vector<T>& matrix, std::size_t order, std::size_t most_columns,
                    std::vector<aligned_vector<T>>& list, aligned_vector<T>& subdiagonal)
    : n(order), stride(spread_stride<T>(order)), a{matrix.data(), order, order}, reflectors(list),
      sub(subdiagonal)
{
    const std::size_t width = std::min(most_columns, n - 1);
    columns.resize(width * stride);
    vectors.resize(2 * width * stride);
    coefficients.resize(2 * width);
    left.resize(2 * width * n);
    right.resize(2 * width * n);
}

template <class T>
void reducer<T>::reduce_panel(std::size_t from, std::size_t to)
{
    transpose_into<T>(
        {.first = columns.data() + from, .rows = to - from, .cols = n - from, .stride = stride},
        a.sub(from, n, from, to));
    for (std::size_t k = from; k < to; ++k)
        reduce_column(k, k - from);
    update_trailing(to, to - from);
}

// x is column k from the diagonal down, y what lies below the diagonal.
template <class T>
void reducer<T>::reduce_column(std::size_t k, std::size_t p)
{
    T* const x = columns.data() + p * stride + k;
    for (std::size_t q = 0; q < p; ++q) {
        coefficients[2 * q] = conjugate(panel_w(q)[k]);
        coefficients[2 * q + 1] = conjugate(panel_v(q)[k]);
    }
    subtract_products_on(path, x, coefficients.data(), vectors.data() + k, stride, 2 * p, n - k);
    a(k, k) = x[0];

    aligned_vector<T> y(x + 1, x + (n - k));
    T* const v = panel_v(p) + k + 1;
    T* const w = panel_w(p) + k + 1;
    if (std::all_of(y.begin() + 1, y.end(), [](const T& element) { return element == T(0); })) {
        sub[k] = y[0];
        std::fill_n(v, y.size(), T(0));
        std::fill_n(w, y.size(), T(0));
        return;
    }
    sub[k] = householder_in_place(y);
    std::copy(y.begin(), y.end(), v);
    hermitian_product(&a(k + 1, k + 1), n, y.size(), v, w, partials);
    correct_product(k, p);
    reflectors[k + 1] = std::move(y);
}

// w = A·v of the panel's start becomes A·v of now, then 2w - 2(vᴴw)·v: with that H·A·H is
// A - v·wᴴ - w·vᴴ.
template <class T>
void reducer<T>::correct_product(std::size_t k, std::size_t p)
{
    const std::size_t len = n - k - 1;
    T* const v = panel_v(p) + k + 1;
    T* const w = panel_w(p) + k + 1;
    row_dots(path, coefficients.data(), v, vectors.data() + k + 1, stride, 2 * p, len);
    for (std::size_t q = 0; q < p; ++q) // V is multiplied by Wᴴ·v, W by Vᴴ·v
        std::swap(coefficients[2 * q], coefficients[2 * q + 1]);
    subtract_products_on(path, w, coefficients.data(), vectors.data() + k + 1, stride, 2 * p, len);
    T projection; // vᴴw
    row_dots(path, &projection, w, v, stride, 1, len);
    for (std::size_t i = 0; i < len; ++i)
        w[i] *= 2.0;
    subtract_scaled_on(path, w, v, T(2) * projection, len);
}

// A22 -= V·Wᴴ + W·Vᴴ on and below the diagonal, by strips of rows that end at their own diagonal:
// the longest first, so that threads which share them end together. The right factor has the sign,
// as its rows lie as they are multiplied.
template <class T>
void reducer<T>::update_trailing(std::size_t to, std::size_t count)
{
    const std::size_t t = n - to;
    const std::size_t depth = 2 * count;
    const block_view<T> v_and_w{left.data(), t, depth};
    transpose_into<T>(v_and_w.sub(0, t, 0, count),
                      {.first = panel_v(0) + to, .rows = count, .cols = t, .stride = 2 * stride});
    transpose_into<T>(v_and_w.sub(0, t, count, depth),
                      {.first = panel_w(0) + to, .rows = count, .cols = t, .stride = 2 * stride});
    const auto negate_row = [&](const T* from, std::size_t row) {
        std::transform(from + to, from + n, right.data() + row * t,
                       [](const T& x) { return negated(conjugate(x)); });
    };
    for (std::size_t p = 0; p < count; ++p) {
        negate_row(panel_w(p), p);
        negate_row(panel_v(p), count + p);
    }
    const std::size_t strips = ceil_div(t, update_strip_rows);
    const auto update_strip = [&](std::size_t s) {
        const std::size_t r = (strips - 1 - s) * update_strip_rows;
        const std::size_t end = std::min(r + update_strip_rows, t);
        add_product<T>({left.data() + r * depth, end - r, depth},
                       {.first = right.data(), .rows = depth, .cols = end, .stride = t},
                       a.sub(to + r, to + end, to, to + end));
    };
    parallel_for(strips, strip_work<T>(t, depth), update_strip);
}

// The subdiagonal as it is, or, if complex, by its moduli with the phases that make it so.
void make_real(const aligned_vector<double>& sub, aligned_vector<double>& phases,
               aligned_vector<double>& e)
{
    std::fill(phases.begin(), phases.end(), 1.0);
    std::copy(sub.begin(), sub.end() - 1, e.begin());
}

void make_real(const aligned_vector<complex>& sub, aligned_vector<complex>& phases,
               aligned_vector<double>& e)
{
    phases[0] = 1;
    for (std::size_t i = 0; i + 1 < sub.size(); ++i) {
        phases[i + 1] = std::conj(phase_of(sub[i])) * phases[i];
        e[i] = std::abs(sub[i]);
    }
}

} // namespace

template <class T>
tridiagonal_reduction<T> tridiagonalize(aligned_vector<T>& a, std::size_t n,
                                        aligned_vector<double>& d, aligned_vector<double>& e,
                                        std::size_t panel)
{
    tridiagonal_reduction<T> reduction{std::vector<aligned_vector<T>>(n), aligned_vector<T>(n)};
    aligned_vector<T> sub(n);
    if (n >= 2) {
        reducer<T> columns(a, n, panel, reduction.reflectors, sub);
        for (std::size_t from = 0; from < n - 1; from += panel)
            columns.reduce_panel(from, std::min(from + panel, n - 1));
    }
    for (std::size_t i = 0; i < n; ++i)
        d[i] = real_part(a[i * n + i]);
    e[n - 1] = 0;
    make_real(sub, reduction.phases, e);
    return reduction;
}

template tridiagonal_reduction<double> tridiagonalize(aligned_vector<double>&, std::size_t,
                                                      aligned_vector<double>&,
                                                      aligned_vector<double>&, std::size_t);
template tridiagonal_reduction<complex> tridiagonalize(aligned_vector<complex>&, std::size_t,
                                                       aligned_vector<double>&,
                                                       aligned_vector<double>&, std::size_t);

} // namespace numerical::detail
