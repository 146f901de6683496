#include "numerical/factor/wide_qr_panel.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/factor/reflector_products.hpp"
#include "numerical/factor/tall_panel.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>

namespace numerical::detail {
namespace {

// By halves, so that all but the leaves' work is in products (Elmroth and Gustavson 2000):
//      from  mid   to
//    [  R    R01  ]  from     left half; R01 and A11 := Q₀ᴴ·[ A01 ; A11 ];
//    [  V0   A11  ]  mid      right half.
// The halves' blocks are one: with V = [ V0 V1 ], T = [ T0 -T0·(V0ᴴ·V1)·T1 ; 0 T1 ].
template <class T>
class wide_qr_panel
{
public:
    explicit wide_qr_panel(block_view<T> a)
        : panel(a), vector_store(zeros<T>(a.rows * a.cols)),
          factor_store(zeros<T>(a.cols * a.cols)), vectors{vector_store.data(), a.rows, a.cols},
          factor{factor_store.data(), a.cols, a.cols}
    {
    }

    void factorize(std::size_t from, std::size_t to);

    reflector_block<T> block(std::size_t offset) &&
    {
        return {.offset = offset,
                .rows = panel.rows,
                .count = panel.cols,
                .vectors = std::move(vector_store),
                .factor = std::move(factor_store)};
    }

private:
    block_view<T> panel;
    aligned_vector<T> vector_store;
    aligned_vector<T> factor_store;
    block_view<T> vectors;
    block_view<T> factor;

    void factorize_leaf(std::size_t from, std::size_t to);
    void apply_adjoint(std::size_t from, std::size_t mid, std::size_t to);
    void join(std::size_t from, std::size_t mid, std::size_t to);
};

template <class T>
void wide_qr_panel<T>::factorize(std::size_t from, std::size_t to)
{
    if (to - from <= leaf_columns<T>)
        return factorize_leaf(from, to);
    const std::size_t mid = from + round_up((to - from) / 2, leaf_columns<T>);
    factorize(from, mid);
    apply_adjoint(from, mid, to);
    factorize(mid, to);
    join(from, mid, to);
}

template <class T>
void wide_qr_panel<T>::factorize_leaf(std::size_t from, std::size_t to)
{
    const block_view<T> columns = panel.sub(from, panel.rows, from, to);
    const block_view<T> v = vectors.sub(from, vectors.rows, from, to);
    const block_view<T> t = factor.sub(from, to, from, to);
    if constexpr (std::is_same_v<T, double>) {
        copy_block<T>(columns, v);
        factor_tall_panel<T>({.r = columns, .below = v, .tops = nullptr, .minus_factor = t});
        for (std::size_t i = 0; i < t.rows; ++i)
            negate_run(&t(i, i), &t(i, i), t.cols - i);
    } else {
        const reflector_block<T> leaf = factor_qr_panel(columns, 0);
        copy_block<T>({leaf.vectors.data(), v.rows, v.cols}, v);
        copy_block<T>({leaf.factor.data(), t.rows, t.cols}, t);
    }
}

// C += V·(-Tᴴ·(VᴴC)) for columns [mid, to).
template <class T>
void wide_qr_panel<T>::apply_adjoint(std::size_t from, std::size_t mid, std::size_t to)
{
    const std::size_t count = mid - from;
    const block_view<T> c = panel.sub(from, panel.rows, mid, to);
    const block_view<const T> v = vectors.sub(from, vectors.rows, from, mid);
    aligned_vector<T> dots = zeros<T>(count * c.cols);
    add_reflector_dots<T>(v, c, {dots.data(), count, c.cols});
    const aligned_vector<T> minus_factor = negated_copy(factor.sub(from, mid, from, mid));
    aligned_vector<T> x = zeros<T>(count * c.cols);
    add_adjoint_product<T>({minus_factor.data(), count, count}, {dots.data(), count, c.cols},
                           {x.data(), count, c.cols});
    add_reflector_sums<T>(v, {x.data(), count, c.cols}, c);
}

template <class T>
void wide_qr_panel<T>::join(std::size_t from, std::size_t mid, std::size_t to)
{
    const std::size_t left = mid - from;
    const std::size_t right = to - mid;
    aligned_vector<T> cross = zeros<T>(left * right); // V0ᴴ·V1
    add_dots_from<T>(0, vectors.sub(mid, vectors.rows, from, mid),
                     vectors.sub(mid, vectors.rows, mid, to), {cross.data(), left, right});
    const aligned_vector<T> minus_left = negated_copy(factor.sub(from, mid, from, mid));
    aligned_vector<T> product = zeros<T>(left * right);
    add_product<T>({minus_left.data(), left, left}, {cross.data(), left, right},
                   {product.data(), left, right});
    add_product<T>({product.data(), left, right}, factor.sub(mid, to, mid, to),
                   factor.sub(from, mid, mid, to));
}

} // namespace

template <class T>
reflector_block<T> factor_wide_qr_panel(block_view<T> panel, std::size_t offset)
{
    if constexpr (!std::is_same_v<T, double>)
        if (panel.cols <= leaf_columns<T>)
            return factor_qr_panel(panel, offset);
    wide_qr_panel<T> wide(panel);
    wide.factorize(0, panel.cols);
    return std::move(wide).block(offset);
}

template reflector_block<double> factor_wide_qr_panel(block_view<double>, std::size_t);
template reflector_block<std::complex<double>>
    factor_wide_qr_panel(block_view<std::complex<double>>, std::size_t);

} // namespace numerical::detail
