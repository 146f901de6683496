#include "numerical/factor/qr.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/band_bidiagonal.hpp"

#include <algorithm>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// Aᴴ.
template <class T>
std::vector<T> adjoint_copy(block_view<const T> a)
{
    std::vector<T> out = uninitialized<T>(a.rows * a.cols);
    transpose_into<T>({out.data(), a.cols, a.rows, a.rows}, a);
    for (T& x : out)
        x = conjugate(x);
    return out;
}

// C := C·Q = C - (C·V·T)·Vᴴ.
template <class T>
void apply_from_right(const reflector_block<T>& q, block_view<T> c)
{
    const std::size_t w = q.count;
    const block_view<const T> v{q.vectors.data(), q.rows, w, w};
    std::vector<T> along = zeros<T>(c.rows * w);
    add_product<T>(c, v, {along.data(), c.rows, w, w});
    std::vector<T> minus_factor = negated_copy(block_view<const T>{q.factor.data(), w, w, w});
    std::vector<T> weights = zeros<T>(c.rows * w);
    add_product<T>({along.data(), c.rows, w, w}, {minus_factor.data(), w, w, w},
                   {weights.data(), c.rows, w, w});
    const std::vector<T> adjoint = adjoint_copy(v);
    add_product<T>({weights.data(), c.rows, w, w}, {adjoint.data(), w, q.rows, q.rows}, c);
}

// Rows [from, to) become lower triangular right of column `to`, and the rows below follow.
template <class T>
void reduce_rows(std::vector<T>& a, std::size_t n, std::size_t from, std::size_t to)
{
    const block_view<T> all{a.data(), n, n, n};
    const std::size_t width = to - from;
    const std::size_t length = n - to;
    const std::size_t count = std::min(width, length);
    std::vector<T> columns = adjoint_copy<T>(all.sub(from, to, to, n));
    std::vector<std::vector<T>> reflectors(count);
    factor_qr_panel(columns, length, width, reflectors, 0, count);
    const reflector_block<T> q = gather_reflectors(reflectors, 0, count, length);
    apply_reflector_block<block_operator::adjoint>(q, columns, width, count, width);
    for (std::size_t i = 0; i < width; ++i)
        for (std::size_t j = 0; j < length; ++j)
            all(from + i, to + j) = j > i ? T(0) : conjugate(columns[j * width + i]);
    apply_from_right(q, all.sub(to, n, to, n));
}

} // namespace

// A row panel begins right of the column panel beside it:
//
//     [ R  L          ]
//     [    R  L       ]
//     [       A22     ]
template <class T>
upper_band<T> reduce_to_band(std::vector<T> a, std::size_t n, std::size_t width)
{
    upper_band<T> band(n, width);
    std::vector<std::vector<T>> reflectors(n);
    for (std::size_t from = 0; from < n; from += width) {
        const std::size_t to = std::min(from + width, n);
        factor_qr_panel(a, n, n, reflectors, from, to);
        if (to == n)
            break;
        const reflector_block<T> q = gather_reflectors(reflectors, from, to, n);
        apply_reflector_block<block_operator::adjoint>(q, a, n, to, n);
        reduce_rows(a, n, from, to);
    }
    for (std::size_t i = 0; i < n; ++i)
        std::copy_n(a.data() + i * n + i, std::min(width + 1, n - i), &band(i, i));
    return band;
}

template upper_band<double> reduce_to_band(std::vector<double>, std::size_t, std::size_t);
template upper_band<complex> reduce_to_band(std::vector<complex>, std::size_t, std::size_t);

} // namespace numerical::detail
