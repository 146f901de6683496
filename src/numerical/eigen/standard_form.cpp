#include "numerical/eigen/standard_form.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/row_bands.hpp"
#include "numerical/factor/triangular_solve.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <complex>
#include <functional>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t solve_block = 64;
constexpr std::size_t form_strip_rows = 128;

// About half of an order above that of a leaf; a multiple of that, so that all leaves but the last
// are of the same order.
std::size_t first_half(std::size_t order)
{
    const std::size_t leaves = (order / 2 + congruence_leaf_order / 2) / congruence_leaf_order;
    return std::max<std::size_t>(leaves, 1) * congruence_leaf_order;
}

// The blocks of a triangle or of the lower triangle of a Hermitian matrix, split by halves.
template <class T>
struct lower_halves
{
    block_view<T> first;  // square
    block_view<T> below;  // beside `second`, under `first`
    block_view<T> second; // square

    lower_halves(block_view<T> a, std::size_t half)
        : first(a.sub(0, half, 0, half)), below(a.sub(half, a.rows, 0, half)),
          second(a.sub(half, a.rows, half, a.rows))
    {
    }
};

// The buffers of one split. They are in use between its two recursions only, so that all splits
// share the memory of the first: fresh memory for each would cost more than the products of a small
// one.
template <class T>
class split_buffers
{
public:
    explicit split_buffers(std::size_t order)
        : greatest(order <= congruence_leaf_order
                       ? 0
                       : std::max(first_half(order), order - first_half(order))),
          store(uninitialized<T>(6 * greatest * greatest))
    {
    }

    block_view<T> square(std::size_t n) { return dense(0, n, n); }

    block_view<T> product(std::size_t rows, std::size_t cols) { return dense(1, rows, cols); }

    block_view<T> left(std::size_t rows, std::size_t cols) { return dense(2, rows, cols); }

    block_view<T> right(std::size_t rows, std::size_t cols) { return dense(4, rows, cols); }

private:
    block_view<T> dense(std::size_t place, std::size_t rows, std::size_t cols)
    {
        return {store.data() + place * greatest * greatest, rows, cols};
    }

    std::size_t greatest;
    aligned_vector<T> store;
};

// `to` := Aᴴ.
template <class T>
void adjoint_on_threads(block_view<T> to, block_view<const std::type_identity_t<T>> a)
{
    for_each_band<T>(to.rows, to.cols, [&](std::size_t from, std::size_t end) {
        adjoint_into(to.sub(from, end, 0, to.cols), a.sub(0, a.rows, from, end));
    });
}

// `to` := [ -A  -Bᴴ ].
template <class T>
void negated_pair_into(block_view<T> to, block_view<const std::type_identity_t<T>> a,
                       block_view<const std::type_identity_t<T>> b)
{
    for_each_band<T>(to.rows, to.cols, [&](std::size_t from, std::size_t end) {
        const block_view<T> right = to.sub(from, end, a.cols, to.cols);
        adjoint_into(right, b.sub(0, b.rows, from, end));
        for (std::size_t i = from; i < end; ++i) {
            negate_run(to.row(i), a.row(i), a.cols);
            negate_run(right.row(i - from), right.row(i - from), right.cols);
        }
    });
}

// `to` := factor·A, both triangles, from the lower one.
template <class T>
void mirror_into(block_view<T> to, block_view<const std::type_identity_t<T>> a, double factor)
{
    const std::size_t n = a.rows;
    for_each_band<T>(n, n, [&](std::size_t from, std::size_t end) {
        adjoint_into(to.sub(from, end, from, n), a.sub(from, n, from, end));
        for (std::size_t i = from; i < end; ++i) {
            for (std::size_t j = 0; j < i; ++j)
                to(i, j) = a(i, j) * factor;
            to(i, i) = T(real_part(a(i, i)) * factor);
            for (std::size_t j = i + 1; j < n; ++j)
                to(i, j) *= factor;
        }
    });
}

