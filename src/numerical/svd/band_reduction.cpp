#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/factor/wide_qr_panel.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/band_bidiagonal.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// A dense rows × cols array, to be written before it is read, that is a block.
template <class T>
struct dense_block
{
    aligned_vector<T> elements;
    block_view<T> view;

    dense_block(std::size_t rows, std::size_t cols)
        : elements(uninitialized<T>(rows * cols)), view{elements.data(), rows, cols}
    {
    }
};

// C = A·B, whatever C held.
template <class T>
void set_product(block_view<const std::type_identity_t<T>> a,
                 block_view<const std::type_identity_t<T>> b, block_view<T> c)
{
    gemm_new<T>(c.rows, c.cols, a.cols, a.first, a.stride, b.first, b.stride, c.first, c.stride);
}

// C = AᴴB.
template <class T>
void set_adjoint_product(block_view<const std::type_identity_t<T>> a,
                         block_view<const std::type_identity_t<T>> b, block_view<T> c)
{
    for (std::size_t i = 0; i < c.rows; ++i)
        set_zero(c.row(i), c.cols);
    add_adjoint_product<T>(a, b, c);
}

template <class T>
block_view<const T> vectors_of(const reflector_block<T>& q)
{
    return {q.vectors.data(), q.rows, q.count};
}

template <class T>
block_view<const T> factor_of(const reflector_block<T>& q)
{
    return {q.factor.data(), q.count, q.count};
}

// Rows become lower triangular by reflections from the right, which are the result.
template <class T>
reflector_block<T> reduce_rows(block_view<T> rows)
{
    const std::size_t width = rows.rows;
    const std::size_t length = rows.cols;
    const std::size_t count = std::min(width, length);
    aligned_vector<T> columns = adjoint_copy<T>(rows);
    const block_view<T> all{columns.data(), length, width};
    reflector_block<T> q = factor_wide_qr_panel(all.sub(0, length, 0, count), 0);
    apply_reflector_block<block_operator::adjoint>(q, columns, width, count, width);
    for (std::size_t i = 0; i < width; ++i)
        for (std::size_t j = 0; j < length; ++j)
            rows(i, j) = j > i ? T(0) : conjugate(columns[j * width + i]);
    return q;
}

// Columns, or rows, of the part of the matrix that is left, as a loop over it takes them: some for
// each of two threads, and no wider where there is room for more.
slab_partition slabs_of_length(std::size_t length)
{
    constexpr std::size_t least = 32;
    constexpr std::size_t wide = 128;
    constexpr std::size_t some = 4;
    return {length, std::max({std::min(length / least, some), length / wide, std::size_t{1}})};
}

// Of a product, on the scale of parallel_for: a thread of AVX-512 does some 60 real products in a
// nanosecond.
template <class T>
std::size_t work_of_product(std::size_t rows, std::size_t cols, std::size_t depth)
{
    constexpr std::size_t real_products = std::is_same_v<T, double> ? 1 : 4;
    constexpr std::size_t products_per_unit = 4;
    return real_products * rows * cols * depth / products_per_unit;
}

// The reduction of one matrix. A step makes columns [from, to) upper triangular by Q from the left,
// then rows [from, to) right of them lower triangular by P from the right. The rows see Q at once.
// What lies below them sees both in one product: with Q = I - V·S·Vᴴ and P = I - U·T·Uᴴ,
//
//     QᴴA·P = A + V·Y - X·Uᴴ    Y = -Sᴴ·(VᴴA)    X = (A·U + V·(Y·U))·T
//
// That product is formed by the next step, whose column panel is factored beside it.
template <class T>
class band_reduction
{
public:
    explicit band_reduction(block_view<T> matrix) : all(matrix), n(matrix.rows) {}

    void reduce_columns_and_rows(std::size_t from, std::size_t to);

private:
    block_view<T> all;
    std::size_t n;
    dense_block<T> left{0, 0};  // V beside -X
    dense_block<T> right{0, 0}; // Y above Uᴴ

    reflector_block<T> update_and_factor(std::size_t from, std::size_t to);
    dense_block<T> reflect_rows(const reflector_block<T>& q, std::size_t from, std::size_t to);
    void weigh_left(block_view<const T> v, block_view<const T> y, const reflector_block<T>& p);
};

// The product of the step before, and the block of the columns.
template <class T>
reflector_block<T> band_reduction<T>::update_and_factor(std::size_t from, std::size_t to)
{
    const std::size_t depth = left.view.cols;
    const std::size_t width = to - from;
    const slab_partition slabs = slabs_of_length(n - to);
    const auto update = [&](std::size_t first, std::size_t last) {
        if (depth != 0 && first != last)
            add_product<T>(left.view, right.view.sub(0, depth, first, last),
                           all.sub(from, n, from + first, from + last));
    };
    const auto update_slab = [&](std::size_t s) {
        update(width + slabs.begin(s), width + slabs.begin(s + 1));
    };
    reflector_block<T> q;
    const auto factor = [&] {
        update(0, width);
        q = factor_wide_qr_panel(all.sub(from, n, from, to), from);
    };
    parallel_for_beside(slabs.count, work_of_product<T>(n - from, slabs.width / slabs.count, depth),
                        update_slab, factor);
    return q;
}

