#include "numerical/eigen/standard_form.hpp"

#include "numerical/factor/triangular_solve.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <functional>
#include <type_traits>
#include <vector>

namespace numerical::detail {
namespace {

constexpr std::size_t solve_block = 64;
constexpr std::size_t strip_rows = 128;

// A dense array of its own.
template <class T>
struct dense_block
{
    std::size_t rows;
    std::size_t cols;
    std::vector<T> store;

    dense_block(std::size_t height, std::size_t width)
        : rows(height), cols(width), store(uninitialized<T>(height * width))
    {
    }

    block_view<T> view() { return {store.data(), rows, cols, cols}; }

    block_view<const T> view() const { return {store.data(), rows, cols, cols}; }
};

template <class T>
void conjugate_all(block_view<T> a)
{
    if constexpr (!std::is_same_v<T, double>)
        for (std::size_t i = 0; i < a.rows; ++i)
            std::transform(a.row(i), a.row(i) + a.cols, a.row(i),
                           [](const T& z) { return conjugate(z); });
}

// `to` := Aᴴ.
template <class T>
void adjoint_into(block_view<T> to, block_view<const std::type_identity_t<T>> a)
{
    transpose_into<T>(to, a);
    conjugate_all(to);
}

template <class T>
dense_block<T> adjoint_of(block_view<const T> a)
{
    dense_block<T> adjoint(a.cols, a.rows);
    adjoint_into(adjoint.view(), a);
    return adjoint;
}

// factor·A, both triangles, from the lower one.
template <class T>
dense_block<T> whole_matrix(block_view<const T> a, double factor)
{
    dense_block<T> whole(a.rows, a.rows);
    const block_view<T> to = whole.view();
    for (std::size_t i = 0; i < a.rows; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            to(i, j) = a(i, j) * factor;
        to(i, i) = T(real_part(a(i, i)) * factor);
    }
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = i + 1; j < a.rows; ++j)
            to(i, j) = conjugate(to(j, i));
    return whole;
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
    for (std::size_t i = 0; i < a.rows; ++i)
        std::transform(a.row(i), a.row(i) + a.cols, b.row(i), a.row(i), std::plus<>());
}

template <class T>
dense_block<T> product_of(block_view<const T> a, block_view<const T> b)
{
    dense_block<T> product(a.rows, b.cols);
    gemm_new(a.rows, b.cols, a.cols, a.first, a.stride, b.first, b.stride, product.store.data(),
             b.cols);
    return product;
}

// The lower triangle of A += X·Y + (X·Y)ᴴ, both products as one, [ X  Yᴴ ]·[ Y ; Xᴴ ], by strips of
// rows that end at their own diagonal.
template <class T>
void add_with_adjoint(block_view<const T> x, block_view<const T> y, block_view<T> a)
{
    const std::size_t n = a.rows;
    const std::size_t depth = 2 * x.cols;
    dense_block<T> left(n, depth);
    dense_block<T> right(depth, n);
    copy_block(x, left.view().sub(0, n, 0, x.cols));
    adjoint_into(left.view().sub(0, n, x.cols, depth), y);
    copy_block(y, right.view().sub(0, x.cols, 0, n));
    adjoint_into(right.view().sub(x.cols, depth, 0, n), x);
    for (std::size_t from = 0; from < n; from += strip_rows) {
        const std::size_t to = std::min(from + strip_rows, n);
        add_product(left.view().sub(from, to, 0, depth), right.view().sub(0, depth, 0, to),
                    a.sub(from, to, 0, to));
    }
}

// L⁻¹·(L⁻¹·A)ᴴ on a copy with both triangles.
template <class T>
void divide_leaf(block_view<const T> l, block_view<T> a)
{
    const int path = gemm_path_current();
    dense_block<T> whole = whole_matrix<T>(a, 1.0);
    substitute_lower(path, l, whole.view());
    dense_block<T> adjoint = adjoint_of<T>(whole.view());
    substitute_lower(path, l, adjoint.view());
    take_lower(a, adjoint.view());
}

// Lᴴ·(Lᴴ·A)ᴴ, likewise.
template <class T>
void multiply_leaf(block_view<const T> l, block_view<T> a)
{
    const dense_block<T> l_adjoint = adjoint_of(l);
    const dense_block<T> whole = whole_matrix<T>(a, 1.0);
    const dense_block<T> product = product_of(l_adjoint.view(), whole.view());
    const dense_block<T> adjoint = adjoint_of(product.view());
    take_lower(a, product_of(l_adjoint.view(), adjoint.view()).view());
}

// The blocks of a triangle or of the lower triangle of a Hermitian matrix, split by halves.
template <class T>
struct lower_halves
{
    block_view<T> first;  // ⌊n/2⌋ square
    block_view<T> below;  // what is left of `second` and below `first`
    block_view<T> second; // square