template <class T>
void take_lower(block_view<T> to, block_view<const std::type_identity_t<T>> from)
{
    for (std::size_t i = 0; i < to.rows; ++i) {
        std::copy(from.row(i), from.row(i) + i, to.row(i));
        to(i, i) = T(real_part(from(i, i)));
    }
}

// A += B.
template <class T>
void add(block_view<T> a, block_view<const std::type_identity_t<T>> b)
{
    for_each_band<T>(a.rows, a.cols, [&](std::size_t from, std::size_t end) {
        for (std::size_t i = from; i < end; ++i)
            std::transform(a.row(i), a.row(i) + a.cols, b.row(i), a.row(i), std::plus<>());
    });
}

// C := A·B.
template <class T>
void product_into(block_view<T> c, block_view<const std::type_identity_t<T>> a,
                  block_view<const std::type_identity_t<T>> b)
{
    gemm_new<T>(c.rows, c.cols, a.cols, a.first, a.stride, b.first, b.stride, c.first, c.stride);
}

// The lower triangle of A += X·Y, by strips of rows that end at their own diagonal.
template <class T>
void add_to_lower(block_view<const std::type_identity_t<T>> x,
                  block_view<const std::type_identity_t<T>> y, block_view<T> a)
{
    for (std::size_t from = 0; from < a.rows; from += form_strip_rows) {
        const std::size_t to = std::min(from + form_strip_rows, a.rows);
        add_product(x.sub(from, to, 0, x.cols), y.sub(0, y.rows, 0, to), a.sub(from, to, 0, to));
    }
}

// L⁻¹·(L⁻¹·A)ᴴ on copies with both triangles, which zero columns bring to a width that the
// substitution takes in whole vectors.
template <class T>
void divide_leaf(block_view<const T> l, block_view<T> a)
{
    constexpr std::size_t width = congruence_leaf_order;
    const int path = gemm_path_current();
    const std::size_t n = a.rows;
    thread_scratch<T> store(2 * n * width);
    set_zero(store.data(), 2 * n * width);
    const block_view<T> whole{.first = store.data(), .rows = n, .cols = n, .stride = width};
    const block_view<T> adjoint{
        .first = store.data() + n * width, .rows = n, .cols = n, .stride = width};
    mirror_into(whole, a, 1.0);
    substitute_lower<T>(path, l, {whole.first, n, width});
    adjoint_into(adjoint, whole);
    substitute_lower<T>(path, l, {adjoint.first, n, width});
    take_lower(a, adjoint);
}

// Lᴴ·(Lᴴ·A)ᴴ, likewise.
template <class T>
void multiply_leaf(block_view<const T> l, block_view<T> a)
{
    const std::size_t n = a.rows;
    thread_scratch<T> store(3 * n * n);
    const block_view<T> l_adjoint{store.data(), n, n};
    const block_view<T> whole{store.data() + n * n, n, n};
    const block_view<T> product{store.data() + 2 * n * n, n, n};
    adjoint_into(l_adjoint, l);
    mirror_into(whole, a, 1.0);
    product_into(product, l_adjoint, whole);
    adjoint_into(whole, product);
    product_into(product, l_adjoint, whole);
    take_lower(a, product);
}

