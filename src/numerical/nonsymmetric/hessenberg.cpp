#include "numerical/nonsymmetric/hessenberg.hpp"

#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {
namespace {

// The number of rows that one task multiplies by a reflector.
constexpr std::size_t strip_rows = 64;

template <class T>
void conjugate_into(std::vector<T>& to, const T* from, std::size_t n)
{
    to.resize(n);
    for (std::size_t i = 0; i < n; ++i)
        to[i] = conjugate(from[i]);
}

template <class T>
bool is_zero_beyond_first(const std::vector<T>& x)
{
    return std::all_of(x.begin() + 1, x.end(), [](const T& element) { return element == T(0); });
}

// --- column by column ----------------------------------------------------------------------------

template <class T>
void reduce_columns(block_view<T> a, std::vector<std::vector<T>>& reflectors)
{
    const std::size_t n = a.rows;
    std::vector<T> conjugated;
    for (std::size_t k = 0; k + 2 < n; ++k) {
        std::vector<T> x(n - k - 1);
        for (std::size_t i = k + 1; i < n; ++i)
            x[i - k - 1] = a(i, k);
        if (is_zero_beyond_first(x))
            continue;
        a(k + 1, k) = householder_in_place(x);
        for (std::size_t i = k + 2; i < n; ++i)
            a(i, k) = T(0);
        reflect_rows(a.sub(k + 1, n, k + 1, n), x);
        conjugate_into(conjugated, x.data(), x.size()); // columns are multiplied by a transpose
        reflect_columns(a.sub(0, n, k + 1, n), conjugated);
        reflectors[k + 1] = std::move(x);
    }
}

// --- by panels -----------------------------------------------------------------------------------

// A panel is columns [from, to) below row `from`; its reflectors act on [from + 1, n). In rows of
// that length, m of them: `columns` of the panel, `vectors` V and `products` Y = A·V·T.
template <class T>
class panel_reducer
{
public:
    explicit panel_reducer(block_view<T> matrix)
        : a(matrix), n(matrix.rows), column(n), vectors(hessenberg_panel * n),
          products(hessenberg_panel * n), factor(hessenberg_panel * hessenberg_panel),
          coefficients(2 * hessenberg_panel)
    {
    }

    reflector_block<T> reduce(std::size_t from, std::size_t to);

private:
    void bring_up_to_date(std::size_t j);
    void add_reflector(std::size_t j);
    void multiply_trailing(std::size_t j, const T* v, T* y) const;
    void update_from_right(const reflector_block<T>& block, std::size_t to);

    std::size_t first = 0; // the row and column at which V begins
    const int path = gemm_path_current();
    const block_view<T> a;
    const std::size_t n;
    std::vector<T> column;
    std::vector<T> vectors;
    std::vector<T> products;
    std::vector<T> factor; // T by rows, transposed: row p is column p
    std::vector<T> coefficients;
    std::vector<T> conjugated;

    T* v_row(std::size_t p) { return vectors.data() + p * n; }

    T* y_row(std::size_t p) { return products.data() + p * n; }

