#include "numerical/factor/tall_step.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_products.hpp"
#include "numerical/factor/tall_panel.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

constexpr std::size_t panel_width = tall_panel_columns;

// Columns that are factored one by one. Real ones so few that they lie in L1.
template <class T>
constexpr std::size_t leaf_width = std::is_same_v<T, double> ? 16 : panel_width;

// Row i of Y += factors[i] times row i of X.
template <class T>
void add_scaled_rows(block_view<T> y, const T* factors, block_view<const T> x)
{
    const int path = gemm_path_current();
    for (std::size_t i = 0; i < y.rows; ++i)
        subtract_scaled_on(path, y.row(i), x.row(i), -factors[i], y.cols);
}

template <class T>
aligned_vector<T> adjoints(const T* factors, std::size_t count)
{
    aligned_vector<T> conjugates(factors, factors + count);
    conjugate_all(conjugates.data(), count);
    return conjugates;
}

// Zeros, in memory that a thread keeps.
template <class T, class Use>
class zeroed_block
{
public:
    zeroed_block(std::size_t rows, std::size_t cols)
        : memory(rows * cols), view{memory.data(), rows, cols}
    {
        set_zero(view.first, rows * cols);
    }

private:
    thread_scratch<T, Use> memory;

public:
    block_view<T> view;
};

// The uses of memory that is kept apart.
struct dots_of_panel;
struct multiplied_dots;
struct formed_block;

} // namespace

template <class T>
tall_step<T>::tall_step(block_view<T> vectors, block_shape of)
    : v(vectors), shape(of), tops(of == block_shape::first ? 0 : v.cols),
      minus_factors(v.cols * panel_width)
{
}

template <class T>
std::size_t tall_step<T>::panel_end(std::size_t j) const
{
    return std::min(j + panel_width, v.cols);
}

// The rows of D that reflectors [from, to) reflect.
template <class T>
block_view<T> tall_step<T>::reflected_rows(block_view<T> d, std::size_t from, std::size_t to) const
{
    const std::size_t first = shape == block_shape::first ? from : 0;
    const std::size_t last = shape == block_shape::triangle ? to : d.rows;
    return d.sub(first, last, 0, d.cols);
}

template <class T>
block_view<T> tall_step<T>::vectors_of(std::size_t from, std::size_t to) const
{
    const block_view<T> rows = reflected_rows(v, from, to);
    return rows.sub(0, rows.rows, from, to);
}

// Rows [from, to) of the factors, in the columns of reflectors [left, right) of the same panel.
template <class T>
block_view<T> tall_step<T>::minus_factor(std::size_t from, std::size_t to, std::size_t left,
                                         std::size_t right)
{
    return {minus_factors.data() + from * panel_width + left % panel_width, to - from, right - left,
            panel_width};
}

template <class T>
block_view<const T> tall_step<T>::minus_factor(std::size_t from, std::size_t to) const
{
    return {minus_factors.data() + from * panel_width + from % panel_width, to - from, to - from,
            panel_width};
}

// [ C ; D ] += V·(F·(VᴴD + diag(tops)ᴴ·C)), F being -T or its adjoint. C has a row for each
// reflector.
template <class T>
void tall_step<T>::reflect(std::size_t from, std::size_t to, block_view<T> c, block_view<T> d,
                           product_form<T> multiply) const
{
    const block_view<const T> vectors = vectors_of(from, to);
    const block_view<T> below = reflected_rows(d, from, to);
    const zeroed_block<T, dots_of_panel> dots(to - from, d.cols);
    if (!tops.empty())
        add_scaled_rows<T>(dots.view, adjoints(tops.data() + from, to - from).data(), c);
    add_dots_from<T>(0, vectors, below, dots.view);
    const zeroed_block<T, multiplied_dots> x(to - from, d.cols);
    multiply(minus_factor(from, to), dots.view, x.view);
    if (!tops.empty())
        add_scaled_rows<T>(c, tops.data() + from, x.view);
    add_product<T>(vectors, x.view, below);
}

// Reflectors [from, to) on columns [to, last); of a first block the rows that belong to R leave it.
template <class T>
void tall_step<T>::reflect_right(block_view<T> r, std::size_t from, std::size_t to,
                                 std::size_t last) const
{
    const block_view<T> right = r.sub(from, to, to, last);
    reflect(from, to, right, v.sub(0, v.rows, to, last), add_adjoint_product<T>);
    if (shape == block_shape::first)
        copy_block<T>(v.sub(from, to, to, last), right);
}