//     [ L11      ]  [ A11      ]    C11 = L11⁻¹·A11·L11⁻ᴴ
//     [ L21  L22 ]  [ A21  A22 ]    M = A21·L11⁻ᴴ - ½·L21·C11
//                                   A22 -= L21·Mᴴ + M·L21ᴴ
//                                   C21 = L22⁻¹·(M - ½·L21·C11);  C22 = L22⁻¹·A22·L22⁻ᴴ
// M is held as its adjoint, so that L11 acts on rows, and the two products that A22 loses are one,
// [ -L21  -M ]·[ Mᴴ ; L21ᴴ ].
template <class T>
void divide(block_view<const T> l, block_view<T> a, split_buffers<T>& buffers)
{
    if (a.rows <= congruence_leaf_order) {
        divide_leaf(l, a);
        return;
    }
    const std::size_t half = first_half(a.rows);
    const std::size_t rows = a.rows - half;
    const auto [l11, l21, l22] = lower_halves<const T>(l, half);
    const auto [a11, a21, a22] = lower_halves<T>(a, half);
    divide(l11, a11, buffers);

    const block_view<T> left = buffers.left(rows, 2 * half);
    const block_view<T> right = buffers.right(2 * half, rows);
    const block_view<T> m_adjoint = right.sub(0, half, 0, rows);
    const block_view<T> l21_adjoint = right.sub(half, 2 * half, 0, rows);
    const block_view<T> minus_half_c11 = buffers.square(half);
    const block_view<T> half_product = buffers.product(half, rows); // -½·C11·L21ᴴ
    adjoint_on_threads(l21_adjoint, l21);
    mirror_into(minus_half_c11, a11, -0.5);
    product_into(half_product, minus_half_c11, l21_adjoint);
    adjoint_on_threads(m_adjoint, a21);
    solve_lower(l11, solve_block, m_adjoint);
    add(m_adjoint, half_product);
    negated_pair_into(left, l21, m_adjoint);
    add_to_lower(left, right, a22);
    add(m_adjoint, half_product);
    adjoint_on_threads(a21, m_adjoint);
    solve_lower(l22, solve_block, a21);
    divide(l22, a22, buffers);
}

//     [ L11      ]  [ A11      ]    M = A21·L11 + ½·A22·L21
//     [ L21  L22 ]  [ A21  A22 ]    C11 = L11ᴴ·A11·L11 + [ L21ᴴ  Mᴴ ]·[ M ; L21 ]
//                                   C21 = L22ᴴ·(M + ½·A22·L21);  C22 = L22ᴴ·A22·L22
template <class T>
void multiply(block_view<const T> l, block_view<T> a, split_buffers<T>& buffers)
{
    if (a.rows <= congruence_leaf_order) {
        multiply_leaf(l, a);
        return;
    }
    const std::size_t half = first_half(a.rows);
    const std::size_t rows = a.rows - half;
    const auto [l11, l21, l22] = lower_halves<const T>(l, half);
    const auto [a11, a21, a22] = lower_halves<T>(a, half);
    multiply(l11, a11, buffers);

    const block_view<T> left = buffers.left(half, 2 * rows);
    const block_view<T> right = buffers.right(2 * rows, half);
    const block_view<T> m = right.sub(0, rows, 0, half);
    const block_view<T> square = buffers.square(rows);
    const block_view<T> half_product = buffers.product(rows, half); // ½·A22·L21
    mirror_into(square, a22, 0.5);
    product_into(half_product, square, l21);
    product_into(m, a21, l11);
    add(m, half_product);
    copy_block<T>(l21, right.sub(rows, 2 * rows, 0, half));
    adjoint_on_threads(left.sub(0, half, 0, rows), l21);
    adjoint_on_threads(left.sub(0, half, rows, 2 * rows), m);
    add_to_lower(left, right, a11);
    add(m, half_product);
    adjoint_on_threads(square, l22);
    product_into(a21, square, m);
    multiply(l22, a22, buffers);
}

} // namespace

template <class T>
void divide_congruently(block_view<const T> l, block_view<T> a)
{
    split_buffers<T> buffers(a.rows);
    divide(l, a, buffers);
}

template <class T>
void multiply_congruently(block_view<const T> l, block_view<T> a)
{
    split_buffers<T> buffers(a.rows);
    multiply(l, a, buffers);
}

template void divide_congruently(block_view<const double>, block_view<double>);
template void divide_congruently(block_view<const complex>, block_view<complex>);
template void multiply_congruently(block_view<const double>, block_view<double>);
template void multiply_congruently(block_view<const complex>, block_view<complex>);

} // namespace numerical::detail