// Y, and the rows [from, to) after Q.
template <class T>
dense_block<T> band_reduction<T>::reflect_rows(const reflector_block<T>& q, std::size_t from,
                                               std::size_t to)
{
    const std::size_t width = to - from;
    const std::size_t length = n - to;
    const block_view<const T> v = vectors_of(q);
    const aligned_vector<T> minus_factor = negated_copy(factor_of(q));
    dense_block<T> along(width, length);
    dense_block<T> y_and_u(2 * width, length);
    const slab_partition slabs = slabs_of_length(length);
    const auto reflect_slab = [&](std::size_t s) {
        const std::size_t first = slabs.begin(s);
        const std::size_t last = slabs.begin(s + 1);
        const block_view<T> dots = along.view.sub(0, width, first, last);
        const block_view<T> y = y_and_u.view.sub(0, width, first, last);
        set_adjoint_product<T>(v, all.sub(from, n, to + first, to + last), dots);
        set_adjoint_product<T>({minus_factor.data(), width, width}, dots, y);
        add_product<T>(v.sub(0, width, 0, width), y, all.sub(from, to, to + first, to + last));
    };
    parallel_for(slabs.count, work_of_product<T>(n - from, length / slabs.count, width),
                 reflect_slab);
    return y_and_u;
}

// V beside -X, of the rows below.
template <class T>
void band_reduction<T>::weigh_left(block_view<const T> v, block_view<const T> y,
                                   const reflector_block<T>& p)
{
    const std::size_t length = v.rows;
    const std::size_t width = v.cols;
    const block_view<const T> u = vectors_of(p);
    const block_view<const T> below = all.sub(n - length, n, n - length, n);
    dense_block<T> inner(width, p.count); // Y·U
    set_product<T>(y, u, inner.view);
    const aligned_vector<T> minus_factor = negated_copy(factor_of(p));
    dense_block<T> along(length, p.count); // A·U + V·(Y·U)
    left = dense_block<T>(length, width + p.count);
    const slab_partition slabs = slabs_of_length(length);
    const auto weigh_slab = [&](std::size_t s) {
        const std::size_t first = slabs.begin(s);
        const std::size_t last = slabs.begin(s + 1);
        const block_view<T> x = along.view.sub(first, last, 0, p.count);
        set_product<T>(below.sub(first, last, 0, length), u, x);
        add_product<T>(v.sub(first, last, 0, width), inner.view, x);
        for (std::size_t i = first; i < last; ++i)
            std::copy_n(v.row(i), width, left.view.row(i));
        set_product<T>(x, {minus_factor.data(), p.count, p.count},
                       left.view.sub(first, last, width, width + p.count));
    };
    parallel_for(slabs.count, work_of_product<T>(length / slabs.count, p.count, length),
                 weigh_slab);
}

template <class T>
void band_reduction<T>::reduce_columns_and_rows(std::size_t from, std::size_t to)
{
    const reflector_block<T> q = update_and_factor(from, to);
    if (to == n)
        return;
    const std::size_t width = to - from;
    const std::size_t length = n - to;
    dense_block<T> y_and_u = reflect_rows(q, from, to);
    const reflector_block<T> p = reduce_rows(all.sub(from, to, to, n));
    transpose_into<T>(y_and_u.view.sub(width, width + p.count, 0, length), vectors_of(p));
    conjugate_all(y_and_u.view.row(width), p.count * length);
    weigh_left(vectors_of(q).sub(width, q.rows, 0, width), y_and_u.view.sub(0, width, 0, length),
               p);
    right = std::move(y_and_u);
    right.view.rows = width + p.count;
}

} // namespace

// A row panel begins right of the column panel beside it:
//
//     [ R  L          ]
//     [    R  L       ]
//     [       A22     ]
template <class T>
upper_band<T> reduce_to_band(aligned_vector<T> a, std::size_t n, std::size_t width)
{
    upper_band<T> band(n, width);
    band_reduction<T> reduction({a.data(), n, n});
    for (std::size_t from = 0; from < n; from += width)
        reduction.reduce_columns_and_rows(from, std::min(from + width, n));
    for (std::size_t i = 0; i < n; ++i)
        std::copy_n(a.data() + i * n + i, std::min(width + 1, n - i), &band(i, i));
    return band;
}

template upper_band<double> reduce_to_band(aligned_vector<double>, std::size_t, std::size_t);
template upper_band<complex> reduce_to_band(aligned_vector<complex>, std::size_t, std::size_t);

} // namespace numerical::detail