// By halves, so that all but the leaves' work is in products (Elmroth and Gustavson 2000).
template <class T>
void tall_step<T>::factorize_panel(block_view<T> r, std::size_t from, std::size_t to)
{
    if (to - from <= leaf_width<T>) {
        factor_tall_panel<T>({r.sub(from, to, from, to), vectors_of(from, to),
                              tops.empty() ? nullptr : tops.data() + from,
                              minus_factor(from, to, from, to)});
        return;
    }
    const std::size_t mid = from + leaf_width<T>;
    factorize_panel(r, from, mid);
    reflect_right(r, from, mid, to);
    if (shape == block_shape::first) // above the reflectors of the right half
        for (std::size_t i = from; i < mid; ++i)
            set_zero(&v(i, mid), to - mid);
    factorize_panel(r, mid, to);
    join(from, mid, to);
}

// -T01 = (-T0)·(V0ᴴ·V1)·(-T1).
template <class T>
void tall_step<T>::join(std::size_t from, std::size_t mid, std::size_t to)
{
    const std::size_t first = shape == block_shape::first ? mid : 0;
    const std::size_t last = shape == block_shape::triangle ? mid : v.rows;
    const zeroed_block<T, dots_of_panel> cross(mid - from, to - mid);
    add_dots_from<T>(0, v.sub(first, last, from, mid), v.sub(first, last, mid, to), cross.view);
    const zeroed_block<T, multiplied_dots> product(mid - from, to - mid);
    add_product<T>(minus_factor(from, mid), cross.view, product.view);
    add_product<T>(product.view, minus_factor(mid, to), minus_factor(from, mid, mid, to));
}

template <class T>
void tall_step<T>::factorize(block_view<T> r)
{
    for (std::size_t j = 0; j < v.cols; j = panel_end(j)) {
        const std::size_t to = panel_end(j);
        factorize_panel(r, j, to);
        if (to < v.cols)
            reflect_right(r, j, to, v.cols);
    }
}

template <class T>
void tall_step<T>::apply_adjoint(block_view<T> c, block_view<T> d) const
{
    for (std::size_t j = 0; j < v.cols; j = panel_end(j))
        reflect(j, panel_end(j), c.sub(j, panel_end(j), 0, c.cols), d, add_adjoint_product<T>);
}

template <class T>
void tall_step<T>::apply(block_view<T> c, block_view<T> d) const
{
    for (std::size_t to = v.cols; to != 0;) {
        const std::size_t j = (to - 1) / panel_width * panel_width;
        reflect(j, to, c.sub(j, to, 0, c.cols), d, add_product<T>);
        to = j;
    }
}

// The panel's own columns are zero in D before, but for the triangle in a first block.
template <class T>
void tall_step<T>::extend(std::size_t from, std::size_t to, block_view<T> c, block_view<T> d) const
{
    const block_view<const T> vectors = vectors_of(from, to);
    const block_view<T> below = reflected_rows(d, from, to);
    const block_view<T> own = c.sub(from, to, from, to);
    const zeroed_block<T, dots_of_panel> dots(to - from, to - from);
    if (tops.empty())
        add_adjoint_product<T>(vectors.sub(0, to - from, 0, to - from),
                               below.sub(0, to - from, from, to), dots.view);
    else
        add_scaled_rows<T>(dots.view, adjoints(tops.data() + from, to - from).data(), own);
    const zeroed_block<T, multiplied_dots> x(to - from, to - from);
    add_product<T>(minus_factor(from, to), dots.view, x.view);
    if (!tops.empty())
        add_scaled_rows<T>(own, tops.data() + from, x.view);
    add_product<T>(vectors, x.view, below.sub(0, below.rows, from, to));
}

template <class T>
void tall_step<T>::form(block_view<T> c)
{
    const std::size_t n = v.cols;
    const zeroed_block<T, formed_block> d(v.rows, n);
    if (shape == block_shape::first)
        copy_block<T>(c, d.view.sub(0, n, 0, n));
    for (std::size_t to = n; to != 0;) {
        const std::size_t j = (to - 1) / panel_width * panel_width;
        extend(j, to, c, d.view);
        if (to < n)
            reflect(j, to, c.sub(j, to, to, n), d.view.sub(0, v.rows, to, n), add_product<T>);
        to = j;
    }
    copy_block<T>(d.view, v);
}

template class tall_step<double>;
template class tall_step<std::complex<double>>;

} // namespace numerical::detail