    explicit lower_halves(block_view<T> a)
        : first(a.sub(0, a.rows / 2, 0, a.rows / 2)),
          below(a.sub(a.rows / 2, a.rows, 0, a.rows / 2)),
          second(a.sub(a.rows / 2, a.rows, a.rows / 2, a.rows))
    {
    }
};

} // namespace

//     [ L11      ]  [ A11      ]    C11 = L11⁻¹·A11·L11⁻ᴴ
//     [ L21  L22 ]  [ A21  A22 ]    M = A21·L11⁻ᴴ - ½·L21·C11
//                                   A22 -= L21·Mᴴ + M·L21ᴴ
//                                   C21 = L22⁻¹·(M - ½·L21·C11);  C22 = L22⁻¹·A22·L22⁻ᴴ
// M is held as its adjoint, so that L11 acts on rows.
template <class T>
void divide_congruently(block_view<const T> l, block_view<T> a)
{
    if (a.rows <= congruence_leaf_order) {
        divide_leaf(l, a);
        return;
    }
    const auto [l11, l21, l22] = lower_halves<const T>(l);
    const auto [a11, a21, a22] = lower_halves<T>(a);

    divide_congruently(l11, a11);
    const dense_block<T> l21_adjoint = adjoint_of(l21);
    const dense_block<T> minus_half_c11 = whole_matrix<T>(a11, -0.5);
    const dense_block<T> half_product = product_of(minus_half_c11.view(), l21_adjoint.view());
    dense_block<T> m_adjoint = adjoint_of<T>(a21);
    solve_lower(l11, solve_block, m_adjoint.view());
    add(m_adjoint.view(), half_product.view());
    const std::vector<T> minus_l21 = negated_copy(l21);
    add_with_adjoint<T>({minus_l21.data(), l21.rows, l21.cols, l21.cols}, m_adjoint.view(), a22);
    add(m_adjoint.view(), half_product.view());
    adjoint_into(a21, m_adjoint.view());
    solve_lower(l22, solve_block, a21);
    divide_congruently(l22, a22);
}

//     [ L11      ]  [ A11      ]    M = A21·L11 + ½·A22·L21
//     [ L21  L22 ]  [ A21  A22 ]    C11 = L11ᴴ·A11·L11 + L21ᴴ·M + Mᴴ·L21
//                                   C21 = L22ᴴ·(M + ½·A22·L21);  C22 = L22ᴴ·A22·L22
template <class T>
void multiply_congruently(block_view<const T> l, block_view<T> a)
{
    if (a.rows <= congruence_leaf_order) {
        multiply_leaf(l, a);
        return;
    }
    const auto [l11, l21, l22] = lower_halves<const T>(l);
    const auto [a11, a21, a22] = lower_halves<T>(a);

    multiply_congruently(l11, a11);
    const dense_block<T> half_a22 = whole_matrix<T>(a22, 0.5);
    const dense_block<T> half_product = product_of(half_a22.view(), l21);
    dense_block<T> m = product_of<T>(a21, l11);
    add(m.view(), half_product.view());
    const dense_block<T> l21_adjoint = adjoint_of(l21);
    add_with_adjoint<T>(l21_adjoint.view(), m.view(), a11);
    add(m.view(), half_product.view());
    const dense_block<T> l22_adjoint = adjoint_of(l22);
    copy_block(product_of<T>(l22_adjoint.view(), m.view()).view(), a21);
    multiply_congruently(l22, a22);
}

template void divide_congruently(block_view<const double>, block_view<double>);
template void divide_congruently(block_view<const complex>, block_view<complex>);
template void multiply_congruently(block_view<const double>, block_view<double>);
template void multiply_congruently(block_view<const complex>, block_view<complex>);

} // namespace numerical::detail