    T* factor_column(std::size_t p) { return factor.data() + p * hessenberg_panel; }
};

template <class T>
reflector_block<T> panel_reducer<T>::reduce(std::size_t from, std::size_t to)
{
    first = from + 1;
    const std::size_t height = n - first;
    const std::size_t count = to - from;
    for (std::size_t j = from; j < to; ++j) {
        bring_up_to_date(j);
        add_reflector(j);
    }
    reflector_block<T> block{.offset = first,
                             .rows = height,
                             .count = count,
                             .vectors = uninitialized<T>(height * count),
                             .factor = zeros<T>(count * count)};
    transpose_into<T>({block.vectors.data(), height, count},
                      {.first = vectors.data(), .rows = count, .cols = height, .stride = n});
    for (std::size_t p = 0; p < count; ++p)
        for (std::size_t q = 0; q <= p; ++q)
            block.factor[q * count + p] = factor_column(p)[q];
    update_from_right(block, to);
    return block;
}

// column = Qᴴ·(A·Q)(:, j) for what the panel's reflectors so far make of Q = I - V·T·Vᴴ.
template <class T>
void panel_reducer<T>::bring_up_to_date(std::size_t j)
{
    const std::size_t height = n - first;
    const std::size_t p = j + 1 - first;
    T* const x = column.data();
    for (std::size_t i = 0; i < height; ++i)
        x[i] = a(first + i, j);
    if (p == 0)
        return;
    T* const dots = coefficients.data();
    for (std::size_t q = 0; q < p; ++q)
        dots[q] = conjugate(v_row(q)[j - first]);
    subtract_products_on(path, x, dots, products.data(), n, p, height);
    // x -= V·Tᴴ·(Vᴴx)
    row_dots(path, dots, x, vectors.data(), n, p, height);
    T* const turned = dots + hessenberg_panel;
    for (std::size_t q = 0; q < p; ++q) {
        turned[q] = 0;
        for (std::size_t l = 0; l <= q; ++l)
            turned[q] += finite_product(conjugate(factor_column(q)[l]), dots[l]);
    }
    subtract_products_on(path, x, turned, vectors.data(), n, p, height);
}

// Forms the reflector v of column j and appends it to V, T and Y. With z = Vᴴv the new column of T
// is -2·T·z above the element 2, and that of Y is 2·(A·v - Y·z).
template <class T>
void panel_reducer<T>::add_reflector(std::size_t j)
{
    const std::size_t height = n - first;
    const std::size_t p = j + 1 - first;
    std::vector<T> x(column.begin() + std::ptrdiff_t(p), column.begin() + std::ptrdiff_t(height));
    std::fill_n(v_row(p), height, T(0));
    std::fill_n(y_row(p), height, T(0));
    std::fill_n(factor_column(p), p + 1, T(0));
    const bool reflects = x.size() > 1 && !is_zero_beyond_first(x);
    if (reflects)
        column[p] = householder_in_place(x);
    for (std::size_t i = 0; i <= p; ++i)
        a(first + i, j) = column[i];
    for (std::size_t i = p + 1; i < height; ++i)
        a(first + i, j) = T(0);
    if (!reflects)
        return;
    std::copy(x.begin(), x.end(), v_row(p) + p);
    T* const v = v_row(p);
    T* const y = y_row(p);
    T* const dots = coefficients.data();
    multiply_trailing(j, v + p, y);
    row_dots(path, dots, v, vectors.data(), n, p, height);
    subtract_products_on(path, y, dots, products.data(), n, p, height);
    for (std::size_t i = 0; i < height; ++i)
        y[i] *= 2.0;
    for (std::size_t q = 0; q < p; ++q) {
        const T twice = dots[q] * 2.0;
        for (std::size_t l = 0; l <= q; ++l)
            factor_column(p)[l] -= finite_product(factor_column(q)[l], twice);
    }
    factor_column(p)[p] = 2;
}

// y = A·v for the rows from `first` on and the columns beyond j. Each strip of rows has one writer.
template <class T>
void panel_reducer<T>::multiply_trailing(std::size_t j, const T* v, T* y) const
{
    const std::size_t height = n - first;
    const std::size_t width = n - j - 1;
    // The dots conjugate the rows of A, so v is passed and y returned conjugated.
    std::vector<T> vc;
    conjugate_into(vc, v, width);
    const auto multiply_strip = [&](std::size_t strip) {
        const std::size_t from = strip * strip_rows;
        const std::size_t count = std::min(strip_rows, height - from);
        row_dots(path, y + from, vc.data(), &a(first + from, j + 1), a.stride, count, width);
        for (std::size_t i = from; i < from + count; ++i)
            y[i] = conjugate(y[i]);
    };
    parallel_for(ceil_div(height, strip_rows), strip_rows * width / 2, multiply_strip);
}

// A -= Y·Vᴴ: in the panel's rows for the columns behind the panel, in the rows above for all
// columns of V, with Y = (A·V)·T as a product.
template <class T>
void panel_reducer<T>::update_from_right(const reflector_block<T>& block, std::size_t to)
{
    const std::size_t count = block.count;
    const std::size_t height = block.rows;
    std::vector<T> adjoint = uninitialized<T>(count * height);
    for (std::size_t p = 0; p < count; ++p)
        for (std::size_t i = 0; i < height; ++i)
            adjoint[p * height + i] = conjugate(v_row(p)[i]);
    std::vector<T> minus_y = uninitialized<T>(n * count);
    std::vector<T> product = uninitialized<T>(first * count);
    gemm_new<T>(first, count, height, &a(0, first), a.stride, block.vectors.data(), count,
                product.data(), count);
    gemm_new<T>(first, count, count, product.data(), count, block.factor.data(), count,
                minus_y.data(), count);
    transpose_into<T>({minus_y.data() + first * count, height, count},
                      {.first = products.data(), .rows = count, .cols = height, .stride = n});
    for (T& element : minus_y)
        element = negated(element);
    gemm<T>(first, height, count, minus_y.data(), count, adjoint.data(), height, &a(0, first),
            a.stride);
    if (to < n)
        gemm<T>(height, n - to, count, minus_y.data() + first * count, count,
                adjoint.data() + (to - first), height, &a(first, to), a.stride);
}

} // namespace

template <class T>
hessenberg_reduction<T> reduce_to_hessenberg(std::vector<T>& a, std::size_t n)
{
    const block_view<T> view{a.data(), n, n};
    hessenberg_reduction<T> reduction{n, {}, {}};
    if (n < hessenberg_crossover) {
        reduction.reflectors.resize(n);
        reduce_columns(view, reduction.reflectors);
        return reduction;
    }
    panel_reducer<T> panels(view);
    for (std::size_t from = 0; from + 1 < n; from += hessenberg_panel) {
        const std::size_t to = std::min(from + hessenberg_panel, n - 1);
        reduction.blocks.push_back(panels.reduce(from, to));
        apply_reflector_block<block_operator::adjoint>(reduction.blocks.back(), a, n, to, n);
    }
    return reduction;
}

template <class T>
std::vector<T> hessenberg_basis(const hessenberg_reduction<T>& reduction)
{
    const std::size_t n = reduction.order;
    std::vector<T> q = zeros<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        q[i * n + i] = 1;
    for (auto block = reduction.blocks.rbegin(); block != reduction.blocks.rend(); ++block)
        extend_basis(*block, q, n);
    for (std::size_t i = reduction.reflectors.size(); i-- > 0;)
        if (!reduction.reflectors[i].empty())
            reflect_rows(q, n, reduction.reflectors[i], i, i);
    return q;
}

template hessenberg_reduction<double> reduce_to_hessenberg(std::vector<double>&, std::size_t);
template hessenberg_reduction<complex> reduce_to_hessenberg(std::vector<complex>&, std::size_t);
template std::vector<double> hessenberg_basis(const hessenberg_reduction<double>&);
template std::vector<complex> hessenberg_basis(const hessenberg_reduction<complex>&);

} // namespace numerical::detail
